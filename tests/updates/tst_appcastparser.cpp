#include "AppcastParser.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using corvane::AppcastItem;
using corvane::AppcastParser;

// Declared ahead of the feed literals: moc does not read past u-prefixed raw strings.
class TestAppcastParser final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsItems_data();
    void readsItems();
    void rejectsUnusableFeeds_data();
    void rejectsUnusableFeeds();
    void newestGoesByVersionNotFeedOrder();
};

namespace {

const QUrl feedUrl(u"https://updates.example.org/corvane/appcast.xml"_s);

QByteArray feed(const QString &items)
{
    return (uR"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel><title>Corvane</title>)"_s +
            items + u"</channel></rss>"_s)
        .toUtf8();
}

AppcastItem item(const QString &version, const QString &display, const QString &download,
                 const QString &notes)
{
    return AppcastItem{version, display, download.isEmpty() ? QUrl() : QUrl(download),
                       notes.isEmpty() ? QUrl() : QUrl(notes)};
}

} // namespace

void TestAppcastParser::readsItems_data()
{
    QTest::addColumn<QString>("items");
    QTest::addColumn<QList<AppcastItem>>("expected");

    QTest::newRow("versions as elements")
        << uR"(<item><title>1.2</title>
                 <sparkle:version>120</sparkle:version>
                 <sparkle:shortVersionString>1.2</sparkle:shortVersionString>
                 <sparkle:releaseNotesLink>https://example.org/notes/1.2</sparkle:releaseNotesLink>
                 <link>https://example.org/ignored-when-notes-exist</link>
                 <enclosure url="https://example.org/corvane-1.2.deb" length="1" type="application/octet-stream"/>
               </item>)"_s
        << QList{item(u"120"_s, u"1.2"_s, u"https://example.org/corvane-1.2.deb"_s,
                      u"https://example.org/notes/1.2"_s)};

    QTest::newRow("versions as enclosure attributes, link as notes")
        << uR"(<item><link>https://example.org/news</link>
                 <enclosure url="https://example.org/c.deb" sparkle:version="7" sparkle:shortVersionString="0.7"/>
               </item>)"_s
        << QList{item(u"7"_s, u"0.7"_s, u"https://example.org/c.deb"_s,
                      u"https://example.org/news"_s)};

    QTest::newRow("element wins over attribute, no short version")
        << uR"(<item><sparkle:version> 2.0 </sparkle:version>
                 <enclosure url="https://example.org/c.deb" sparkle:version="1.0"/></item>)"_s
        << QList{item(u"2.0"_s, u"2.0"_s, u"https://example.org/c.deb"_s, QString())};

    QTest::newRow("relative links resolve against the feed")
        << uR"(<item><sparkle:version>3</sparkle:version><link>notes/3.html</link>
                 <enclosure url="../pkg/c-3.deb"/></item>)"_s
        << QList{item(u"3"_s, u"3"_s, u"https://updates.example.org/pkg/c-3.deb"_s,
                      u"https://updates.example.org/corvane/notes/3.html"_s)};

    QTest::newRow("links other than http(s) are dropped")
        << uR"(<item><sparkle:version>4</sparkle:version><link>javascript:alert(1)</link>
                 <enclosure url="file:///etc/passwd"/></item>)"_s
        << QList{item(u"4"_s, u"4"_s, QString(), QString())};

    QTest::newRow("delta enclosures are not the release")
        << uR"(<item><sparkle:version>5</sparkle:version>
                 <sparkle:deltas><enclosure url="https://example.org/delta" sparkle:version="99"/></sparkle:deltas>
                 <enclosure url="https://example.org/full.deb"/></item>)"_s
        << QList{item(u"5"_s, u"5"_s, u"https://example.org/full.deb"_s, QString())};

    QTest::newRow("beta channel, other systems and unversioned items are skipped")
        << uR"(<item><sparkle:version>9</sparkle:version><sparkle:channel>beta</sparkle:channel></item>
               <item><enclosure url="https://example.org/win.exe" sparkle:version="8" sparkle:os="windows"/></item>
               <item><title>no version</title><enclosure url="https://example.org/x.deb"/></item>
               <item><enclosure url="https://example.org/ok.deb" sparkle:version="6" sparkle:os="linux"/></item>)"_s
        << QList{item(u"6"_s, u"6"_s, u"https://example.org/ok.deb"_s, QString())};

    QTest::newRow("unknown elements and several items in order")
        << uR"(<item><description><![CDATA[<b>Fixes</b>]]></description><pubDate>x</pubDate>
                 <sparkle:version>1</sparkle:version><sparkle:minimumSystemVersion>12</sparkle:minimumSystemVersion></item>
               <item><sparkle:version>2</sparkle:version></item>)"_s
        << QList{item(u"1"_s, u"1"_s, QString(), QString()),
                 item(u"2"_s, u"2"_s, QString(), QString())};
}

