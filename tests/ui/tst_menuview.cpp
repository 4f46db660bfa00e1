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

// One kitty window per command.
AppConfig kittyConfig(const QStringList &commands)
{
    AppConfig config;
    config.terminalApp = TerminalApp::kitty;
    config.groups.clear();
    for (const QString &command : commands) {
        TabGroup group;
        group.commands = {CommandStep{QUuid::createUuid(), command, 0}};
        config.groups.append(group);
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

    qsizetype starts() const { return platform.callsOf(u"startProcess"_s).size(); }

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

    void runFollowsTheStoreAndTheRunner()
    {
        Fixture f;
        QAction *run = f.menu.runAction();
        QVERIFY(!run->isEnabled()); // the default configuration has one empty step
        f.store.setConfig(kittyConfig({u"echo first"_s, u"echo second"_s}));
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
        auto *runButton = window.findChild<QToolButton *>(u"runActionButton"_s);
        QVERIFY(runButton);

        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier); // disabled: nothing to run
        QVERIFY(!f.runner.isRunning());
        f.store.setConfig(kittyConfig({u"echo one"_s, u"echo two"_s}));
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
        QTRY_VERIFY(f.runner.isRunning());
        QCOMPARE(runButton->text(), u"Running…"_s);
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier); // ignored while running
        f.finishRun();
        QCOMPARE(f.starts(), 2);

        QSignalSpy edit(&f.menu, &MenuView::editRequested);
        QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
        QCOMPARE(edit.size(), 1);
    }
};

QTEST_MAIN(TestMenuView)
#include "tst_menuview.moc"
