#include "FakePlatform.h"
#include "PackedWindowLauncher.h"

#include <QTest>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class PackedWindowLauncherTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void recipes_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<QString>("shell");
        QTest::addColumn<QStringList>("argv");
        const QString w = u"make run; exec /bin/zsh -il"_s;
        QTest::newRow("ghostty") << TerminalApp::ghostty << u"/bin/zsh"_s
                                 << QStringList{u"/usr/bin/open"_s, u"-na"_s, u"Ghostty.app"_s,
                                                u"--args"_s,        u"-e"_s,  u"/bin/zsh"_s,
                                                u"-ilc"_s,          w};
        QTest::newRow("tabby") << TerminalApp::tabby << u"/bin/zsh"_s
                               << QStringList{u"/usr/bin/open"_s, u"-na"_s, u"Tabby.app"_s,
                                              u"--args"_s,        u"run"_s, u"/bin/zsh"_s,
                                              u"-ilc"_s,          w};
        QTest::newRow("kitty") << TerminalApp::kitty << u"/bin/zsh"_s
                               << QStringList{u"/A/kitty.app/Contents/MacOS/kitty"_s,
                                              u"--single-instance"_s, u"/bin/zsh"_s, u"-ilc"_s, w};
        QTest::newRow("wezterm") << TerminalApp::wezterm << u"/bin/zsh"_s
                                 << QStringList{u"/A/wez.app/Contents/MacOS/wezterm"_s,
                                                u"start"_s,
                                                u"--always-new-process"_s,
                                                u"--"_s,
                                                u"/bin/zsh"_s,
                                                u"-ilc"_s,
                                                w};
        QTest::newRow("alacritty, bash login shell")
            << TerminalApp::alacritty << u"/bin/bash"_s
            << QStringList{u"/A/alacritty.app/Contents/MacOS/alacritty"_s, u"-e"_s, u"/bin/bash"_s,
                           u"-ilc"_s, u"make run; exec /bin/bash -il"_s};
        QTest::newRow("ghostty, dash") << TerminalApp::ghostty << u"/usr/bin/dash"_s
                                       << QStringList{u"/usr/bin/open"_s,
                                                      u"-na"_s,
                                                      u"Ghostty.app"_s,
                                                      u"--args"_s,
                                                      u"-e"_s,
                                                      u"/usr/bin/dash"_s,
                                                      u"-ilc"_s,
                                                      u"make run; exec /usr/bin/dash -il"_s};
    }

    void recipes()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(QString, shell);
        QFETCH(QStringList, argv);
        FakePlatform platform;
        platform.shell = shell;
        platform.install(u"net.kovidgoyal.kitty"_s, u"/A/kitty.app"_s);
        platform.install(u"com.github.wez.wezterm"_s, u"/A/wez.app"_s);
        platform.install(u"org.alacritty"_s, u"/A/alacritty.app"_s);
        PackedWindowLauncher launcher(platform);
        QCOMPARE(launcher.launchPackedWindow(u"make run"_s, terminal), std::nullopt);
        QCOMPARE(platform.calls, (QList<FakePlatform::Call>{{u"startProcess"_s, argv}}));
    }

    void windowCommandIsPassedVerbatim()
    {
        FakePlatform platform;
        platform.install(u"org.alacritty"_s, u"/A"_s);
        PackedWindowLauncher launcher(platform);
        // Already ends in a semicolon and a line feed: the suffix is still appended as it is.
        const QString script = u"echo 'it''s' \"q\" \\\n; "_s;
        QVERIFY(!launcher.launchPackedWindow(script, TerminalApp::alacritty));
        QCOMPARE(platform.calls.first().values.last(), script + u"; exec /bin/zsh -il"_s);
    }

    void notInstalled_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<QString>("message");
        QTest::newRow("kitty") << TerminalApp::kitty << u"kitty doesn’t seem to be installed."_s;
        QTest::newRow("wezterm") << TerminalApp::wezterm
                                 << u"WezTerm doesn’t seem to be installed."_s;
        QTest::newRow("alacritty")
            << TerminalApp::alacritty << u"Alacritty doesn’t seem to be installed."_s;
    }

    void notInstalled()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(QString, message);
        FakePlatform platform;
        PackedWindowLauncher launcher(platform);
        QCOMPARE(launcher.launchPackedWindow(u"ls"_s, terminal), (ScriptError{0, message}));
        QVERIFY(platform.calls.isEmpty());
    }

    void openRecipesLeaveFindingTheAppToOpen()
    {
        FakePlatform platform;
        PackedWindowLauncher launcher(platform);
        QVERIFY(!launcher.launchPackedWindow(u"ls"_s, TerminalApp::tabby));
        QCOMPARE(platform.callsOf(u"startProcess"_s).size(), 1);
    }

    void startFailureNamesTheTerminalAndReason()
    {
        FakePlatform platform;
        platform.startFailures.insert(0, u"Permission denied"_s);
        PackedWindowLauncher launcher(platform);
        QCOMPARE(launcher.launchPackedWindow(u"ls"_s, TerminalApp::ghostty),
                 (ScriptError{0, u"Couldn’t launch Ghostty: Permission denied"_s}));
    }
};

QTEST_GUILESS_MAIN(PackedWindowLauncherTest)
#include "tst_packedwindowlauncher.moc"
