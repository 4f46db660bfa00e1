#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

namespace corvane {

// One release offered by an appcast.
struct AppcastItem {
    QString version;        // compared with the running version
    QString displayVersion; // shown to the user
    QUrl downloadUrl;       // may be empty
    QUrl releaseNotesUrl;   // may be empty

    friend bool operator==(const AppcastItem &, const AppcastItem &) = default;
};

// Reads a Sparkle appcast (RSS 2.0 with Sparkle's namespace).
class AppcastParser final {
public:
    AppcastParser() = delete;

    struct Result {
        QList<AppcastItem> items; // in feed order; only items that apply to this system
        QString errorMessage;     // a sentence for the user when the feed is unusable
    };

    // Relative links are resolved against `feedUrl`; links that are not http(s) are dropped, so
    // that a feed cannot make us open local files or other handlers.
    static Result parse(const QByteArray &xml, const QUrl &feedUrl);

    // Picks the newest item by Sparkle's version order (the first of equals); items must not
    // be empty.
    static const AppcastItem &newest(const QList<AppcastItem> &items);
};

} // namespace corvane
