#pragma once

#include "Platform.h"

#include <QString>

#include <optional>

namespace corvane {

// The XDG autostart entry through which desktops start Corvane at login. Its presence is the
// whole setting: there is no copy of it anywhere else.
//
// Exec names the executable by its absolute path: a login session's PATH is set before the
// user's shell profile runs and often lacks ~/.local/bin, where a per-user install puts Corvane.
// TryExec names it too, so that desktops skip the entry quietly once that executable is gone.
class AutostartEntry final {
public:
    AutostartEntry() = delete;

    // "$XDG_CONFIG_HOME/autostart/corvane.desktop".
    static QString path();
    // The entry that starts `program`, with its `run` command when `run` is true.
    static QString text(const QString &program, bool run);
    // What the entry at `path` makes desktops do: off when it is missing or hidden.
    static LoginStart read(const QString &path);
    // Writes the entry for `start` (off removes it); the reason when that fails.
    static std::optional<QString> write(const QString &path, LoginStart start,
                                        const QString &program);
    // `argument` as one argument of an Exec key, quoted and escaped as desktop entries require.
    static QString execArgument(const QString &argument);
};

} // namespace corvane
