#include "ConfigStore.h"
#include "FakePlatform.h"
#include "FallbackWindow.h"
#include "HeldSleeper.h"
#include "MenuView.h"
#include "TerminalRunner.h"
#include "UpdateChecker.h"
#include "UpdateDialog.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

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

// Everything a menu needs, with a run that stops at its first wait until released.
struct Fixture {
    explicit Fixture(const QUrl &feed = {})
        : store(dir.path()), runner(platform, sleeper), updater(feed, u"1.0"_s),
          menu(store, runner, updater)
    {
        platform.install(bundleIdentifier(TerminalApp::kitty));
    }

    QString startedCommands() const
    {
        QStringList all;
        for (const auto &call : platform.callsOf(u"startProcess"_s))
            all.append(call.values.join(u' '));
        return all.join(u'\n');
    }

    QTemporaryDir dir;
    testing::FakePlatform platform;
    testing::HeldSleeper sleeper;
    ConfigStore store;
    TerminalRunner runner;
    UpdateChecker updater;
    MenuView menu;
};

// Lets the run through each of its waits until it ends.
void finishRun(Fixture &f)
{
    for (int i = 0; i < 16; ++i) {
        // Waits resume from the event loop: the run either reaches its next wait or ends.
        QTRY_VERIFY(f.sleeper.pending == 1 || !f.runner.isRunning());
        if (!f.runner.isRunning())
            return;
        f.sleeper.release();
    }
    QFAIL("the run did not end");
}

} // namespace

