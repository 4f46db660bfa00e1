#include "EditorView.h"

#include "BrandColors.h"
#include "CommandRow.h"
#include "ConfigEdits.h"
#include "ConfigStore.h"
#include "GroupEditor.h"
#include "LoginOptions.h"
#include "Platform.h"
#include "RunPlan.h"
#include "RunPreview.h"
#include "TerminalChoice.h"
#include "TerminalTable.h"
#include "UiKit.h"
#include "WrappingLabel.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QScopedValueRollback>
#include <QScrollArea>
#include <QScrollBar>
#include <QShowEvent>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

// Terminal and iTerm2, typed into command by command, exist on macOS only.
bool typedTerminalsExist(const Platform &platform)
{
    return platform.supports(TerminalApp::appleTerminal);
}

// Where commands are typed into a terminal one at a time (macOS), a slow command needs a delay
// after it. Elsewhere each window runs its commands as one line, the rest after `ssh` on the
// remote once it has connected, so that advice would only slow the windows down.
QString introText(bool typedTerminals)
{
    if (typedTerminals)
        return QStringLiteral(
            "Each group opens its own terminal window and types its commands in order. Add a "
            "delay after any command that needs time to finish — e.g. 2–3 seconds after "
            "<code>ssh</code> so it can connect before the next command is sent.");
    return QStringLiteral(
        "Each window opens in its own terminal and runs its commands in order, each after the "
        "one before has finished. When the first command is <code>ssh</code>, the rest run on "
        "the remote machine once it has connected: no delay is needed after it.");
}

// On macOS a warning that the chosen terminal works differently from Terminal and iTerm2; where
// every terminal works this way it is only a word on what the preview is.
QString noticeText(TerminalApp app, bool typedTerminals)
{
    if (!typedTerminals)
        return QStringLiteral("Corvane hands each window’s commands to ") + displayName(app) +
               QStringLiteral(" as one command line, shown in the window’s card. “Edit This "
                              "Command” lets you change it by hand.");
    return displayName(app) +
           QStringLiteral(" can’t be typed into one command at a time, so Corvane "
                          "automatically combines each window’s commands into a single "
                          "command, shown below. If a window’s first command opens an SSH "
                          "session, the rest run on the remote in your login shell. Your "
                          "line-by-line commands are kept — switch back to Terminal or "
                          "iTerm2 to edit them.");
}

// Where Terminal cannot exist, a machine without any known terminal would otherwise give no hint
// of what to do: the picker is hidden and a run names a terminal that cannot be installed.
QString noTerminalText()
{
    QStringList names;
    for (const TerminalTraits &row : terminalTable) {
        if (row.launchStyle != TerminalLaunchStyle::appleScript)
            names.append(qview(row.displayName).toString());
    }
    const QString last = names.takeLast();
    return QStringLiteral("Corvane found none of the terminal apps it can open. Install one of ") +
           names.join(QStringLiteral(", ")) + QStringLiteral(" or ") + last +
           QStringLiteral(", then open this window again.");
}

// The window colour with the mint laid over it, since a top-level background cannot be
// translucent.
QColor mintBackground(const QPalette &palette)
{
    const QColor base = palette.color(QPalette::Window);
    const QColor mint = brandMint();
    const qreal a = 0.28;
    return QColor::fromRgbF(float(base.redF() * (1 - a) + mint.redF() * a),
                            float(base.greenF() * (1 - a) + mint.greenF() * a),
                            float(base.blueF() * (1 - a) + mint.blueF() * a));
}

} // namespace

