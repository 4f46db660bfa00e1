#include "UpdateChecker.h"

#include "AppcastParser.h"
#include "VersionComparator.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace corvane {

namespace {

// Long enough for a slow link, short enough that the menu entry does not stay grey for good.
constexpr std::chrono::milliseconds defaultTimeout{30'000};
// Appcasts with years of embedded release notes stay far below this; a bigger answer is not a
// feed, and reading on would only fill memory.
constexpr qint64 maximumFeedBytes = 8 * 1024 * 1024;
// Enough for a moved feed or an http → https hop; a redirect loop fails quickly.
constexpr int maximumRedirects = 5;

UpdateCheckResult failure(const QString &message)
{
    UpdateCheckResult result;
    result.kind = UpdateCheckResult::Kind::failed;
    result.errorMessage = message;
    return result;
}

} // namespace

struct UpdateChecker::Private {
    enum class Abort { none, timedOut, tooLarge };

    QUrl feedUrl;
    QString currentVersion;
    bool ready = false;
    bool checking = false;
    Abort abort = Abort::none; // why the running check's reply was aborted, if it was
    std::chrono::milliseconds timeout = defaultTimeout;
    // Made on the first check: loading the network stack is not worth paying for at start-up.
    QNetworkAccessManager *network = nullptr;

    UpdateCheckResult evaluate(QNetworkReply &reply) const;
};

UpdateCheckResult UpdateChecker::Private::evaluate(QNetworkReply &reply) const
{
    if (abort == Abort::timedOut)
        return failure(u"The update server did not answer in time."_s);
    if (abort == Abort::tooLarge) {
        return failure(u"The update feed is larger than %1 MB."_s.arg(
            QString::number(maximumFeedBytes / (1024 * 1024))));
    }
    if (reply.error() == QNetworkReply::TooManyRedirectsError)
        return failure(u"The update server redirected the request too many times."_s);
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid() && (status.toInt() < 200 || status.toInt() >= 300)) {
        return failure(u"The update server answered with an error (HTTP %1)."_s.arg(
            QString::number(status.toInt())));
    }
    if (reply.error() != QNetworkReply::NoError) {
        QString detail = reply.errorString();
        if (detail.endsWith(u'.'))
            detail.chop(1);
        return failure(u"Corvane couldn’t reach the update server: %1."_s.arg(detail));
    }

    const AppcastParser::Result parsed = AppcastParser::parse(reply.readAll(), reply.url());
    if (!parsed.errorMessage.isEmpty())
        return failure(parsed.errorMessage);

    const AppcastItem &newest = AppcastParser::newest(parsed.items);
    UpdateCheckResult result;
    result.kind = VersionComparator::compare(newest.version, currentVersion) > 0
                      ? UpdateCheckResult::Kind::updateAvailable
                      : UpdateCheckResult::Kind::upToDate;
    result.latestVersion = newest.displayVersion;
    result.releaseNotesUrl = newest.releaseNotesUrl;
    result.downloadUrl = newest.downloadUrl;
    return result;
}

UpdateChecker::UpdateChecker(const QUrl &feedUrl, const QString &currentVersion, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->feedUrl = feedUrl;
    d->currentVersion = currentVersion;
    if (feedUrl.isEmpty())
        return;
    // Ready once the event loop runs, like Sparkle's updater after it has started.
    QTimer::singleShot(0, this, [this] {
        d->ready = true;
        Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
    });
}

// Deleting the manager with the checker aborts a check under way; its signals no longer reach
// the checker by then, so nothing is reported.
UpdateChecker::~UpdateChecker() = default;

bool UpdateChecker::canCheckForUpdates() const
{
    return d->ready && !d->checking;
}

void UpdateChecker::setTransferTimeout(std::chrono::milliseconds timeout)
{
    d->timeout = timeout;
}

void UpdateChecker::checkForUpdates()
{
    if (!canCheckForUpdates())
        return;
    d->checking = true;
    d->abort = Private::Abort::none;
    Q_EMIT canCheckForUpdatesChanged(false);

    if (d->network == nullptr)
        d->network = new QNetworkAccessManager(this);
    QNetworkRequest request(d->feedUrl);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setMaximumRedirectsAllowed(maximumRedirects);
    QNetworkReply *reply = d->network->get(request);

    auto *deadline = new QTimer(reply);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, this, [this, reply] {
        d->abort = Private::Abort::timedOut;
        reply->abort();
    });
    deadline->start(d->timeout);
    connect(reply, &QNetworkReply::downloadProgress, this,
            [this, reply](qint64 received, qint64 total) {
                if (std::max({received, total, reply->bytesAvailable()}) > maximumFeedBytes) {
                    d->abort = Private::Abort::tooLarge;
                    reply->abort();
                }
            });
    connect(reply, &QNetworkReply::finished, this, [this, reply, deadline] {
        deadline->stop();
        reply->deleteLater();
        UpdateCheckResult result = d->evaluate(*reply);
        result.currentVersion = d->currentVersion;
        // Reported from the event loop rather than from inside the reply's signal: receivers
        // run a modal dialog or may delete this checker, and neither should happen under it.
        QMetaObject::invokeMethod(
            this,
            [this, result] {
                // Stay busy while receivers show the outcome, so a second check cannot start
                // under a dialog that is still open.
                const QPointer<UpdateChecker> self(this);
                Q_EMIT checkFinished(result);
                if (self.isNull())
                    return;
                d->checking = false;
                Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
            },
            Qt::QueuedConnection);
    });
}

} // namespace corvane
