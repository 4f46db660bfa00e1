#include "CommandRow.h"
#include "ConfigStore.h"
#include "EditorView.h"
#include "FakePlatform.h"
#include "GroupEditor.h"
#include "PackedCommandBuilder.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

template <typename T> T *child(QWidget *parent, const QString &name)
{
    T *widget = parent->findChild<T *>(name);
    if (!widget)
        qFatal("no child %s", qPrintable(name));
    return widget;
}

void click(QWidget *parent, const QString &name)
{
    QToolButton *button = child<QToolButton>(parent, name);
    QVERIFY2(button->isEnabled(), qPrintable(name));
    QTest::mouseClick(button, Qt::LeftButton);
}

CommandStep step(const QString &command, double delay = 0)
{
    return CommandStep{QUuid::createUuid(), command, delay};
}

TabGroup group(const QString &name, const QList<CommandStep> &steps)
{
    TabGroup g;
    g.name = name;
    g.commands = steps;
    return g;
}

QStringList groupNames(const AppConfig &config)
{
    QStringList names;
    for (const TabGroup &g : config.groups)
        names.append(g.name);
    return names;
}

// A store in a temporary folder, a platform with chosen terminals installed, and the editor.
struct Fixture {
    explicit Fixture(const QList<TerminalApp> &installed = {TerminalApp::appleTerminal})
        : store(dir.path())
    {
        for (TerminalApp app : installed)
            platform.install(bundleIdentifier(app));
    }

    void open(const AppConfig &config)
    {
        store.setConfig(config);
        editor = std::make_unique<EditorView>(store, platform);
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
    }

    QByteArray fileContent() const
    {
        QFile file(store.fileUrl());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    GroupEditor *card(int index) const { return editor->groupEditors().at(index); }

    QTemporaryDir dir;
    testing::FakePlatform platform;
    ConfigStore store;
    std::unique_ptr<EditorView> editor;
};

} // namespace

