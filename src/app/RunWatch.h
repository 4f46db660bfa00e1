#pragma once

#include "Platform.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace corvane {

class TerminalRunner;

// The platform as the runner sees it, watched for how a run ends: `corvane run` waits for that.
// A run's outcome is known when an alert appears (the command line does not wait for it to be
// dismissed) or when the run ends without one, after its last window has started. Everything
// else goes to the real platform unchanged: every function of Platform, those with a default
// included, must be passed on here.
class RunWatch final : public Platform {
public:
    // Called once: nothing when the run went well, else the alert's text on one line.
    using Outcome = std::function<void(const std::optional<QString> &alert)>;

    explicit RunWatch(Platform &platform);

    // Watches `runner`, which runs on this platform, for the end of its runs.
    void watch(TerminalRunner &runner);
    // Tells `outcome` how the next (or current) run ends.
    void whenKnown(Outcome outcome);

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
    QString loginStartNote() const override;
    std::shared_ptr<void> holdRunActivity() override;

private:
    void tell(const std::optional<QString> &alert);

    Platform &m_platform;
    std::vector<Outcome> m_waiting;
};

} // namespace corvane
