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
constexpr std::chrono::milliseconds defaultTransferTimeout{30'000};

UpdateCheckResult failure(const QString &message)
{
    UpdateCheckResult result;
    result.kind = UpdateCheckResult::Kind::failed;
    result.errorMessage = message;
    return result;
}

} // namespace

struct UpdateChecker::Private {
    QUrl feedUrl;
    QString currentVersion;
    bool ready = false;
    bool checking = false;
    std::chrono::milliseconds transferTimeout = defaultTransferTimeout;
    // Made on the first check: loading the network stack is not worth paying for at start-up.
    QNetworkAccessManager *network = nullptr;

    UpdateCheckResult evaluate(QNetworkReply *reply) const;
};

UpdateCheckResult UpdateChecker::Private::evaluate(QNetworkReply *reply) const
{
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    // The transfer timeout aborts the reply; which error that gives depends on the Qt version.
    if (reply->error() == QNetworkReply::OperationCanceledError ||
        reply->error() == QNetworkReply::TimeoutError)
        return failure(u"The update server did not answer in time."_s);
    if (status.isValid() && status.toInt() >= 400) {
        return failure(u"The update server answered with an error (HTTP %1)."_s.arg(
            QString::number(status.toInt())));
    }
    if (reply->error() != QNetworkReply::NoError) {
        return failure(
            u"Corvane couldn’t reach the update server: %1."_s.arg(reply->errorString()));
    }

    const AppcastParser::Result parsed = AppcastParser::parse(reply->readAll(), reply->url());
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

UpdateChecker::~UpdateChecker() = default;

bool UpdateChecker::canCheckForUpdates() const
{
    return d->ready && !d->checking;
}

void UpdateChecker::setTransferTimeout(std::chrono::milliseconds timeout)
{
    d->transferTimeout = timeout;
}

void UpdateChecker::checkForUpdates()
{
    if (!canCheckForUpdates())
        return;
    d->checking = true;
    Q_EMIT canCheckForUpdatesChanged(false);

    if (d->network == nullptr)
        d->network = new QNetworkAccessManager(this);
    QNetworkRequest request(d->feedUrl);
    request.setTransferTimeout(static_cast<int>(d->transferTimeout.count()));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    QNetworkReply *reply = d->network->get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        UpdateCheckResult result = d->evaluate(reply);
        result.currentVersion = d->currentVersion;
        // Stay busy while receivers show the outcome, so a second check cannot start under
        // a dialog that is still open.
        const QPointer<UpdateChecker> self(this);
        Q_EMIT checkFinished(result);
        if (self.isNull())
            return;
        d->checking = false;
        Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
    });
}

} // namespace corvane
