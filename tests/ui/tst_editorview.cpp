#include "BrandColors.h"
#include "CommandRow.h"
#include "ConfigCodec.h"
#include "ConfigStore.h"
#include "EditorView.h"
#include "FakePlatform.h"
#include "GroupEditor.h"
#include "WaitField.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;
using Terminals = QList<TerminalApp>;

namespace {

template <typename T = QWidget> T *child(QWidget *parent, const QString &name)
{
    return parent->findChild<T *>(name);
}

void click(QWidget *parent, const QString &name)
{
    QTest::mouseClick(child(parent, name), Qt::LeftButton);
}

// As a user does: into the field, then the keys.
void type(QWidget *field, const QString &text)
{
    field->setFocus(Qt::MouseFocusReason);
    QTest::keyClicks(field, text);
}

// Into whatever has the keys, as a user would.
void press(QKeyCombination keys)
{
    QTest::keyClick(QApplication::focusWidget(), keys.key(), keys.keyboardModifiers());
}

TabGroup group(const QString &name, const QStringList &commands, double delay = 0)
{
    TabGroup g{.name = name, .commands = {}};
    for (const QString &command : commands)
        g.commands.append(CommandStep{.command = command, .delayAfter = delay});
    return g;
}

// An editor shown over a fresh store, with the given terminals installed.
struct Fixture {
    Fixture(const QList<TabGroup> &groups, TerminalApp terminal = TerminalApp::appleTerminal,
            const Terminals &installed = {TerminalApp::appleTerminal}, bool macOS = true,
            const Terminals &preferred = {})
        : store(dir.path())
    {
        for (TerminalApp app : installed)
            platform.install(app);
        platform.macOS = macOS;
        platform.preferred = preferred;
        store.setConfig(AppConfig{terminal, groups});
        editor = std::make_unique<EditorView>(store, platform);
        editor->show();
        if (!QTest::qWaitForWindowActive(editor.get()))
            QTest::qFail("the editor was never shown", __FILE__, __LINE__);
    }

    QByteArray file() const
    {
        QFile file(store.filePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // "kitty Api*[ssh box,make>5] Db[psql]": a custom command is a star, a delay follows ">".
    QString summary() const
    {
        QString text = rawValue(store.config().terminalApp);
        for (const TabGroup &g : store.config().groups) {
            QStringList steps;
            for (const CommandStep &step : g.commands)
                steps.append(step.command +
                             (step.delayAfter ? u">%1"_s.arg(step.delayAfter) : u""_s));
            text += u" %1%2[%3]"_s.arg(g.name, g.packedOverride ? u"*"_s : u""_s, steps.join(u','));
        }
        return text;
    }

    const QList<CommandStep> &steps() const { return store.config().groups[0].commands; }
    GroupEditor *card(int index) const { return editor->groupEditors().at(index); }
    QWidget *field(int card, int row, const QString &name = u"commandField"_s) const
    {
        return child<QWidget>(this->card(card)->commandRow(row), name);
    }

    QTemporaryDir dir;
    testing::FakePlatform platform;
    ConfigStore store;
    std::unique_ptr<EditorView> editor;
};

using Action = std::function<void(Fixture &)>;

const QString oddText = u"a\u00A0b\u2028c\u2029d\r\ne\rf\ng\uFDD0h"_s;

} // namespace

Q_DECLARE_METATYPE(Action)

class TestEditorView final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    // Each edit is one step back and forth, saved like any edit; the keys then go where the
    // change shows. Typing merges per field.
    void undoAndRedoEveryEdit_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("undos"); // Ctrl+Z presses back to the start
        QTest::addColumn<QString>("focus");
        const auto clickIn = [](int card, int row, const QString &name) { // card -1: the window
            return Action([=](Fixture &f) {
                QWidget *in = card < 0 ? static_cast<QWidget *>(f.editor.get()) : f.card(card);
                click(row < 0 ? in : f.card(card)->commandRow(row), name);
            });
        };
        const QString field = u"commandField"_s, name = u"groupName"_s;
        // Db has a custom command, so its rows are not in use; Api's are.
        QTest::newRow("delete window")
            << clickIn(0, -1, u"groupDelete"_s) << u"kitty Db*[psql]"_s << 1 << name;
        QTest::newRow("delete command")
            << clickIn(0, 1, u"stepDelete"_s) << u"kitty Api[ssh box] Db*[psql]"_s << 1 << field;
        QTest::newRow("move window")
            << clickIn(1, -1, u"groupUp"_s) << u"kitty Db*[psql] Api[ssh box,make]"_s << 1 << name;
        QTest::newRow("add window")
            << clickIn(-1, -1, u"addWindow"_s) << u"kitty Api[ssh box,make] Db*[psql] Window 3[]"_s
            << 1 << name;
        const Action pickXterm = [](Fixture &f) {
            Q_EMIT child<QComboBox>(f.editor.get(), u"terminalPicker"_s)->activated(1);
        };
        QTest::newRow("pick terminal")
            << pickXterm << u"xterm Api[ssh box,make] Db*[psql]"_s << 1 << name;
        QTest::newRow("typing") << Action([](Fixture &f) {
            type(f.field(0, 1), u" -a"_s);
            type(f.field(0, 0, u"delayField"_s), u"5"_s);
            // The field shows line breaks and a few other characters its own way: a keystroke
            // changes only what was typed, on either side of a CRLF, a new line is a "\n", and
            // a letter typed after the same letter is not lost.
            auto *custom = child<QPlainTextEdit>(f.card(1), u"customCommand"_s);
            custom->setFocus();
            QTest::keyClick(custom, Qt::Key_Home, Qt::ControlModifier);
            QTest::keyClick(custom, Qt::Key_X);
            QTest::keyClick(custom, Qt::Key_End, Qt::ControlModifier);
            QTest::keyClicks(custom, u" -vv"_s);
            QTest::keyClick(custom, Qt::Key_Return);
            QCOMPARE(f.store.config().groups[1].packedOverride, u"x"_s + oddText + u" -vv\n"_s);
            type(f.field(0, 1), u" "_s); // kept as typed
        }) << u"kitty Api[ssh box>5,make -a ] Db*[psql]"_s
                                << 4 << field;
    }