class TestEditorView final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void windowGeometryAndTitle()
    {
        Fixture f;
        f.open(AppConfig{});
        QCOMPARE(f.editor->windowTitle(), u"Corvane — Edit Commands"_s);
        QCOMPARE(f.editor->size(), QSize(620, 520));
        QCOMPARE(f.editor->minimumSize(), QSize(560, 420));
        QCOMPARE(child<QLabel>(f.editor.get(), u"savedNote"_s)->text(), u"Saved automatically"_s);
        QVERIFY(child<QLabel>(f.editor.get(), u"explanation"_s)
                    ->text()
                    .contains(u"<code>ssh</code>"_s));
    }

    void savesChangesButNotTheInitialValue()
    {
        Fixture f;
        QVERIFY(!QFile::exists(f.store.fileUrl()));
        f.open(AppConfig{});
        QVERIFY2(!QFile::exists(f.store.fileUrl()), "showing the editor must not write");

        QLineEdit *name = child<QLineEdit>(f.card(0), u"groupName"_s);
        QTest::keyClicks(name, u"!"_s);
        QCOMPARE(f.store.config().groups[0].name, u"Window 1!"_s);
        QVERIFY(f.fileContent().contains("\"name\" : \"Window 1!\""));

        // Each keystroke is its own save, and the field keeps its cursor.
        QTest::keyClick(name, Qt::Key_Home);
        QTest::keyClicks(name, u"My "_s);
        QCOMPARE(name->text(), u"My Window 1!"_s);
        QCOMPARE(name->cursorPosition(), 3);
        QVERIFY(f.fileContent().contains("\"name\" : \"My Window 1!\""));

        // Once hidden, changes are no longer the editor's to save.
        f.editor->hide();
        AppConfig config = f.store.config();
        config.groups[0].name = u"changed elsewhere"_s;
        f.store.setConfig(config);
        QVERIFY(f.fileContent().contains("\"name\" : \"My Window 1!\""));
    }

    void terminalCheckOnAppearance_data()
    {
        QTest::addColumn<QList<TerminalApp>>("installed");
        QTest::addColumn<TerminalApp>("configured");
        QTest::addColumn<TerminalApp>("expected");
        QTest::newRow("installed stays")
            << QList<TerminalApp>{TerminalApp::kitty, TerminalApp::alacritty}
            << TerminalApp::alacritty << TerminalApp::alacritty;
        QTest::newRow("first installed in order")
            << QList<TerminalApp>{TerminalApp::alacritty, TerminalApp::ghostty}
            << TerminalApp::kitty << TerminalApp::ghostty;
        QTest::newRow("none installed")
            << QList<TerminalApp>{} << TerminalApp::wezterm << TerminalApp::appleTerminal;
    }

    void terminalCheckOnAppearance()
    {
        QFETCH(QList<TerminalApp>, installed);
        QFETCH(TerminalApp, configured);
        QFETCH(TerminalApp, expected);
        Fixture f(installed);
        AppConfig config;
        config.terminalApp = configured;
        f.open(config);
        QCOMPARE(f.store.config().terminalApp, expected);
        const bool switched = configured != expected;
        QCOMPARE(QFile::exists(f.store.fileUrl()), switched);
        if (switched) {
            QVERIFY(f.fileContent().contains(
                u"\"terminalApp\" : \"%1\""_s.arg(rawValue(expected)).toUtf8()));
        }

        // Each appearance checks again: a terminal gone while the window was closed is replaced.
        if (installed.size() >= 2) {
            f.editor->hide();
            f.platform.installed.remove(bundleIdentifier(f.store.config().terminalApp));
            f.editor->show();
            QVERIFY(f.store.config().terminalApp != expected);
        }
    }

    void pickerListsInstalledTerminals()
    {
        Fixture f({TerminalApp::alacritty, TerminalApp::kitty, TerminalApp::ghostty});
        AppConfig config;
        config.terminalApp = TerminalApp::kitty;
        f.open(config);
        auto *picker = child<QComboBox>(f.editor.get(), u"terminalPicker"_s);
        QVERIFY(child<QWidget>(f.editor.get(), u"terminalPickerRow"_s)->isVisible());
        QStringList entries;
        for (int i = 0; i < picker->count(); ++i)
            entries.append(picker->itemText(i));
        QCOMPARE(entries, (QStringList{u"Ghostty"_s, u"kitty"_s, u"Alacritty"_s}));
        QCOMPARE(picker->currentText(), u"kitty"_s);

        auto *notice = child<QLabel>(f.editor.get(), u"combineNotice"_s);
        QVERIFY(notice->isVisible());
        QVERIFY(notice->text().startsWith(u"kitty can’t be typed into one command at a time"_s));
        QVERIFY(notice->text().endsWith(
            u"Your line-by-line commands are kept — switch back to Terminal or iTerm2 to edit them."_s));

        picker->setCurrentIndex(0);
        Q_EMIT picker->activated(0);
        QCOMPARE(f.store.config().terminalApp, TerminalApp::ghostty);
        QVERIFY(notice->text().startsWith(u"Ghostty can’t"_s));
        QVERIFY(f.fileContent().contains("\"terminalApp\" : \"ghostty\""));
    }

    void pickerHiddenWithOneTerminal()
    {
        Fixture f({TerminalApp::kitty});
        AppConfig config;
        config.terminalApp = TerminalApp::kitty;
        f.open(config);
        QVERIFY(!child<QWidget>(f.editor.get(), u"terminalPickerRow"_s)->isVisible());
    }

    void groupOperations()
    {
        Fixture f;
        AppConfig config;
        config.groups = {group(u"Window 1"_s, {step(u"a"_s)})};
        f.open(config);

        // The only group cannot be deleted; its moves do nothing.
        QVERIFY(!child<QToolButton>(f.card(0), u"groupDelete"_s)->isEnabled());
        click(f.card(0), u"groupUp"_s);
        click(f.card(0), u"groupDown"_s);
        QCOMPARE(groupNames(f.store.config()), QStringList{u"Window 1"_s});

        click(f.editor.get(), u"addWindow"_s);
        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(groupNames(f.store.config()),
                 (QStringList{u"Window 1"_s, u"Window 2"_s, u"Window 3"_s}));
        for (GroupEditor *card : f.editor->groupEditors())
            QVERIFY(child<QToolButton>(card, u"groupDelete"_s)->isEnabled());

        // Moves swap neighbours and do nothing at the ends; cards follow, by identity.
        GroupEditor *first = f.card(0);
        click(first, u"groupUp"_s);
        QCOMPARE(f.card(0), first);
        click(first, u"groupDown"_s);
        QCOMPARE(groupNames(f.store.config()),
                 (QStringList{u"Window 2"_s, u"Window 1"_s, u"Window 3"_s}));
        QCOMPARE(f.card(1), first);
        click(f.card(2), u"groupDown"_s);
        QCOMPARE(groupNames(f.store.config()),
                 (QStringList{u"Window 2"_s, u"Window 1"_s, u"Window 3"_s}));

        // Deleting the middle one, then adding: the count names the new one, so names repeat.
        click(f.card(1), u"groupDelete"_s);
        QCOMPARE(groupNames(f.store.config()), (QStringList{u"Window 2"_s, u"Window 3"_s}));
        QTRY_COMPARE(f.editor->findChildren<GroupEditor *>().size(), 2);
        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(groupNames(f.store.config()),
                 (QStringList{u"Window 2"_s, u"Window 3"_s, u"Window 3"_s}));

        click(f.card(0), u"groupDelete"_s);
        click(f.card(0), u"groupDelete"_s);
        QCOMPARE(f.store.config().groups.size(), 1);
        QVERIFY(!child<QToolButton>(f.card(0), u"groupDelete"_s)->isEnabled());
        // The file follows every one of these.
        QVERIFY(f.fileContent().contains("\"name\" : \"Window 3\""));
        QVERIFY(!f.fileContent().contains("\"name\" : \"Window 2\""));
    }

    void stepOperations()
    {
        Fixture f;
        AppConfig config;
        config.groups = {group(u"W"_s, {step(u"first"_s)})};
        f.open(config);
        GroupEditor *card = f.card(0);
        QCOMPARE(card->state(), GroupEditor::State::steps);

        CommandRow *only = card->commandRows().at(0);
        QVERIFY(!child<QToolButton>(only, u"stepDelete"_s)->isEnabled());
        click(only, u"stepUp"_s);
        click(only, u"stepDown"_s);
        QCOMPARE(f.store.config().groups[0].commands.size(), 1);

        click(card, u"addCommand"_s);
        QCOMPARE(card->commandRows().size(), 2);
        CommandRow *added = card->commandRows().at(1);
        QCOMPARE(child<QLineEdit>(added, u"commandField"_s)->text(), QString());
        QCOMPARE(child<QLineEdit>(added, u"commandField"_s)->placeholderText(),
                 u"Command, e.g. ssh mydevbox"_s);
        QCOMPARE(child<QLineEdit>(added, u"delayField"_s)->text(), u"0"_s);
        QVERIFY(child<QToolButton>(only, u"stepDelete"_s)->isEnabled());
        QVERIFY(child<QToolButton>(added, u"stepDelete"_s)->isEnabled());

        // Typed as is, blanks included; the row stays the same widget while typing.
        QLineEdit *command = child<QLineEdit>(added, u"commandField"_s);
        QTest::keyClicks(command, u"  ls  "_s);
        QCOMPARE(f.store.config().groups[0].commands[1].command, u"  ls  "_s);
        QCOMPARE(card->commandRows().at(1), added);

        click(added, u"stepUp"_s);
        QCOMPARE(f.store.config().groups[0].commands[0].command, u"  ls  "_s);
        QCOMPARE(card->commandRows().at(0), added);
        click(added, u"stepUp"_s);
        QCOMPARE(f.store.config().groups[0].commands[0].command, u"  ls  "_s);

        click(added, u"stepDelete"_s);
        QCOMPARE(f.store.config().groups[0].commands.size(), 1);
        QCOMPARE(f.store.config().groups[0].commands[0].command, u"first"_s);
        QTRY_COMPARE(card->findChildren<CommandRow *>().size(), 1);
        QVERIFY(!child<QToolButton>(card->commandRows().at(0), u"stepDelete"_s)->isEnabled());
    }

    void delayFieldUsesTheLocale()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        Fixture f;
        AppConfig config;
        config.groups = {group(u"W"_s, {step(u"ssh box"_s, 1.5)})};
        f.open(config);
        CommandRow *row = f.card(0)->commandRows().at(0);
        QLineEdit *delay = child<QLineEdit>(row, u"delayField"_s);
        QCOMPARE(delay->text(), u"1,5"_s);
        QCOMPARE(delay->placeholderText(), u"0"_s);
        QCOMPARE(delay->width(), 44);

        delay->selectAll();
        QTest::keyClicks(delay, u"2,5"_s);
        QCOMPARE(f.store.config().groups[0].commands[0].delayAfter, 2.5);
        QVERIFY(f.fileContent().contains("\"delayAfter\" : 2.5"));

        // Letters never change the stored delay; finishing the edit shows the stored value again.
        delay->selectAll();
        QTest::keyClicks(delay, u"abc"_s);
        QCOMPARE(f.store.config().groups[0].commands[0].delayAfter, 2.5);
        Q_EMIT delay->editingFinished();
        QCOMPARE(delay->text(), u"2,5"_s);

        delay->selectAll();
        QTest::keyClicks(delay, u"-1"_s);
        QCOMPARE(f.store.config().groups[0].commands[0].delayAfter, -1.0);
    }

    void cardStates()
    {
        Fixture f({TerminalApp::appleTerminal, TerminalApp::kitty});
        AppConfig config;
        config.groups = {group(u"W"_s, {step(u"ssh box"_s, 2), step(u"cd src"_s)}),
                         group(u"Empty"_s, {step(u"  "_s)})};
        f.open(config);
        GroupEditor *card = f.card(0);
        GroupEditor *empty = f.card(1);
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QVERIFY(child<QWidget>(card, u"stepsBody"_s)->isVisible());
        QVERIFY(!child<QLabel>(f.editor.get(), u"combineNotice"_s)->isVisible());

        auto *picker = child<QComboBox>(f.editor.get(), u"terminalPicker"_s);
        picker->setCurrentIndex(1);
        Q_EMIT picker->activated(1);
        QCOMPARE(f.store.config().terminalApp, TerminalApp::kitty);

        // Preview: the packed command of the steps, and nothing to edit when there is none.
        const QString packed = PackedCommandBuilder::packed(f.store.config().groups[0].commands);
        QVERIFY(!packed.isEmpty());
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QVERIFY(!child<QWidget>(card, u"stepsBody"_s)->isVisible());
        QCOMPARE(child<QLabel>(card, u"previewText"_s)->text(), packed);
        QCOMPARE(child<QLabel>(empty, u"previewText"_s)->text(), u"(no commands yet)"_s);
        QVERIFY(!child<QToolButton>(empty, u"editThisCommand"_s)->isEnabled());

        // Custom: starts as an exact copy of the preview.
        click(card, u"editThisCommand"_s);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(f.store.config().groups[0].packedOverride, std::optional<QString>(packed));
        auto *custom = child<QPlainTextEdit>(card, u"customCommand"_s);
        QCOMPARE(custom->toPlainText(), packed);
        QVERIFY(custom->isVisible());

        // Steps come back for Terminal; the custom command stays and is not touched by edits.
        picker->setCurrentIndex(0);
        Q_EMIT picker->activated(0);
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QTest::keyClicks(child<QLineEdit>(card->commandRows().at(1), u"commandField"_s),
                         u" && ls"_s);
        picker->setCurrentIndex(1);
        Q_EMIT picker->activated(1);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(f.store.config().groups[0].packedOverride, std::optional<QString>(packed));

        // Clearing leaves an empty custom command; only the reset leaves the Custom state.
        custom->selectAll();
        QTest::keyClick(custom, Qt::Key_Delete);
        QCOMPARE(f.store.config().groups[0].packedOverride, std::optional<QString>(QString()));
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QTest::keyClicks(custom, u"ssh other"_s);
        QCOMPARE(f.store.config().groups[0].packedOverride, std::optional<QString>(u"ssh other"_s));
        QVERIFY(f.fileContent().contains("ssh other"));

        click(card, u"resetToAutomatic"_s);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QCOMPARE(f.store.config().groups[0].packedOverride, std::nullopt);
        QCOMPARE(child<QLabel>(card, u"previewText"_s)->text(),
                 PackedCommandBuilder::packed(f.store.config().groups[0].commands));
        QVERIFY(child<QLabel>(card, u"previewText"_s)->text().contains(u"&& ls"_s));
    }
};

QTEST_MAIN(TestEditorView)
#include "tst_editorview.moc"
