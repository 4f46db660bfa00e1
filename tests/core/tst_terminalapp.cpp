#include "AppConfig.h"
#include "TerminalApp.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

class TestTerminalApp final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void defaults()
    {
        const AppConfig config;
        QCOMPARE(config.terminalApp, TerminalApp::appleTerminal);
        QCOMPARE(config.groups.size(), 1);
        const TabGroup &group = config.groups[0];
        QCOMPARE(group.name, u"Window 1"_s);
        QVERIFY(!group.packedOverride);
        QCOMPARE(group.commands.size(), 1);
        QCOMPARE(group.commands[0].command, QString());
        QCOMPARE(group.commands[0].delayAfter, 0.0);
        QCOMPARE(group.id.version(), QUuid::Random);
        // Fresh identities every time, so two defaults never compare equal.
        const AppConfig other;
        QVERIFY(other.groups[0].id != group.id);
        QVERIFY(other.groups[0].commands[0].id != group.commands[0].id);
        QVERIFY(other != config);

        const TabGroup plain;
        QCOMPARE(plain.name, u"Session"_s);
        QCOMPARE(plain.commands.size(), 1);
    }

    void equalityCoversEveryField()
    {
        const AppConfig config;
        AppConfig copy = config;
        QCOMPARE(copy, config);
        copy.groups[0].id = QUuid::createUuid();
        QVERIFY(copy != config);
        copy = config;
        copy.groups[0].packedOverride = QString(); // present-but-empty differs from absent
        QVERIFY(copy != config);
        copy = config;
        copy.groups[0].commands[0].delayAfter = 1.5;
        QVERIFY(copy != config);
        copy = config;
        copy.terminalApp = TerminalApp::kitty;
        QVERIFY(copy != config);
    }

    void rawValueLookup_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected"); // -1: no terminal
        for (TerminalApp app : allTerminalApps)
            QTest::newRow(qPrintable(rawValue(app))) << rawValue(app) << int(app);
        QTest::newRow("capital T") << u"iTerm2"_s << -1;
        QTest::newRow("capital K") << u"Kitty"_s << -1;
        QTest::newRow("empty") << QString() << -1;
        QTest::newRow("leading blank") << u" warp"_s << -1;
    }

    void rawValueLookup()
    {
        QFETCH(QString, text);
        QFETCH(int, expected);
        const auto app = terminalAppFromRawValue(text);
        QCOMPARE(app ? int(*app) : -1, expected);
    }

    void orderAndLaunchStyles()
    {
        QStringList listed;
        for (TerminalApp app : allTerminalApps) {
            listed.append(rawValue(app));
            // Only Terminal and iTerm2 are typed into; every other terminal gets one line.
            const bool typedInto = app == TerminalApp::appleTerminal || app == TerminalApp::iterm2;
            QCOMPARE(combinesCommands(app), !typedInto);
            QCOMPARE(launchStyle(app) == TerminalLaunchStyle::appleScript, typedInto);
        }
        QCOMPARE(listed.join(u','),
                 u"appleTerminal,iterm2,ghostty,warp,kitty,wezterm,alacritty,tabby"_s);
        QCOMPARE(launchStyle(TerminalApp::warp), TerminalLaunchStyle::warpLaunchConfiguration);
        QCOMPARE(displayName(TerminalApp::kitty), u"kitty"_s);
        QCOMPARE(displayName(TerminalApp::appleTerminal), u"Terminal (macOS built-in)"_s);
    }
};

QTEST_GUILESS_MAIN(TestTerminalApp)
#include "tst_terminalapp.moc"
