#pragma once

#include "Platform.h"

#include <QString>

#include <chrono>
#include <cstdint>

namespace corvane {

// Runs AppleScript through osascript, the source on its standard input, and reads its result or
// its error report. Running it out of process lets the system attribute the Automation request
// to Corvane (osascript's responsible application) while Corvane itself stays plain C++.
//
// The first time Corvane drives a terminal, macOS asks the user whether it may, and osascript
// waits for the answer with no time limit. So the wait serves the event loop (the menu bar and
// the editor keep painting and answering) and ends at a deadline: a script with no answer by
// then is stopped and reported as timed out, with a hint at the question macOS may be asking.
class OsascriptExecutor final {
public:
    // Longer than the two minutes after which an Apple event to an unresponsive application
    // fails by itself (-1712), so that only an unanswered permission question reaches it.
    static constexpr std::chrono::milliseconds defaultDeadline = std::chrono::seconds(150);
    // The number of an Apple event that got no reply in time.
    static constexpr std::int64_t timedOut = -1712;

    explicit OsascriptExecutor(QString program = QStringLiteral("/usr/bin/osascript"),
                               std::chrono::milliseconds deadline = defaultDeadline);

    // Runs one script to its end, or to the deadline.
    AppleScriptOutcome execute(const QString &source) const;

private:
    QString m_program;
    std::chrono::milliseconds m_deadline;
};

} // namespace corvane
