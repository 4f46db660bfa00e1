#pragma once

#include "DetachedSpawner.h"
#include "OsascriptExecutor.h"
#include "Platform.h"

#include <chrono>
#include <functional>

namespace corvane {

// The two login items that ServiceManagement (SMAppService) keeps for Corvane: the application
// itself (Start at login), and the launch agent in its bundle that starts it with `run` (Run at
// login). Both show in System Settings → General → Login Items, where the user can switch them.
enum class LoginItem { app, runAgent };
enum class LoginItemStatus { notRegistered, enabled, requiresApproval, notFound };

// macOS: terminals are application bundles found through Launch Services by their bundle
// identifiers (MacTerminals.h), Terminal and iTerm2 are driven with osascript, `open` starts the
// terminals that open a window per instance, the others start from inside their bundles, alerts
// come up in front of every other application, the window shell is /bin/zsh as on every Mac, and
// ServiceManagement starts Corvane at login.
class MacPlatform final : public Platform {
public:
    // What the system provides. The Cocoa services are given as functions, so that everything
    // else here can be built and tested where Cocoa does not exist.
    struct System {
        // The bundle of the application with this bundle identifier, or nothing.
        std::function<std::optional<QString>(const QString &bundleIdentifier)> findApplication;
        // Makes Corvane the active application.
        std::function<void()> activate;
        // A login item's status, and its registration (true) or removal; the system's reason
        // when that fails. Both are required.
        std::function<LoginItemStatus(LoginItem)> loginItemStatus;
        std::function<std::optional<QString>(LoginItem, bool)> registerLoginItem;
        // Holds off App Nap until the returned object is gone.
        std::function<std::shared_ptr<void>()> beginActivity;
        QString open = QStringLiteral("/usr/bin/open");
        QString osascript = QStringLiteral("/usr/bin/osascript");
        std::chrono::milliseconds scriptDeadline = OsascriptExecutor::defaultDeadline;
    };

    // `arguments` without the "-psn_…" process serial number that macOS may pass to an
    // application the Finder starts.
    static QStringList withoutProcessSerialNumber(QStringList arguments);

    explicit MacPlatform(System system);
    ~MacPlatform() override;
    Q_DISABLE_COPY_MOVE(MacPlatform)

    QString applicationSupportDirectory() const override;
    bool supports(TerminalApp terminal) const override;
    std::optional<QString> terminalLocation(TerminalApp terminal) const override;
    ProcessCommand newWindowCommand(TerminalApp terminal, const QString &location,
                                    const QStringList &arguments) const override;
    QList<TerminalApp> preferredTerminals() const override;
    std::optional<QString> startProcess(const ProcessCommand &command) override;
    std::optional<ProcessEnd> endOfLastStarted() override;
    void openUrl(const QUrl &url) override;
    AppleScriptOutcome executeAppleScript(const QString &source) override;
    std::optional<QString> programPath(const QString &name) const override;
    QString windowShell() const override;
    void showAlert(const QString &messageText, const QString &informativeText) override;
    bool trayIconIsTemplate() const override;
    LoginStart loginStart() const override;
    std::optional<QString> setLoginStart(LoginStart start) override;
    QString loginStartNote() const override;
    std::shared_ptr<void> holdRunActivity() override;

private:
    System m_system;
    OsascriptExecutor m_osascript;
    DetachedSpawner m_spawner;
};

} // namespace corvane
