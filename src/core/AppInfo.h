#pragma once

#include <QString>

namespace corvane {

// Corvane's own bundle identifier (reverse-DNS), used where the system asks for the app's
// identity. Set once in the build, which writes the same value into the macOS Info.plist.
inline QString appBundleIdentifier()
{
    return QStringLiteral(CORVANE_BUNDLE_IDENTIFIER);
}

} // namespace corvane
