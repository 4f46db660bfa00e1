#include "EditorView.h"

#include "BrandColors.h"
#include "ConfigEdits.h"
#include "ConfigStore.h"
#include "GroupEditor.h"
#include "LoginOptions.h"
#include "PackedCommandBuilder.h"
#include "Platform.h"
#include "TerminalTable.h"
#include "UiKit.h"
#include "WrappingLabel.h"

#include <QAction>
#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QShowEvent>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

// Where Terminal and iTerm2 do not exist, the last sentence would send the user nowhere.
QString noticeText(TerminalApp app, bool canTypeIntoTerminals)
{
    QString text = displayName(app) +
                   QStringLiteral(" can’t be typed into one command at a time, so Corvane "
                                  "automatically combines each window’s commands into a single "
                                  "command, shown below. If a window’s first command opens an SSH "
                                  "session, the rest run on the remote in your login shell.");
    if (canTypeIntoTerminals)
        text += QStringLiteral(" Your line-by-line commands are kept — switch back to Terminal or "
                               "iTerm2 to edit them.");
    return text;
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
      m_cardsLayout(new QVBoxLayout)
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
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
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

    auto *explanation = ui::secondaryLabel(
        QStringLiteral("Each group opens its own terminal window and types its commands in order. "
                       "Add a delay after any command that needs time to finish — e.g. 2–3 "
                       "seconds after <code>ssh</code> so it can connect before the next command "
                       "is sent."),
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

    m_notice->setObjectName(QStringLiteral("combineNotice"));
    m_notice->setTextFormat(Qt::PlainText);
    m_notice->setContentsMargins(0, 0, 0, 4);
    ui::applyTextStyle(m_notice, ui::TextStyle::callout);
    QPalette noticePalette = m_notice->palette();
    noticePalette.setColor(QPalette::WindowText, QColor(0xE0, 0x7A, 0x00));
    m_notice->setPalette(noticePalette);
    stack->addWidget(m_notice);

    m_cardsLayout->setContentsMargins(0, 0, 0, 0);
    m_cardsLayout->setSpacing(14);
    stack->addLayout(m_cardsLayout);

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
    auto *dot = new QWidget(this);
    dot->setFixedSize(6, 6);
    dot->setStyleSheet(
        QStringLiteral("background: %1; border-radius: 3px;").arg(brandAccent().name()));
    footer->addWidget(dot, 0, Qt::AlignVCenter);
    auto *saved =
        ui::secondaryLabel(QStringLiteral("Saved automatically"), ui::TextStyle::caption, this);
    saved->setObjectName(QStringLiteral("savedNote"));
    footer->addWidget(saved);
    footer->addStretch(1);
    footer->addWidget(new LoginOptions(m_platform, this));
    outer->addLayout(footer);

    connect(&m_store, &ConfigStore::configChanged, this, &EditorView::onConfigChanged);
    connect(m_picker, &QComboBox::activated, this, [this](int index) {
        if (index < 0 || index >= m_pickerEntries.size())
            return;
        AppConfig config = m_store.config();
        config.terminalApp = m_pickerEntries.at(index);
        m_store.setConfig(config);
    });
    auto *close = new QAction(this);
    close->setShortcut(QKeySequence::Close);
    addAction(close);
    connect(close, &QAction::triggered, this, &QWidget::close);

    connect(m_addWindow, &QToolButton::clicked, this, [this] {
        AppConfig config = m_store.config();
        edits::addGroup(config.groups);
        m_store.setConfig(config);
        // The new card is where the user goes next: its name takes the keys, and once the layout
        // has placed it, the scroll area shows it. Typing replaces its made-up name.
        GroupEditor *card = m_cards.ordered().last();
        card->focusName(true);
        QTimer::singleShot(0, card, [this, card] { m_scroll->ensureWidgetVisible(card); });
    });

    m_installed = edits::installedTerminals(m_platform);
    sync();
}

QList<GroupEditor *> EditorView::groupEditors() const
{
    return m_cards.ordered();
}

void EditorView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Restoring a minimized window is not a new appearance.
    if (event->spontaneous())
        return;
    m_saving = true;
    // Looked up once per opening: a lookup walks PATH for every terminal, too slow per keystroke.
    m_installed = edits::installedTerminals(m_platform);
    sync();
    // Every opening starts like a fresh window: at the top, typing into the first name.
    m_scroll->verticalScrollBar()->setValue(0);
    if (const QList<GroupEditor *> cards = m_cards.ordered(); !cards.isEmpty())
        cards.first()->focusName();
    const auto replacement = edits::replacementTerminal(m_store.config().terminalApp, m_installed,
                                                        edits::fallbackCandidates(m_platform));
    if (replacement) {
        AppConfig config = m_store.config();
        config.terminalApp = *replacement;
        m_store.setConfig(config); // saved through onConfigChanged like any edit
    }
}

