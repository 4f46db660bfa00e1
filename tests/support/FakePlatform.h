#pragma once

#include "Platform.h"

#include <QHash>
#include <QMap>
#include <QTest>

#include <functional>

namespace corvane::testing {

using namespace Qt::StringLiterals;

// A platform that records every call in one ordered log and answers from settings that tests
// choose. Nothing reaches the real system.
class FakePlatform final : public Platform {
public:
    // One recorded call, e.g. {"startProcess", {program, args...}} or {"alert", {title, text}}.
    struct Call {
        QString kind;
        QStringList values;
        friend bool operator==(const Call &, const Call &) = default;
        friend char *toString(const Call &call) // lets QCOMPARE show calls that differ
        {
            return QTest::toString(call.kind + u": "_s + call.values.join(u" | "_s));
        }
    };

    QString supportDirectory = u"/tmp/corvane-fake-support"_s;
    QMap<TerminalApp, QString> installed; // terminal -> location
    QString shell = u"/bin/zsh"_s;
    QHash<QString, QString> programs;         // programPath(): name -> path
    QHash<int, QString> startFailures;        // the n-th startProcess (from 0) fails so
    int starts = 0;                           // startProcess calls so far
    bool macOS = true;                        // Terminal and iTerm2 exist (supports())
    QList<TerminalApp> preferred;             // preferredTerminals()
    QList<AppleScriptOutcome> scriptOutcomes; // taken in order; then scripts give 0
    std::function<void()> onAlert;            // runs while the alert is "on screen"
    LoginStart login = LoginStart::off;       // loginStart()
    std::optional<QString> loginFailure;      // setLoginStart fails so and changes nothing
    QList<Call> calls;

    void install(TerminalApp app, const QString &at = {})
    {
        installed.insert(app, at.isEmpty() ? u"/Applications/"_s + rawValue(app) : at);
    }
    QList<Call> callsOf(const QString &kind) const
    {
        QList<Call> result = calls;
        result.removeIf([&](const Call &call) { return call.kind != kind; });
        return result;
    }

    QString applicationSupportDirectory() const override { return supportDirectory; }
    bool supports(TerminalApp app) const override
    {
        return macOS || launchStyle(app) != TerminalLaunchStyle::appleScript;
    }
    std::optional<QString> terminalLocation(TerminalApp app) const override
    {
        return installed.contains(app) ? std::optional(installed[app]) : std::nullopt;
    }
    // The program at the location itself, as on Linux; how macOS starts them is MacPlatform's.
    ProcessCommand newWindowCommand(TerminalApp, const QString &location,
                                    const QStringList &arguments) const override
    {
        return {location, arguments};
    }
    QList<TerminalApp> preferredTerminals() const override { return preferred; }
    std::optional<QString> startProcess(const ProcessCommand &command) override
    {
        calls.append({u"startProcess"_s, QStringList{command.program} + command.arguments});
        const int index = starts++;
        return startFailures.contains(index) ? std::optional(startFailures[index]) : std::nullopt;
    }
    // Started processes keep running; real early exits are tried against LinuxPlatform.
    std::optional<ProcessEnd> endOfLastStarted() override { return std::nullopt; }
    bool trayIconIsTemplate() const override { return false; }
    void openUrl(const QUrl &url) override
    {
        calls.append({u"openUrl"_s, {url.toString(QUrl::FullyEncoded)}});
    }
    AppleScriptOutcome executeAppleScript(const QString &source) override
    {
        calls.append({u"appleScript"_s, {source}});
        return scriptOutcomes.isEmpty() ? AppleScriptResult{} : scriptOutcomes.takeFirst();
    }
    std::optional<QString> programPath(const QString &name) const override
    {
        return programs.contains(name) ? std::optional(programs.value(name)) : std::nullopt;
    }
    QString windowShell() const override { return shell; }
    void showAlert(const QString &title, const QString &text) override
    {
        calls.append({u"alert"_s, {title, text}});
        if (onAlert)
            onAlert();
    }
    LoginStart loginStart() const override { return login; }
    std::optional<QString> setLoginStart(LoginStart start) override
    {
        calls.append({u"setLoginStart"_s, {QString::number(int(start))}});
        if (!loginFailure)
            login = start;
        return loginFailure;
    }
};

} // namespace corvane::testing
