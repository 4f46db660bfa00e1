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
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace Qt::StringLiterals;
using Terminals = QList<TerminalApp>;

namespace {

template <typename T = QToolButton> T *child(QWidget *parent, const QString &name)
{
    return parent->findChild<T *>(name);
}

void click(QWidget *parent, const QString &name)
{
    QTest::mouseClick(child(parent, name), Qt::LeftButton);
}

TabGroup group(const QString &name, const QStringList &commands, double delay = 0)
{
    TabGroup g;
    g.name = name;
    g.commands.clear();
    for (const QString &command : commands)
        g.commands.append(CommandStep{QUuid::createUuid(), command, delay});
    return g;
}

struct Fixture {
    explicit Fixture(const Terminals &installed = {TerminalApp::appleTerminal}) : store(dir.path())
    {
        for (TerminalApp app : installed)
            platform.install(bundleIdentifier(app));
    }

    void open(TerminalApp terminal, const QList<TabGroup> &groups = {group(u"W"_s, {u""_s})})
    {
        store.setConfig(AppConfig{terminal, groups});
        editor = std::make_unique<EditorView>(store, platform);
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
    }

    QByteArray file() const
    {
        QFile file(store.fileUrl());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QString names() const
    {
        QStringList names;
        for (const TabGroup &g : store.config().groups)
            names.append(g.name);
        return names.join(u',');
    }

    GroupEditor *card(int index) const { return editor->groupEditors().at(index); }
    QComboBox *picker() const { return child<QComboBox>(editor.get(), u"terminalPicker"_s); }
    void pick(int index) const { Q_EMIT picker()->activated(index); } // as a user's choice

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

    void savesChangesButNotTheInitialValue()
    {
        Fixture f;
        f.open(TerminalApp::appleTerminal, {group(u"Window 1"_s, {u""_s})});
        QVERIFY2(!QFile::exists(f.store.fileUrl()), "showing the editor must not write");

        // Each keystroke is saved, and the field keeps its focus and cursor through the save.
        QLineEdit *name = child<QLineEdit>(f.card(0), u"groupName"_s);
        QCOMPARE(f.editor->focusWidget(), name);
        QTest::keyClick(name, Qt::Key_Home);
        QTest::keyClicks(name, u"My "_s);
        QCOMPARE(name->text(), u"My Window 1"_s);
        QCOMPARE(name->cursorPosition(), 3);
        QCOMPARE(f.editor->focusWidget(), name);
        QVERIFY(f.file().contains("\"name\" : \"My Window 1\""));

        // Once closed, changes are no longer the editor's to save.
        f.editor->close();
        f.store.setConfig(AppConfig{TerminalApp::appleTerminal, {group(u"elsewhere"_s, {})}});
        QVERIFY(f.file().contains("\"name\" : \"My Window 1\""));
    }

    void terminalCheckOnAppearance_data()
    {
        QTest::addColumn<Terminals>("installed");
        QTest::addColumn<TerminalApp>("configured");
        QTest::addColumn<TerminalApp>("expected");
        QTest::newRow("installed stays") << Terminals{TerminalApp::kitty, TerminalApp::alacritty}
                                         << TerminalApp::alacritty << TerminalApp::alacritty;
        QTest::newRow("first installed") << Terminals{TerminalApp::alacritty, TerminalApp::ghostty}
                                         << TerminalApp::kitty << TerminalApp::ghostty;
        QTest::newRow("only one") << Terminals{TerminalApp::kitty} << TerminalApp::appleTerminal
                                  << TerminalApp::kitty;
        QTest::newRow("none") << Terminals{} << TerminalApp::wezterm << TerminalApp::appleTerminal;
    }

    void terminalCheckOnAppearance()
    {
        QFETCH(Terminals, installed);
        QFETCH(TerminalApp, configured);
        QFETCH(TerminalApp, expected);
        Fixture f(installed);
        f.open(configured);
        QCOMPARE(f.store.config().terminalApp, expected);
        QCOMPARE(f.file().contains(u"\"%1\""_s.arg(rawValue(expected)).toUtf8()),
                 configured != expected);
        QCOMPARE(child<QWidget>(f.editor.get(), u"terminalPickerRow"_s)->isVisible(),
                 installed.size() >= 2);
        // Every appearance checks again.
        f.editor->hide();
        f.platform.installed.remove(bundleIdentifier(expected));
        f.editor->show();
        QVERIFY(f.store.config().terminalApp != expected || expected == TerminalApp::appleTerminal);
    }

    void groupOperations()
    {
        Fixture f;
        f.open(TerminalApp::appleTerminal, {group(u"Window 1"_s, {u"a"_s})});
        QVERIFY(!child(f.card(0), u"groupDelete"_s)->isEnabled());
        click(f.card(0), u"groupUp"_s); // enabled at the ends, where it does nothing
        click(f.card(0), u"groupDown"_s);
        click(f.editor.get(), u"addWindow"_s);
        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(f.names(), u"Window 1,Window 2,Window 3"_s);
        QVERIFY(child(f.card(0), u"groupDelete"_s)->isEnabled());

        GroupEditor *first = f.card(0);
        click(first, u"groupDown"_s);
        click(f.card(2), u"groupDown"_s);
        QCOMPARE(f.names(), u"Window 2,Window 1,Window 3"_s);
        QCOMPARE(f.card(1), first); // cards follow their group, so focus survives a move

        // The count names the new group, so after a delete two groups share a name.
        click(f.card(1), u"groupDelete"_s);
        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(f.names(), u"Window 2,Window 3,Window 3"_s);
        click(f.card(0), u"groupDelete"_s);
        click(f.card(0), u"groupDelete"_s);
        QVERIFY(!child(f.card(0), u"groupDelete"_s)->isEnabled());
        QVERIFY(f.file().contains("\"name\" : \"Window 3\"") && !f.file().contains("Window 2"));
    }

    void stepOperations()
    {
        Fixture f;
        f.open(TerminalApp::appleTerminal, {group(u"W"_s, {u"first"_s})});
        GroupEditor *card = f.card(0);
        const auto canDelete = [&](int row) {
            return child(card->commandRows().at(row), u"stepDelete"_s)->isEnabled();
        };
        QVERIFY(!canDelete(0));
        click(card, u"addCommand"_s);
        CommandRow *added = card->commandRows().at(1);
        QCOMPARE(child<QLineEdit>(added, u"delayField"_s)->text(), u"0"_s);
        QVERIFY(canDelete(0) && canDelete(1));

        QTest::keyClicks(child<QLineEdit>(added, u"commandField"_s), u"  ls  "_s); // kept as typed
        click(added, u"stepUp"_s);
        click(added, u"stepUp"_s);
        QCOMPARE(f.store.config().groups[0].commands[0].command, u"  ls  "_s);
        QCOMPARE(card->commandRows().at(0), added);
        click(added, u"stepDelete"_s);
        QCOMPARE(f.store.config().groups[0].commands.size(), 1);
        QVERIFY(!canDelete(0));
    }

    void delayFieldInADecimalCommaLocale()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        Fixture f;
        f.open(TerminalApp::appleTerminal, {group(u"W"_s, {u"ssh box"_s}, 1.5)});
        auto *delay = child<QLineEdit>(f.card(0), u"delayField"_s);
        QCOMPARE(delay->text(), u"1,5"_s);
        // Letters and infinity never reach the file.
        for (const auto &[typed, stored] :
             {std::pair{u"-1"_s, -1.0}, {u"2,5"_s, 2.5}, {u"abc"_s, 2.5}, {u"inf"_s, 2.5}}) {
            delay->selectAll();
            QTest::keyClicks(delay, typed);
            QCOMPARE(f.store.config().groups[0].commands[0].delayAfter, stored);
        }
        Q_EMIT delay->editingFinished(); // the unparsable text gives way to the stored value
        QCOMPARE(delay->text(), u"2,5"_s);
        QVERIFY(f.file().contains("\"delayAfter\" : 2.5"));
    }

