#include "UpdateChecker.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using corvane::UpdateChecker;
using corvane::UpdateCheckResult;
using Kind = corvane::UpdateCheckResult::Kind;

// Declared ahead of the feed literals: moc does not read past u-prefixed raw strings.
class TestUpdateChecker final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void comparesWithTheRunningVersion_data();
    void comparesWithTheRunningVersion();
    void failsWithASentence_data();
    void failsWithASentence();
    void failsWhenTheServerIsDown();
    void busyWhileACheckRunsThenTimesOut();
    void neverReadyWithoutAFeed();
    void survivesDeletionByAReceiver();

private:
    UpdateCheckResult check(const QUrl &feed, const QString &currentVersion);
    QUrl urlOf(const QString &file) const;

    QTemporaryDir m_root;
    QProcess m_server;
    quint16 m_port = 0;
};

namespace {

QByteArray appcast(const QString &items)
{
    return (uR"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Corvane</title>)"_s +
            items + u"</channel></rss>\n"_s)
        .toUtf8();
}

QString release(const QString &version)
{
    return uR"(<item><title>%1</title><sparkle:releaseNotesLink>notes-%1.html</sparkle:releaseNotesLink>
<enclosure url="corvane-%1.deb" sparkle:version="%1" length="10" type="application/octet-stream"/></item>)"_s
        .arg(version);
}

// Lets the event loop run everything already queued, so that "nothing happened" is meaningful.
void drainEventLoop()
{
    QObject marker;
    bool reached = false;
    QTimer::singleShot(0, &marker, [&reached] { reached = true; });
    QTRY_VERIFY(reached);
}

} // namespace