EditorView::EditorView(ConfigStore &store, Platform &platform, QWidget *parent)
    : QWidget(parent), m_store(store), m_platform(platform), m_scroll(new QScrollArea(this)),
      m_pickerRow(new QWidget), m_picker(new QComboBox), m_notice(new WrappingLabel),
      m_groupsLayout(new QVBoxLayout)
{
    setObjectName(QStringLiteral("editorWindow"));
    setWindowTitle(QStringLiteral("Corvane — Edit Commands"));
    setMinimumSize(560, 420);
    resize(620, 520);

    QPalette windowPalette = palette();
    windowPalette.setColor(QPalette::Window, mintBackground(windowPalette));
    setPalette(windowPalette);
    setAutoFillBackground(true);

    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    auto *scroll = m_scroll;
    scroll->setObjectName(QStringLiteral("editorScroll"));
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    auto *content = new QWidget;
    content->setObjectName(QStringLiteral("editorContent"));
    scroll->setWidget(content);
    // Let the mint show through the scroll area.
    scroll->viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
    outer->addWidget(scroll, 1);

    auto *stack = new QVBoxLayout(content);
    stack->setContentsMargins(20, 20, 20, 20);
    stack->setSpacing(14);

    auto *explanation = ui::secondaryLabel(introText(typedTerminalsExist(m_platform)),
                                           ui::TextStyle::callout, content, true);
    explanation->setObjectName(QStringLiteral("explanation"));
    explanation->setTextFormat(Qt::RichText);
    explanation->setContentsMargins(0, 0, 0, 4);
    stack->addWidget(explanation);

    m_pickerRow->setObjectName(QStringLiteral("terminalPickerRow"));
    auto *pickerLayout = new QHBoxLayout(m_pickerRow);
    pickerLayout->setContentsMargins(0, 0, 0, 4);
    auto *picker = new QWidget(m_pickerRow);
    picker->setMaximumWidth(320);
    auto *pickerInner = new QHBoxLayout(picker);
    pickerInner->setContentsMargins(0, 0, 0, 0);
    auto *pickerLabel = new QLabel(QStringLiteral("Terminal app:"), picker);
    pickerLabel->setBuddy(m_picker);
    m_picker->setObjectName(QStringLiteral("terminalPicker"));
    pickerInner->addWidget(pickerLabel);
    pickerInner->addWidget(m_picker, 1);
    pickerLayout->addWidget(picker, 1);
    pickerLayout->addStretch(0);
    stack->addWidget(m_pickerRow);

    m_typeThroughTmux =
        new QCheckBox(QStringLiteral("Type commands one at a time (through tmux)"), content);
    m_typeThroughTmux->setObjectName(QStringLiteral("typeThroughTmux"));
    m_typeThroughTmux->setToolTip(
        QStringLiteral("Each window becomes a tmux session and its commands are typed into its "
                       "shell one after the other, so they can go into a program an earlier "
                       "command started (python3, ssh, sudo -i) and land in your history."));
    stack->addWidget(m_typeThroughTmux);
    connect(m_typeThroughTmux, &QCheckBox::toggled, this, [this](bool on) {
        edit([on](AppConfig &c) { c.typing = on ? QStringLiteral("tmux") : QString(); });
    });

    m_notice->setObjectName(QStringLiteral("combineNotice"));
    m_notice->setTextFormat(Qt::PlainText);
    m_notice->setContentsMargins(0, 0, 0, 4);
    ui::applyTextStyle(m_notice, ui::TextStyle::callout);
    stack->addWidget(m_notice);

    m_groupsLayout->setContentsMargins(0, 0, 0, 0);
    m_groupsLayout->setSpacing(14);
    stack->addLayout(m_groupsLayout);

    m_addWindow = ui::accentButton(QStringLiteral("addWindow"), QStringLiteral("Add Window"),
                                   QStringLiteral("window-new"), content);
    m_addWindow->setFont(content->font()); // the one accent button in the body size
    stack->addWidget(m_addWindow, 0, Qt::AlignLeft);
    stack->addStretch(1);

    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    outer->addWidget(divider);

    auto *footer = new QHBoxLayout;
    footer->setContentsMargins(20, 8, 20, 8);
    footer->setSpacing(6);
    m_savedDot = new QWidget(this);
    m_savedDot->setFixedSize(6, 6);
    footer->addWidget(m_savedDot, 0, Qt::AlignVCenter);
    m_savedNote = ui::secondaryLabel({}, ui::TextStyle::caption, this, true);
    m_savedNote->setObjectName(QStringLiteral("savedNote"));
    m_savedNote->setTextFormat(Qt::PlainText);
    footer->addWidget(m_savedNote, 1);
    m_loginOptions = new LoginOptions(m_platform, this);
    footer->addWidget(m_loginOptions);
    outer->addLayout(footer);

    connect(&m_store, &ConfigStore::configChanged, this, &EditorView::onConfigChanged);
    connect(&m_store, &ConfigStore::saveErrorChanged, this, &EditorView::showSaveState);
    connect(m_picker, &QComboBox::activated, this, [this](int index) {
        if (index >= 0 && index < m_pickerEntries.size())
            edit([&](AppConfig &c) { c.terminalApp = m_pickerEntries.at(index); });
    });
    auto *close = new QAction(this);
    close->setShortcuts({QKeySequence::Close, QKeySequence(Qt::Key_Escape)});
    addAction(close);
    connect(close, &QAction::triggered, this, &QWidget::close);

    // The fields' own undo would take these keys first and know nothing of the rest; the window
    // looks at them before any field does.
    qApp->installEventFilter(this);
    // Typing merges into one undo step only while the focus stays in one field.
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) {
        m_history.stopMerging();
        if (now && now->window() == this && now->testAttribute(Qt::WA_InputMethodEnabled))
            m_lastField = now;
    });

    connect(m_addWindow, &QToolButton::clicked, this, [this] {
        edit([](AppConfig &c) { edits::addGroup(c.groups); });
        // The new group is where the user goes next: its name takes the keys, and once the
        // layout has placed it, the scroll area shows it. Typing replaces its made-up name.
        GroupEditor *added = m_groupEditors.ordered().last();
        added->focusName(true);
        QTimer::singleShot(0, added, [this, added] { m_scroll->ensureWidgetVisible(added); });
    });

    m_installed = installedTerminals(m_platform);
    m_tmuxInstalled = m_platform.programPath(QStringLiteral("tmux")).has_value();
    sync();
    showSaveState();
}