    void undoAndRedoEveryEdit()
    {
        QFETCH(Action, action);
        QFETCH(QString, after);
        QFETCH(int, undos);
        QFETCH(QString, focus);
        TabGroup custom = group(u"Db"_s, {u"psql"_s});
        custom.packedOverride = oddText;
        Fixture f({group(u"Api"_s, {u"ssh box"_s, u"make"_s}), custom}, TerminalApp::kitty,
                  {TerminalApp::kitty, TerminalApp::xterm}, false);      // all controls
        QVERIFY(child<QWidget>(f.card(1), u"stepsBody"_s)->isVisible()); // beside the custom one
        const AppConfig before = f.store.config();
        action(f);
        QCOMPARE(f.summary(), after);
        const AppConfig edited = f.store.config();
        for (int i = 0; i < undos; ++i) {
            QVERIFY(f.store.config() != before);
            press(Qt::CTRL | Qt::Key_Z);
        }
        QCOMPARE(f.store.config(), before);
        QCOMPARE(f.file(), ConfigCodec::encode(before).value());
        QCOMPARE(QApplication::focusWidget()->objectName(), focus);
        press(Qt::CTRL | Qt::Key_Z); // nothing older: nothing happens
        QCOMPARE(f.store.config(), before);

        for (int i = 0; i < undos; ++i)
            press(i % 2 ? Qt::CTRL | Qt::Key_Y : Qt::CTRL | Qt::SHIFT | Qt::Key_Z);
        QCOMPARE(f.store.config(), edited);
    }

    // A first window: the last window and its last command cannot be deleted, and what is added
    // takes the keys. Meanwhile nothing typed is lost though the file cannot be written, and the
    // footer says so until a save works again (tried at each opening); the ways a save fails are
    // the store's tests'.
    void aFirstWindowGrows()
    {
        Fixture f({group(u"Window 1"_s, {u"first"_s})});
        // Everything fits: no empty scroll bar.
        QTRY_VERIFY(!child<QScrollArea>(f.editor.get(), u"editorScroll"_s)
                         ->verticalScrollBar()
                         ->isVisible());
        GroupEditor *card = f.card(0);
        QWidget *deleteWindow = child(card, u"groupDelete"_s);
        QWidget *deleteCommand = child(card->commandRow(0), u"stepDelete"_s);
        QVERIFY(!deleteWindow->isEnabled() && !deleteCommand->isEnabled());
        auto *note = child<QLabel>(f.editor.get(), u"savedNote"_s);
        QVERIFY(QDir().mkpath(f.store.filePath())); // a folder where the file belongs

        click(f.editor.get(), u"addWindow"_s);
        QCOMPARE(note->palette().color(QPalette::WindowText), warningColor());
        QCOMPARE(f.editor->focusWidget(), child<QLineEdit>(f.card(1), u"groupName"_s));
        QTest::keyClicks(f.editor->focusWidget(), u"Db"_s); // replaces the name made up
        click(card, u"addCommand"_s);
        QVERIFY(deleteWindow->isEnabled() && deleteCommand->isEnabled());
        QCOMPARE(f.editor->focusWidget(), f.field(0, 1));

        const auto reopen = [&] {
            f.editor->hide();
            f.editor->show();
        };
        reopen();
        QVERIFY(note->text().startsWith(u"Not saved: "_s));
        QCOMPARE(f.summary(), u"appleTerminal Window 1[first,] Db[]"_s);
        QVERIFY(QDir(f.store.filePath()).removeRecursively());
        reopen();
        QCOMPARE(note->text(), u"Saved automatically"_s);
        QVERIFY(f.file().contains("\"name\" : \"Db\""));
    }