    void cardStates()
    {
        Fixture f({TerminalApp::appleTerminal, TerminalApp::kitty});
        f.open(TerminalApp::appleTerminal,
               {group(u"W"_s, {u"ssh box"_s, u"cd src"_s}, 2), group(u"Empty"_s, {u"  "_s})});
        GroupEditor *card = f.card(0);
        auto *notice = child<QLabel>(f.editor.get(), u"combineNotice"_s);
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QVERIFY(!notice->isVisible());

        f.pick(1);
        const QString packed = PackedCommandBuilder::packed(f.store.config().groups[0].commands);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QVERIFY(notice->text().startsWith(u"kitty can’t be typed into one command at a time"_s));
        QCOMPARE(child<QLabel>(card, u"previewText"_s)->text(), packed);
        QCOMPARE(child<QLabel>(f.card(1), u"previewText"_s)->text(), u"(no commands yet)"_s);
        QVERIFY(!child(f.card(1), u"editThisCommand"_s)->isEnabled());

        click(card, u"editThisCommand"_s);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(f.store.config().groups[0].packedOverride, packed);

        // Steps edited under Terminal leave the custom command as it was.
        f.pick(0);
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QTest::keyClicks(child<QLineEdit>(card->commandRows().at(1), u"commandField"_s), u";ls"_s);
        f.pick(1);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(f.store.config().groups[0].packedOverride, packed);

        // Cleared, it is still a custom command; only the reset goes back to the preview.
        auto *custom = child<QPlainTextEdit>(card, u"customCommand"_s);
        custom->selectAll();
        QTest::keyClick(custom, Qt::Key_Delete);
        QCOMPARE(f.store.config().groups[0].packedOverride, QString());
        QCOMPARE(card->state(), GroupEditor::State::custom);
        click(card, u"resetToAutomatic"_s);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QCOMPARE(f.store.config().groups[0].packedOverride, std::nullopt);
        QVERIFY(child<QLabel>(card, u"previewText"_s)->text().contains(u";ls"_s));
    }

