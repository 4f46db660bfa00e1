#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace corvane::instance {

// What a later start of Corvane asks of the running one, and its answer: one line each way over
// the single-instance socket, "edit\n", "run\n" or "run --no-wait\n", then "ok\n" or
// "refused <reason>\n" (UTF-8). A run is answered once its outcome is known, with the alert's text
// when it ended with one; a run without waiting as soon as it has started.

enum class Request { edit, run, runNoWait };

struct Reply {
    bool ok = true;
    QString reason; // why it was refused, one line without control characters

    friend bool operator==(const Reply &, const Reply &) = default;
};

// Longer lines are not Corvane's: the connection is dropped.
inline constexpr qsizetype longestLine = 1024;

QByteArray encode(Request request);
QByteArray encode(const Reply &reply);
// The request or reply in `line` (with or without its line feed); nothing when it is neither.
std::optional<Request> decodeRequest(const QByteArray &line);
std::optional<Reply> decodeReply(const QByteArray &line);

} // namespace corvane::instance
