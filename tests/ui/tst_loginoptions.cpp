// The editor footer's login boxes against a recording platform: each click asks it for the
// user's choice, a failure is shown, and the boxes show what it has (its files: tests/platform).
#include "FakePlatform.h"
#include "LoginOptions.h"

#include <QCheckBox>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;
using Call = testing::FakePlatform::Call;

class LoginOptionsTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clicksAskThePlatform()
    {
        testing::FakePlatform platform;
        LoginOptions options(platform);
        options.show();
        auto *start = options.findChild<QCheckBox *>(u"startAtLogin"_s);
        auto *run = options.findChild<QCheckBox *>(u"runAtLogin"_s);
        // The calls one click makes, and the boxes checked after it ("10": Start at login only).
        const auto click = [&](QCheckBox *box) {
            platform.calls.clear();
            QTest::mouseClick(box, Qt::LeftButton);
            return u"%1%2"_s.arg(start->isChecked()).arg(run->isChecked());
        };
        const auto asked = [](LoginStart setting) {
            return Call{u"setLoginStart"_s, {QString::number(int(setting))}};
        };
        QCOMPARE(click(start), u"10"_s);
        QCOMPARE(platform.calls, QList{asked(LoginStart::start)});
        QCOMPARE(click(run), u"11"_s);
        QCOMPARE(platform.calls, QList{asked(LoginStart::startAndRun)});
        QCOMPARE(click(run), u"10"_s); // unchecking Run keeps Start
        QCOMPARE(platform.calls, QList{asked(LoginStart::start)});

        // A failure is shown, and the boxes stay as the setting is.
        platform.loginFailure = u"Permission denied"_s;
        QCOMPARE(click(run), u"10"_s);
        QCOMPARE(platform.calls, (QList{asked(LoginStart::startAndRun),
                                        Call{u"alert"_s,
                                             {u"Couldn’t change how Corvane starts at login"_s,
                                              *platform.loginFailure}}}));

        // The setting may change elsewhere (another tool, a removed file): each showing reads it.
        options.hide();
        platform.login = LoginStart::startAndRun;
        options.show();
        QVERIFY(start->isChecked() && run->isChecked());
    }
};

QTEST_MAIN(LoginOptionsTest)
#include "tst_loginoptions.moc"
