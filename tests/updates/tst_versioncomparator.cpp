#include "VersionComparator.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class TestVersionComparator final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void orders_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("order"); // of compare(a, b); compare(b, a) must give the opposite
        QTest::newRow("numbers by value") << u"1.9"_s << u"1.10"_s << -1;
        QTest::newRow("beyond 64 bits")
            << u"99999999999999999999"_s << u"100000000000000000000"_s << -1;
        QTest::newRow("leading zeros") << u"1.02"_s << u"1.2"_s << 0;
        QTest::newRow("extra component") << u"1.0"_s << u"1.0.0"_s << -1;
        QTest::newRow("empty is oldest") << QString() << u"0"_s << -1;
        QTest::newRow("beta before release") << u"1.0b1"_s << u"1.0"_s << -1;
        QTest::newRow("beta before rc") << u"1.0b5"_s << u"1.0rc1"_s << -1;
        QTest::newRow("beta before patch") << u"1.0b1"_s << u"1.0.1"_s << -1;
        QTest::newRow("number beats period") << u"1..1"_s << u"1.1"_s << -1;
        QTest::newRow("a separator is no pre-release") << u"1.0b1"_s << u"1.0-1"_s << -1;
    }

    void orders()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, order);
        QCOMPARE(corvane::VersionComparator::compare(a, b), order);
        QCOMPARE(corvane::VersionComparator::compare(b, a), -order);
    }
};

QTEST_GUILESS_MAIN(TestVersionComparator)
#include "tst_versioncomparator.moc"
