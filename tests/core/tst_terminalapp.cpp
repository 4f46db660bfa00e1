#include "AppConfig.h"
#include "TerminalApp.h"

#include <QTest>

using namespace corvane;

class TestTerminalApp final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void defaultConfiguration()
    {
        const AppConfig config;
        QCOMPARE(config.terminalApp, TerminalApp::appleTerminal);
        QCOMPARE(config.groups.size(), 1);
        const TabGroup &group = config.groups.constFirst();
        QCOMPARE(group.name, QStringLiteral("Window 1"));
        QVERIFY(!group.packedOverride.has_value());
        QCOMPARE(group.commands.size(), 1);
        QCOMPARE(group.commands.constFirst().command, QString());
        QCOMPARE(group.commands.constFirst().delayAfter, 0.0);
        QVERIFY(!group.id.isNull());
        QCOMPARE(group.id.version(), QUuid::Random);

        // Every default gets fresh identities, so two defaults never compare equal.
        const AppConfig other;
        QVERIFY(other.groups.constFirst().id != group.id);
        QVERIFY(other.groups.constFirst().commands.constFirst().id !=
                group.commands.constFirst().id);
        QVERIFY(other != config);
    }

    void defaultGroup()
    {
        const TabGroup group;
        QCOMPARE(group.name, QStringLiteral("Session"));
        QCOMPARE(group.commands.size(), 1);
        QVERIFY(group.commands.constFirst().command.isEmpty());
    }

    void equalityCoversEveryField()
    {
        const TabGroup group;
        TabGroup copy = group;
        QCOMPARE(copy, group);

        copy.id = QUuid::createUuid();
        QVERIFY(copy != group);

        copy = group;
        copy.packedOverride = QString();
        QVERIFY(copy != group); // present-but-empty differs from absent

        copy = group;
        copy.commands[0].delayAfter = 1.5;
        QVERIFY(copy != group);
    }

    void rawValueLookup_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected"); // -1: no terminal

        for (TerminalApp app : allTerminalApps)
            QTest::newRow(qPrintable(rawValue(app))) << rawValue(app) << static_cast<int>(app);
        QTest::newRow("capital T") << QStringLiteral("iTerm2") << -1;
        QTest::newRow("capital K") << QStringLiteral("Kitty") << -1;
        QTest::newRow("empty") << QString() << -1;
        QTest::newRow("leading blank") << QStringLiteral(" warp") << -1;
        QTest::newRow("display name") << QStringLiteral("WezTerm") << -1;
    }

    void rawValueLookup()
    {
        QFETCH(QString, text);
        QFETCH(int, expected);
        const auto app = terminalAppFromRawValue(text);
        QCOMPARE(app ? static_cast<int>(*app) : -1, expected);
    }

    void perTerminalProperties()
    {
        QStringList listed;
        for (TerminalApp app : allTerminalApps)
            listed.append(rawValue(app));
        QCOMPARE(listed.join(u','), QStringLiteral("appleTerminal,iterm2,ghostty,warp,kitty,"
                                                   "wezterm,alacritty,tabby"));
        QCOMPARE(displayName(TerminalApp::kitty), QStringLiteral("kitty"));
        QCOMPARE(displayName(TerminalApp::appleTerminal),
                 QStringLiteral("Terminal (macOS built-in)"));
        QCOMPARE(launchStyle(TerminalApp::warp), TerminalLaunchStyle::warpLaunchConfiguration);
        QVERIFY(combinesCommands(TerminalApp::warp));
        QVERIFY(combinesCommands(TerminalApp::tabby));
        QVERIFY(!combinesCommands(TerminalApp::iterm2));
    }
};

QTEST_GUILESS_MAIN(TestTerminalApp)
#include "tst_terminalapp.moc"
