#include "AppConfig.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

class TestTerminalApp final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The default configuration's contents are tst_configcodec's (an empty file reads as it).
    void defaultsAndEquality()
    {
        const AppConfig config, other;
        const TabGroup &group = config.groups[0];
        QVERIFY(!group.packedOverride);
        QCOMPARE(group.id.version(), QUuid::Random);
        // Fresh identities every time, so two defaults never compare equal.
        QVERIFY(other.groups[0].id != group.id);
        QVERIFY(other.groups[0].commands[0].id != group.commands[0].id);
        QCOMPARE(TabGroup().name, u"Session"_s);

        AppConfig copy = config;
        QCOMPARE(copy, config);
        copy.groups[0].packedOverride = QString(); // present-but-empty differs from absent
        QVERIFY(copy != config);
    }

    // The raw values are what configuration files hold: renaming one loses users' choice. (The
    // table's static_assert keeps them unique, so each reads back as its own case.)
    void rawValues()
    {
        QStringList listed;
        for (TerminalApp app : allTerminalApps)
            listed.append(rawValue(app));
        QCOMPARE(listed.join(u' '),
                 u"appleTerminal iterm2 ghostty warp kitty wezterm alacritty tabby "
                 u"gnomeTerminal konsole xfce4Terminal mateTerminal tilix terminator xterm foot"_s);
        for (const QString &text : {u"iTerm2"_s, u"Kitty"_s, QString(), u" warp"_s})
            QVERIFY(!terminalAppFromRawValue(text)); // exact, case-sensitive, untrimmed
    }
};

QTEST_GUILESS_MAIN(TestTerminalApp)
#include "tst_terminalapp.moc"
