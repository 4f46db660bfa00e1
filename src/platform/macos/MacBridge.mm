#include "MacBridge.h"

#include "AppInfo.h"

#import <AppKit/AppKit.h>
#import <ServiceManagement/ServiceManagement.h>

// Built with ARC: the blocks and lambdas below keep the objects they capture.

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
    // macOS 14's [NSApp activate] may decline when another application is active (the terminal
    // the run just brought up), and the alert would open behind it.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    [NSApp activateIgnoringOtherApps:YES];
#pragma clang diagnostic pop
}

namespace {

SMAppService *service(LoginItem item)
{
    if (item == LoginItem::app)
        return [SMAppService mainAppService];
    // Contents/Library/LaunchAgents/<bundle identifier>.run.plist, put there by the build.
    return [SMAppService
        agentServiceWithPlistName:(appBundleIdentifier() + QStringLiteral(".run.plist"))
                                      .toNSString()];
}

} // namespace

LoginItemStatus loginItemStatus(LoginItem item)
{
    @autoreleasepool {
        switch (service(item).status) {
        case SMAppServiceStatusEnabled:
            return LoginItemStatus::enabled;
        case SMAppServiceStatusRequiresApproval:
            return LoginItemStatus::requiresApproval;
        case SMAppServiceStatusNotFound:
            return LoginItemStatus::notFound;
        case SMAppServiceStatusNotRegistered:
            break;
        }
        return LoginItemStatus::notRegistered;
    }
}

std::optional<QString> registerLoginItem(LoginItem item, bool registered)
{
    @autoreleasepool {
        NSError *error = nil;
        const BOOL done = registered ? [service(item) registerAndReturnError:&error]
                                     : [service(item) unregisterAndReturnError:&error];
        if (done)
            return std::nullopt;
        return error ? QString::fromNSString(error.localizedDescription)
                     : QStringLiteral("macOS refused the change.");
    }
}

std::shared_ptr<void> beginRunActivity()
{
    id<NSObject> activity = [[NSProcessInfo processInfo]
        beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                          reason:@"Opening terminal windows at their set times"];
    return std::shared_ptr<void>(
        nullptr, [activity](void *) { [[NSProcessInfo processInfo] endActivity:activity]; });
}

} // namespace corvane::macbridge
