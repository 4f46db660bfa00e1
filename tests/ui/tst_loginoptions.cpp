// The editor footer's "Start at login" and "Run at login" against a recording platform: each
// click sets the platform's setting, and the boxes always show what the platform has.
#include "FakePlatform.h"
#include "LoginOptions.h"

#include <QCheckBox>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(corvane::LoginStart)

namespace {

struct Fixture {
    explicit Fixture(LoginStart initial)
    {
        platform.login = initial;
        options.show();
    }
    QCheckBox *box(const QString &name) const { return options.findChild<QCheckBox *>(name); }
    QString shown() const
    {
        return u"start %1, run %2"_s.arg(box(u"startAtLogin"_s)->isChecked())
            .arg(box(u"runAtLogin"_s)->isChecked());
    }

    testing::FakePlatform platform;
    LoginOptions options{platform};
};

} // namespace

class LoginOptionsTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clicks_data()
    {
        QTest::addColumn<LoginStart>("initial");
        QTest::addColumn<QString>("clicked");
        QTest::addColumn<bool>("fails");
        QTest::addColumn<LoginStart>("asked");
        QTest::addColumn<QString>("shown");
        const auto off = LoginStart::off, start = LoginStart::start, both = LoginStart::startAndRun;
        QTest::newRow("start") << off << u"startAtLogin"_s << false << start << u"start 1, run 0"_s;
        QTest::newRow("run checks start")
            << off << u"runAtLogin"_s << false << both << u"start 1, run 1"_s;
        QTest::newRow("unchecking start unchecks run")
            << both << u"startAtLogin"_s << false << off << u"start 0, run 0"_s;
        QTest::newRow("unchecking run keeps start")
            << both << u"runAtLogin"_s << false << start << u"start 1, run 0"_s;
        QTest::newRow("a failure leaves the setting as it was")
            << start << u"runAtLogin"_s << true << both << u"start 1, run 0"_s;
    }

    void clicks()
    {
        QFETCH(LoginStart, initial);
        QFETCH(QString, clicked);
        QFETCH(bool, fails);
        QFETCH(LoginStart, asked);
        QFETCH(QString, shown);
        Fixture f(initial);
        if (fails)
            f.platform.loginFailure = u"Permission denied"_s;
        QTest::mouseClick(f.box(clicked), Qt::LeftButton);
        using Call = testing::FakePlatform::Call;
        QList<Call> expected{{u"setLoginStart"_s, {QString::number(int(asked))}}};
        if (fails)
            expected.append(
                {u"alert"_s,
                 {u"Couldn’t change how Corvane starts at login"_s, u"Permission denied"_s}});
        QCOMPARE(f.platform.calls, expected);
        QCOMPARE(f.shown(), shown);
    }

    // The setting may change elsewhere (another tool, a removed file): every showing reads it.
    void showingReadsTheSettingAgain()
    {
        Fixture f(LoginStart::startAndRun);
        QCOMPARE(f.shown(), u"start 1, run 1"_s);
        f.options.hide();
        f.platform.login = LoginStart::off;
        f.options.show();
        QCOMPARE(f.shown(), u"start 0, run 0"_s);
        QVERIFY(f.platform.calls.isEmpty());
    }
};

QTEST_MAIN(LoginOptionsTest)
#include "tst_loginoptions.moc"
