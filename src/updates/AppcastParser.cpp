#include "AppcastParser.h"

#include "VersionComparator.h"

#include <QXmlStreamReader>

using namespace Qt::Literals::StringLiterals;

namespace corvane {

namespace {

constexpr QLatin1StringView sparkleNamespace("http://www.andymatuschak.org/xml-namespaces/sparkle");

#if defined(Q_OS_MACOS)
constexpr QStringView thisOs = u"macos";
#else
constexpr QStringView thisOs = u"linux";
#endif

struct RawItem {
    QString version;
    QString shortVersion;
    QString enclosureVersion;
    QString enclosureShortVersion;
    QString enclosureUrl;
    QString enclosureOs;
    QString releaseNotesLink;
    QString link;
    QString channel;
};

QUrl webUrl(const QString &text, const QUrl &base)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return {};
    const QUrl url = base.resolved(QUrl(trimmed));
    const QString scheme = url.scheme();
    if (!url.isValid() || (scheme != u"http"_s && scheme != u"https"_s))
        return {};
    return url;
}

bool isSparkle(const QXmlStreamReader &reader, QStringView name)
{
    return reader.namespaceUri() == sparkleNamespace && reader.name() == name;
}

bool isPlain(const QXmlStreamReader &reader, QStringView name)
{
    return reader.namespaceUri().isEmpty() && reader.name() == name;
}

RawItem readItem(QXmlStreamReader &reader)
{
    RawItem item;
    while (reader.readNextStartElement()) {
        if (isPlain(reader, u"link")) {
            item.link = reader.readElementText();
        } else if (isPlain(reader, u"enclosure")) {
            const QXmlStreamAttributes attributes = reader.attributes();
            item.enclosureUrl = attributes.value("url"_L1).toString();
            item.enclosureVersion = attributes.value(sparkleNamespace, "version"_L1).toString();
            item.enclosureShortVersion =
                attributes.value(sparkleNamespace, "shortVersionString"_L1).toString();
            item.enclosureOs = attributes.value(sparkleNamespace, "os"_L1).toString();
            reader.skipCurrentElement();
        } else if (isSparkle(reader, u"version")) {
            item.version = reader.readElementText();
        } else if (isSparkle(reader, u"shortVersionString")) {
            item.shortVersion = reader.readElementText();
        } else if (isSparkle(reader, u"releaseNotesLink")) {
            item.releaseNotesLink = reader.readElementText();
        } else if (isSparkle(reader, u"channel")) {
            item.channel = reader.readElementText();
        } else {
            // Includes <sparkle:deltas>, whose nested enclosures are patches, not the release.
            reader.skipCurrentElement();
        }
    }
    return item;
}

// Items on a named channel are opt-in betas, and items for another system are not ours.
std::optional<AppcastItem> toItem(const RawItem &raw, const QUrl &feedUrl)
{
    if (!raw.channel.trimmed().isEmpty())
        return std::nullopt;
    const QString os = raw.enclosureOs.trimmed();
    if (!os.isEmpty() && os != thisOs)
        return std::nullopt;
    AppcastItem item;
    item.version = (raw.version.isEmpty() ? raw.enclosureVersion : raw.version).trimmed();
    if (item.version.isEmpty())
        return std::nullopt;
    const QString shortVersion =
        (raw.shortVersion.isEmpty() ? raw.enclosureShortVersion : raw.shortVersion).trimmed();
    item.displayVersion = shortVersion.isEmpty() ? item.version : shortVersion;
    item.downloadUrl = webUrl(raw.enclosureUrl, feedUrl);
    item.releaseNotesUrl = webUrl(raw.releaseNotesLink, feedUrl);
    if (item.releaseNotesUrl.isEmpty())
        item.releaseNotesUrl = webUrl(raw.link, feedUrl);
    return item;
}

} // namespace

AppcastParser::Result AppcastParser::parse(const QByteArray &xml, const QUrl &feedUrl)
{
    Result result;
    QXmlStreamReader reader(xml);
    bool sawRss = false;
    if (reader.readNextStartElement()) {
        if (isPlain(reader, u"rss")) {
            sawRss = true;
            while (reader.readNextStartElement()) {
                if (!isPlain(reader, u"channel")) {
                    reader.skipCurrentElement();
                    continue;
                }
                while (reader.readNextStartElement()) {
                    if (!isPlain(reader, u"item")) {
                        reader.skipCurrentElement();
                        continue;
                    }
                    if (const auto item = toItem(readItem(reader), feedUrl))
                        result.items.append(*item);
                }
            }
        }
    }
    // Read to the end so that a truncated or garbled tail is caught too.
    while (!reader.atEnd() && sawRss)
        reader.readNext();

    if (reader.hasError()) {
        result.items.clear();
        result.errorMessage = u"The update feed could not be read: %1 (line %2)."_s.arg(
            reader.errorString(), QString::number(reader.lineNumber()));
    } else if (!sawRss) {
        result.errorMessage = u"The update feed is not an RSS appcast."_s;
    } else if (result.items.isEmpty()) {
        result.errorMessage = u"The update feed lists no versions."_s;
    }
    return result;
}

const AppcastItem &AppcastParser::newest(const QList<AppcastItem> &items)
{
    qsizetype best = 0;
    for (qsizetype i = 1; i < items.size(); ++i) {
        if (VersionComparator::compare(items[i].version, items[best].version) > 0)
            best = i;
    }
    return items[best];
}

} // namespace corvane