    // A long window builds only the rows near what is shown; Tab, the keys and undo still reach
    // every step in order, and the scroll area follows.
    void keyboardOverManyRows()
    {
        QStringList commands;
        for (int i = 0; i < 300; ++i)
            commands.append(u"c%1 "_s.arg(i) + QString(70, u'.')); // a long combined command
        Fixture f({group(u"W"_s, commands, 3)}, TerminalApp::kitty, {TerminalApp::kitty}, false);
        auto *bar = child<QScrollArea>(f.editor.get(), u"editorScroll"_s)->verticalScrollBar();
        QVERIFY(f.editor->findChildren<CommandRow *>().size() < 100);
        // Each keystroke is saved, and the field keeps its focus and cursor through the save.
        const auto focus = [] { return QApplication::focusWidget(); };
        auto *name = child<QLineEdit>(f.card(0), u"groupName"_s);
        QCOMPARE(focus(), name);
        QTest::keyClick(name, Qt::Key_Home);
        QTest::keyClicks(name, u"My "_s);
        QVERIFY(f.file().contains("\"name\" : \"My W\"")); // not "MWy "
        press(Qt::Key_Tab);
        QCOMPARE(focus(), f.field(0, 0));
        press(Qt::SHIFT | Qt::Key_Backtab);
        QCOMPARE(focus(), name);

        // ↑/↓ step the seconds; Alt+↑/↓ move the command whose field has the focus.
        QWidget *delay = f.field(0, 0, u"delayField"_s);
        delay->setFocus();
        for (Qt::Key key : {Qt::Key_Up, Qt::Key_Up, Qt::Key_Down})
            press(key);
        QCOMPARE(f.steps()[0].delayAfter, 4.0);
        QVERIFY(!child(f.card(0)->commandRow(0), u"stepUp"_s)->isEnabled());
        press(Qt::ALT | Qt::Key_Up); // the first cannot go up
        press(Qt::ALT | Qt::Key_Down);
        QCOMPARE(f.steps()[1].command, commands[0]);
        QCOMPARE(focus(), delay);
        QVERIFY(!child(f.card(0)->commandRow(299), u"stepDown"_s)->isEnabled());
        // Tab follows the new order, past the rows built, into view; wait menus are on the way.
        for (int i = 0; i < 1 + 3 * 40; ++i)
            press(Qt::Key_Tab);
        QCOMPARE(focus(), f.field(0, 42));
        QVERIFY(!focus()->visibleRegion().isEmpty());
        press(Qt::ALT | Qt::Key_Delete);
        QCOMPARE(f.steps().size(), 299);
        QCOMPARE(focus(), f.field(0, 42));
        QCOMPARE(f.steps()[42].command, commands[43]);

        // Typed into, then dropped once out of sight: undo brings the keys back to its step. The
        // long combined command follows the typing once it pauses.
        type(f.field(0, 0), u"x"_s);
        QTRY_VERIFY(child<QLabel>(f.card(0), u"previewText"_s)->text().contains(u".x"_s));
        bar->setValue(bar->maximum());
        f.field(0, 298)->setFocus();
        bar->setValue(bar->maximum() - 1);
        QTRY_VERIFY(std::ranges::none_of(f.editor->findChildren<CommandRow *>(), [&](auto *row) {
            return row->stepId() == f.steps()[0].id;
        }));
        press(Qt::CTRL | Qt::Key_Z);
        QCOMPARE(f.steps()[0].command, commands[1]);
        QCOMPARE(focus(), f.field(0, 0));
        QTRY_VERIFY(!focus()->visibleRegion().isEmpty());
        press(Qt::Key_Escape);
        QVERIFY(!f.editor->isVisible());
    }

