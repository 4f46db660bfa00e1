#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// How a window's shell starts inside tmux.
struct TmuxShellStart {
    QStringList command;     // the shell and its arguments
    QStringList environment; // NAME=value pairs for `new-session -e`
    bool signalsPrompt = false;
};

// Prompt hooks that make bash, zsh and fish tell Corvane each time their prompt is back: they set
// the pane's option @corvane-status to the last command's exit status and signal the tmux channel
// "corvane-<pane id>". They are installed from files of Corvane's own, which read the user's own
// startup files first and leave them untouched. Other shells start as plain login shells.
class TmuxShellHooks final {
public:
    // The hooks run `tmuxProgram`; their files go into `directory`, which must stay while shells
    // start.
    TmuxShellHooks(QString tmuxProgram, QString directory);

    // Writes the files; gives the reason when that fails.
    std::optional<QString> write() const;

    // The interactive shell for the login shell `shell`, with its hook where it has one: bash reads
    // the files a login shell reads through --rcfile, zsh gets a ZDOTDIR whose .zshenv puts the
    // user's back, fish gets an event function through -C.
    TmuxShellStart start(const QString &shell) const;

    // The channel a pane's hook signals.
    static QString channel(const QString &paneId);

private:
    QString m_tmux;
    QString m_directory;
};

} // namespace corvane
