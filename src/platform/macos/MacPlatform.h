#pragma once

#include "DetachedSpawner.h"
#include "OsascriptExecutor.h"
#include "Platform.h"

#include <chrono>
#include <functional>

namespace corvane {

// macOS: terminals are application bundles found through Launch Services, Terminal and iTerm2
// are driven with osascript, `open` starts the terminals that take it, alerts come up in front
// of every other application, the window shell is /bin/zsh as on every Mac, and a launch agent
// starts Corvane at login.
class MacPlatform final : public Platform {
public:
    // What the system provides. The Cocoa services are given as functions, so that everything
    // else here can be built and tested where Cocoa does not exist.
    struct System {
        // The bundle of the application with this bundle identifier, or nothing.
        std::function<std::optional<QString>(const QString &bundleIdentifier)> findApplication;
        // Makes Corvane the active application.
        std::function<void()> activate;
        // How Corvane starts at login, and the change of it (the reason when that fails): the
        // launch agent in ~/Library/LaunchAgents. Both are required.
        std::function<LoginStart()> loginItem;
        std::function<std::optional<QString>(LoginStart)> setLoginItem;
        QString open = QStringLiteral("/usr/bin/open");
        QString osascript = QStringLiteral("/usr/bin/osascript");
        std::chrono::milliseconds scriptDeadline = OsascriptExecutor::defaultDeadline;
    };

    explicit MacPlatform(System system);
    ~MacPlatform() override;
    Q_DISABLE_COPY_MOVE(MacPlatform)

    QString applicationSupportDirectory() const override;
    std::optional<QString> applicationLocation(const QString &bundleIdentifier) const override;
    std::optional<QString> bundledExecutable(const QString &bundleIdentifier,
                                             const QString &executableName) const override;
    ProcessCommand openCommand(const QString &bundleIdentifier,
                               const QStringList &openArguments) const override;
    std::optional<QString> startProcess(const ProcessCommand &command) override;
    std::optional<ProcessEnd> endOfLastStarted() override;
    void openUrl(const QUrl &url) override;
    AppleScriptOutcome executeAppleScript(const QString &source) override;
    bool canTypeIntoTerminals() const override;
    QStringList preferredTerminals() const override;
    std::optional<QString> programPath(const QString &name) const override;
    QString windowShell() const override;
    void showAlert(const QString &messageText, const QString &informativeText) override;
    bool trayIconIsTemplate() const override;
    LoginStart loginStart() const override;
    std::optional<QString> setLoginStart(LoginStart start) override;

private:
    System m_system;
    OsascriptExecutor m_osascript;
    DetachedSpawner m_spawner;
};

} // namespace corvane
