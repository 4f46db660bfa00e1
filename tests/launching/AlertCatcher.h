#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>

namespace corvane::testing {

// Dismisses every modal alert that comes up while it lives and keeps "<title>: <text>" of each,
// so that a run through the real platform ends instead of waiting for a click.
class AlertCatcher final {
public:
    QStringList seen;

    AlertCatcher()
    {
        m_timer.callOnTimeout([this] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                seen.append(box->text() + QStringLiteral(": ") + box->informativeText());
                box->buttons().first()->click();
            }
        });
        m_timer.start(20);
    }

private:
    QTimer m_timer;
};

} // namespace corvane::testing