    // What is typed is stored as typed, nothing lost; what a run cannot use shows as invalid (which
    // is the core's to say). "More" opens by itself for a window that uses it, and the seconds
    // are in the user's locale.
    void fieldsStoreWhatIsTyped()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        TabGroup used = group(u"Used"_s, {u"ssh box"_s}, 1.5);
        used.startWhen = QJsonObject{{u"port"_s, 0}}; // kept as read, shown as invalid
        Fixture f({group(u"Plain"_s, {u"a"_s}), used});
        QVERIFY(!f.card(0)->moreShown());
        GroupEditor *card = f.card(1);
        QVERIFY(card->moreShown());
        QVERIFY(child<QLineEdit>(card, u"startWhenValue"_s)->property("invalid").toBool());
        type(child<QLineEdit>(card, u"folder"_s), u"~/app"_s);
        child<QCheckBox>(card, u"stopOnError"_s)->click();
        const auto now = [&] { return f.store.config().groups[1]; };
        QCOMPARE(now().directory, u"~/app"_s);
        QVERIFY(now().stopOnError);
        QCOMPARE(now().startWhen, QJsonValue(QJsonObject{{u"port"_s, 0}}));

        // Letters and infinity never reach the file.
        auto *value = child<QLineEdit>(card, u"delayField"_s);
        QCOMPARE(value->text(), u"1,5"_s);
        for (const auto &[typed, stored] :
             {std::pair{u"-1"_s, -1.0}, {u"2,5"_s, 2.5}, {u"abc"_s, 2.5}, {u"inf"_s, 2.5}}) {
            value->selectAll();
            QTest::keyClicks(value, typed);
            QCOMPARE(now().commands[0].delayAfter, stored);
        }
        Q_EMIT value->editingFinished(); // the unparsable text gives way to the stored value
        QCOMPARE(value->text(), u"2,5"_s);

