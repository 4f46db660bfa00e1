#include "FakePlatform.h"

namespace corvane::testing {

void FakePlatform::install(const QString &bundleIdentifier, const QString &location)
{
    installed.insert(bundleIdentifier, location.isEmpty()
                                           ? QStringLiteral("/Applications/") + bundleIdentifier
                                           : location);
}

QList<FakePlatform::Call> FakePlatform::callsOf(const QString &kind) const
{
    QList<Call> result;
    for (const Call &call : calls) {
        if (call.kind == kind)
            result.append(call);
    }
    return result;
}

QString FakePlatform::applicationSupportDirectory() const
{
    return supportDirectory;
}

std::optional<QString> FakePlatform::applicationLocation(const QString &bundleIdentifier) const
{
    const auto it = installed.constFind(bundleIdentifier);
    if (it == installed.constEnd())
        return std::nullopt;
    return *it;
}

std::optional<QString> FakePlatform::bundledExecutable(const QString &bundleIdentifier,
                                                       const QString &executableName) const
{
    const auto location = applicationLocation(bundleIdentifier);
    if (!location)
        return std::nullopt;
    return *location + QStringLiteral("/Contents/MacOS/") + executableName;
}

ProcessCommand FakePlatform::openCommand(const QString &, const QStringList &openArguments) const
{
    return {QStringLiteral("/usr/bin/open"), openArguments};
}

std::optional<QString> FakePlatform::startProcess(const ProcessCommand &command)
{
    calls.append(
        {QStringLiteral("startProcess"), QStringList{command.program} + command.arguments});
    const auto failure = startFailures.constFind(m_startCount++);
    if (failure != startFailures.constEnd())
        return *failure;
    return std::nullopt;
}

void FakePlatform::openUrl(const QUrl &url)
{
    calls.append({QStringLiteral("openUrl"), {url.toString(QUrl::FullyEncoded)}});
}

AppleScriptOutcome FakePlatform::executeAppleScript(const QString &source)
{
    calls.append({QStringLiteral("appleScript"), {source}});
    if (scriptOutcomes.isEmpty())
        return AppleScriptResult{};
    return scriptOutcomes.takeFirst();
}

QString FakePlatform::windowShell() const
{
    return shell;
}

void FakePlatform::showAlert(const QString &messageText, const QString &informativeText)
{
    calls.append({QStringLiteral("alert"), {messageText, informativeText}});
    if (onAlert)
        onAlert();
}

} // namespace corvane::testing