QList<GroupEditor *> EditorView::groupEditors() const
{
    return m_groupEditors.ordered();
}

void EditorView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Restoring a minimized window is not a new appearance.
    if (event->spontaneous())
        return;
    m_saving = true;
    // Looked up once per opening: a lookup walks PATH for every terminal, too slow per keystroke.
    m_installed = installedTerminals(m_platform);
    m_tmuxInstalled = m_platform.programPath(QStringLiteral("tmux")).has_value();
    sync();
    // Every opening starts like a fresh window: at the top, typing into the first name.
    m_scroll->verticalScrollBar()->setValue(0);
    if (const QList<GroupEditor *> groups = m_groupEditors.ordered(); !groups.isEmpty())
        groups.first()->focusName(!m_store.hasFile()); // a first start's made-up name
    const auto replacement = replacementTerminal(m_store.config().terminalApp, m_installed,
                                                 fallbackCandidates(m_platform));
    if (replacement) {
        // Saved through onConfigChanged like any edit (though not the user's to undo), except
        // that opening never creates config.json: a first start stays one until something changes.
        const QScopedValueRollback saving(m_saving, m_saving && m_store.hasFile());
        m_store.update([&](AppConfig &c) { c.terminalApp = *replacement; });
    }
    // A save that failed before may work now (a folder made writable); the user sees which.
    else if (!m_store.saveError().isEmpty())
        m_store.save();
}

void EditorView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        m_saving = false;
}

bool EditorView::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::ShortcutOverride && type != QEvent::KeyPress)
        return false;
    const auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget || widget->window() != this)
        return false;
    auto *key = static_cast<QKeyEvent *>(event);
    const bool undoKey = key->matches(QKeySequence::Undo);
    const bool redoKey = key->matches(QKeySequence::Redo) ||
                         key->keyCombination() == QKeyCombination(Qt::ControlModifier, Qt::Key_Y);
    if (!undoKey && !redoKey)
        return false;
    // Accepting the override turns the shortcut into a key press, which comes here next.
    key->accept();
    if (type == QEvent::KeyPress)
        undoKey ? undo() : redo();
    return true;
}

// Tab follows the steps' order by itself rather than through Qt's focus chain: linking every row
// of a large window into that chain costs minutes in Qt 6.4, and most rows exist only once they
// are needed (see StepList).
bool EditorView::focusNextPrevChild(bool next)
{
    QList<QWidget *> places{m_picker, m_typeThroughTmux};
    for (GroupEditor *group : m_groupEditors.ordered())
        places.append(group);
    places.append(m_addWindow);
    for (QWidget *w : m_loginOptions->findChildren<QWidget *>())
        places.append(w);
    QWidget *focus = QApplication::focusWidget();
    qsizetype at = -1;
    for (qsizetype i = 0; focus && at < 0 && i < places.size(); ++i) {
        if (places.at(i) == focus || places.at(i)->isAncestorOf(focus))
            at = i;
    }
    const auto reveal = [this] {
        if (QWidget *now = QApplication::focusWidget(); now && m_scroll->isAncestorOf(now))
            m_scroll->ensureWidgetVisible(now);
        return true;
    };
    if (auto *group = qobject_cast<GroupEditor *>(at < 0 ? nullptr : places.at(at));
        group && group->focusNextStop(next))
        return reveal();
    if (at < 0)
        at = next ? -1 : places.size();
    const qsizetype size = places.size();
    for (qsizetype n = 1; n <= size; ++n) {
        QWidget *place = places.at(((at + (next ? n : -n)) % size + size) % size);
        if (auto *group = qobject_cast<GroupEditor *>(place)) {
            if (group->isVisible() && group->focusEdge(next))
                return reveal();
        } else if (ui::takesTab(place)) {
            place->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            return reveal();
        }
    }
    return false;
}

