#pragma once

#include <QString>

namespace corvane {

// Corvane's own bundle identifier (reverse-DNS), used where the system asks for the app's identity.
inline QString appBundleIdentifier()
{
    return QStringLiteral("io.github.corvane.Corvane");
}

} // namespace corvane
