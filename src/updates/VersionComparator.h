#pragma once

#include <QString>

namespace corvane {

// Orders version strings the way Sparkle does, so that feeds written for Sparkle mean the same
// here: "1.0b1" < "1.0rc1" < "1.0" < "1.0.1" < "1.1" < "1.10".
class VersionComparator final {
public:
    VersionComparator() = delete;

    // Negative when `a` is older than `b`, zero when they are the same, positive when newer.
    static int compare(const QString &a, const QString &b);
};

} // namespace corvane
