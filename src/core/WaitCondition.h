#pragma once

#include <QJsonValue>
#include <QString>

#include <optional>

namespace corvane {

// Something a window can wait for instead of a blind delay: a port that accepts connections, a
// URL that answers with 2xx/3xx, or a file that exists.
struct WaitCondition {
    enum class Kind { port, url, file };

    static constexpr double defaultTimeoutSeconds = 60;

    Kind kind = Kind::port;
    // Port waits only; "localhost" counts as open when 127.0.0.1 or ::1 accepts.
    QString host = QStringLiteral("localhost");
    int port = 0;
    // The URL or the path (`~` and `~/…` mean the home folder).
    QString target;
    double timeoutSeconds = defaultTimeoutSeconds;

    // "port 5432", "localhost:5432" style words for messages: "port 5432", "db:5432",
    // "http://localhost:8080/health", "file ~/ready".
    QString describe() const;

    friend bool operator==(const WaitCondition &, const WaitCondition &) = default;
};

// A `waitFor` or `startWhen` value as the file holds it, read for a run or the editor: either the
// condition, or why it cannot be used (a port outside 1–65535, an empty URL or path, a timeout that
// is not a positive number, an unknown form).
struct WaitReading {
    std::optional<WaitCondition> condition;
    QString problem;
};
WaitReading readWait(const QJsonValue &value);

// The file's form of `condition`: {"port": N} (with "host" unless localhost), {"url": …} or
// {"file": …}, and "timeout" unless it is the default.
QJsonValue waitValue(const WaitCondition &condition);

} // namespace corvane
