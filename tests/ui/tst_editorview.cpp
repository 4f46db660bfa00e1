#include "CommandRow.h"
#include "ConfigStore.h"
#include "EditorView.h"
#include "FakePlatform.h"
#include "GroupEditor.h"
#include "PackedCommandBuilder.h"
#include "ShownTextEdit.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>
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

// An editor shown over a fresh store, with the given terminals installed.
struct Fixture {
    Fixture(const QList<TabGroup> &groups, TerminalApp terminal = TerminalApp::appleTerminal,
            const Terminals &installed = {TerminalApp::appleTerminal},
            const std::function<void(testing::FakePlatform &)> &configure = {})
        : store(dir.path())
    {
        for (TerminalApp app : installed)
            platform.install(bundleIdentifier(app));
        if (configure)
            configure(platform);
        store.setConfig(AppConfig{terminal, groups});
        editor = std::make_unique<EditorView>(store, platform);
        editor->show();
        if (!QTest::qWaitForWindowExposed(editor.get()))
            QTest::qFail("the editor was never shown", __FILE__, __LINE__);
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

    const QList<CommandStep> &steps() const { return store.config().groups[0].commands; }
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

    void savesChangesButNotTheInitialValue()
    {
        Fixture f({group(u"Window 1"_s, {u""_s})});
        QVERIFY2(!QFile::exists(f.store.fileUrl()), "showing the editor must not write");

        // Each keystroke is saved, and the field keeps its focus and cursor through the save.
        auto *name = child<QLineEdit>(f.card(0), u"groupName"_s);
        QCOMPARE(f.editor->focusWidget(), name);
        QTest::keyClick(name, Qt::Key_Home);
        QTest::keyClicks(name, u"My "_s);
        QCOMPARE(name->text(), u"My Window 1"_s);
        QCOMPARE(name->cursorPosition(), 3);
        QCOMPARE(f.editor->focusWidget(), name);
        QVERIFY(f.file().contains("\"name\" : \"My Window 1\""));
    }

    void terminalCheckOnAppearance_data()
    {
        using enum TerminalApp;
        QTest::addColumn<bool>("macOS");
        QTest::addColumn<Terminals>("preferred"); // by the desktop, most preferred first
        QTest::addColumn<Terminals>("installed");
        QTest::addColumn<TerminalApp>("configured");
        QTest::addColumn<TerminalApp>("expected");
        QTest::newRow("installed stays")
            << false << Terminals{} << Terminals{kitty, alacritty} << alacritty << alacritty;
        QTest::newRow("first installed")
            << false << Terminals{} << Terminals{alacritty, ghostty} << kitty << ghostty;
        QTest::newRow("only one") << false << Terminals{} << Terminals{kitty} << appleTerminal
                                  << kitty;
        QTest::newRow("desktop's own")
            << false << Terminals{foot, konsole, xterm} << Terminals{kitty, xterm, konsole}
            << appleTerminal << konsole;
        QTest::newRow("none") << false << Terminals{xterm} << Terminals{} << wezterm
                              << appleTerminal;
        QTest::newRow("macOS: Terminal")
            << true << Terminals{} << Terminals{iterm2, kitty} << wezterm << appleTerminal;
    }

    void terminalCheckOnAppearance()
    {
        QFETCH(bool, macOS);
        QFETCH(Terminals, preferred);
        QFETCH(Terminals, installed);
        QFETCH(TerminalApp, configured);
        QFETCH(TerminalApp, expected);
        Fixture f({group(u"W"_s, {u""_s})}, configured, installed, [&](auto &platform) {
            platform.typesIntoTerminals = macOS;
            for (TerminalApp app : preferred)
                platform.preferred.append(bundleIdentifier(app));
        });
        QCOMPARE(f.store.config().terminalApp, expected);
        QCOMPARE(f.file().contains(u"\"%1\""_s.arg(rawValue(expected)).toUtf8()),
                 configured != expected);
        QCOMPARE(child<QWidget>(f.editor.get(), u"terminalPickerRow"_s)->isVisible(),
                 installed.size() >= 2);
        // Without Terminal to fall back on, no terminal at all needs saying what to do.
        auto *notice = child<QLabel>(f.editor.get(), u"combineNotice"_s);
        QCOMPARE(notice->isVisible() && notice->text().contains(u"XTerm or foot, then open"_s),
                 installed.isEmpty() && !macOS);
        // Every appearance checks again.
        f.editor->hide();
        f.platform.installed.remove(bundleIdentifier(expected));
        f.editor->show();
        QVERIFY(f.store.config().terminalApp != expected || expected == TerminalApp::appleTerminal);
    }

    void addMoveDeleteWithGuards()
    {
        Fixture f({group(u"Window 1"_s, {u"first"_s})});
        QVERIFY(!child(f.card(0), u"groupDelete"_s)->isEnabled());
        click(f.editor.get(), u"addWindow"_s);
        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(f.names(), u"Window 1,Window 2,Window 3"_s);
        QCOMPARE(f.editor->focusWidget(), child<QLineEdit>(f.card(2), u"groupName"_s));
        QCOMPARE(child<QLineEdit>(f.card(2), u"groupName"_s)->selectedText(), u"Window 3"_s);
        QVERIFY(child(f.card(0), u"groupDelete"_s)->isEnabled());

        GroupEditor *card = f.card(0);
        click(card, u"groupDown"_s);
        click(f.card(2), u"groupDown"_s);
        QCOMPARE(f.names(), u"Window 2,Window 1,Window 3"_s);
        QCOMPARE(f.card(1), card); // cards follow their group, so focus survives a move

        // The count names the new group, so after a delete two groups share a name.
        click(f.card(0), u"groupDelete"_s);
        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(f.names(), u"Window 1,Window 3,Window 3"_s);
        click(f.card(1), u"groupDelete"_s);
        click(f.card(1), u"groupDelete"_s);
        QCOMPARE(f.card(0), card);
        QVERIFY(!child(card, u"groupDelete"_s)->isEnabled());
        QVERIFY(f.file().contains("\"name\" : \"Window 1\"") && !f.file().contains("Window 3"));

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
        QCOMPARE(f.steps()[0].command, u"  ls  "_s);
        QCOMPARE(card->commandRows().at(0), added);
        click(added, u"stepDelete"_s);
        QCOMPARE(f.steps().size(), 1);
        QVERIFY(!canDelete(0));
    }

    void delayFieldInADecimalCommaLocale()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        Fixture f({group(u"W"_s, {u"ssh box"_s}, 1.5)});
        auto *delay = child<QLineEdit>(f.card(0), u"delayField"_s);
        QCOMPARE(delay->text(), u"1,5"_s);
        // Letters and infinity never reach the file.
        for (const auto &[typed, stored] :
             {std::pair{u"-1"_s, -1.0}, {u"2,5"_s, 2.5}, {u"abc"_s, 2.5}, {u"inf"_s, 2.5}}) {
            delay->selectAll();
            QTest::keyClicks(delay, typed);
            QCOMPARE(f.steps()[0].delayAfter, stored);
        }
        Q_EMIT delay->editingFinished(); // the unparsable text gives way to the stored value
        QCOMPARE(delay->text(), u"2,5"_s);
        QVERIFY(f.file().contains("\"delayAfter\" : 2.5"));
    }