void TestAppcastParser::readsItems()
{
    QFETCH(QString, items);
    QFETCH(QList<AppcastItem>, expected);

    const AppcastParser::Result result = AppcastParser::parse(feed(items), feedUrl);
    QCOMPARE(result.errorMessage, QString());
    QCOMPARE(result.items.size(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i) {
        QCOMPARE(result.items[i].version, expected[i].version);
        QCOMPARE(result.items[i].displayVersion, expected[i].displayVersion);
        QCOMPARE(result.items[i].downloadUrl, expected[i].downloadUrl);
        QCOMPARE(result.items[i].releaseNotesUrl, expected[i].releaseNotesUrl);
    }
}

void TestAppcastParser::rejectsUnusableFeeds_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("messageStart");

    const QString unreadable = u"The update feed could not be read: "_s;
    QTest::newRow("empty body") << QByteArray() << unreadable;
    QTest::newRow("truncated") << feed(u"<item><sparkle:version>2</sparkle:version>"_s).left(150)
                               << unreadable;
    QTest::newRow("mismatched tags")
        << feed(u"<item><sparkle:version>2</item></sparkle:version>"_s) << unreadable;
    QTest::newRow("undeclared prefix")
        << QByteArray("<rss><channel><item><sparkle:version>2</sparkle:version></item>"
                      "</channel></rss>")
        << unreadable;
    QTest::newRow("garbage after the feed")
        << feed(u"<item><sparkle:version>2</sparkle:version></item>"_s) + "<rss/>" << unreadable;
    QTest::newRow("HTML page") << QByteArray("<html><body>Not here</body></html>")
                               << u"The update feed is not an RSS appcast."_s;
    QTest::newRow("no items") << feed(QString()) << u"The update feed lists no versions."_s;
    QTest::newRow("only unusable items")
        << feed(u"<item><title>1.0</title></item>"_s) << u"The update feed lists no versions."_s;
}

void TestAppcastParser::rejectsUnusableFeeds()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, messageStart);

    const AppcastParser::Result result = AppcastParser::parse(body, feedUrl);
    QVERIFY(result.items.isEmpty());
    QVERIFY2(result.errorMessage.startsWith(messageStart), qPrintable(result.errorMessage));
    QVERIFY(result.errorMessage.endsWith(u'.'));
}

void TestAppcastParser::newestGoesByVersionNotFeedOrder()
{
    const QList<AppcastItem> items{
        item(u"1.0"_s, u"first"_s, QString(), QString()),
        item(u"1.10"_s, u"ten"_s, QString(), QString()),
        item(u"1.9"_s, u"nine"_s, QString(), QString()),
        item(u"1.10"_s, u"ten again"_s, QString(), QString()),
        item(u"1.10rc1"_s, u"candidate"_s, QString(), QString()),
    };
    QCOMPARE(AppcastParser::newest(items).displayVersion, u"ten"_s);
    QCOMPARE(AppcastParser::newest(items.mid(4)).displayVersion, u"candidate"_s);
}

QTEST_GUILESS_MAIN(TestAppcastParser)
#include "tst_appcastparser.moc"
