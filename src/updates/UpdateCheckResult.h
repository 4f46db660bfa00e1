#pragma once

#include <QString>
#include <QUrl>

namespace corvane {

// What one update check found.
struct UpdateCheckResult {
    enum class Kind { updateAvailable, upToDate, failed };

    Kind kind = Kind::failed;
    QString latestVersion;  // the newest version the feed offers (its display form)
    QUrl releaseNotesUrl;   // may be empty
    QUrl downloadUrl;       // may be empty
    QString errorMessage;   // for `failed`: a sentence for the user
    QString currentVersion; // the version that ran the check
};

} // namespace corvane
