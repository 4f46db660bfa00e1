#include "ConfigStore.h"
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "FallbackWindow.h"
#include "Icons.h"
#include "MenuView.h"
#include "RunPolicy.h"
#include "TerminalRunner.h"
#include "UpdateChecker.h"

#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

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
        platform.install(TerminalApp::kitty);
    }

    QTemporaryDir dir;
    testing::FakePlatform platform;
    testing::FakeSleeper sleeper{true}; // holds every wait
    ConfigStore store;
    TerminalRunner runner;
    UpdateChecker updater;
    MenuView menu;
};

} // namespace

class TestMenuView final : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
        QCOMPARE(runRefusal(f.runner, f.store.config()),
                 enabled ? std::nullopt : std::optional(RunRefusal::nothingToRun));
    }

    void runningDisablesTheEntry()
    {
        Fixture f;
        QAction *run = f.menu.runAction();
        f.store.setConfig(kittyConfig({{u"echo first"_s}, {u"echo second"_s}}));
        run->trigger();
        QTRY_COMPARE(f.sleeper.pending, 1); // first window started, waiting before the second
        QCOMPARE(run->text(), u"Running…"_s);
        QVERIFY(!run->isEnabled());
        QCOMPARE(runRefusal(f.runner, f.store.config()), RunRefusal::alreadyRunning);
        // Edits made now neither re-enable the entry nor reach the run under way.
        AppConfig edited = f.store.config();
        edited.groups[1].commands[0].command = u"echo edited"_s;
        f.store.setConfig(edited);
        QVERIFY(!run->isEnabled());

        while (f.runner.isRunning()) { // released wait by wait
            QTRY_VERIFY(f.sleeper.pending == 1 || !f.runner.isRunning());
            f.sleeper.release();
        }
        QCOMPARE(run->text(), u"Run Startup Commands"_s);
        QVERIFY(run->isEnabled());
        const auto calls = f.platform.callsOf(u"startProcess"_s);
        QCOMPARE(calls.size(), 2);
        QVERIFY(calls[1].values.join(u' ').contains(u"echo second"_s));
    }

    // Without a tray this window holds the menu: the same titles, enabled states and shortcuts;
    // closing it is quitting.
    void fallbackWindowStandsInForTheMenu()
    {
        Fixture f;
        FallbackWindow window(f.menu.entries());
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QVERIFY(
            window.findChild<QLabel *>(u"noTrayNote"_s)->text().startsWith(u"No system tray"_s));
        auto *run = window.findChild<QPushButton *>(u"runActionButton"_s);
        QCOMPARE(run->text(), u"Run Startup Commands"_s);
        QVERIFY(!run->isEnabled());
        f.store.setConfig(kittyConfig({{u"ls"_s}}));
        QVERIFY(run->isEnabled());
        QSignalSpy edit(&f.menu, &MenuView::editRequested);
        QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
        QTest::mouseClick(window.findChild<QPushButton *>(u"editActionButton"_s), Qt::LeftButton);
        QCOMPARE(edit.size(), 2);
        QSignalSpy closed(&window, &FallbackWindow::closedByUser);
        window.close();
        QCOMPARE(closed.size(), 1);
    }

    // macOS draws a template image by its alpha alone: any colour would be lost, so the glyph
    // must be black, and the prompt must be cut out of it to be seen at all.
    void menuBarGlyphIsABlackTemplateWithThePromptCutOut()
    {
        const QIcon icon = Icons::menuBarTemplate();
        QVERIFY(icon.isMask());
        const QImage image = icon.pixmap(QSize(36, 36)).toImage();
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                QVERIFY(qAlpha(image.pixel(x, y)) == 0 || qGray(image.pixel(x, y)) == 0);
        }
        QCOMPARE(qAlpha(image.pixel(6, 18)), 255); // the window's body
        QCOMPARE(qAlpha(image.pixel(15, 18)), 0);  // inside the chevron
    }
};

QTEST_MAIN(TestMenuView)
#include "tst_menuview.moc"
