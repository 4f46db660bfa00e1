#pragma once

#include "DetachedSpawner.h"
#include "Platform.h"

namespace corvane {

// Linux: terminals are executables on PATH, processes are spawned detached, alerts are
// QMessageBoxes and URLs go through QDesktopServices (xdg-open). There is no AppleScript.
class LinuxPlatform final : public Platform {
public:
    LinuxPlatform();
    ~LinuxPlatform() override;
    Q_DISABLE_COPY_MOVE(LinuxPlatform)

    // The executable that stands for the application with this bundle identifier ("kitty" for
    // net.kovidgoyal.kitty), or an empty text for applications that do not exist on Linux.
    static QString executableName(const QString &bundleIdentifier);

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
    // The entry $XDG_CONFIG_HOME/autostart/corvane.desktop, starting this very executable.
    LoginStart loginStart() const override;
    std::optional<QString> setLoginStart(LoginStart start) override;

private:
    DetachedSpawner m_spawner;
};

} // namespace corvane
