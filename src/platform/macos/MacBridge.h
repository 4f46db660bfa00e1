#pragma once

#include "MacPlatform.h"

#include <QString>

#include <memory>
#include <optional>

// The few services Corvane takes from Cocoa and ServiceManagement, behind a plain C++ header.
namespace corvane::macbridge {

// The application bundle that Launch Services knows for this bundle identifier, or nothing.
std::optional<QString> applicationBundle(const QString &bundleIdentifier);

// Makes Corvane the active application, so that the window it shows next comes up in front of
// every other application's. A menu-bar-only application never becomes active by itself.
void activateApplication();

// SMAppService's view of a login item, and its registration (true) or removal.
LoginItemStatus loginItemStatus(LoginItem item);
std::optional<QString> registerLoginItem(LoginItem item, bool registered);

// A user-initiated activity that keeps App Nap from coalescing Corvane's timers (idle sleep stays
// allowed); it ends when the returned object is destroyed.
std::shared_ptr<void> beginRunActivity();

} // namespace corvane::macbridge
