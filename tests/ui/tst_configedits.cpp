#include "ConfigEdits.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

using Names = QStringList; // one group's commands

class TestConfigEdits final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void hasCommands_data()
    {
        QTest::addColumn<QList<Names>>("commands");
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
};

QTEST_GUILESS_MAIN(TestConfigEdits)
#include "tst_configedits.moc"
