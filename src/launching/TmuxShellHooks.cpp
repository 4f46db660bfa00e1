#include "TmuxShellHooks.h"

#include "AtomicFile.h"
#include "PackedCommandBuilder.h"
#include "TextEscapes.h"

#include <QDir>
#include <QFileInfo>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// fish reads backslashes and apostrophes as escapes inside single quotes.
QString fishQuoted(const QString &text)
{
    return u'\'' + backslashEscaped(text, u"'") + u'\'';
}

// The hook's tmux call: one client that records the status and then signals.
QString hookCall(const QString &tmux, const QString &socket, const QString &pane,
                 const QString &status)
{
    return tmux + u" -S "_s + socket + u" set -p -t "_s + pane + u" @corvane-status "_s + status +
           u" \\; wait-for -S corvane-"_s + pane + u" >/dev/null 2>&1"_s;
}

// bash: started with --rcfile and -i, so it reads the files a login shell reads here. The hook
// comes first so that it sees the command's status, and hands that status on to the user's own.
QString bashRc(const QString &tmux)
{
    return uR"(# Corvane types commands into this shell: it reads what a login shell reads, then
# tells Corvane each time the prompt is back. Your own files are not changed.
__corvane_tmux=${TMUX%%,*} __corvane_pane=$TMUX_PANE
[ -r /etc/profile ] && . /etc/profile
for __corvane_file in ~/.bash_profile ~/.bash_login ~/.profile; do
    if [ -r "$__corvane_file" ]; then . "$__corvane_file"; break; fi
done
unset __corvane_file
__corvane_prompt() {
    local __corvane_status=$?
    )"_s +
           hookCall(tmux, u"\"$__corvane_tmux\""_s, u"\"$__corvane_pane\""_s,
                    u"\"$__corvane_status\""_s) +
           uR"(
    return $__corvane_status
}
if [[ $(declare -p PROMPT_COMMAND 2>/dev/null) == 'declare -a'* ]]; then
    PROMPT_COMMAND=(__corvane_prompt "${PROMPT_COMMAND[@]}")
else
    PROMPT_COMMAND=__corvane_prompt${PROMPT_COMMAND:+$'\n'$PROMPT_COMMAND}
fi
)"_s;
}

// zsh: ZDOTDIR points here for the first file only; this .zshenv puts the user's ZDOTDIR back, so
// zsh goes on with the user's own .zprofile, .zshrc and .zlogin.
QString zshEnv(const QString &tmux)
{
    return uR"(# Corvane types commands into this shell and is told when the prompt is back.
# Your own files are read as always and not changed.
__corvane_tmux=${TMUX%%,*} __corvane_pane=$TMUX_PANE
if (( ${+CORVANE_USER_ZDOTDIR} )); then ZDOTDIR=$CORVANE_USER_ZDOTDIR; else unset ZDOTDIR; fi
unset CORVANE_USER_ZDOTDIR
[[ -r ${ZDOTDIR:-$HOME}/.zshenv ]] && . ${ZDOTDIR:-$HOME}/.zshenv
__corvane_prompt() {
    )"_s + hookCall(tmux, u"\"$__corvane_tmux\""_s, u"\"$__corvane_pane\""_s, u"$?"_s) +
           uR"(
}
typeset -ag precmd_functions
precmd_functions=(__corvane_prompt $precmd_functions)
)"_s;
}

std::optional<QString> writeFile(const QString &path, const QString &text)
{
    return AtomicFile::write(path, text.toUtf8());
}

} // namespace

TmuxShellHooks::TmuxShellHooks(QString tmuxProgram, QString directory)
    : m_tmux(std::move(tmuxProgram)), m_directory(std::move(directory))
{
}

std::optional<QString> TmuxShellHooks::write() const
{
    const QDir dir(m_directory);
    if (!dir.mkpath(u"zsh"_s))
        return u"cannot create "_s + dir.filePath(u"zsh"_s);
    if (auto error = writeFile(dir.filePath(u"bash.rc"_s),
                               bashRc(PackedCommandBuilder::shellQuoted(m_tmux))))
        return error;
    return writeFile(dir.filePath(u"zsh/.zshenv"_s),
                     zshEnv(PackedCommandBuilder::shellQuoted(m_tmux)));
}

TmuxShellStart TmuxShellHooks::start(const QString &shell) const
{
    const QString name = QFileInfo(shell).fileName();
    const QDir dir(m_directory);
    if (name == "bash"_L1)
        return {{shell, u"--rcfile"_s, dir.filePath(u"bash.rc"_s), u"-i"_s}, {}, true};
    if (name == "zsh"_L1) {
        QStringList environment{u"ZDOTDIR="_s + dir.filePath(u"zsh"_s)};
        if (qEnvironmentVariableIsSet("ZDOTDIR"))
            environment.append(u"CORVANE_USER_ZDOTDIR="_s + qEnvironmentVariable("ZDOTDIR"));
        return {{shell, u"-il"_s}, environment, true};
    }
    if (name == "fish"_L1) {
        const QString init =
            u"set -g __corvane_tmux (string split -m1 , -- $TMUX)[1]; "
            u"set -g __corvane_pane $TMUX_PANE; "
            u"function __corvane_prompt --on-event fish_prompt; set -l s $status; "_s +
            hookCall(fishQuoted(m_tmux), u"$__corvane_tmux"_s, u"$__corvane_pane"_s, u"$s"_s) +
            u"; end"_s;
        return {{shell, u"-il"_s, u"-C"_s, init}, {}, true};
    }
    return {{shell, u"-il"_s}, {}, false};
}

QString TmuxShellHooks::channel(const QString &paneId)
{
    return u"corvane-"_s + paneId;
}

} // namespace corvane
