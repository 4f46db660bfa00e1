#include "GroupEditor.h"

#include "BrandColors.h"
#include "CommandRow.h"
#include "ConfigEdits.h"
#include "ShownTextEdit.h"
#include "UiKit.h"
#include "WrappingLabel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextBlock>
#include <QTextLayout>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

QVBoxLayout *bodyLayout(QWidget *body)
{
    auto *layout = new QVBoxLayout(body);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    return layout;
}

} // namespace

GroupEditor::GroupEditor(const QUuid &groupId, QWidget *parent)
    : QFrame(parent), m_groupId(groupId), m_name(new QLineEdit(this)),
      m_delete(ui::iconButton(QStringLiteral("groupDelete"), QStringLiteral("edit-delete"), this)),
      m_stepsBody(new QWidget(this)), m_rowsLayout(new QVBoxLayout),
      m_addCommand(ui::accentButton(QStringLiteral("addCommand"), QStringLiteral("Add Command"),
                                    QStringLiteral("list-add"), m_stepsBody)),
      m_previewBody(new QWidget(this)), m_previewText(new WrappingLabel({}, m_previewBody)),
      m_makeCustom(ui::accentButton(QStringLiteral("editThisCommand"),
                                    QStringLiteral("Edit This Command"),
                                    QStringLiteral("document-edit"), m_previewBody)),
      m_customBody(new QWidget(this)), m_custom(new QPlainTextEdit(m_customBody))
{
    setObjectName(QStringLiteral("groupCard"));
    setStyleSheet(QStringLiteral("#groupCard { background: palette(base); border: 1px solid %1;"
                                 " border-radius: 8px; }")
                      .arg(cssColor(brandAccent(0.25))));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(10);

    // Header: name, then move and delete.
    auto *header = new QHBoxLayout;
    m_name->setObjectName(QStringLiteral("groupName"));
    m_name->setPlaceholderText(QStringLiteral("Window name"));
    m_name->setMaximumWidth(220);
    header->addWidget(m_name, 1);
    header->addStretch(0);
    auto *up = ui::iconButton(QStringLiteral("groupUp"), QStringLiteral("go-up"), this);
    auto *down = ui::iconButton(QStringLiteral("groupDown"), QStringLiteral("go-down"), this);
    up->setToolTip(QStringLiteral("Move Window Up"));
    down->setToolTip(QStringLiteral("Move Window Down"));
    m_delete->setToolTip(QStringLiteral("Delete Window"));
    header->addWidget(up);
    header->addWidget(down);
    header->addWidget(m_delete);
    layout->addLayout(header);
    m_headStops = {m_name, up, down, m_delete};

    // Steps body: one row per step, then "Add Command".
    auto *steps = bodyLayout(m_stepsBody);
    m_stepsBody->setObjectName(QStringLiteral("stepsBody"));
    m_rowsLayout->setContentsMargins(0, 0, 0, 0);
    m_rowsLayout->setSpacing(10);
    steps->addLayout(m_rowsLayout);
    steps->addWidget(m_addCommand, 0, Qt::AlignLeft);
    layout->addWidget(m_stepsBody);

    // Preview body: what the window will run, selectable for copying.
    auto *preview = bodyLayout(m_previewBody);
    m_previewBody->setObjectName(QStringLiteral("previewBody"));
    preview->addWidget(
        ui::secondaryLabel(QStringLiteral("This window will run this single command:"),
                           ui::TextStyle::caption, m_previewBody));
    m_previewText->setObjectName(QStringLiteral("previewText"));
    m_previewText->setTextFormat(Qt::PlainText);
    m_previewText->setTextInteractionFlags(Qt::TextSelectableByMouse |
                                           Qt::TextSelectableByKeyboard);
    m_previewText->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_previewText->setStyleSheet(QStringLiteral("#previewText { background: palette(base);"
                                                " border: 1px solid %1; border-radius: 6px;"
                                                " padding: 8px; }")
                                     .arg(cssColor(brandAccent(0.3))));
    ui::applyMonospace(m_previewText, ui::TextStyle::callout);
    preview->addWidget(m_previewText);
    preview->addWidget(m_makeCustom, 0, Qt::AlignLeft);
    layout->addWidget(m_previewBody);

    // Custom body: the hand-edited command, and the way back to the automatic one.
    auto *custom = bodyLayout(m_customBody);
    m_customBody->setObjectName(QStringLiteral("customBody"));
    custom->addWidget(ui::secondaryLabel(
        QStringLiteral("Custom command — edited by you, no longer auto-updates from the "
                       "line-by-line commands:"),
        ui::TextStyle::caption, m_customBody, true));
    m_custom->setObjectName(QStringLiteral("customCommand"));
    m_custom->setPlaceholderText(QStringLiteral("Command"));
    m_custom->setTabChangesFocus(true);
    m_custom->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    ui::applyMonospace(m_custom, ui::TextStyle::callout);
    custom->addWidget(m_custom);
    auto *reset =
        ui::accentButton(QStringLiteral("resetToAutomatic"), QStringLiteral("Reset to Automatic"),
                         QStringLiteral("edit-undo"), m_customBody);
    custom->addWidget(reset, 0, Qt::AlignLeft);
    layout->addWidget(m_customBody);

    connect(m_name, &QLineEdit::textEdited, this,
            [this](const QString &name) { editGroup([&](TabGroup &g) { g.name = name; }); });
    connect(up, &QToolButton::clicked, this, &GroupEditor::moveUpRequested);
    connect(down, &QToolButton::clicked, this, &GroupEditor::moveDownRequested);
    connect(m_delete, &QToolButton::clicked, this, &GroupEditor::deleteRequested);
    connect(m_addCommand, &QToolButton::clicked, this, [this] {
        editGroup([](TabGroup &g) { edits::addStep(g.commands); });
        // The new row is what the user wants to type into next.
        if (const QList<CommandRow *> rows = m_rows.ordered(); !rows.isEmpty())
            rows.last()->focusCommand();
    });
    connect(m_makeCustom, &QToolButton::clicked, this, [this] {
        const QString preview = m_preview.value_or(QString());
        editGroup([&](TabGroup &g) { g.packedOverride = preview; });
        // Ready to be edited, which is why it was made.
        m_custom->setFocus(Qt::OtherFocusReason);
        m_custom->moveCursor(QTextCursor::End);
    });
    connect(reset, &QToolButton::clicked, this,
            [this] { editGroup([](TabGroup &g) { g.packedOverride.reset(); }); });
    connect(m_custom, &QPlainTextEdit::textChanged, this, [this] {
        fitCustomHeight();
        if (m_updating)
            return;
        // Kept exactly as typed, and only the typed part changes: the document shows line breaks
        // and a few other characters in its own way. An emptied field is still a (blank) custom
        // command.
        const QString shown = m_custom->document()->toRawText();
        const QString text = applyShownEdit(m_customText, m_customShown, shown);
        m_customText = text;
        m_customShown = shown;
        editGroup([&](TabGroup &g) { g.packedOverride = text; });
    });

    m_tailStops = {m_addCommand, m_previewText, m_makeCustom, m_custom, reset};
    ui::chainTabOrder(tabStops());

    m_previewBody->hide();
    m_customBody->hide();
}

