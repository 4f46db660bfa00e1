#pragma once

#include <QAction>
#include <QList>
#include <QWidget>

namespace corvane {

// Stands in for the tray icon on desktops without a system tray: a small window with the
// menu's entries as buttons, whose shortcuts work while it is active. It is Corvane's only
// presence on such a desktop, so closing it asks to quit rather than leaving a hidden process.
class FallbackWindow final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FallbackWindow)

public:
    // `entries` top to bottom; separators become dividers.
    explicit FallbackWindow(const QList<QAction *> &entries, QWidget *parent = nullptr);

Q_SIGNALS:
    void closedByUser();

protected:
    void closeEvent(QCloseEvent *event) override;
};

} // namespace corvane
