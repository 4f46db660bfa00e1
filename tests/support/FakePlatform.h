#pragma once

#include "Platform.h"

#include <QHash>
#include <QList>
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
    QHash<QString, QString> installed; // bundle identifier -> location
    QString shell = u"/bin/zsh"_s;
    QHash<QString, QString> programs;         // programPath(): name -> path
    QHash<int, QString> startFailures;        // the n-th startProcess (from 0) fails so
    bool typesIntoTerminals = true;           // macOS unless a test says otherwise
    QStringList preferred;                    // preferredTerminals()
    QList<AppleScriptOutcome> scriptOutcomes; // taken in order; then scripts give 0
    std::function<void()> onAlert;            // runs while the alert is "on screen"
    LoginStart login = LoginStart::off;       // loginStart()
    std::optional<QString> loginFailure;      // setLoginStart fails so and changes nothing
    QList<Call> calls;

    void install(const QString &id, const QString &at = {})
    {
        installed.insert(id, at.isEmpty() ? u"/Applications/"_s + id : at);
    }
    QList<Call> callsOf(const QString &kind) const
    {
        QList<Call> result = calls;
        result.removeIf([&](const Call &call) { return call.kind != kind; });
        return result;
    }

    QString applicationSupportDirectory() const override { return supportDirectory; }
    std::optional<QString> applicationLocation(const QString &id) const override
    {
        return installed.contains(id) ? std::optional(installed[id]) : std::nullopt;
    }
    std::optional<QString> bundledExecutable(const QString &id, const QString &name) const override
    {
        const auto at = applicationLocation(id);
        return at ? std::optional(*at + u"/Contents/MacOS/"_s + name) : std::nullopt;
    }
    ProcessCommand openCommand(const QString &, const QStringList &arguments) const override
    {
        return {u"/usr/bin/open"_s, arguments};
    }
    std::optional<QString> startProcess(const ProcessCommand &command) override
    {
        calls.append({u"startProcess"_s, QStringList{command.program} + command.arguments});
        const int index = m_starts++;
        return startFailures.contains(index) ? std::optional(startFailures[index]) : std::nullopt;
    }
    // Started processes keep running; real early exits are tried against LinuxPlatform.
    std::optional<ProcessEnd> endOfLastStarted() override { return std::nullopt; }
    bool canTypeIntoTerminals() const override { return typesIntoTerminals; }
    QStringList preferredTerminals() const override { return preferred; }
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

private:
    int m_starts = 0;
};

} // namespace corvane::testing