    void cardStates()
    {
        Fixture f({group(u"W"_s, {u"ssh box"_s, u"cd src"_s}, 2), group(u"Empty"_s, {u"  "_s})},
                  TerminalApp::appleTerminal, {TerminalApp::appleTerminal, TerminalApp::kitty});
        GroupEditor *card = f.card(0);
        const auto override = [&] { return f.store.config().groups[0].packedOverride; };
        auto *notice = child<QLabel>(f.editor.get(), u"combineNotice"_s);
        auto *picker = child<QComboBox>(f.editor.get(), u"terminalPicker"_s);
        const auto pick = [&](int index) { Q_EMIT picker->activated(index); }; // as a user would
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QVERIFY(!notice->isVisible());

        pick(1);
        const QString packed = PackedCommandBuilder::packed(f.steps());
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QVERIFY(notice->text().startsWith(u"kitty can’t be typed into one command at a time"_s));
        QCOMPARE(child<QLabel>(card, u"previewText"_s)->text(), packed);
        QCOMPARE(child<QLabel>(f.card(1), u"previewText"_s)->text(), u"(no commands yet)"_s);
        QVERIFY(!child(f.card(1), u"editThisCommand"_s)->isEnabled());

        QCoreApplication::sendPostedEvents(); // lays the card out again: it just changed body
        click(card, u"editThisCommand"_s);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(override(), packed);

        // Steps edited under Terminal leave the custom command as it was.
        pick(0);
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QTest::keyClicks(child<QLineEdit>(card->commandRows().at(1), u"commandField"_s), u";ls"_s);
        pick(1);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(override(), packed);

        // Cleared, it is still a custom command; only the reset goes back to the preview.
        auto *custom = child<QPlainTextEdit>(card, u"customCommand"_s);
        custom->selectAll();
        QTest::keyClick(custom, Qt::Key_Delete);
        QCOMPARE(override(), QString());
        QCOMPARE(card->state(), GroupEditor::State::custom);
        click(card, u"resetToAutomatic"_s);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QCOMPARE(override(), std::nullopt);
        QVERIFY(child<QLabel>(card, u"previewText"_s)->text().contains(u";ls"_s));
    }

