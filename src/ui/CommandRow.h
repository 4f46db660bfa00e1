#pragma once

#include "CommandStep.h"

#include <QUuid>
#include <QWidget>

class QLabel;
class QLineEdit;
class QToolButton;

namespace corvane {

// One step of a window: its command, the wait after it, and buttons to move or delete it.
// Shows what it is given and reports edits; the group card applies them.
class CommandRow final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CommandRow)

public:
    explicit CommandRow(const QUuid &stepId, QWidget *parent = nullptr);

    QUuid stepId() const { return m_stepId; }
    QList<QWidget *> tabStops() const { return m_tabStops; }
    // Brings the fields up to date without disturbing what the user is typing.
    void update(const CommandStep &step, bool canDelete);
    void focusCommand();

Q_SIGNALS:
    void commandEdited(const QString &command);
    void delayEdited(double seconds);
    void moveUpRequested();
    void moveDownRequested();
    void deleteRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void showDelay(bool force);

    QUuid m_stepId;
    double m_delay = 0;
    QLineEdit *m_command;
    QLineEdit *m_delayField;
    QToolButton *m_delete;
    QList<QWidget *> m_tabStops;
};

} // namespace corvane
