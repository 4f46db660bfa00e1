#include "ConfigEdits.h"
#include "DelayText.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

using Names = QStringList;
using Delay = std::optional<double>;

class TestConfigEdits final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void moveGroup_data()
    {
        QTest::addColumn<int>("index"); // -1: an id that is not in the list
        QTest::addColumn<int>("offset");
        QTest::addColumn<Names>("expected");
        QTest::newRow("first up") << 0 << -1 << Names{u"A"_s, u"B"_s, u"C"_s};
        QTest::newRow("last down") << 2 << 1 << Names{u"A"_s, u"B"_s, u"C"_s};
        QTest::newRow("first down") << 0 << 1 << Names{u"B"_s, u"A"_s, u"C"_s};
        QTest::newRow("last up") << 2 << -1 << Names{u"A"_s, u"C"_s, u"B"_s};
        QTest::newRow("two places swap") << 0 << 2 << Names{u"C"_s, u"B"_s, u"A"_s};
        QTest::newRow("unknown id") << -1 << 1 << Names{u"A"_s, u"B"_s, u"C"_s};
    }

    void moveGroup()
    {
        QFETCH(int, index);
        QFETCH(int, offset);
        QFETCH(Names, expected);
        QList<TabGroup> groups(3);
        for (int i = 0; i < 3; ++i)
            groups[i].name = QString(QChar(u'A' + i));
        edits::moveGroup(groups, index >= 0 ? groups.at(index).id : QUuid::createUuid(), offset);
        Names names;
        for (const TabGroup &group : groups)
            names.append(group.name);
        QCOMPARE(names, expected);
    }

    void hasCommands_data()
    {
        QTest::addColumn<QList<Names>>("commands"); // one list per group
        QTest::addColumn<bool>("withOverrides");
        QTest::addColumn<bool>("expected");
        QTest::newRow("no groups") << QList<Names>{} << false << false;
        QTest::newRow("no steps") << QList<Names>{{}, {}} << false << false;
        QTest::newRow("blank") << QList<Names>{{u""_s, u" \t"_s}, {u"\n\r"_s}} << false << false;
        // Wider than ASCII: no-break, zero-width and ideographic spaces are blank too.
        QTest::newRow("unicode blanks")
            << QList<Names>{{u"\u00A0\u200B\u3000"_s}} << false << false;
        QTest::newRow("padded ls in a later group")
            << QList<Names>{{u" "_s}, {u""_s, u"  ls  "_s}} << false << true;
        QTest::newRow("overrides do not count") << QList<Names>{{u" "_s}, {u""_s}} << true << false;
    }

    void hasCommands()
    {
        QFETCH(QList<Names>, commands);
        QFETCH(bool, withOverrides);
        QFETCH(bool, expected);
        AppConfig config;
        config.groups.clear();
        for (const Names &list : commands) {
            TabGroup group;
            group.commands.clear();
            for (const QString &command : list)
                group.commands.append(CommandStep{QUuid::createUuid(), command, 0});
            if (withOverrides)
                group.packedOverride = u"ssh box"_s;
            config.groups.append(group);
        }
        QCOMPARE(edits::hasCommands(config), expected);
    }

    void delayText_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("text");
        QTest::addColumn<Delay>("parsed");
        QTest::addColumn<QString>("shown"); // how the parsed value is shown again
        const QLocale c(QLocale::C), german(QLocale::German);
        QTest::newRow("point") << c << u"2.5"_s << Delay(2.5) << u"2.5"_s;
        QTest::newRow("padded") << c << u" 3 "_s << Delay(3) << u"3"_s;
        QTest::newRow("zero") << c << u"0"_s << Delay(0) << u"0"_s;
        QTest::newRow("tenth") << c << u"0.1"_s << Delay(0.1) << u"0.1"_s;
        QTest::newRow("negative") << c << u"-1"_s << Delay(-1) << u"-1"_s;
        QTest::newRow("letters") << c << u"abc"_s << Delay() << QString();
        QTest::newRow("empty") << c << u""_s << Delay() << QString();
        QTest::newRow("infinity") << c << u"inf"_s << Delay() << QString();
        QTest::newRow("comma in German") << german << u"2,5"_s << Delay(2.5) << u"2,5"_s;
        QTest::newRow("point in German") << german << u"2.5"_s << Delay() << QString();
    }

    void delayText()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, text);
        QFETCH(Delay, parsed);
        QFETCH(QString, shown);
        QCOMPARE(DelayText::parse(text, locale), parsed);
        if (parsed)
            QCOMPARE(DelayText::format(*parsed, locale), shown);
    }
};

QTEST_GUILESS_MAIN(TestConfigEdits)
#include "tst_configedits.moc"
