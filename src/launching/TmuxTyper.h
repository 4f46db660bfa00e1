#pragma once

#include "TmuxClient.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QTimer>

#include <coroutine>

namespace corvane {

class Sleeper;

// One command typed into a tmux window, and what follows it.
struct TmuxStep {
    QString text;
    double delayAfter = 0; // seconds to wait once it is done, before the next one is typed
    bool isWait = false;   // a readiness wait: when it gives up, the window's typing ends
};

// A window whose commands are typed one at a time.
struct TmuxWindow {
    QString name;   // as the user wrote it: the session's name, title and messages come from it
    QString folder; // where its shell starts
    QList<TmuxStep> steps;
    bool stopOnError = false;
};

// How the typing of a window ended.
enum class TypingEnd {
    done,    // every command was typed
    stopped, // a wait gave up or, with stopOnError, a command failed
    died,    // the session or its server went away first
};

// Types a window's commands into its tmux pane, each when the previous one is done: its shell's
// prompt is back (the prompt hook's signal), or the program it started waits for input (the pane's
// foreground is not the window's shell, its screen has been quiet for a moment and looks like a
// prompt). A password or host-key question is left to the user: the typer asks for attention
// once and goes on only after the question is answered. A step that never gets there (a server)
// is simply the last one typed.
class TmuxTyper final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TmuxTyper)

public:
    // `shell` is the program the pane started with; `signalsPrompt` whether it has the hook.
    TmuxTyper(const TmuxClient &tmux, Sleeper &sleeper, TmuxWindow window, QString paneId,
              const QString &shell, bool signalsPrompt, QObject *parent = nullptr);
    ~TmuxTyper() override;

    const TmuxWindow &window() const { return m_window; }
    const QString &paneId() const { return m_pane; }

    // Types every step; the typer may be deleted once it returns.
    QCoro::Task<TypingEnd> typeAll();

    // How long a program's screen must stay unchanged before it counts as waiting for input.
    static constexpr std::chrono::milliseconds quietTime{300};

Q_SIGNALS:
    // A program asks a question only the user can answer (a password, a host key).
    void inputWanted();
    // Step `index` has just been typed.
    void stepTyped(int index);

private:
    struct PaneState;
    struct Readiness;

    QCoro::Task<PaneState> paneState() const;
    QCoro::Task<Readiness> untilReady(const QString &screenBeforeTyping);
    QCoro::Task<bool> gaveUp() const;
    bool looksReady(const PaneState &state) const;
    void listenForPrompt();
    void wake();

    // Suspends the typing until the prompt hook signals or `length` has passed, whichever is
    // first.
    struct Pause {
        TmuxTyper *typer;
        std::chrono::milliseconds length;
        bool await_ready() const noexcept { return typer->m_promptSeen; }
        void await_suspend(std::coroutine_handle<> waiting);
        void await_resume() const noexcept {}
    };

    const TmuxClient &m_tmux;
    Sleeper &m_sleeper;
    TmuxWindow m_window;
    QString m_pane;
    QString m_shellName;
    QString m_tmuxName;
    bool m_signalsPrompt;
    QProcess m_listener; // `tmux wait-for` on the pane's channel, while typing
    QTimer m_pause;
    std::coroutine_handle<> m_waiting;
    bool m_promptSeen = false;
    bool m_typing = true;
    bool m_dying = false; // in the destructor: a resumed typing ends at once
};

} // namespace corvane
