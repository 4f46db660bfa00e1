#pragma once

#include "UpdateCheckResult.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <chrono>
#include <memory>

namespace corvane {

// Checks a Sparkle-compatible appcast for a version newer than this one.
class UpdateChecker final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(UpdateChecker)
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    // An empty `feedUrl` means no feed: checks are never possible.
    UpdateChecker(const QUrl &feedUrl, const QString &currentVersion, QObject *parent = nullptr);
    ~UpdateChecker() override;

    // False before the checker is ready, while a check runs, and always without a feed.
    bool canCheckForUpdates() const;
    // Starts a check; the outcome arrives through checkFinished(). Ignored when no check can start.
    void checkForUpdates();
    // How long a whole check may take before it fails (30 s unless set), so that a server that
    // trickles its answer cannot keep the menu entry disabled either.
    void setTransferTimeout(std::chrono::milliseconds timeout);

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    void checkFinished(const corvane::UpdateCheckResult &result);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace corvane