void GroupEditor::setStepsAlwaysShown(bool shown)
{
    m_stepsAlwaysShown = shown;
}

void GroupEditor::focusName(bool selectName)
{
    m_name->setFocus(Qt::OtherFocusReason);
    if (selectName)
        m_name->selectAll();
}

QList<QWidget *> GroupEditor::tabStops() const
{
    return m_headStops + m_rows.tabStops() + m_tailStops;
}

QList<CommandRow *> GroupEditor::commandRows() const
{
    return m_rows.ordered();
}

void GroupEditor::update(const TabGroup &group, const std::optional<QString> &packedPreview,
                         bool canDelete)
{
    m_updating = true;
    m_group = group;
    m_preview = packedPreview;

    if (m_name->text() != group.name)
        m_name->setText(group.name);
    m_delete->setEnabled(canDelete);

    if (!packedPreview)
        m_state = State::steps;
    else
        m_state = group.packedOverride ? State::custom : State::preview;

    const bool showSteps = m_state == State::steps || m_stepsAlwaysShown;
    if (showSteps)
        syncRows();
    switch (m_state) {
    case State::steps:
        break;
    case State::preview:
        m_previewText->setText(packedPreview->isEmpty() ? QStringLiteral("(no commands yet)")
                                                        : *packedPreview);
        m_makeCustom->setEnabled(!packedPreview->isEmpty());
        break;
    case State::custom:
        if (m_customText != *group.packedOverride || m_customShown.isNull()) {
            m_custom->setPlainText(*group.packedOverride);
            m_customText = *group.packedOverride;
            m_customShown = m_custom->document()->toRawText();
        }
        break;
    }
    m_stepsBody->setVisible(showSteps);
    m_previewBody->setVisible(m_state == State::preview);
    m_customBody->setVisible(m_state == State::custom);
    m_updating = false;
}