class TestMenuView final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void entriesInOrder()
    {
        Fixture f;
        QStringList titles;
        for (QAction *action : f.menu.entries())
            titles.append(action->isSeparator() ? u"---"_s : action->text());
        QCOMPARE(titles, (QStringList{u"Run Startup Commands"_s, u"Edit Commands…"_s, u"---"_s,
                                      u"Check for Updates…"_s, u"Quit Corvane"_s}));
        QCOMPARE(f.menu.runAction()->shortcut(), QKeySequence(u"Ctrl+R"_s));
        QCOMPARE(f.menu.editAction()->shortcut(), QKeySequence(u"Ctrl+E"_s));
        QCOMPARE(f.menu.quitAction()->shortcut(), QKeySequence(u"Ctrl+Q"_s));
        QVERIFY(f.menu.checkForUpdatesAction()->shortcut().isEmpty());
    }

    void runEnablingFollowsTheStore()
    {
        Fixture f;
        f.store.setConfig(kittyConfig({u" "_s, u""_s}));
        QVERIFY(!f.menu.runAction()->isEnabled());
        QCOMPARE(f.menu.runAction()->text(), u"Run Startup Commands"_s);

        AppConfig config = f.store.config();
        config.groups[1].commands[0].command = u"  ls  "_s;
        f.store.setConfig(config);
        QVERIFY(f.menu.runAction()->isEnabled());

        config.groups.clear();
        f.store.setConfig(config);
        QVERIFY(!f.menu.runAction()->isEnabled());

        // A custom command alone is not something to run.
        config = kittyConfig({u""_s});
        config.groups[0].packedOverride = u"ssh box"_s;
        f.store.setConfig(config);
        QVERIFY(!f.menu.runAction()->isEnabled());
    }

    void runShowsRunningAndUsesTheConfigOfTheClick()
    {
        Fixture f;
        f.store.setConfig(kittyConfig({u"echo first"_s, u"echo second"_s}));
        QSignalSpy running(&f.runner, &TerminalRunner::isRunningChanged);

        f.menu.runAction()->trigger();
        QTRY_COMPARE(f.sleeper.pending, 1); // first window started, waiting before the second
        QVERIFY(f.runner.isRunning());
        QCOMPARE(f.menu.runAction()->text(), u"Running…"_s);
        QVERIFY(!f.menu.runAction()->isEnabled());

        // Edits made now must neither re-enable the entry nor reach the run.
        AppConfig edited = f.store.config();
        edited.groups[1].commands[0].command = u"echo edited"_s;
        f.store.setConfig(edited);
        QVERIFY(!f.menu.runAction()->isEnabled());
        QCOMPARE(f.menu.runAction()->text(), u"Running…"_s);

        finishRun(f);
        QCOMPARE(f.menu.runAction()->text(), u"Run Startup Commands"_s);
        QVERIFY(f.menu.runAction()->isEnabled());
        QCOMPARE(f.platform.callsOf(u"startProcess"_s).size(), 2);
        QVERIFY(f.startedCommands().contains(u"echo second"_s));
        QVERIFY(!f.startedCommands().contains(u"echo edited"_s));
        QCOMPARE(running.size(), 2);
    }

    void shortcutsInTheFallbackWindow()
    {
        Fixture f;
        FallbackWindow window(f.menu.entries());
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));

        // Disabled entry: Ctrl+R does nothing.
        f.store.setConfig(kittyConfig({u""_s}));
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
        QVERIFY(!f.runner.isRunning());
        QVERIFY(f.platform.callsOf(u"startProcess"_s).isEmpty());

        f.store.setConfig(kittyConfig({u"echo one"_s, u"echo two"_s}));
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
        QTRY_VERIFY(f.runner.isRunning());
        QCOMPARE(f.platform.callsOf(u"startProcess"_s).size(), 1);
        // A second Ctrl+R while running is ignored.
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
        QCOMPARE(f.platform.callsOf(u"startProcess"_s).size(), 1);
        finishRun(f);
        QCOMPARE(f.platform.callsOf(u"startProcess"_s).size(), 2);

        QSignalSpy edit(&f.menu, &MenuView::editRequested);
        QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
        QCOMPARE(edit.size(), 1);
    }

    void fallbackButtonsMirrorTheActions()
    {
        Fixture f;
        FallbackWindow window(f.menu.entries());
        QCOMPARE(window.windowTitle(), u"Corvane"_s);
        auto *run = window.findChild<QToolButton *>(u"runActionButton"_s);
        auto *check = window.findChild<QToolButton *>(u"checkForUpdatesActionButton"_s);
        QVERIFY(run && check);
        QVERIFY(window.findChild<QToolButton *>(u"editActionButton"_s));
        QVERIFY(window.findChild<QToolButton *>(u"quitActionButton"_s));

        f.store.setConfig(kittyConfig({u"echo one"_s, u"echo two"_s}));
        QVERIFY(run->isEnabled());
        QTest::mouseClick(run, Qt::LeftButton);
        QTRY_COMPARE(run->text(), u"Running…"_s);
        QVERIFY(!run->isEnabled());
        finishRun(f);
        QCOMPARE(run->text(), u"Run Startup Commands"_s);
        QVERIFY(!check->isEnabled()); // no feed in this build of the fixture
    }

    void checkForUpdatesFollowsTheChecker()
    {
        // A port nobody listens on: the check fails fast and the dialog reports it.
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        const quint16 port = probe.serverPort();
        probe.close();

        Fixture f(QUrl(u"http://127.0.0.1:%1/appcast.xml"_s.arg(port)));
        QAction *check = f.menu.checkForUpdatesAction();
        QVERIFY(!check->isEnabled());
        QTRY_VERIFY(check->isEnabled());

        QStringList shown;
        UpdateDialog::setAnswerHook([&](QMessageBox &box) -> QAbstractButton * {
            shown.append(box.text());
            return nullptr;
        });
        check->trigger();
        QVERIFY(!check->isEnabled());
        QTRY_COMPARE(shown.size(), 1);
        QTRY_VERIFY(check->isEnabled());
        UpdateDialog::setAnswerHook({});
    }

    void withoutFeedUpdatesStayOff()
    {
        Fixture f;
        QCoreApplication::processEvents(); // lets the checker finish getting ready
        QVERIFY(!f.updater.canCheckForUpdates());
        QVERIFY(!f.menu.checkForUpdatesAction()->isEnabled());
    }
};

QTEST_MAIN(TestMenuView)
#include "tst_menuview.moc"
