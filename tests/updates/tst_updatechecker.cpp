#include "UpdateChecker.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using corvane::UpdateChecker;
using Kind = corvane::UpdateCheckResult::Kind;

// The checker, and the feed reader under it, against a loopback server that gives each request
// `m_answer`: raw HTTP, or silence when empty.
class TestUpdateChecker final : public QObject {
    Q_OBJECT

    QTcpServer m_server;
    QByteArray m_answer;
    QList<QTcpSocket *> m_clients;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_server.listen(QHostAddress::LocalHost));
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *client = m_server.nextPendingConnection()) {
                m_clients.append(client);
                connect(client, &QTcpSocket::readyRead, client, [this, client] {
                    for (auto n = client->readAll().count("\r\n\r\n"); n > 0; --n)
                        client->write(m_answer);
                });
                // An answer without a length has a body that never ends.
                connect(client, &QTcpSocket::bytesWritten, client, [this, client] {
                    if (!m_answer.contains("Length") && client->bytesToWrite() < 65536)
                        client->write(QByteArray(65536, 'x'));
                });
            }
        });
    }

    void reportsTheFeed_data()
    {
        QTest::addColumn<QString>("current");
        // The feed's items; or "down" (nothing listens there), or a raw answer ("" for none).
        QTest::addColumn<QByteArray>("serve");
        QTest::addColumn<Kind>("kind");
        // "latest download notes", links to the feed's folder made relative; or the failure's
        // first clause.
        QTest::addColumn<QString>("expected");
        auto row = [](const char *tag, const char *current, const QByteArray &serve, Kind kind,
                      const char *expected) {
            QTest::newRow(tag) << QString::fromUtf8(current) << serve << kind
                               << QString::fromUtf8(expected);
        };
        auto item = [](const QByteArray &v) {
            return "<item><enclosure url='c-" + v + ".deb' sparkle:version='" + v + "'/></item>";
        };
        row("newer, newest by version", "1.2", item("1.9") + item("1.10") + item("1.3"),
            Kind::updateAvailable, "1.10 c-1.10.deb ");
        row("equal", "1.1", item("1.1"), Kind::upToDate, "1.1 c-1.1.deb ");
        row("older", "2.0", item("1.9"), Kind::upToDate, "1.9 c-1.9.deb ");
        // Betas, other systems and deltas are not the release; the version element beats the
        // attribute, a notes link beats a link, and only http(s) links are kept.
        row("item details", "119",
            "<item><sparkle:version>900</sparkle:version><sparkle:channel>beta</sparkle:channel>"
            "</item><item><enclosure sparkle:version='800' sparkle:os='windows'/></item><item>"
            "<sparkle:deltas><enclosure sparkle:version='999'/></sparkle:deltas><link>https://x/"
            "</link><sparkle:version> 120 </sparkle:version><enclosure url='file:///etc/passwd' "
            "sparkle:version='7' sparkle:shortVersionString='1.2'/><sparkle:releaseNotesLink>"
            "n.html</sparkle:releaseNotesLink></item>",
            Kind::updateAvailable, "1.2  n.html");
        row("malformed", "1.0", "<item>", Kind::failed, "The update feed could not be read");
        row("no usable items", "1.0", "<item><title>1.0</title></item>", Kind::failed,
            "The update feed lists no versions.");
        row("missing", "1.0", "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n", Kind::failed,
            "The update server answered with an error (HTTP 404).");
        row("server down", "1.0", "down", Kind::failed, "Corvane couldn’t reach the update server");
        row("silent", "1.0", "", Kind::failed, "The update server did not answer in time.");
        row("redirect loop", "1.0",
            "HTTP/1.1 302 Found\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n", Kind::failed,
            "The update server redirected the request too many times.");
        row("endless body", "1.0", "HTTP/1.0 200 OK\r\n\r\n", Kind::failed,
            "The update feed is larger than 8 MB.");
    }

    void reportsTheFeed()
    {
        QFETCH(QString, current);
        QFETCH(QByteArray, serve);
        QFETCH(Kind, kind);
        QFETCH(QString, expected);
        QUrl url(u"http://127.0.0.1:%1/feeds/appcast.xml"_s.arg(m_server.serverPort()));
        QTcpServer probe; // a port that nobody listens on once the probe has stopped
        if (serve == "down" && probe.listen(QHostAddress::LocalHost)) {
            url.setPort(probe.serverPort());
            probe.close();
        }
        const QByteArray feed = "<rss xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/"
                                "sparkle'><channel>" +
                                serve + "</channel></rss>";
        m_answer = serve.isEmpty() || serve.startsWith("HTTP/")
                       ? serve
                       : "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(feed.size()) +
                             "\r\n\r\n" + feed;

        UpdateChecker checker(url, current);
        checker.setTransferTimeout(std::chrono::milliseconds(500));
        QStringList log;
        corvane::UpdateCheckResult result;
        connect(&checker, &UpdateChecker::canCheckForUpdatesChanged, this,
                [&](bool can) { log << (can ? u"can"_s : u"busy"_s); });
        connect(&checker, &UpdateChecker::checkFinished, this, [&](const auto &found) {
            log << (checker.canCheckForUpdates() ? u"finished while free"_s : u"finished"_s);
            result = found;
        });
        UpdateChecker without(QUrl(), current); // the menu entry stays grey for good
        QVERIFY(!checker.canCheckForUpdates());
        QTRY_COMPARE(log, QStringList{u"can"_s});
        QVERIFY(!without.canCheckForUpdates()); // though the other got ready in the same loop
        checker.checkForUpdates();
        checker.checkForUpdates(); // ignored: one check at a time
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), 4, 20'000);
        QCOMPARE(log, (QStringList{u"can"_s, u"busy"_s, u"finished"_s, u"can"_s}));

        QCOMPARE(result.kind, kind);
        QCOMPARE(result.currentVersion, current);
        const QString found = QStringList{result.latestVersion, result.downloadUrl.toString(),
                                          result.releaseNotesUrl.toString()}
                                  .join(u' ')
                                  .remove(url.resolved(QUrl(u"."_s)).toString());
        QCOMPARE(kind == Kind::failed ? result.errorMessage.section(u':', 0, 0) : found, expected);
    }

    void deletingTheCheckerCancelsTheRequest()
    {
        m_answer.clear();
        auto checker = std::make_unique<UpdateChecker>(
            QUrl(u"http://127.0.0.1:%1/"_s.arg(m_server.serverPort())), u"1.0"_s);
        QSignalSpy finished(checker.get(), &UpdateChecker::checkFinished);
        QTRY_VERIFY(checker->canCheckForUpdates());
        const auto connections = m_clients.size();
        checker->checkForUpdates();
        QTRY_COMPARE(m_clients.size(), connections + 1);
        QSignalSpy closed(m_clients.last(), &QTcpSocket::disconnected);
        checker.reset();
        QVERIFY(closed.wait(5'000));
        QCOMPARE(finished.size(), 0);
    }
};

QTEST_GUILESS_MAIN(TestUpdateChecker)
#include "tst_updatechecker.moc"