        // A condition replaces the blind wait, which comes back with the seconds.
        auto *wait = card->commandRow(0)->findChild<WaitField *>();
        const auto condition = [&] {
            return QJsonDocument(now().commands[0].waitFor.toObject())
                .toJson(QJsonDocument::Compact);
        };
        const auto marked = [&] { // as invalid, and with the reason in its tooltip
            return u"%1%2"_s.arg(value->property("invalid").toBool())
                .arg(!value->toolTip().isEmpty());
        };
        wait->choose(WaitField::Kind::port);
        QCOMPARE(now().commands[0].delayAfter, 0.0);
        QCOMPARE(QApplication::focusWidget(), value);
        QTest::keyClicks(value, u"db"_s);
        QCOMPARE(condition(), "{\"port\":\"db\"}");
        QCOMPARE(marked(), u"11"_s);
        value->selectAll();
        QTest::keyClicks(value, u"5432"_s);
        QCOMPARE(condition(), "{\"port\":5432}");
        QCOMPARE(marked(), u"00"_s);
        wait->choose(WaitField::Kind::url);
        QTest::keyClicks(value, u"http://x/h"_s);
        QCOMPARE(condition(), "{\"url\":\"http://x/h\"}");
        wait->choose(WaitField::Kind::plain);
        QVERIFY(now().commands[0].waitFor.isUndefined());
        QCOMPARE(now().commands[0].delayAfter, 2.5);
    }

    void terminalCheckOnAppearance_data()
    {
        using enum TerminalApp;
        QTest::addColumn<Terminals>("preferred"); // by the desktop, most preferred first
        QTest::addColumn<Terminals>("installed");
        QTest::addColumn<TerminalApp>("configured");
        QTest::addColumn<TerminalApp>("expected");
        QTest::newRow("installed stays")
            << Terminals{} << Terminals{kitty, alacritty} << alacritty << alacritty;
        QTest::newRow("first installed")
            << Terminals{} << Terminals{kitty} << appleTerminal << kitty;
        QTest::newRow("desktop's own")
            << Terminals{foot, konsole, xterm} << Terminals{kitty, xterm, konsole} << appleTerminal
            << konsole;
        QTest::newRow("none") << Terminals{xterm} << Terminals{} << wezterm << appleTerminal;
    }

    void terminalCheckOnAppearance()
    {
        QFETCH(Terminals, preferred);
        QFETCH(Terminals, installed);
        QFETCH(TerminalApp, configured);
        QFETCH(TerminalApp, expected);
        Fixture f({group(u"W"_s, {u""_s})}, configured, installed, false, preferred);
        QCOMPARE(f.store.config().terminalApp, expected);
        QVERIFY(f.file().isEmpty()); // opening never creates config.json
        QCOMPARE(child<QWidget>(f.editor.get(), u"terminalPickerRow"_s)->isVisible(),
                 installed.size() >= 2);
        // Only macOS types commands one at a time, so only there do slow ones need a delay.
        QVERIFY(!child<QLabel>(f.editor.get(), u"explanation"_s)->text().contains(u"2–3 s"_s));
        // Combining is how every Linux window runs: said plainly, while no terminal at all is a
        // warning that says what to do.
        auto *notice = child<QLabel>(f.editor.get(), u"combineNotice"_s);
        QCOMPARE(notice->palette().color(QPalette::WindowText) == noticeOrange(),
                 installed.isEmpty());
        QCOMPARE(notice->isVisible() && notice->text().contains(u"XTerm or foot, then open"_s),
                 installed.isEmpty());
        // Every appearance checks again, and saves a replacement into an existing file.
        QVERIFY(f.store.save());
        f.editor->hide();
        f.platform.installed.remove(expected);
        f.editor->show();
        const TerminalApp now = f.store.config().terminalApp;
        QVERIFY(now != expected || expected == TerminalApp::appleTerminal);
        QVERIFY(f.file().contains(u"\"%1\""_s.arg(rawValue(now)).toUtf8()));
    }

    // Under a combining terminal (on macOS, a warning) a window shows its combined command, which
    // can be made a custom one; that stays as it was when the steps change under Terminal.
    void groupStates()
    {
        Fixture f({group(u"W"_s, {u"ssh box"_s, u"cd src"_s}, 2), group(u"Empty"_s, {u"  "_s})},
                  TerminalApp::appleTerminal, {TerminalApp::appleTerminal, TerminalApp::kitty});
        GroupEditor *card = f.card(0);
        const auto override = [&] { return f.store.config().groups[0].packedOverride; };
        const auto preview = [&](int at) { return child<QLabel>(f.card(at), u"previewText"_s); };
        auto *notice = child<QLabel>(f.editor.get(), u"combineNotice"_s);
        QVERIFY(child<QLabel>(f.editor.get(), u"explanation"_s)->text().contains(u"2–3 s"_s));
        auto *picker = child<QComboBox>(f.editor.get(), u"terminalPicker"_s);
        const auto pick = [&](int index) { Q_EMIT picker->activated(index); }; // as a user would
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QVERIFY(!notice->isVisible());

        pick(1);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QVERIFY(!child<QWidget>(card, u"stepsBody"_s)->isVisible());
        QVERIFY(notice->text().startsWith(u"kitty can’t be typed into one command at a time"_s));
        QCOMPARE(notice->palette().color(QPalette::WindowText), noticeOrange());
        const QString packed = preview(0)->text(); // its text is the run preview's tests'
        QVERIFY(packed.contains(u"cd src"_s));
        QCOMPARE(preview(1)->text(), u"(no commands yet)"_s);
        QVERIFY(!child(f.card(1), u"editThisCommand"_s)->isEnabled());

        QCoreApplication::sendPostedEvents(); // lays the group out again: it just changed body
        click(card, u"editThisCommand"_s);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(override(), packed);
        QCOMPARE(f.editor->focusWidget(), child<QPlainTextEdit>(card, u"customCommand"_s));

        pick(0);
        QCOMPARE(card->state(), GroupEditor::State::steps);
        QTest::keyClicks(f.field(0, 1), u";ls"_s);
        pick(1);
        QCOMPARE(card->state(), GroupEditor::State::custom);
        QCOMPARE(override(), packed);

        // Cleared, it is still a custom command; only the reset goes back to the preview, which
        // follows the steps as they are now.
        auto *custom = child<QPlainTextEdit>(card, u"customCommand"_s);
        custom->selectAll();
        QTest::keyClick(custom, Qt::Key_Delete);
        QCOMPARE(override(), QString());
        QCOMPARE(card->state(), GroupEditor::State::custom);

        // Typed through tmux the steps are what runs: they show, and the custom command waits
        // unused. The choice stays in reach without tmux, so that it can be turned off.
        f.store.update([](AppConfig &c) { c.typing = u"tmux"_s; });
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QVERIFY(child<QWidget>(card, u"stepsBody"_s)->isVisible());
        QVERIFY(preview(0)->text().startsWith(u"# Typed into tmux session W"_s));
        auto *typing = child<QCheckBox>(f.editor.get(), u"typeThroughTmux"_s);
        QVERIFY(typing->isVisible() && !child(card, u"editThisCommand"_s)->isVisible() &&
                !notice->isVisible());
        typing->click();
        QCOMPARE(card->state(), GroupEditor::State::custom);
        click(card, u"resetToAutomatic"_s);
        QCOMPARE(card->state(), GroupEditor::State::preview);
        QCOMPARE(override(), std::nullopt);
        QVERIFY(preview(0)->text().contains(u";ls"_s));
    }
};

QTEST_MAIN(TestEditorView)
#include "tst_editorview.moc"
