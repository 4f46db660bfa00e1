#include "VersionComparator.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using corvane::VersionComparator;

class TestVersionComparator final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void ordersLikeSparkle_data();
    void ordersLikeSparkle();
    void sameVersionSpelledDifferently_data();
    void sameVersionSpelledDifferently();
};

void TestVersionComparator::ordersLikeSparkle_data()
{
    QTest::addColumn<QString>("older");
    QTest::addColumn<QString>("newer");

    // Plain numbers compare by value, not as text.
    QTest::newRow("major") << u"1.0"_s << u"2.0"_s;
    QTest::newRow("minor") << u"1.1"_s << u"1.2"_s;
    QTest::newRow("two digits beat one") << u"1.9"_s << u"1.10"_s;
    QTest::newRow("three components") << u"1.0.9"_s << u"1.0.10"_s;
    QTest::newRow("bare integers") << u"99"_s << u"100"_s;
    QTest::newRow("beyond int range") << u"1.2147483647"_s << u"1.2147483648"_s;
    QTest::newRow("longer number beyond 64 bits")
        << u"99999999999999999999"_s << u"100000000000000000000"_s;

    // An extra component makes a later version; Sparkle keeps even "1.0" < "1.0.0".
    QTest::newRow("extra patch") << u"1.0"_s << u"1.0.1"_s;
    QTest::newRow("extra zero") << u"1.0"_s << u"1.0.0"_s;
    QTest::newRow("trailing period") << u"1.0"_s << u"1.0."_s;
    QTest::newRow("empty is oldest") << QString() << u"0"_s;

    // Pre-release names come before the release and order among themselves by name.
    QTest::newRow("beta before release") << u"1.0b1"_s << u"1.0"_s;
    QTest::newRow("rc before release") << u"1.0rc1"_s << u"1.0"_s;
    QTest::newRow("alpha before beta") << u"1.0a1"_s << u"1.0b1"_s;
    QTest::newRow("beta before rc") << u"1.0b5"_s << u"1.0rc1"_s;
    QTest::newRow("beta numbers") << u"1.0b2"_s << u"1.0b10"_s;
    QTest::newRow("bare beta before numbered") << u"1.0b"_s << u"1.0b1"_s;
    QTest::newRow("beta word before release") << u"1.0beta"_s << u"1.0"_s;
    QTest::newRow("release before next beta") << u"1.0"_s << u"1.1b1"_s;
    QTest::newRow("beta before patch release") << u"1.0b1"_s << u"1.0.1"_s;
    QTest::newRow("rc before dotted patch") << u"2.0rc3"_s << u"2.0.1"_s;
    QTest::newRow("names compare case-sensitively") << u"1.0RC1"_s << u"1.0beta1"_s;
    QTest::newRow("dev before release") << u"3.1dev"_s << u"3.1"_s;

    // A number in the place of a period or separator wins over it.
    QTest::newRow("number beats period") << u"1..1"_s << u"1.1"_s;
    QTest::newRow("number beats dash") << u"1.0.-"_s << u"1.0.0"_s;

    // Build numbers, as Sparkle's sparkle:version often carries.
    QTest::newRow("build numbers") << u"1234"_s << u"1300"_s;
    QTest::newRow("leading zeros ignored") << u"1.02"_s << u"1.3"_s;
    QTest::newRow("Unicode digits count by value") << u"1.\u0661"_s << u"1.2"_s;
}

void TestVersionComparator::ordersLikeSparkle()
{
    QFETCH(QString, older);
    QFETCH(QString, newer);

    QCOMPARE(VersionComparator::compare(older, newer), -1);
    QCOMPARE(VersionComparator::compare(newer, older), 1);
    QCOMPARE(VersionComparator::compare(older, older), 0);
    QCOMPARE(VersionComparator::compare(newer, newer), 0);
}

void TestVersionComparator::sameVersionSpelledDifferently_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::newRow("identical") << u"2.3.4"_s << u"2.3.4"_s;
    QTest::newRow("leading zeros") << u"1.02"_s << u"1.2"_s;
    QTest::newRow("any separator") << u"1.0-beta"_s << u"1.0 beta"_s;
    QTest::newRow("separator runs") << u"1.0--2"_s << u"1.0_2"_s;
}

void TestVersionComparator::sameVersionSpelledDifferently()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QCOMPARE(VersionComparator::compare(a, b), 0);
    QCOMPARE(VersionComparator::compare(b, a), 0);
}

QTEST_GUILESS_MAIN(TestVersionComparator)
#include "tst_versioncomparator.moc"
