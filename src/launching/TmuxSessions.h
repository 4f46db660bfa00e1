#pragma once

#include "ScriptError.h"
#include "TmuxClient.h"
#include "TmuxShellHooks.h"
#include "TmuxTyper.h"

#include "TabGroup.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QProcess>

#include <optional>

namespace corvane {

class Platform;
class Sleeper;

// The windows whose commands are typed through tmux: one session each on Corvane's own server,
// typed into in the background while the terminal shows it, and ended when nobody needs it.
//
// A session is never reused: every run gets sessions of its own. When a session's terminal
// window is closed, the session goes on until its commands are typed, then Corvane ends it;
// sessions still typing when Corvane quits are ended then. A session the user detached from on
// purpose (the attach line marks it) is left running, to attach again later.
class TmuxSessions final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TmuxSessions)

public:
    // `tmuxProgram` is tmux's path; `server` the name of Corvane's server (tmux -L); the shells'
    // prompt hooks are written into `hooksDirectory`.
    TmuxSessions(Platform &platform, Sleeper &sleeper, const QString &tmuxProgram,
                 const QString &server = QStringLiteral("corvane"),
                 const QString &hooksDirectory = defaultHooksDirectory(),
                 QObject *parent = nullptr);

    // Where the prompt hooks live: a folder of Corvane's in the user's private runtime folder.
    static QString defaultHooksDirectory();
    // The window `group` becomes when typed into: its start condition, its non-blank commands (as
    // stored) and their waits as commands of their own, each step's delay after its wait.
    // `notices` are echoed first.
    static TmuxWindow windowOf(const TabGroup &group, const QString &folder,
                               const QStringList &notices = {});
    ~TmuxSessions() override;

    const TmuxClient &client() const { return m_tmux; }

    // `windowName` made safe for a tmux session name (no ".", ":" or blanks; never empty).
    static QString safeName(const QString &windowName);
    // Session names for a run's windows: safe, and unique among themselves and `taken`.
    static QStringList sessionNames(const QStringList &windowNames, const QStringList &taken);
    // The sessions on the server now (none when it is not running).
    QCoro::Task<QStringList> existingSessions() const;

    // The tmux command that opens `window` as `session` with `shell` (starting the server when
    // needed), its prompt hook read from `hooksDirectory`.
    static QStringList newSessionArguments(const QString &tmuxProgram,
                                           const QString &hooksDirectory, const QString &shell,
                                           const QString &session, const TmuxWindow &window);
    // What the terminal window runs: attach to the session; after a detach on purpose, mark it to
    // be kept. POSIX shell and fish syntax alike.
    static QString attachLine(const TmuxClient &tmux, const QString &session);
    // The tmux command that types `text` into `session` (for showing: a run names the pane).
    static QStringList typeArguments(const QString &session, const QString &text);

    // Opens the session and starts typing into it; returns once it exists. The typing goes on
    // in the background.
    QCoro::Task<std::optional<ScriptError>> open(const QString &session, TmuxWindow window);

    // Ends the sessions no terminal shows (their windows were closed, or never opened) unless the
    // user detached on purpose, without waiting. For when Corvane quits.
    void endUnattached();
    // Ends `session` at once (its terminal could not be opened).
    void end(const QString &session);

    // The alert when tmux is missing: its message and informative text.
    static std::pair<QString, QString> missingText();
    // The alert when a window's session ended before all its commands were typed.
    static std::pair<QString, QString> cutShortText(const QString &windowName);
    // "Window “api” is waiting for your input".
    static QString inputWantedMessage(const QString &windowName);

Q_SIGNALS:
    // A window's program asks something only the user can answer (a password, a host key).
    void inputWanted(const QString &windowName);
    // The typing into `session` has ended (tests and benchmarks follow the typing by these).
    void stepTyped(const QString &session, int index);
    void typingEnded(const QString &session, TypingEnd end);
    // The session of window `windowName` ended before all its commands were typed.
    void cutShort(const QString &windowName);

private:
    struct Session {
        QString windowName;
        bool typing = true;
        bool windowClosed = false;
    };

    QCoro::Task<> type(QString session, TmuxTyper *typer);
    QCoro::Task<> review();
    void watchClients();

    Platform &m_platform;
    Sleeper &m_sleeper;
    TmuxClient m_tmux;
    QString m_hookDir;
    TmuxShellHooks m_hooks;
    std::optional<QString> m_hookProblem;
    QHash<QString, Session> m_sessions;
    QProcess m_clientWatch; // `tmux wait-for corvane-clients`: a client attached or detached
};

} // namespace corvane
