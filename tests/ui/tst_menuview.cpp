#include "ConfigStore.h"
#include "FakePlatform.h"
#include "FallbackWindow.h"
#include "HeldSleeper.h"
#include "MenuView.h"
#include "TerminalRunner.h"
#include "UpdateChecker.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

using Groups = QList<QStringList>; // each group's commands

AppConfig kittyConfig(const Groups &groups, const std::optional<QString> &packedOverride = {})
{
    AppConfig config{TerminalApp::kitty, {}};
    for (const QStringList &commands : groups) {
        TabGroup &group = config.groups.emplace_back();
        group.commands.clear();
        for (const QString &command : commands)
            group.commands.append(CommandStep{QUuid::createUuid(), command, 0});
        group.packedOverride = packedOverride;
    }
    return config;
}

// A menu over real store and runner; the run stops at each wait until released.
struct Fixture {
    Fixture()
        : store(dir.path()), runner(platform, sleeper), updater(QUrl(), u"1.0"_s),
          menu(store, runner, updater)
    {
        platform.install(bundleIdentifier(TerminalApp::kitty));
    }

    void finishRun()
    {
        while (runner.isRunning()) {
            QTRY_VERIFY(sleeper.pending == 1 || !runner.isRunning());
            if (sleeper.pending == 1)
                sleeper.release();
        }
    }

    QTemporaryDir dir;
    testing::FakePlatform platform;
    testing::HeldSleeper sleeper;
    ConfigStore store;
    TerminalRunner runner;
    UpdateChecker updater;
    MenuView menu;
};

} // namespace

class TestMenuView final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void entries()
    {
        Fixture f;
        QStringList titles, shortcuts;
        for (QAction *action : f.menu.entries()) {
            titles.append(action->isSeparator() ? u"---"_s : action->text());
            shortcuts.append(action->shortcut().toString());
        }
        QCOMPARE(titles, (QStringList{u"Run Startup Commands"_s, u"Edit Commands…"_s, u"---"_s,
                                      u"Check for Updates…"_s, u"Quit Corvane"_s}));
        QCOMPARE(shortcuts, (QStringList{u"Ctrl+R"_s, u"Ctrl+E"_s, {}, {}, u"Ctrl+Q"_s}));
        // Without a feed there is nothing to check.
        QVERIFY(!f.menu.checkForUpdatesAction()->isEnabled());
    }

    void runEnabledByNonBlankCommands_data()
    {
        QTest::addColumn<Groups>("commands");
        QTest::addColumn<bool>("withOverrides");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("no groups") << Groups{} << false << false;
        QTest::newRow("no steps") << Groups{{}, {}} << false << false;
        QTest::newRow("blank") << Groups{{u""_s, u" \t"_s}, {u"\n\r"_s}} << false << false;
        // Wider than ASCII: no-break, zero-width and ideographic spaces are blank too.
        QTest::newRow("unicode blanks") << Groups{{u"\u00A0\u200B\u3000"_s}} << false << false;
        QTest::newRow("padded ls, later group")
            << Groups{{u" "_s}, {u""_s, u"  ls  "_s}} << false << true;
        QTest::newRow("overrides do not count") << Groups{{u" "_s}, {u""_s}} << true << false;
    }

    void runEnabledByNonBlankCommands()
    {
        QFETCH(Groups, commands);
        QFETCH(bool, withOverrides);
        QFETCH(bool, enabled);
        Fixture f;
        f.store.setConfig(kittyConfig({{u"ls"_s}})); // so that each row is a change
        f.store.setConfig(
            kittyConfig(commands, withOverrides ? u"ssh box"_s : std::optional<QString>()));
        QCOMPARE(f.menu.runAction()->isEnabled(), enabled);
        QCOMPARE(f.menu.runAction()->text(), u"Run Startup Commands"_s);
    }

    void runFollowsTheStoreAndTheRunner()
    {
        Fixture f;
        QAction *run = f.menu.runAction();
        f.store.setConfig(kittyConfig({{u"echo first"_s}, {u"echo second"_s}}));
        QVERIFY(run->isEnabled());

        run->trigger();
        QTRY_COMPARE(f.sleeper.pending, 1); // first window started, waiting before the second
        QCOMPARE(run->text(), u"Running…"_s);
        QVERIFY(!run->isEnabled());
        // Edits made now neither re-enable the entry nor reach the run under way.
        AppConfig edited = f.store.config();
        edited.groups[1].commands[0].command = u"echo edited"_s;
        f.store.setConfig(edited);
        QVERIFY(!run->isEnabled());

        f.finishRun();
        QCOMPARE(run->text(), u"Run Startup Commands"_s);
        QVERIFY(run->isEnabled());
        const auto calls = f.platform.callsOf(u"startProcess"_s);
        QCOMPARE(calls.size(), 2);
        QVERIFY(calls[1].values.join(u' ').contains(u"echo second"_s));
    }

    void shortcutsInTheFallbackWindow()
    {
        Fixture f;
        FallbackWindow window(f.menu.entries());
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier); // disabled: nothing to run
        QVERIFY(!f.runner.isRunning());
        f.store.setConfig(kittyConfig({{u"echo one"_s}, {u"echo two"_s}}));
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
        QVERIFY(f.runner.isRunning());
        QCOMPARE(window.findChild<QToolButton *>(u"runActionButton"_s)->text(), u"Running…"_s);
        f.finishRun();

        QSignalSpy edit(&f.menu, &MenuView::editRequested);
        QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
        QCOMPARE(edit.size(), 1);
    }
};

QTEST_MAIN(TestMenuView)
#include "tst_menuview.moc"
