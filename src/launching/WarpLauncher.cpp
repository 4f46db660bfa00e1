#include "WarpLauncher.h"

#include "AtomicFile.h"
#include "Platform.h"
#include "RunPlan.h"
#include "TextEscapes.h"

#include <QDir>

namespace corvane {

using namespace Qt::StringLiterals;

WarpLauncher::WarpLauncher(Platform &platform) : m_platform(platform)
{
}

QList<WarpWindow> WarpLauncher::windowsOf(const RunPlan &plan)
{
    QList<WarpWindow> windows;
    for (const PlannedWindow &window : plan.windows)
        windows.append({window.name, window.command, window.chosenFolder});
    return windows;
}

QString WarpLauncher::launchFileText(const QList<WarpWindow> &windows)
{
    // Texts are YAML double-quoted scalars. Line feeds, tabs and the rest are left raw inside the
    // quotes, where YAML reads them back (a raw line break folds to a space in a YAML reader,
    // which Warp accepts as it is).
    QString text = QStringLiteral("---\nname: Corvane\nwindows:\n");
    for (const WarpWindow &window : windows) {
        text +=
            u"  - tabs:\n      - title: "_s + doubleQuoted(window.name) + u"\n        layout:\n"_s;
        if (window.folder)
            text += u"          cwd: "_s + doubleQuoted(*window.folder) + u'\n';
        text +=
            u"          commands:\n            - exec: "_s + doubleQuoted(window.script) + u'\n';
    }
    return text;
}

QString WarpLauncher::launchFilePath(const QString &applicationSupportDirectory)
{
    return applicationSupportDirectory + u"/Corvane/warp_launch.yaml"_s;
}

QByteArray WarpLauncher::percentEncodedPath(const QString &path)
{
    // Letters, digits and "-._~" are never encoded.
    return path.toUtf8().toPercentEncoding("!$&'()*+,/:=@");
}

QUrl WarpLauncher::launchUrl(const QString &path)
{
    return QUrl(QString::fromLatin1("warp://launch/" + percentEncodedPath(path)), QUrl::StrictMode);
}

std::optional<ScriptError> WarpLauncher::launchWarp(const QList<WarpWindow> &windows)
{
    const QString supportDirectory = m_platform.applicationSupportDirectory();
    // Failures here surface as the write error below.
    QDir().mkpath(supportDirectory);
    QDir(supportDirectory).mkdir(QStringLiteral("Corvane"), ownerOnlyFolder);

    const QString path = launchFilePath(supportDirectory);
    if (const auto error = AtomicFile::write(path, launchFileText(windows).toUtf8()))
        return ScriptError{0, u"Couldn’t write the Warp launch file: "_s + *error};

    const QUrl url = launchUrl(path);
    if (!url.isValid())
        return ScriptError{0, QStringLiteral("Couldn’t build the Warp launch URL.")};
    m_platform.openUrl(url);
    return std::nullopt;
}

} // namespace corvane
