#pragma once

#include "CommandStep.h"

#include <QUuid>
#include <QWidget>

class QLineEdit;
class QToolButton;

namespace corvane {

class WaitField;

// One step of a window: its command, the wait after it, and buttons to move or delete it.
// Shows what it is given and reports edits; the group editor applies them.
class CommandRow final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CommandRow)

public:
    explicit CommandRow(const QUuid &stepId, QWidget *parent = nullptr);

    QUuid stepId() const { return m_stepId; }
    // Brings the fields up to date without disturbing what the user is typing.
    void update(const CommandStep &step, bool canDelete, bool canMoveUp, bool canMoveDown);
    void focusCommand();
    // The places Tab reaches in the row, in order; its icon buttons are reached by their keys.
    QList<QWidget *> tabStops() const;
    // The keyboard's way to the icon buttons: each acts when its button is enabled.
    void moveUp();
    void moveDown();
    void remove();

Q_SIGNALS:
    void commandEdited(const QString &command);
    void waitEdited(double seconds, const QJsonValue &condition);
    void moveUpRequested();
    void moveDownRequested();
    void deleteRequested();

private:
    QUuid m_stepId;
    QLineEdit *m_command;
    WaitField *m_wait;
    QToolButton *m_up;
    QToolButton *m_down;
    QToolButton *m_delete;
};

} // namespace corvane
