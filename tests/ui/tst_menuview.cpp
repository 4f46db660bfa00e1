#include "ConfigStore.h"
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "FallbackWindow.h"
#include "MenuView.h"
#include "RunPolicy.h"
#include "TerminalRunner.h"
#include "UpdateChecker.h"

#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

using Groups = QList<QStringList>; // each window's commands

class TestMenuView final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Without a tray this window holds the menu: its buttons follow the entries' titles and states
    // and its shortcuts work. A run under way disables the run entry, and edits made meanwhile
    // neither re-enable it nor reach the run. Closing the window is quitting.
    void fallbackWindowFollowsARun()
    {
        // A menu over real store and runner; the run stops at each wait until released.
        QTemporaryDir dir;
        testing::FakePlatform platform;
        platform.install(TerminalApp::kitty);
        testing::FakeSleeper sleeper{true};
        ConfigStore store(dir.path());
        TerminalRunner runner(platform, sleeper);
        UpdateChecker updater(QUrl(), u"1.0"_s);
        MenuView menu(store, runner, updater);
        FallbackWindow window(menu.entries());
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        auto *run = window.findChild<QPushButton *>(u"runActionButton"_s);
        QVERIFY(!run->isEnabled()); // a first start has nothing to run
        // Only a step that is not blank (what blank is: tests/core) enables it, in any window; a
        // custom command alone does not.
        for (const auto &[commands, custom, enabled] :
             {std::tuple{Groups{{u" "_s}, {u""_s}}, true, false},
              {Groups{{u" "_s}, {u""_s, u"  ls  "_s}}, false, true},
              {Groups{{u"echo first"_s}, {u"echo second"_s}}, false, true}}) {
            AppConfig config{TerminalApp::kitty, {}};
            for (const QStringList &steps : commands) {
                TabGroup &group = config.groups.emplace_back();
                group.commands.clear();
                for (const QString &command : steps)
                    group.commands.append(CommandStep{.command = command});
                if (custom)
                    group.packedOverride = u"ssh box"_s;
            }
            store.setConfig(config);
            QCOMPARE(run->isEnabled(), enabled);
        }
        QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
        QTRY_COMPARE(sleeper.pending, 1); // first window started, waiting before the second
        QCOMPARE(run->text(), u"Running…"_s);
        QVERIFY(!run->isEnabled());
        QCOMPARE(runRefusal(runner, store.config()), RunRefusal::alreadyRunning);
        AppConfig edited = store.config();
        edited.groups[1].commands[0].command = u"echo edited"_s;
        store.setConfig(edited);
        QVERIFY(!run->isEnabled());

        while (runner.isRunning()) { // released wait by wait
            QTRY_VERIFY(sleeper.pending == 1 || !runner.isRunning());
            sleeper.release();
        }
        QCOMPARE(run->text(), u"Run Startup Commands"_s);
        QVERIFY(run->isEnabled());
        const auto calls = platform.callsOf(u"startProcess"_s);
        QCOMPARE(calls.size(), 2);
        QVERIFY(calls[1].values.join(u' ').contains(u"echo second"_s));

        QSignalSpy edit(&menu, &MenuView::editRequested);
        QTest::mouseClick(window.findChild<QPushButton *>(u"editActionButton"_s), Qt::LeftButton);
        QCOMPARE(edit.size(), 1);
        QSignalSpy closed(&window, &FallbackWindow::closedByUser);
        window.close();
        QCOMPARE(closed.size(), 1);
    }
};

QTEST_MAIN(TestMenuView)
#include "tst_menuview.moc"
