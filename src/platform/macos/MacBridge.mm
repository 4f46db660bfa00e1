#include "MacBridge.h"

#import <AppKit/AppKit.h>

namespace corvane::macbridge {

std::optional<QString> applicationBundle(const QString &bundleIdentifier)
{
    @autoreleasepool {
        NSURL *url = [[NSWorkspace sharedWorkspace]
            URLForApplicationWithBundleIdentifier:bundleIdentifier.toNSString()];
        if (url == nil || !url.isFileURL)
            return std::nullopt;
        return QString::fromNSString(url.path);
    }
}

void activateApplication()
{
#if defined(__MAC_14_0) && __MAC_OS_X_VERSION_MAX_ALLOWED >= __MAC_14_0
    if (@available(macOS 14, *)) {
        [NSApp activate];
        return;
    }
#endif
    // The only way before macOS 14; deprecated there, hence the guard above.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    [NSApp activateIgnoringOtherApps:YES];
#pragma clang diagnostic pop
}

} // namespace corvane::macbridge
