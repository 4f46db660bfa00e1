#include "GroupEditor.h"

#include "BrandColors.h"
#include "CommandRow.h"
#include "ConfigEdits.h"
#include "ShownTextEdit.h"
#include "StepList.h"
#include "UiKit.h"
#include "WaitField.h"
#include "WrappingLabel.h"

#include <QApplication>
#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QShortcut>
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

enum KeyboardAction { moveUp, moveDown, remove };

bool hasMore(const TabGroup &group)
{
    return !group.startWhen.isUndefined() || group.directory || group.stopOnError;
}

} // namespace

GroupEditor::GroupEditor(const QUuid &groupId, QWidget *parent)
    : QFrame(parent), m_groupId(groupId), m_name(new QLineEdit(this)),
      m_up(ui::iconButton(QStringLiteral("groupUp"), QStringLiteral("go-up"), this)),
      m_down(ui::iconButton(QStringLiteral("groupDown"), QStringLiteral("go-down"), this)),
      m_delete(ui::iconButton(QStringLiteral("groupDelete"), QStringLiteral("edit-delete"), this)),
      m_stepsBody(new QWidget(this)),
      m_stepList(new StepList(
          [this](const QUuid &id, QWidget *parent) { return makeRow(id, parent); }, m_stepsBody)),
      m_addCommand(ui::accentButton(QStringLiteral("addCommand"), QStringLiteral("Add Command"),
                                    QStringLiteral("list-add"), m_stepsBody)),
      m_notInUse(ui::secondaryLabel(
          QStringLiteral("Not in use: the custom command below runs instead of these."),
          ui::TextStyle::caption, m_stepsBody, true)),
      m_previewBody(new QWidget(this)),
      m_previewCaption(ui::secondaryLabel({}, ui::TextStyle::caption, m_previewBody)),
      m_previewText(new WrappingLabel({}, m_previewBody)),
      m_makeCustom(ui::accentButton(QStringLiteral("editThisCommand"),
                                    QStringLiteral("Edit This Command"),
                                    QStringLiteral("document-edit"), m_previewBody)),
      m_customBody(new QWidget(this)), m_custom(new QPlainTextEdit(m_customBody)),
      m_moreToggle(new QToolButton(this)), m_moreBody(new QWidget(this)),
      m_startWhen(new WaitField(WaitField::Plain::none, m_moreBody)),
      m_folder(new QLineEdit(m_moreBody)),
      m_stopOnError(new QCheckBox(QStringLiteral("Stop at the first failing command"), m_moreBody))
{
    setObjectName(QStringLiteral("groupEditor"));
    setStyleSheet(QStringLiteral("#groupEditor { background: palette(base); border: 1px solid %1;"
                                 " border-radius: 8px; }")
                      .arg(cssColor(brandAccent(0.25))));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(10);

    // Header: name, then move and delete. The buttons stay out of the Tab order, so that Tab
    // goes from the name to the first command; the keys in their tooltips reach them.
    auto *header = new QHBoxLayout;
    m_name->setObjectName(QStringLiteral("groupName"));
    m_name->setPlaceholderText(QStringLiteral("Window name"));
    m_name->setMaximumWidth(220);
    header->addWidget(m_name, 1);
    header->addStretch(0);
    m_up->setToolTip(QStringLiteral("Move Window Up (Alt+↑)"));
    m_down->setToolTip(QStringLiteral("Move Window Down (Alt+↓)"));
    m_delete->setToolTip(QStringLiteral("Delete Window (Alt+Delete)"));
    for (QToolButton *button : {m_up, m_down, m_delete}) {
        button->setFocusPolicy(Qt::NoFocus);
        header->addWidget(button);
    }
    layout->addLayout(header);

    // Steps body: one row per step, then "Add Command".
    auto *steps = bodyLayout(m_stepsBody);
    m_stepsBody->setObjectName(QStringLiteral("stepsBody"));
    m_notInUse->setObjectName(QStringLiteral("stepsNotInUse"));
    m_notInUse->hide();
    steps->addWidget(m_notInUse);
    steps->addWidget(m_stepList);
    steps->addWidget(m_addCommand, 0, Qt::AlignLeft);
    layout->addWidget(m_stepsBody);

    // Preview body: what the window will run, selectable for copying.
    auto *preview = bodyLayout(m_previewBody);
    m_previewBody->setObjectName(QStringLiteral("previewBody"));
    preview->addWidget(m_previewCaption);
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
    m_custom->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    ui::applyMonospace(m_custom, ui::TextStyle::callout);
    custom->addWidget(m_custom);
    auto *reset =
        ui::accentButton(QStringLiteral("resetToAutomatic"), QStringLiteral("Reset to Automatic"),
                         QStringLiteral("edit-undo"), m_customBody);
    custom->addWidget(reset, 0, Qt::AlignLeft);
    layout->addWidget(m_customBody);

    // "More": what a first window rarely needs, out of the way until asked for.
    m_moreToggle->setObjectName(QStringLiteral("moreToggle"));
    m_moreToggle->setText(QStringLiteral("More"));
    m_moreToggle->setCheckable(true);
    m_moreToggle->setAutoRaise(true);
    m_moreToggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_moreToggle->setArrowType(Qt::RightArrow);
    m_moreToggle->setToolTip(QStringLiteral("When the window starts, its folder, and what a "
                                            "failing command does"));
    ui::applyTextStyle(m_moreToggle, ui::TextStyle::callout);
    layout->addWidget(m_moreToggle, 0, Qt::AlignLeft);
    m_moreBody->setObjectName(QStringLiteral("moreBody"));
    auto *more = new QFormLayout(m_moreBody);
    more->setContentsMargins(0, 0, 0, 0);
    more->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    m_startWhen->setObjectName(QStringLiteral("startWhen"));
    m_startWhen->valueField()->setObjectName(QStringLiteral("startWhenValue"));
    auto *startRow = new QWidget(m_moreBody);
    auto *startLayout = new QHBoxLayout(startRow);
    startLayout->setContentsMargins(0, 0, 0, 0);
    startLayout->addWidget(m_startWhen, 1);
    startLayout->addStretch(0);
    more->addRow(QStringLiteral("Start:"), startRow);
    m_folder->setObjectName(QStringLiteral("folder"));
    m_folder->setPlaceholderText(QStringLiteral("~ (your home folder)"));
    more->addRow(QStringLiteral("Folder:"), m_folder);
    m_stopOnError->setObjectName(QStringLiteral("stopOnError"));
    more->addRow(m_stopOnError);
    m_moreBody->hide();
    layout->addWidget(m_moreBody);

    connect(m_name, &QLineEdit::textEdited, this,
            [this](const QString &name) { editGroup([&](TabGroup &g) { g.name = name; }); });
    connect(m_up, &QToolButton::clicked, this, &GroupEditor::moveUpRequested);
    connect(m_down, &QToolButton::clicked, this, &GroupEditor::moveDownRequested);
    connect(m_delete, &QToolButton::clicked, this, &GroupEditor::deleteRequested);
    connect(m_addCommand, &QToolButton::clicked, this, [this] {
        editGroup([](TabGroup &g) { edits::addStep(g.commands); });
        // The new row is what the user wants to type into next.
        if (const qsizetype count = m_stepList->count(); count > 0)
            m_stepList->row(count - 1)->focusCommand();
    });
    connect(m_makeCustom, &QToolButton::clicked, this, [this] {
        const QString preview = m_preview.value_or(QString());
        editGroup([&](TabGroup &g) { g.packedOverride = preview; });
        // Ready to be edited, which is why it was made; shown from its start.
        m_custom->setFocus(Qt::OtherFocusReason);
        m_custom->moveCursor(QTextCursor::Start);
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
    connect(m_moreToggle, &QToolButton::toggled, this, [this](bool open) {
        m_moreToggle->setArrowType(open ? Qt::DownArrow : Qt::RightArrow);
        m_moreBody->setVisible(open);
    });
    connect(m_startWhen, &WaitField::edited, this, [this](double, const QJsonValue &condition) {
        editGroup([&](TabGroup &g) { g.startWhen = condition; });
    });
    connect(m_folder, &QLineEdit::textEdited, this, [this](const QString &folder) {
        // An emptied field means the home folder again, as if it had never been set.
        editGroup([&](TabGroup &g) {
            g.directory = folder.isEmpty() ? std::nullopt : std::optional<QString>(folder);
        });
    });
    connect(m_stopOnError, &QCheckBox::toggled, this, [this](bool stop) {
        if (!m_updating)
            editGroup([&](TabGroup &g) { g.stopOnError = stop; });
    });

    for (const auto &[keys, action] : {std::pair{QKeySequence(Qt::ALT | Qt::Key_Up), moveUp},
                                       std::pair{QKeySequence(Qt::ALT | Qt::Key_Down), moveDown},
                                       std::pair{QKeySequence(Qt::ALT | Qt::Key_Delete), remove}}) {
        auto *shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this,
                [this, action = action] { keyboardAction(action); });
    }

    m_tailStops =
        QList<QWidget *>{m_addCommand, m_previewText, m_makeCustom, m_custom, reset, m_moreToggle} +
        m_startWhen->tabStops() + QList<QWidget *>{m_folder, m_stopOnError};

    m_previewDelay.setSingleShot(true);
    m_previewDelay.setInterval(300);
    connect(&m_previewDelay, &QTimer::timeout, this,
            [this] { m_previewText->setText(m_pendingPreview); });

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

bool GroupEditor::moreShown() const
{
    return m_moreToggle->isChecked();
}

CommandRow *GroupEditor::commandRow(qsizetype index)
{
    return m_stepList->row(index);
}

void GroupEditor::setMoveLimits(bool canMoveUp, bool canMoveDown)
{
    m_up->setEnabled(canMoveUp);
    m_down->setEnabled(canMoveDown);
}

void GroupEditor::update(const TabGroup &group, const std::optional<QString> &preview, bool typed,
                         bool canDelete)
{
    m_updating = true;
    m_group = group;
    m_preview = preview;

    if (m_name->text() != group.name)
        m_name->setText(group.name);
    m_delete->setEnabled(canDelete);

    if (!preview)
        m_state = State::steps;
    else
        m_state = group.packedOverride && !typed ? State::custom : State::preview;
    m_previewCaption->setText(typed ? QStringLiteral("Corvane will type into this window:")
                                    : QStringLiteral("This window will run this single command:"));
    // A custom command replaces the packed line only; typing types the command rows.
    m_makeCustom->setVisible(!typed);

    // Typed through tmux, the steps are what runs: they can be edited where they are.
    const bool showSteps = m_state == State::steps || m_stepsAlwaysShown || typed;
    if (showSteps)
        m_stepList->setSteps(group.commands);
    // Shown, but ignored by the run: the custom command replaces them.
    const bool inUse = m_state != State::custom;
    m_notInUse->setVisible(!inUse);
    m_stepList->setEnabled(inUse);
    m_addCommand->setEnabled(inUse);
    switch (m_state) {
    case State::steps:
        break;
    case State::preview:
        showPreview(preview->isEmpty() ? QStringLiteral("(no commands yet)") : *preview);
        m_makeCustom->setEnabled(!preview->isEmpty());
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
    const bool customOpens = m_state == State::custom && m_customBody->isHidden();
    m_customBody->setVisible(m_state == State::custom);
    if (customOpens && !m_custom->hasFocus())
        m_custom->verticalScrollBar()->setValue(0);
    syncMore();
    m_updating = false;
}

void GroupEditor::showPreview(const QString &text)
{
    // Laying out a wrapped text costs about 0.2 ms per hundred characters, and the label does it
    // a few times per change: a window of thousands of steps would stall every keystroke for
    // most of a second. Its preview is brought up to date once typing pauses instead.
    constexpr qsizetype longText = 20000;
    if (text.size() > longText && !m_previewText->text().isEmpty()) {
        if (m_previewText->text() != text || m_previewDelay.isActive()) {
            m_pendingPreview = text;
            m_previewDelay.start();
        }
        return;
    }
    m_previewDelay.stop();
    if (m_previewText->text() != text)
        m_previewText->setText(text);
}

void GroupEditor::syncMore()
{
    // Opens by itself for a window that uses any of it; closes only when asked.
    if (hasMore(m_group) && !m_moreToggle->isChecked())
        m_moreToggle->setChecked(true);
    m_startWhen->setWait(0, m_group.startWhen);
    const QString folder = m_group.directory.value_or(QString());
    if (m_folder->text() != folder)
        m_folder->setText(folder);
    m_stopOnError->setChecked(m_group.stopOnError);
}

void GroupEditor::editGroup(const std::function<void(TabGroup &)> &edit)
{
    TabGroup group = m_group;
    edit(group);
    if (group != m_group)
        Q_EMIT groupEdited(group);
}

CommandRow *GroupEditor::makeRow(const QUuid &stepId, QWidget *parent)
{
    auto *row = new CommandRow(stepId, parent);
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
    connect(row, &CommandRow::waitEdited, this,
            [editStep](double seconds, const QJsonValue &condition) {
                editStep([&](CommandStep &step) {
                    step.delayAfter = seconds;
                    step.waitFor = condition;
                });
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

bool GroupEditor::focusNextStop(bool next)
{
    QWidget *focus = QApplication::focusWidget();
    if (!focus || !isAncestorOf(focus))
        return false;
    qsizetype part = m_stepList->count() + 1;
    if (focus == m_name)
        part = 0;
    else if (const qsizetype row = m_stepList->indexOf(focus); row >= 0)
        part = row + 1;
    const qsizetype at = stopsOf(part).indexOf(focus);
    return focusFrom(part, at < 0 ? std::nullopt : std::optional(at + (next ? 1 : -1)), next);
}

bool GroupEditor::focusEdge(bool first)
{
    return first ? focusFrom(0, std::nullopt, true)
                 : focusFrom(m_stepList->count() + 1, std::nullopt, false);
}

QList<QWidget *> GroupEditor::stopsOf(qsizetype part)
{
    if (part == 0)
        return {m_name};
    if (part <= m_stepList->count())
        return m_stepList->row(part - 1)->tabStops();
    return m_tailStops;
}

bool GroupEditor::focusFrom(qsizetype part, std::optional<qsizetype> from, bool next)
{
    const qsizetype tail = m_stepList->count() + 1;
    const qsizetype by = next ? 1 : -1;
    // All rows alike: when one cannot take the focus (their commands are not in use), none can,
    // and none is built just to find that out.
    const bool rowsTakeFocus = m_stepList->isVisible() && m_stepList->isEnabled();
    for (; part >= 0 && part <= tail; part += by, from.reset()) {
        if (part != 0 && part != tail && !rowsTakeFocus) {
            part = next ? tail - 1 : 1;
            continue;
        }
        const QList<QWidget *> stops = stopsOf(part);
        for (qsizetype i = from.value_or(next ? 0 : stops.size() - 1); i >= 0 && i < stops.size();
             i += by) {
            if (ui::takesTab(stops.at(i))) {
                stops.at(i)->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
                return true;
            }
        }
    }
    return false;
}

bool GroupEditor::focusStepChange(const TabGroup &before, bool anyChange)
{
    if (!m_stepList->isVisible())
        return false;
    const QList<CommandStep> &steps = m_group.commands;
    for (qsizetype i = 0; i < steps.size(); ++i) {
        const bool cameBack =
            i >= before.commands.size() || before.commands.at(i).id != steps.at(i).id;
        if (cameBack || (anyChange && before.commands.at(i) != steps.at(i))) {
            m_stepList->row(i)->focusCommand();
            return true;
        }
    }
    return false;
}

void GroupEditor::keyboardAction(int action)
{
    for (QWidget *w = QApplication::focusWidget(); w && w != this; w = w->parentWidget()) {
        if (auto *row = qobject_cast<CommandRow *>(w)) {
            switch (action) {
            case moveUp:
                row->moveUp();
                break;
            case moveDown:
                row->moveDown();
                break;
            default:
                row->remove();
                break;
            }
            return;
        }
    }
    QToolButton *button = action == moveUp ? m_up : action == moveDown ? m_down : m_delete;
    if (button->isEnabled())
        button->click();
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