// A real HTTP server on loopback, serving the feeds that the tests write into a temporary folder.
void TestUpdateChecker::initTestCase()
{
    QVERIFY(m_root.isValid());
    m_server.setProgram(u"python3"_s);
    m_server.setArguments({u"-u"_s, u"-m"_s, u"http.server"_s, u"0"_s, u"--bind"_s, u"127.0.0.1"_s,
                           u"--directory"_s, m_root.path()});
    m_server.setStandardErrorFile(QProcess::nullDevice());
    m_server.start();
    QVERIFY2(m_server.waitForStarted(), qPrintable(m_server.errorString()));

    const QRegularExpression serving(u"port (\\d+)"_s);
    QByteArray output;
    QSignalSpy readable(&m_server, &QProcess::readyReadStandardOutput);
    while (!serving.match(QString::fromUtf8(output)).hasMatch()) {
        QVERIFY2(m_server.bytesAvailable() > 0 || readable.wait(10'000),
                 "python3 -m http.server did not report its port");
        output += m_server.readAllStandardOutput();
    }
    m_port = serving.match(QString::fromUtf8(output)).captured(1).toUShort();
    QVERIFY(m_port != 0);
}

void TestUpdateChecker::cleanupTestCase()
{
    if (m_server.state() != QProcess::NotRunning) {
        m_server.terminate();
        m_server.waitForFinished(5'000);
    }
}

QUrl TestUpdateChecker::urlOf(const QString &file) const
{
    return QUrl(u"http://127.0.0.1:%1/%2"_s.arg(m_port).arg(file));
}

UpdateCheckResult TestUpdateChecker::check(const QUrl &feed, const QString &currentVersion)
{
    UpdateChecker checker(feed, currentVersion);
    QSignalSpy ready(&checker, &UpdateChecker::canCheckForUpdatesChanged);
    QSignalSpy finished(&checker, &UpdateChecker::checkFinished);
    if (!ready.wait(5'000) || !checker.canCheckForUpdates()) {
        qWarning("checker never became ready");
        return {};
    }
    checker.checkForUpdates();
    if (!finished.wait(20'000)) {
        qWarning("check did not finish");
        return {};
    }
    return finished.takeFirst().at(0).value<UpdateCheckResult>();
}

void TestUpdateChecker::comparesWithTheRunningVersion_data()
{
    QTest::addColumn<QString>("currentVersion");
    QTest::addColumn<QStringList>("offered");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("latest");

    QTest::newRow("newer") << u"1.0"_s << QStringList{u"1.1"_s} << Kind::updateAvailable
                           << u"1.1"_s;
    QTest::newRow("equal") << u"1.1"_s << QStringList{u"1.1"_s} << Kind::upToDate << u"1.1"_s;
    QTest::newRow("older") << u"2.0"_s << QStringList{u"1.9"_s} << Kind::upToDate << u"1.9"_s;
    QTest::newRow("release after our candidate")
        << u"1.0rc1"_s << QStringList{u"1.0"_s} << Kind::updateAvailable << u"1.0"_s;
    QTest::newRow("beta of the version we run")
        << u"1.0"_s << QStringList{u"1.0b2"_s} << Kind::upToDate << u"1.0b2"_s;
    QTest::newRow("beta of the next version")
        << u"1.0"_s << QStringList{u"1.1b1"_s} << Kind::updateAvailable << u"1.1b1"_s;
    QTest::newRow("newest of several, out of order")
        << u"1.2"_s << QStringList{u"1.9"_s, u"1.10"_s, u"1.3"_s} << Kind::updateAvailable
        << u"1.10"_s;
}

void TestUpdateChecker::comparesWithTheRunningVersion()
{
    QFETCH(QString, currentVersion);
    QFETCH(QStringList, offered);
    QFETCH(Kind, kind);
    QFETCH(QString, latest);

    QString items;
    for (const QString &version : offered)
        items += release(version);
    const QString name = u"%1.xml"_s.arg(QString::fromLatin1(QTest::currentDataTag()))
                             .replace(u' ', u'-')
                             .replace(u',', u'-');
    QFile feed(m_root.filePath(name));
    QVERIFY(feed.open(QIODevice::WriteOnly));
    feed.write(appcast(items));
    feed.close();

    const UpdateCheckResult result = check(urlOf(name), currentVersion);
    QCOMPARE(result.errorMessage, QString());
    QCOMPARE(result.kind, kind);
    QCOMPARE(result.latestVersion, latest);
    QCOMPARE(result.currentVersion, currentVersion);
    // Links in the feed are relative to it, so they point back at the server.
    QCOMPARE(result.downloadUrl, urlOf(u"corvane-%1.deb"_s.arg(latest)));
    QCOMPARE(result.releaseNotesUrl, urlOf(u"notes-%1.html"_s.arg(latest)));
}

void TestUpdateChecker::failsWithASentence_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("message");

    QTest::newRow("malformed") << u"broken.xml"_s << appcast(release(u"2.0"_s)).chopped(20)
                               << u"The update feed could not be read: "_s;
    QTest::newRow("missing file") << u"gone.xml"_s << QByteArray()
                                  << u"The update server answered with an error (HTTP 404)."_s;
}

void TestUpdateChecker::failsWithASentence()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, body);
    QFETCH(QString, message);

    if (!body.isEmpty()) {
        QFile feed(m_root.filePath(file));
        QVERIFY(feed.open(QIODevice::WriteOnly));
        feed.write(body);
    }
    const UpdateCheckResult result = check(urlOf(file), u"1.0"_s);
    QCOMPARE(result.kind, Kind::failed);
    QVERIFY2(result.errorMessage.startsWith(message), qPrintable(result.errorMessage));
    QVERIFY(result.latestVersion.isEmpty());
    QVERIFY(result.downloadUrl.isEmpty());
}

void TestUpdateChecker::failsWhenTheServerIsDown()
{
    // Take a free port and give it back, so that nothing listens there.
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    const quint16 port = probe.serverPort();
    probe.close();

    const UpdateCheckResult result =
        check(QUrl(u"http://127.0.0.1:%1/appcast.xml"_s.arg(port)), u"1.0"_s);
    QCOMPARE(result.kind, Kind::failed);
    QVERIFY2(result.errorMessage.startsWith(u"Corvane couldn’t reach the update server: "_s),
             qPrintable(result.errorMessage));
}

void TestUpdateChecker::busyWhileACheckRunsThenTimesOut()
{
    // A server that accepts connections and never answers.
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    int connections = 0;
    connect(&silent, &QTcpServer::newConnection, this, [&silent, &connections] {
        while (silent.nextPendingConnection() != nullptr)
            ++connections;
    });

    UpdateChecker checker(QUrl(u"http://127.0.0.1:%1/appcast.xml"_s.arg(silent.serverPort())),
                          u"1.0"_s);
    checker.setTransferTimeout(300ms);
    QSignalSpy changes(&checker, &UpdateChecker::canCheckForUpdatesChanged);
    QSignalSpy finished(&checker, &UpdateChecker::checkFinished);
    QVERIFY(!checker.canCheckForUpdates());
    QVERIFY(changes.wait(5'000));
    QVERIFY(checker.canCheckForUpdates());

    bool busyDuringReport = false;
    connect(&checker, &UpdateChecker::checkFinished, this,
            [&] { busyDuringReport = !checker.canCheckForUpdates(); });

    checker.checkForUpdates();
    QVERIFY(!checker.canCheckForUpdates());
    checker.checkForUpdates(); // ignored: one check at a time

    QVERIFY(finished.wait(20'000));
    QCOMPARE(finished.size(), 1);
    QCOMPARE(connections, 1);
    const auto result = finished.at(0).at(0).value<UpdateCheckResult>();
    QCOMPARE(result.kind, Kind::failed);
    QCOMPARE(result.errorMessage, u"The update server did not answer in time."_s);
    QVERIFY(busyDuringReport);
    QVERIFY(checker.canCheckForUpdates());

    QList<bool> states;
    for (const QList<QVariant> &change : changes)
        states.append(change.at(0).toBool());
    QCOMPARE(states, (QList<bool>{true, false, true}));
}

void TestUpdateChecker::neverReadyWithoutAFeed()
{
    UpdateChecker checker(QUrl(), u"1.0"_s);
    QSignalSpy changes(&checker, &UpdateChecker::canCheckForUpdatesChanged);
    QSignalSpy finished(&checker, &UpdateChecker::checkFinished);
    drainEventLoop();
    QVERIFY(!checker.canCheckForUpdates());
    checker.checkForUpdates();
    drainEventLoop();
    QVERIFY(!checker.canCheckForUpdates());
    QCOMPARE(changes.size(), 0);
    QCOMPARE(finished.size(), 0);
}

void TestUpdateChecker::survivesDeletionByAReceiver()
{
    auto *checker = new UpdateChecker(urlOf(u"absent.xml"_s), u"1.0"_s);
    QSignalSpy ready(checker, &UpdateChecker::canCheckForUpdatesChanged);
    QSignalSpy destroyed(checker, &QObject::destroyed);
    connect(checker, &UpdateChecker::checkFinished, this, [checker] { delete checker; });
    QVERIFY(ready.wait(5'000));
    checker->checkForUpdates();
    QVERIFY(destroyed.wait(20'000));
}

QTEST_GUILESS_MAIN(TestUpdateChecker)
#include "tst_updatechecker.moc"