    // Without Terminal or iTerm2 the steps are the only way to enter commands: they stay, with
    // the combined command following them as they are typed.
    void cardsKeepTheirStepsWhereNothingIsTypedInto()
    {
        Fixture f({group(u"W"_s, {u""_s})}, TerminalApp::kitty,
                  {TerminalApp::kitty, TerminalApp::xterm},
                  [](auto &platform) { platform.typesIntoTerminals = false; });
        GroupEditor *card = f.card(0);
        auto *preview = child<QLabel>(card, u"previewText"_s);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QVERIFY(child<QWidget>(card, u"stepsBody"_s)->isVisible());
        QCOMPARE(preview->text(), u"(no commands yet)"_s);
        const QString notice = child<QLabel>(f.editor.get(), u"combineNotice"_s)->text();
        QVERIFY2(notice.endsWith(u"the rest run on the remote in your login shell."_s) &&
                     !notice.contains(u"iTerm2"_s),
                 qPrintable(notice));

        QTest::keyClicks(child<QLineEdit>(card->commandRows().at(0), u"commandField"_s),
                         u"cd ~/app"_s);
        click(card, u"addCommand"_s);
        auto *added = child<QLineEdit>(card->commandRows().at(1), u"commandField"_s);
        QCOMPARE(f.editor->focusWidget(), added);
        QTest::keyClicks(added, u"make"_s);
        QCOMPARE(preview->text(), u"cd ~/app; make"_s);
        QVERIFY(f.file().contains("\"command\" : \"make\""));

        click(card, u"editThisCommand"_s);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(f.editor->focusWidget(), child<QPlainTextEdit>(card, u"customCommand"_s));
        QVERIFY(child<QWidget>(card, u"stepsBody"_s)->isVisible());
        QVERIFY(child<QWidget>(card, u"customBody"_s)->isVisible());
    }

    // The field shows line breaks and a few other characters its own way; one keystroke must
    // change only what was typed.
    void customCommandKeepsWhatTheUserDidNotTouch()
    {
        const QString original = u"a\u00A0b\u2028c\u2029d\r\ne\rf\ng\uFDD0h"_s;
        Fixture f({group(u"W"_s, {u"ls"_s})}, TerminalApp::kitty, {TerminalApp::kitty});
        AppConfig config = f.store.config();
        config.groups[0].packedOverride = original;
        f.store.setConfig(config);
        auto *custom = child<QPlainTextEdit>(f.card(0), u"customCommand"_s);
        const auto override = [&] { return f.store.config().groups[0].packedOverride; };

        QTest::keyClick(custom, Qt::Key_End, Qt::ControlModifier);
        QTest::keyClick(custom, Qt::Key_X);
        QCOMPARE(override(), original + u"x"_s);
        QTest::keyClick(custom, Qt::Key_Home, Qt::ControlModifier);
        QTest::keyClick(custom, Qt::Key_Y);
        QTest::keyClick(custom, Qt::Key_Return);
        QCOMPARE(override(), u"y\n"_s + original + u"x"_s);
        QTest::keyClick(custom, Qt::Key_Backspace);
        QTest::keyClick(custom, Qt::Key_Delete); // the "a"
        QCOMPARE(override(), u"y"_s + original.mid(1) + u"x"_s);
    }

    void shownEditsMapBackToTheText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("after"); // what the field shows after the edit
        QTest::addColumn<QString>("expected");
        const QString sep = QChar(QChar::ParagraphSeparator);
        QTest::newRow("crlf deleted") << u"a\r\nb"_s << u"ab"_s << u"ab"_s;
        QTest::newRow("typed after crlf")
            << u"a\r\n\r\nb"_s << u"a"_s + sep + sep + u"xb"_s << u"a\r\n\r\nxb"_s;
        QTest::newRow("pasted break")
            << u"a\u00A0b"_s << u"a\u00A0"_s + sep + u"b"_s << u"a\u00A0\nb"_s;
        QTest::newRow("all replaced") << u"\r\r\n"_s << u"z"_s << u"z"_s;
        QTest::newRow("repeated letter")
            << u"aa\u2029a"_s << u"aaa"_s + sep + u"a"_s << u"aaa\u2029a"_s;
    }

    void shownEditsMapBackToTheText()
    {
        QFETCH(QString, text);
        QFETCH(QString, after);
        QFETCH(QString, expected);
        QTextDocument document;
        document.setPlainText(text);
        QCOMPARE(applyShownEdit(text, document.toRawText(), after), expected);
    }
};

QTEST_MAIN(TestEditorView)
#include "tst_editorview.moc"
