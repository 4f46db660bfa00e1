#pragma once

#include "Platform.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace corvane {

// The per-user launchd agent through which macOS starts Corvane at login. Its presence is the
// whole setting, as with the XDG autostart entry on Linux: there is no copy of it anywhere else.
//
// ProgramArguments names the executable inside Corvane.app by its absolute path, because launchd
// starts it directly rather than through Launch Services. launchd reads the file at login only,
// so writing it changes nothing in the running session and never starts a second Corvane.
class LaunchAgent final {
public:
    LaunchAgent() = delete;

    // "~/Library/LaunchAgents/<label>.plist".
    static QString path(const QString &label);
    // The XML property list of the agent `label` that starts `program`, with its `run` command
    // when `run` is true.
    static QByteArray text(const QString &label, const QString &program, bool run);
    // What the agent at `path` makes launchd do at login: off when it is missing, disabled or
    // cannot be read as an XML property list.
    static LoginStart read(const QString &path);
    // Writes the agent for `start` (off removes it); the reason when that fails.
    static std::optional<QString> write(const QString &path, LoginStart start, const QString &label,
                                        const QString &program);
};

} // namespace corvane