void EditorView::undo()
{
    restore(m_history.undo(m_store.config(), m_lastField));
}

void EditorView::redo()
{
    restore(m_history.redo(m_store.config(), m_lastField));
}

void EditorView::edit(const std::function<void(AppConfig &)> &change)
{
    const AppConfig before = m_store.config();
    m_editing = true;
    const bool changed = m_store.update(change);
    m_editing = false;
    if (changed)
        m_history.record(before, m_lastField, typingKey(before));
}

// The field being typed into, when this edit only changed what it holds: the key that merges
// keystrokes into one undo step. Adding, removing or moving anything, switching a group to or from
// its custom command or choosing a terminal stands alone.
const void *EditorView::typingKey(const AppConfig &before) const
{
    QWidget *focus = QApplication::focusWidget();
    if (!focus || focus->window() != this || !focus->testAttribute(Qt::WA_InputMethodEnabled))
        return nullptr;
    const AppConfig &after = m_store.config();
    if (before.terminalApp != after.terminalApp || before.groups.size() != after.groups.size())
        return nullptr;
    for (qsizetype i = 0; i < before.groups.size(); ++i) {
        const TabGroup &a = before.groups.at(i);
        const TabGroup &b = after.groups.at(i);
        if (a.id != b.id || a.packedOverride.has_value() != b.packedOverride.has_value() ||
            a.commands.size() != b.commands.size())
            return nullptr;
        for (qsizetype j = 0; j < a.commands.size(); ++j) {
            if (a.commands.at(j).id != b.commands.at(j).id)
                return nullptr;
        }
    }
    return focus;
}

void EditorView::restore(const std::optional<EditHistory::Snapshot> &snapshot)
{
    if (!snapshot)
        return;
    const AppConfig before = m_store.config();
    m_editing = true;
    m_store.setConfig(snapshot->config);
    m_editing = false;

    focusChange(before, snapshot->focus);
    if (QWidget *focus = QApplication::focusWidget(); focus && m_scroll->isAncestorOf(focus))
        QTimer::singleShot(0, focus, [this, focus] { m_scroll->ensureWidgetVisible(focus); });
}

// The keys go where the change shows: a window or command that came back or moved, else the
// field the user was in, else the first change.
void EditorView::focusChange(const AppConfig &before, QWidget *field)
{
    const QList<GroupEditor *> groups = m_groupEditors.ordered();
    GroupEditor *changed = nullptr;
    const TabGroup *changedFrom = nullptr;
    for (qsizetype i = 0; i < groups.size(); ++i) {
        GroupEditor *group = groups.at(i);
        const auto was = std::find_if(before.groups.begin(), before.groups.end(),
                                      [&](const TabGroup &g) { return g.id == group->groupId(); });
        if (was == before.groups.end() || was - before.groups.begin() != i) {
            group->focusName();
            return;
        }
        if (group->focusStepChange(*was, false))
            return;
        if (!changed && *was != m_store.config().groups.at(i)) {
            changed = group;
            changedFrom = &*was;
        }
    }
    if (field && field->isVisible())
        field->setFocus(Qt::OtherFocusReason);
    // The field may be gone with its row, dropped once scrolled far out of sight.
    else if (changed && !changed->focusStepChange(*changedFrom, true))
        changed->focusName();
}

void EditorView::onConfigChanged()
{
    // Undoing into a configuration that someone else replaced would bring back theirs.
    if (!m_editing)
        m_history.clear();
    if (m_saving)
        m_store.save();
    sync();
}

