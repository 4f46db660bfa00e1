#include "ConfigEdits.h"
#include "DelayText.h"
#include "FakePlatform.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

QList<TabGroup> groupsNamed(const QStringList &names)
{
    QList<TabGroup> groups;
    for (const QString &name : names) {
        TabGroup group;
        group.name = name;
        groups.append(group);
    }
    return groups;
}

QStringList namesOf(const QList<TabGroup> &groups)
{
    QStringList names;
    for (const TabGroup &group : groups)
        names.append(group.name);
    return names;
}

} // namespace

class TestConfigEdits final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void moveGroup_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("offset");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("first up") << 0 << -1 << QStringList{u"A"_s, u"B"_s, u"C"_s};
        QTest::newRow("last down") << 2 << 1 << QStringList{u"A"_s, u"B"_s, u"C"_s};
        QTest::newRow("first down") << 0 << 1 << QStringList{u"B"_s, u"A"_s, u"C"_s};
        QTest::newRow("last up") << 2 << -1 << QStringList{u"A"_s, u"C"_s, u"B"_s};
        QTest::newRow("two places") << 0 << 2 << QStringList{u"C"_s, u"B"_s, u"A"_s};
        QTest::newRow("unknown id") << -1 << 1 << QStringList{u"A"_s, u"B"_s, u"C"_s};
    }

    void moveGroup()
    {
        QFETCH(int, index);
        QFETCH(int, offset);
        QFETCH(QStringList, expected);
        QList<TabGroup> groups = groupsNamed({u"A"_s, u"B"_s, u"C"_s});
        const QList<TabGroup> before = groups;
        const QUuid id = index >= 0 ? groups.at(index).id : QUuid::createUuid();
        edits::moveGroup(groups, id, offset);
        QCOMPARE(namesOf(groups), expected);
        // A move swaps whole groups: nothing inside them changes.
        for (const TabGroup &group : before)
            QVERIFY(groups.contains(group));
    }

    void hasCommands_data()
    {
        QTest::addColumn<QList<QStringList>>("commands"); // one list per group
        QTest::addColumn<bool>("overrideEverywhere");
        QTest::addColumn<bool>("expected");
        QTest::newRow("no groups") << QList<QStringList>{} << false << false;
        QTest::newRow("no steps") << QList<QStringList>{{}, {}} << false << false;
        QTest::newRow("empty and blank")
            << QList<QStringList>{{u""_s, u"  \t"_s}, {u"\n\r"_s}} << false << false;
        // Foundation's set is wider than ASCII: no-break space, zero-width space, ideographic.
        QTest::newRow("unicode blanks")
            << QList<QStringList>{{QString(QChar(0x00A0)) + QChar(0x200B) + QChar(0x3000)}} << false
            << false;
        QTest::newRow("padded ls in a later group")
            << QList<QStringList>{{u" "_s}, {u""_s, u"  ls  "_s}} << false << true;
        QTest::newRow("override does not count")
            << QList<QStringList>{{u" "_s}, {u""_s}} << true << false;
    }

    void hasCommands()
    {
        QFETCH(QList<QStringList>, commands);
        QFETCH(bool, overrideEverywhere);
        QFETCH(bool, expected);
        AppConfig config;
        config.groups.clear();
        for (const QStringList &list : commands) {
            TabGroup group;
            group.commands.clear();
            for (const QString &command : list)
                group.commands.append(CommandStep{QUuid::createUuid(), command, 0});
            if (overrideEverywhere)
                group.packedOverride = u"ssh box"_s;
            config.groups.append(group);
        }
        QCOMPARE(edits::hasCommands(config), expected);
    }

    void installedTerminalsKeepTheirOrder()
    {
        testing::FakePlatform platform;
        QCOMPARE(edits::installedTerminals(platform), QList<TerminalApp>{});
        platform.install(bundleIdentifier(TerminalApp::alacritty));
        platform.install(bundleIdentifier(TerminalApp::ghostty));
        platform.install(bundleIdentifier(TerminalApp::kitty));
        QCOMPARE(
            edits::installedTerminals(platform),
            (QList<TerminalApp>{TerminalApp::ghostty, TerminalApp::kitty, TerminalApp::alacritty}));
    }

    void replacementTerminal()
    {
        using edits::replacementTerminal;
        const QList<TerminalApp> installed{TerminalApp::kitty, TerminalApp::alacritty};
        QCOMPARE(replacementTerminal(TerminalApp::alacritty, installed), std::nullopt);
        QCOMPARE(replacementTerminal(TerminalApp::warp, installed), TerminalApp::kitty);
        QCOMPARE(replacementTerminal(TerminalApp::appleTerminal, installed), TerminalApp::kitty);
        QCOMPARE(replacementTerminal(TerminalApp::kitty, {}), TerminalApp::appleTerminal);
        QCOMPARE(replacementTerminal(TerminalApp::appleTerminal, {}), TerminalApp::appleTerminal);
    }

    void delayText_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<double>>("parsed");
        const QLocale c(QLocale::C);
        const QLocale german(QLocale::German);
        QTest::newRow("point") << c << u"2.5"_s << std::optional<double>(2.5);
        QTest::newRow("padded") << c << u" 3 "_s << std::optional<double>(3);
        QTest::newRow("negative") << c << u"-1"_s << std::optional<double>(-1);
        QTest::newRow("letters") << c << u"abc"_s << std::optional<double>();
        QTest::newRow("empty") << c << u""_s << std::optional<double>();
        QTest::newRow("infinity") << c << u"inf"_s << std::optional<double>();
        QTest::newRow("comma in German") << german << u"2,5"_s << std::optional<double>(2.5);
        QTest::newRow("point in German") << german << u"2.5"_s << std::optional<double>();
    }

    void delayText()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, text);
        QFETCH(std::optional<double>, parsed);
        const auto value = DelayText::parse(text, locale);
        QCOMPARE(value, parsed);
        if (value)
            QCOMPARE(DelayText::parse(DelayText::format(*value, locale), locale), value);
    }

    void delayFormat()
    {
        QCOMPARE(DelayText::format(2.5, QLocale(QLocale::German)), u"2,5"_s);
        QCOMPARE(DelayText::format(2.5, QLocale(QLocale::C)), u"2.5"_s);
        QCOMPARE(DelayText::format(0, QLocale(QLocale::C)), u"0"_s);
        QCOMPARE(DelayText::format(0.1, QLocale(QLocale::C)), u"0.1"_s);
    }
};

QTEST_GUILESS_MAIN(TestConfigEdits)
#include "tst_configedits.moc"
