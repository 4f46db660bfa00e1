#pragma once

#include <QString>

#include <cstdint>

namespace corvane {

// The one failure of a run: an AppleScript error number (or 0) and a sentence for the user.
struct ScriptError {
    std::int64_t number = 0;
    QString message;
    // Whether the alert names the number; for a terminal that failed at once it says nothing.
    bool numbered = true;

    friend bool operator==(const ScriptError &, const ScriptError &) = default;
};

} // namespace corvane
