#include "CommandRow.h"

#include "DelayText.h"
#include "Icons.h"
#include "UiKit.h"

#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>

namespace corvane {

CommandRow::CommandRow(const QUuid &stepId, QWidget *parent)
    : QWidget(parent), m_stepId(stepId), m_command(new QLineEdit(this)),
      m_delayField(new QLineEdit(this)), m_delete(new QToolButton(this))
{
    setObjectName(QStringLiteral("commandRow"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    m_command->setObjectName(QStringLiteral("commandField"));
    m_command->setPlaceholderText(QStringLiteral("Command, e.g. ssh mydevbox"));
    m_command->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    layout->addWidget(m_command, 1);

    layout->addWidget(ui::secondaryLabel(QStringLiteral("wait"), ui::TextStyle::caption, this));

    m_delayField->setObjectName(QStringLiteral("delayField"));
    m_delayField->setPlaceholderText(QStringLiteral("0"));
    m_delayField->setFixedWidth(44);
    m_delayField->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_delayField);

    layout->addWidget(ui::secondaryLabel(QStringLiteral("s"), ui::TextStyle::caption, this));

    auto *up = ui::iconButton(QStringLiteral("stepUp"), QStringLiteral("go-up"), this);
    auto *down = ui::iconButton(QStringLiteral("stepDown"), QStringLiteral("go-down"), this);
    up->setToolTip(QStringLiteral("Move Up"));
    down->setToolTip(QStringLiteral("Move Down"));
    m_delete->setObjectName(QStringLiteral("stepDelete"));
    m_delete->setAutoRaise(true);
    m_delete->setIcon(Icons::get(QStringLiteral("window-close"), QStringLiteral("xmark-circle")));
    m_delete->setToolTip(QStringLiteral("Delete Command"));
    layout->addWidget(up);
    layout->addWidget(down);
    layout->addWidget(m_delete);
    m_tabStops = {m_command, m_delayField, up, down, m_delete};
    ui::chainTabOrder(m_tabStops);

    connect(m_command, &QLineEdit::textEdited, this, &CommandRow::commandEdited);
    connect(m_delayField, &QLineEdit::textEdited, this, [this](const QString &text) {
        // Text that is not a number yet (half typed, or letters) keeps the stored delay.
        if (const auto seconds = DelayText::parse(text, locale()))
            Q_EMIT delayEdited(*seconds);
    });
    connect(m_delayField, &QLineEdit::editingFinished, this, [this] { showDelay(true); });
    connect(up, &QToolButton::clicked, this, &CommandRow::moveUpRequested);
    connect(down, &QToolButton::clicked, this, &CommandRow::moveDownRequested);
    connect(m_delete, &QToolButton::clicked, this, &CommandRow::deleteRequested);
}

void CommandRow::update(const CommandStep &step, bool canDelete)
{
    // Only replace text that differs: setText() would move the cursor to the end.
    if (m_command->text() != step.command)
        m_command->setText(step.command);
    m_delay = step.delayAfter;
    showDelay(false);
    m_delete->setEnabled(canDelete);
}

void CommandRow::focusCommand()
{
    m_command->setFocus(Qt::OtherFocusReason);
}

void CommandRow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LocaleChange)
        showDelay(true);
    QWidget::changeEvent(event);
}

void CommandRow::showDelay(bool force)
{
    // While the user types, "2," or "abc" must stay as typed; it is rewritten when editing ends.
    if (!force && m_delayField->hasFocus())
        return;
    const auto shown = DelayText::parse(m_delayField->text(), locale());
    if (force || !shown || *shown != m_delay) {
        const QString text = DelayText::format(m_delay, locale());
        if (m_delayField->text() != text)
            m_delayField->setText(text);
    }
}

} // namespace corvane
