#pragma once

#include "ScriptError.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace corvane {

class Platform;

struct RunPlan;

// One Warp window: its tab title, the command it runs and the folder it starts in (Warp's own
// default, the home folder, when there is none).
struct WarpWindow {
    QString name;
    QString script;
    std::optional<QString> folder = std::nullopt;

    friend bool operator==(const WarpWindow &, const WarpWindow &) = default;
};

// Opens all of a run's Warp windows at once through a launch-configuration file.
class WarpLauncher final {
public:
    explicit WarpLauncher(Platform &platform);

    // The Warp windows of a run plan.
    static QList<WarpWindow> windowsOf(const RunPlan &plan);
    // The YAML launch configuration: one window with one titled tab per entry.
    static QString launchFileText(const QList<WarpWindow> &windows);
    // "<support>/Corvane/warp_launch.yaml".
    static QString launchFilePath(const QString &applicationSupportDirectory);
    // The path's UTF-8 bytes with everything outside Foundation's urlPathAllowed set written as
    // %XX (upper-case hex).
    static QByteArray percentEncodedPath(const QString &path);
    // The warp://launch/ URL that opens the launch file at `path`; invalid when none can be made.
    static QUrl launchUrl(const QString &path);

    // Writes the launch file (owner-only) and hands its warp://launch/ URL to the system.
    std::optional<ScriptError> launchWarp(const QList<WarpWindow> &windows);

private:
    Platform &m_platform;
};

} // namespace corvane