    void opensAtTheTopWithTabInLayoutOrder()
    {
        Fixture f({TerminalApp::appleTerminal, TerminalApp::kitty});
        QList<TabGroup> groups;
        for (int i = 0; i < 6; ++i)
            groups.append(group(u"W"_s, {u"a"_s}));
        f.open(TerminalApp::appleTerminal, groups);
        click(f.card(0), u"addCommand"_s); // a row made later still tabs in its place

        QStringList chain;
        for (QWidget *w = f.picker(); w && w->objectName() != u"addWindow"_s;
             w = w->nextInFocusChain()) {
            if (w->focusPolicy() & Qt::TabFocus)
                chain.append(w->objectName());
        }
        QCOMPARE(chain.mid(0, 11),
                 (QStringList{u"terminalPicker"_s, u"groupName"_s, u"groupUp"_s, u"groupDown"_s,
                              u"groupDelete"_s, u"commandField"_s, u"delayField"_s, u"stepUp"_s,
                              u"stepDown"_s, u"stepDelete"_s, u"commandField"_s}));
        QCOMPARE(chain.count(u"groupName"_s), 6);

        // Reopened after working at the bottom: back at the top, typing into the first name.
        auto *scroll = child<QScrollArea>(f.editor.get(), u"editorScroll"_s)->verticalScrollBar();
        QVERIFY(scroll->maximum() > 0);
        child(f.editor.get(), u"addWindow"_s)->setFocus();
        scroll->setValue(scroll->maximum());
        f.editor->close();
        f.editor->show();
        QCOMPARE(scroll->value(), 0);
        QCOMPARE(f.editor->focusWidget(), child<QLineEdit>(f.card(0), u"groupName"_s));
    }
};

QTEST_MAIN(TestEditorView)
#include "tst_editorview.moc"
