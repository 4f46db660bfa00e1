#pragma once

#include "DetachedSpawner.h"
#include "Platform.h"

#include <functional>

namespace corvane {

// Linux: terminals are programs on PATH, processes are spawned detached, alerts are QMessageBoxes
// and URLs go through QDesktopServices (xdg-open). There is no AppleScript.
class LinuxPlatform final : public Platform {
public:
    // What the system provides, as functions that tests can stand in for; by default the real
    // ones.
    struct System {
        // Where the program `name` is on PATH (terminals and tmux), or an empty text.
        std::function<QString(const QString &name)> findProgram;
    };
    static System realSystem();

    explicit LinuxPlatform(System system = realSystem());
    ~LinuxPlatform() override;
    Q_DISABLE_COPY_MOVE(LinuxPlatform)

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
    // The entry $XDG_CONFIG_HOME/autostart/corvane.desktop, starting this very executable.
    LoginStart loginStart() const override;
    std::optional<QString> setLoginStart(LoginStart start) override;

private:
    System m_system;
    DetachedSpawner m_spawner;
};

} // namespace corvane
