#pragma once

#include <QString>

#include <optional>

// The only two services Corvane takes from Cocoa, behind a plain C++ header.
namespace corvane::macbridge {

// The application bundle that Launch Services knows for this bundle identifier, or nothing.
std::optional<QString> applicationBundle(const QString &bundleIdentifier);

// Makes Corvane the active application, so that the window it shows next comes up in front of
// every other application's. A menu-bar-only application never becomes active by itself.
void activateApplication();

} // namespace corvane::macbridge