void EditorView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        m_saving = false;
}

void EditorView::onConfigChanged()
{
    if (m_saving)
        m_store.save();
    sync();
}

void EditorView::sync()
{
    const AppConfig &config = m_store.config();
    syncPicker(m_installed, config.terminalApp);

    const bool combines = combinesCommands(config.terminalApp);
    const bool noTerminal = m_installed.isEmpty() && !m_platform.canTypeIntoTerminals();
    m_notice->setVisible(combines || noTerminal);
    if (noTerminal)
        m_notice->setText(noTerminalText());
    else if (combines)
        m_notice->setText(noticeText(config.terminalApp, m_platform.canTypeIntoTerminals()));

    syncCards();
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

void EditorView::syncCards()
{
    const AppConfig &config = m_store.config();
    QList<QUuid> order;
    for (const TabGroup &group : config.groups)
        order.append(group.id);
    const bool reordered =
        m_cards.sync(order, m_cardsLayout, [this](const QUuid &id) { return makeCard(id); });

    const bool combines = combinesCommands(config.terminalApp);
    const bool canDelete = config.groups.size() >= 2;
    for (qsizetype i = 0; i < config.groups.size(); ++i) {
        const TabGroup &group = config.groups.at(i);
        std::optional<QString> preview;
        if (combines)
            preview = PackedCommandBuilder::packed(group, m_platform.windowShell());
        GroupEditor *card = m_cards.value(group.id);
        card->setMoveLimits(i > 0, i + 1 < config.groups.size());
        card->update(group, preview, canDelete);
    }
    // After the updates, which may have added step rows inside the cards.
    if (reordered)
        ui::chainTabOrder(QList<QWidget *>{m_picker} + m_cards.tabStops() +
                          QList<QWidget *>{m_addWindow});
}

GroupEditor *EditorView::makeCard(const QUuid &id)
{
    auto *card = new GroupEditor(id);
    card->setStepsAlwaysShown(!m_platform.canTypeIntoTerminals());
    const auto apply = [this](const std::function<void(AppConfig &)> &edit) {
        AppConfig config = m_store.config();
        edit(config);
        m_store.setConfig(config);
    };
    connect(card, &GroupEditor::groupEdited, this, [apply, id](const TabGroup &group) {
        apply([&](AppConfig &c) { edits::editGroup(c, id, [&](TabGroup &g) { g = group; }); });
    });
    connect(card, &GroupEditor::moveUpRequested, this,
            [apply, id] { apply([&](AppConfig &c) { edits::moveGroup(c.groups, id, -1); }); });
    connect(card, &GroupEditor::moveDownRequested, this,
            [apply, id] { apply([&](AppConfig &c) { edits::moveGroup(c.groups, id, +1); }); });
    connect(card, &GroupEditor::deleteRequested, this,
            [apply, id] { apply([&](AppConfig &c) { edits::removeGroup(c.groups, id); }); });
    return card;
}

} // namespace corvane
