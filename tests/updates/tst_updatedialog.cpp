#include "UpdateDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QTest>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;
using corvane::UpdateCheckResult;
using corvane::UpdateDialog;
using Kind = corvane::UpdateCheckResult::Kind;

// Stands in for the browser: QDesktopServices hands http(s) URLs to it.
class UrlRecorder final : public QObject {
    Q_OBJECT

public:
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl &url) { opened.append(url); }
};

class TestUpdateDialog final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void showsTheOutcome_data();
    void showsTheOutcome();
    void runsModallyWithoutAHook();

private:
    UrlRecorder m_browser;
};

namespace {

const QUrl download(u"https://example.org/corvane-2.0.deb"_s);
const QUrl notes(u"https://example.org/notes/2.0"_s);

UpdateCheckResult result(Kind kind, const QString &latest, const QUrl &downloadUrl,
                         const QUrl &notesUrl, const QString &error = {})
{
    UpdateCheckResult r;
    r.kind = kind;
    r.latestVersion = latest;
    r.downloadUrl = downloadUrl;
    r.releaseNotesUrl = notesUrl;
    r.errorMessage = error;
    r.currentVersion = u"1.4"_s;
    return r;
}

QStringList buttonTexts(const QMessageBox &box)
{
    QStringList texts;
    for (QAbstractButton *button : box.buttons())
        texts.append(button->text().remove(u'&'));
    texts.sort();
    return texts;
}

QAbstractButton *buttonNamed(const QMessageBox &box, const QString &text)
{
    for (QAbstractButton *button : box.buttons()) {
        if (button->text().remove(u'&') == text)
            return button;
    }
    return nullptr;
}

} // namespace

void TestUpdateDialog::init()
{
    m_browser.opened.clear();
    QDesktopServices::setUrlHandler(u"https"_s, &m_browser, "open");
    QDesktopServices::setUrlHandler(u"http"_s, &m_browser, "open");
}

void TestUpdateDialog::cleanup()
{
    UpdateDialog::setAnswerHook({});
    QDesktopServices::unsetUrlHandler(u"https"_s);
    QDesktopServices::unsetUrlHandler(u"http"_s);
}

void TestUpdateDialog::showsTheOutcome_data()
{
    QTest::addColumn<UpdateCheckResult>("outcome");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("details");
    QTest::addColumn<QMessageBox::Icon>("icon");
    QTest::addColumn<QStringList>("buttons");
    QTest::addColumn<QString>("press"); // empty: closed without choosing
    QTest::addColumn<QList<QUrl>>("opened");

    const QString available = u"A new version of Corvane is available!"_s;
    const QString availableDetails = u"Corvane 2.0 is now available—you have 1.4."_s;
    const QStringList allButtons{u"Download"_s, u"Later"_s, u"Release Notes"_s};

    QTest::newRow("download") << result(Kind::updateAvailable, u"2.0"_s, download, notes)
                              << available << availableDetails << QMessageBox::Information
                              << allButtons << u"Download"_s << QList{download};
    QTest::newRow("release notes")
        << result(Kind::updateAvailable, u"2.0"_s, download, notes) << available << availableDetails
        << QMessageBox::Information << allButtons << u"Release Notes"_s << QList{notes};
    QTest::newRow("later") << result(Kind::updateAvailable, u"2.0"_s, download, notes) << available
                           << availableDetails << QMessageBox::Information << allButtons
                           << u"Later"_s << QList<QUrl>{};
    QTest::newRow("closed") << result(Kind::updateAvailable, u"2.0"_s, download, notes) << available
                            << availableDetails << QMessageBox::Information << allButtons
                            << QString() << QList<QUrl>{};
    QTest::newRow("no download link")
        << result(Kind::updateAvailable, u"2.0"_s, QUrl(), notes) << available << availableDetails
        << QMessageBox::Information << QStringList{u"Later"_s, u"Release Notes"_s}
        << u"Release Notes"_s << QList{notes};
    QTest::newRow("no links") << result(Kind::updateAvailable, u"2.0"_s, QUrl(), QUrl())
                              << available << availableDetails << QMessageBox::Information
                              << QStringList{u"Later"_s} << u"Later"_s << QList<QUrl>{};
    QTest::newRow("up to date") << result(Kind::upToDate, u"1.3"_s, download, notes)
                                << u"You’re up to date!"_s
                                << u"Corvane 1.4 is currently the newest version available."_s
                                << QMessageBox::Information << QStringList{u"OK"_s} << u"OK"_s
                                << QList<QUrl>{};
    QTest::newRow("failed") << result(Kind::failed, QString(), QUrl(), QUrl(),
                                      u"The update server answered with an error (HTTP 503)."_s)
                            << u"Update Error!"_s
                            << u"The update server answered with an error (HTTP 503)."_s
                            << QMessageBox::Warning << QStringList{u"OK"_s} << u"OK"_s
                            << QList<QUrl>{};
}

void TestUpdateDialog::showsTheOutcome()
{
    QFETCH(UpdateCheckResult, outcome);
    QFETCH(QString, text);
    QFETCH(QString, details);
    QFETCH(QMessageBox::Icon, icon);
    QFETCH(QStringList, buttons);
    QFETCH(QString, press);
    QFETCH(QList<QUrl>, opened);

    QWidget parent;
    int shown = 0;
    UpdateDialog::setAnswerHook([&](QMessageBox &box) -> QAbstractButton * {
        ++shown;
        [&] {
            QCOMPARE(box.text(), text);
            QCOMPARE(box.informativeText(), details);
            QCOMPARE(box.icon(), icon);
            QCOMPARE(buttonTexts(box), buttons);
            QCOMPARE(box.parentWidget(), &parent);
            QVERIFY(box.windowModality() != Qt::NonModal);
        }();
        return press.isEmpty() ? nullptr : buttonNamed(box, press);
    });
    UpdateDialog::present(outcome, &parent);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(shown, 1);
    QCOMPARE(m_browser.opened, opened);
}

void TestUpdateDialog::runsModallyWithoutAHook()
{
    // Answer the real modal loop from inside it, as a user would.
    bool found = false;
    QTimer answer;
    answer.setInterval(10);
    connect(&answer, &QTimer::timeout, this, [&] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        found = true;
        answer.stop();
        if (QAbstractButton *button = buttonNamed(*box, u"Download"_s))
            button->click();
        else
            box->reject();
    });
    answer.start();
    UpdateDialog::present(result(Kind::updateAvailable, u"2.0"_s, download, notes));
    QVERIFY(found);
    QCOMPARE(m_browser.opened, QList{download});
}

QTEST_MAIN(TestUpdateDialog)
#include "tst_updatedialog.moc"
