#include "WarpLauncher.h"

#include "Platform.h"
#include "RunPlan.h"

#include <QDir>
#include <QSaveFile>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr auto ownerOnlyFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr auto ownerOnlyFolder =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;

// A YAML double-quoted scalar. Line feeds, tabs and the rest are left raw inside the quotes,
// where YAML reads them back (a raw line break folds to a space in a YAML reader, which Warp
// accepts as it is).
QString quoted(const QString &text)
{
    QString escaped = text;
    escaped.replace(u'\\', u"\\\\"_s);
    escaped.replace(u'"', u"\\\""_s);
    return u'"' + escaped + u'"';
}

bool isUrlPathAllowed(unsigned char byte)
{
    if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
        (byte >= '0' && byte <= '9'))
        return true;
    return QByteArrayView("!$&'()*+,-./:=@_~").contains(static_cast<char>(byte));
}

} // namespace

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
    QString text = QStringLiteral("---\nname: Corvane\nwindows:\n");
    for (const WarpWindow &window : windows) {
        text += u"  - tabs:\n      - title: "_s + quoted(window.name) + u"\n        layout:\n"_s;
        if (window.folder)
            text += u"          cwd: "_s + quoted(*window.folder) + u'\n';
        text += u"          commands:\n            - exec: "_s + quoted(window.script) + u'\n';
    }
    return text;
}

QString WarpLauncher::launchFilePath(const QString &applicationSupportDirectory)
{
    return applicationSupportDirectory + u"/Corvane/warp_launch.yaml"_s;
}

QByteArray WarpLauncher::percentEncodedPath(const QString &path)
{
    static constexpr char hexDigits[] = "0123456789ABCDEF";
    const QByteArray bytes = path.toUtf8();
    QByteArray encoded;
    encoded.reserve(bytes.size() * 3);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUrlPathAllowed(byte)) {
            encoded.append(c);
        } else {
            encoded.append('%');
            encoded.append(hexDigits[byte >> 4]);
            encoded.append(hexDigits[byte & 0x0F]);
        }
    }
    return encoded;
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
    QSaveFile file(path);
    const QByteArray contents = launchFileText(windows).toUtf8();
    const bool written = file.open(QIODevice::WriteOnly) && file.setPermissions(ownerOnlyFile) &&
                         file.write(contents) == contents.size() && file.commit();
    if (!written)
        return ScriptError{0, u"Couldn’t write the Warp launch file: "_s + file.errorString()};

    const QUrl url = launchUrl(path);
    if (!url.isValid())
        return ScriptError{0, QStringLiteral("Couldn’t build the Warp launch URL.")};
    m_platform.openUrl(url);
    return std::nullopt;
}

} // namespace corvane