void GroupEditor::editGroup(const std::function<void(TabGroup &)> &edit)
{
    TabGroup group = m_group;
    edit(group);
    if (group != m_group)
        Q_EMIT groupEdited(group);
}

void GroupEditor::syncRows()
{
    QList<QUuid> order;
    for (const CommandStep &step : m_group.commands)
        order.append(step.id);
    if (m_rows.sync(order, m_rowsLayout, [this](const QUuid &id) { return makeRow(id); }))
        ui::chainTabOrder(tabStops());

    const bool canDelete = m_group.commands.size() >= 2;
    for (const CommandStep &step : m_group.commands)
        m_rows.value(step.id)->update(step, canDelete);
}

CommandRow *GroupEditor::makeRow(const QUuid &stepId)
{
    auto *row = new CommandRow(stepId, m_stepsBody);
    const auto editStep = [this, stepId](const std::function<void(CommandStep &)> &edit) {
        editGroup([&](TabGroup &g) {
            for (CommandStep &step : g.commands) {
                if (step.id == stepId)
                    edit(step);
            }
        });
    };
    connect(row, &CommandRow::commandEdited, this, [editStep](const QString &command) {
        editStep([&](CommandStep &step) { step.command = command; });
    });
    connect(row, &CommandRow::delayEdited, this, [editStep](double seconds) {
        editStep([&](CommandStep &step) { step.delayAfter = seconds; });
    });
    connect(row, &CommandRow::moveUpRequested, this, [this, stepId] {
        editGroup([&](TabGroup &g) { edits::moveStep(g.commands, stepId, -1); });
    });
    connect(row, &CommandRow::moveDownRequested, this, [this, stepId] {
        editGroup([&](TabGroup &g) { edits::moveStep(g.commands, stepId, +1); });
    });
    connect(row, &CommandRow::deleteRequested, this, [this, stepId] {
        editGroup([&](TabGroup &g) { edits::removeStep(g.commands, stepId); });
    });
    return row;
}

void GroupEditor::fitCustomHeight()
{
    // Grows with its lines (wrapped ones included), like a multi-line field, up to a limit.
    const QFontMetrics metrics(m_custom->font());
    int lines = 0;
    for (QTextBlock block = m_custom->document()->begin(); block.isValid(); block = block.next())
        lines += qMax(1, block.layout() ? block.layout()->lineCount() : 1);
    lines = qBound(2, lines, 10);
    const int frame =
        2 * m_custom->frameWidth() + int(2 * m_custom->document()->documentMargin()) + 4;
    m_custom->setFixedHeight(lines * metrics.lineSpacing() + frame);
}

} // namespace corvane
