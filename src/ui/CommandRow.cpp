#include "CommandRow.h"

#include "Icons.h"
#include "UiKit.h"
#include "WaitField.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QToolButton>

namespace corvane {

CommandRow::CommandRow(const QUuid &stepId, QWidget *parent)
    : QWidget(parent), m_stepId(stepId), m_command(new QLineEdit(this)),
      m_wait(new WaitField(WaitField::Plain::seconds, this)),
      m_up(ui::iconButton(QStringLiteral("stepUp"), QStringLiteral("go-up"), this)),
      m_down(ui::iconButton(QStringLiteral("stepDown"), QStringLiteral("go-down"), this)),
      m_delete(new QToolButton(this))
{
    setObjectName(QStringLiteral("commandRow"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    m_command->setObjectName(QStringLiteral("commandField"));
    m_command->setPlaceholderText(QStringLiteral("Command, e.g. ssh mydevbox"));
    m_command->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    layout->addWidget(m_command, 3);
    m_wait->valueField()->setObjectName(QStringLiteral("delayField"));
    layout->addWidget(m_wait, 2);

    // The icon buttons stay out of the Tab order (Tab goes from field to field); the keys in
    // their tooltips reach them from any field of the row.
    m_up->setToolTip(QStringLiteral("Move Up (Alt+↑)"));
    m_down->setToolTip(QStringLiteral("Move Down (Alt+↓)"));
    m_delete->setObjectName(QStringLiteral("stepDelete"));
    m_delete->setAutoRaise(true);
    m_delete->setIcon(Icons::get(QStringLiteral("window-close"), QStringLiteral("xmark-circle")));
    m_delete->setToolTip(QStringLiteral("Delete Command (Alt+Delete)"));
    for (QToolButton *button : {m_up, m_down, m_delete}) {
        button->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(button);
    }

    connect(m_command, &QLineEdit::textEdited, this, &CommandRow::commandEdited);
    connect(m_wait, &WaitField::edited, this, &CommandRow::waitEdited);
    connect(m_up, &QToolButton::clicked, this, &CommandRow::moveUpRequested);
    connect(m_down, &QToolButton::clicked, this, &CommandRow::moveDownRequested);
    connect(m_delete, &QToolButton::clicked, this, &CommandRow::deleteRequested);
}

void CommandRow::update(const CommandStep &step, bool canDelete, bool canMoveUp, bool canMoveDown)
{
    // Only replace text that differs: setText() would move the cursor to the end.
    if (m_command->text() != step.command)
        m_command->setText(step.command);
    m_wait->setWait(step.delayAfter, step.waitFor);
    m_up->setEnabled(canMoveUp);
    m_down->setEnabled(canMoveDown);
    m_delete->setEnabled(canDelete);
}

void CommandRow::focusCommand()
{
    m_command->setFocus(Qt::OtherFocusReason);
}

QList<QWidget *> CommandRow::tabStops() const
{
    return QList<QWidget *>{m_command} + m_wait->tabStops();
}

void CommandRow::moveUp()
{
    if (m_up->isEnabled())
        Q_EMIT moveUpRequested();
}

void CommandRow::moveDown()
{
    if (m_down->isEnabled())
        Q_EMIT moveDownRequested();
}

void CommandRow::remove()
{
    if (m_delete->isEnabled())
        Q_EMIT deleteRequested();
}

} // namespace corvane
