#pragma once

#include "Platform.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QTest>

#include <functional>

namespace corvane::testing {

// A platform that records every call in one ordered log and answers from settings that tests
// choose. Nothing reaches the real system.
class FakePlatform final : public Platform {
public:
    // One recorded call, e.g. {"startProcess", {program, args...}} or {"alert", {title, text}}.
    struct Call {
        QString kind;
        QStringList values;
        friend bool operator==(const Call &, const Call &) = default;
        // Lets QCOMPARE print calls that differ.
        friend char *toString(const Call &call)
        {
            return QTest::toString(call.kind + QStringLiteral(": [") +
                                   call.values.join(QStringLiteral("] [")) + u']');
        }
    };

    QString supportDirectory = QStringLiteral("/tmp/corvane-fake-support");
    // Bundle identifiers that count as installed, mapped to their location.
    QHash<QString, QString> installed;
    QString shell = QStringLiteral("/bin/zsh");

    // Start failures: the n-th startProcess call (0-based) fails with this reason.
    QHash<int, QString> startFailures;
    // Answers of executeAppleScript, consumed in order; when empty, scripts succeed with 0.
    QList<AppleScriptOutcome> scriptOutcomes;
    // Called inside showAlert, e.g. to check state while the alert is "on screen".
    std::function<void()> onAlert;

    QList<Call> calls;

    void install(const QString &bundleIdentifier, const QString &location = {});

    // Only the calls of one kind, in order.
    QList<Call> callsOf(const QString &kind) const;

    QString applicationSupportDirectory() const override;
    std::optional<QString> applicationLocation(const QString &bundleIdentifier) const override;
    std::optional<QString> bundledExecutable(const QString &bundleIdentifier,
                                             const QString &executableName) const override;
    ProcessCommand openCommand(const QString &bundleIdentifier,
                               const QStringList &openArguments) const override;
    std::optional<QString> startProcess(const ProcessCommand &command) override;
    void openUrl(const QUrl &url) override;
    AppleScriptOutcome executeAppleScript(const QString &source) override;
    QString windowShell() const override;
    void showAlert(const QString &messageText, const QString &informativeText) override;

private:
    int m_startCount = 0;
};

} // namespace corvane::testing