void EditorView::showSaveState()
{
    const QString error = m_store.saveError();
    // Until a save works again: nothing is lost from the editor, but the file is behind it.
    const QColor colour = error.isEmpty() ? brandAccent() : warningColor();
    m_savedDot->setStyleSheet(
        QStringLiteral("background: %1; border-radius: 3px;").arg(colour.name()));
    m_savedNote->setText(error.isEmpty() ? QStringLiteral("Saved automatically")
                                         : QStringLiteral("Not saved: ") + error);
    QPalette palette = m_savedNote->palette();
    palette.setColor(QPalette::WindowText,
                     error.isEmpty() ? palette.color(QPalette::PlaceholderText) : warningColor());
    m_savedNote->setPalette(palette);
}

void EditorView::sync()
{
    const AppConfig &config = m_store.config();
    syncPicker(m_installed, config.terminalApp);

    {
        const QSignalBlocker blocker(m_typeThroughTmux);
        m_typeThroughTmux->setChecked(config.typing == QStringLiteral("tmux"));
    }
    const TerminalTraits &row = traits(config.terminalApp);
    const bool typed = RunPlan::typesThroughTmux(config, row);
    // Also shown without tmux while the choice is made, so that it can be turned off again.
    m_typeThroughTmux->setVisible((m_tmuxInstalled || typed) &&
                                  row.launchStyle == TerminalLaunchStyle::packedScript);

    // Typed through tmux, the commands are not combined into one line.
    const bool combines = combinesCommands(config.terminalApp) && !typed;
    const bool noTerminal = m_installed.isEmpty() && !typedTerminalsExist(m_platform);
    m_notice->setVisible(combines || noTerminal);
    if (noTerminal)
        m_notice->setText(noTerminalText());
    else if (combines)
        m_notice->setText(noticeText(config.terminalApp, typedTerminalsExist(m_platform)));
    // A warning where something is wrong or differs from the usual; otherwise plain information.
    QPalette noticePalette = m_notice->palette();
    noticePalette.setColor(QPalette::WindowText, noTerminal || typedTerminalsExist(m_platform)
                                                     ? noticeOrange()
                                                     : palette().color(QPalette::PlaceholderText));
    m_notice->setPalette(noticePalette);

    syncGroups(typed);
}

void EditorView::syncPicker(const QList<TerminalApp> &installed, TerminalApp current)
{
    if (installed != m_pickerEntries) {
        const QSignalBlocker blocker(m_picker);
        m_picker->clear();
        for (TerminalApp app : installed)
            m_picker->addItem(displayName(app), rawValue(app));
        m_pickerEntries = installed;
    }
    m_pickerRow->setVisible(installed.size() >= 2);
    const int index = int(installed.indexOf(current));
    if (m_picker->currentIndex() != index) {
        const QSignalBlocker blocker(m_picker);
        m_picker->setCurrentIndex(index);
    }
}

void EditorView::syncGroups(bool typed)
{
    const AppConfig &config = m_store.config();
    QList<QUuid> order;
    for (const TabGroup &group : config.groups)
        order.append(group.id);
    m_groupEditors.sync(order, m_groupsLayout,
                        [this](const QUuid &id) { return makeGroupEditor(id); });

    const bool canDelete = config.groups.size() >= 2;
    // What a run will do with each window: its packed line, or what is typed through tmux.
    const QList<std::optional<QString>> previews = RunPreview::cardTexts(config, m_platform);
    for (qsizetype i = 0; i < config.groups.size(); ++i) {
        const TabGroup &group = config.groups.at(i);
        GroupEditor *editor = m_groupEditors.value(group.id);
        editor->setMoveLimits(i > 0, i + 1 < config.groups.size());
        editor->update(group, previews.at(i), typed, canDelete);
    }
}

GroupEditor *EditorView::makeGroupEditor(const QUuid &id)
{
    auto *editor = new GroupEditor(id);
    editor->setStepsAlwaysShown(!typedTerminalsExist(m_platform));
    connect(editor, &GroupEditor::groupEdited, this, [this, id](const TabGroup &group) {
        edit([&](AppConfig &c) { edits::editGroup(c, id, [&](TabGroup &g) { g = group; }); });
    });
    connect(editor, &GroupEditor::moveUpRequested, this,
            [this, id] { edit([&](AppConfig &c) { edits::moveGroup(c.groups, id, -1); }); });
    connect(editor, &GroupEditor::moveDownRequested, this,
            [this, id] { edit([&](AppConfig &c) { edits::moveGroup(c.groups, id, +1); }); });
    connect(editor, &GroupEditor::deleteRequested, this,
            [this, id] { edit([&](AppConfig &c) { edits::removeGroup(c.groups, id); }); });
    return editor;
}

} // namespace corvane
