#include "TmuxTyper.h"

#include "Sleeper.h"
#include "TmuxShellHooks.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QRegularExpression>
#include <QTimer>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace corvane {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// What the packed windows' wait prints when it gives up; typed waits print the same.
constexpr QLatin1StringView gaveUpLine{"Corvane: gave up waiting for"};

// Shells a command may start (`sudo -i`, `docker exec -it app sh`, a stand-in for ssh): their
// prompt waits for input even where they keep the terminal in line mode.
bool isShell(const QString &name)
{
    static const QStringList shells{u"sh"_s,  u"bash"_s, u"dash"_s, u"zsh"_s, u"fish"_s,
                                    u"ksh"_s, u"mksh"_s, u"ash"_s,  u"csh"_s, u"tcsh"_s};
    return shells.contains(name);
}

// A question only the user can answer: typing a command there would send it as a password.
bool isQuestion(const QString &promptText)
{
    static const QRegularExpression question(
        uR"((password|passphrase|passcode|verification code)[^:]*:\s*$|)"
        uR"(\(yes/no[^)]*\)\?\s*$|\[[yY]/[nN]\]\??\s*$|\([yY]/[nN]\)\??\s*$)"_s,
        QRegularExpression::CaseInsensitiveOption);
    return question.match(promptText).hasMatch();
}

bool looksLikePrompt(const QString &promptText)
{
    static const QRegularExpression prompt(uR"([$#>%❯»]\s*$)"_s);
    return prompt.match(promptText).hasMatch();
}

// How the pane's terminal is set: a program reading keys one by one (a line editor, ssh, a REPL)
// turns line mode off; one asking for a password keeps line mode and turns echo off. Read from the
// terminal device itself with POSIX termios (Linux and macOS alike); opening it changes nothing.
struct TerminalMode {
    bool known = false;
    bool lineMode = true;
    bool echo = true;
};
TerminalMode terminalMode(const QString &device)
{
    const int fd =
        ::open(QFile::encodeName(device).constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return {};
    termios settings{};
    const bool read = ::tcgetattr(fd, &settings) == 0;
    ::close(fd);
    if (!read)
        return {};
    return {true, (settings.c_lflag & ICANON) != 0, (settings.c_lflag & ECHO) != 0};
}

// tmux ends a command at an argument that ends in ";", unless a backslash comes before it.
QString literalArgument(const QString &text)
{
    return text.endsWith(u';') ? text.chopped(1) + u"\\;"_s : text;
}

} // namespace

struct TmuxTyper::PaneState {
    bool exists = false;
    QString foreground;
    QString status;     // the exit status the prompt hook recorded last
    QString screen;     // the visible lines and the cursor's place
    QString promptText; // the cursor's line up to the cursor
    TerminalMode mode;
};

// Whether the pane is ready for the next command, and how it looked then.
struct TmuxTyper::Readiness {
    bool gone = false;
    bool atPrompt = false; // the window's own shell signalled its prompt: its status is known
    PaneState state;
};

TmuxTyper::TmuxTyper(const TmuxClient &tmux, Sleeper &sleeper, TmuxWindow window, QString paneId,
                     const QString &shell, bool signalsPrompt, QObject *parent)
    : QObject(parent), m_tmux(tmux), m_sleeper(sleeper), m_window(std::move(window)),
      m_pane(std::move(paneId)), m_shellName(QFileInfo(shell).fileName()),
      m_tmuxName(QFileInfo(tmux.program()).fileName()), m_signalsPrompt(signalsPrompt)
{
    const ProcessCommand listen = m_tmux.command({u"wait-for"_s, TmuxShellHooks::channel(m_pane)});
    m_listener.setProgram(listen.program);
    m_listener.setArguments(listen.arguments);
    m_listener.setStandardInputFile(QProcess::nullDevice());
    connect(&m_listener, &QProcess::finished, this, [this](int code, QProcess::ExitStatus how) {
        if (!m_typing)
            return;
        // A failed listener: the server may be gone (the next look at the pane tells) or too busy
        // to answer in time; listen again a little later.
        if (how != QProcess::NormalExit || code != 0) {
            QTimer::singleShot(200, this, &TmuxTyper::listenForPrompt);
            return;
        }
        m_promptSeen = true;
        listenForPrompt();
        wake();
    });
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, &TmuxTyper::wake);
}

TmuxTyper::~TmuxTyper()
{
    // A typing paused here would otherwise stay suspended for good, its frames never freed: let
    // it see that this typer is going and end now, while the members it touches still exist.
    m_dying = true;
    m_pause.stop();
    if (auto waiting = std::exchange(m_waiting, {}))
        waiting.resume();
    m_listener.kill();
    m_listener.waitForFinished(1000); // killed: this only reaps it
}

void TmuxTyper::Pause::await_suspend(std::coroutine_handle<> waiting)
{
    typer->m_waiting = waiting;
    typer->m_pause.start(length);
}

void TmuxTyper::wake()
{
    m_pause.stop();
    // Resumed from the event loop, not from inside the signal that woke it.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (auto waiting = std::exchange(m_waiting, {}))
                waiting.resume();
        },
        Qt::QueuedConnection);
}

void TmuxTyper::listenForPrompt()
{
    if (m_typing && m_signalsPrompt && m_listener.state() == QProcess::NotRunning)
        m_listener.start();
}

QCoro::Task<TmuxTyper::PaneState> TmuxTyper::paneState() const
{
    // A named list: GCC 12 cannot take a braced list in a co_await's arguments.
    const QStringList replyArguments{
        u"display-message"_s,
        u"-p"_s,
        u"-t"_s,
        m_pane,
        u"#{pane_current_command}\t#{pane_tty}\t#{@corvane-status}\t#{cursor_x}\t#{cursor_y}\t"
        u"#{history_size}"_s,
        u";"_s,
        u"capture-pane"_s,
        u"-p"_s,
        u"-t"_s,
        m_pane};
    const TmuxReply reply = co_await m_tmux.run(replyArguments);
    PaneState state;
    if (!reply.ok)
        co_return state;
    const QString out = QString::fromUtf8(reply.out);
    const QString head = out.section(u'\n', 0, 0);
    const QStringList fields = head.split(u'\t');
    if (fields.size() < 6)
        co_return state;
    state.exists = true;
    state.foreground = fields[0];
    state.status = fields[2];
    // The history's length too: a command repeated at the bottom of a full screen may leave the
    // visible lines as they were.
    state.screen = out.mid(head.size() + 1) + fields[3] + u',' + fields[4] + u',' + fields[5];
    const QStringList lines = out.mid(head.size() + 1).split(u'\n');
    state.promptText = lines.value(fields[4].toInt()).left(fields[3].toInt());
    state.mode = terminalMode(fields[1]);
    co_return state;
}

bool TmuxTyper::looksReady(const PaneState &state) const
{
    if (state.foreground == m_shellName) {
        // The window's own shell. With its hook it signals at once; so a quiet one in line-edit
        // mode that did not is a nested shell of the same kind, or its hook was lost.
        return !m_signalsPrompt || (state.mode.known && !state.mode.lineMode);
    }
    // A shell counts once it shows a prompt: `sh -c` running a script is busy, not waiting.
    return (isShell(state.foreground) && !state.promptText.trimmed().isEmpty()) ||
           (state.mode.known && !state.mode.lineMode) || looksLikePrompt(state.promptText);
}

QCoro::Task<TmuxTyper::Readiness> TmuxTyper::untilReady(const QString &screenBeforeTyping)
{
    QPointer self(this);
    QString last;
    QElapsedTimer sinceChange, sinceTyped;
    sinceTyped.start();
    bool asked = false;
    for (;;) {
        const bool signalled = std::exchange(m_promptSeen, false);
        const PaneState state = co_await paneState();
        if (!self || !state.exists)
            co_return Readiness{true};
        // The hook's own tmux client may still be in front for a moment after it signalled.
        if (signalled && (state.foreground == m_shellName || state.foreground == m_tmuxName))
            co_return Readiness{false, true, state};

        if (state.screen != last || !sinceChange.isValid()) {
            last = state.screen;
            sinceChange.start();
            asked = false; // a new screen: a question before it has been answered
        } else if (sinceChange.elapsed() >= quietTime.count() &&
                   (screenBeforeTyping.isNull() || state.screen != screenBeforeTyping)) {
            const bool question = isQuestion(state.promptText.trimmed()) ||
                                  (state.mode.known && state.mode.lineMode && !state.mode.echo &&
                                   state.foreground != m_shellName);
            if (question) {
                if (!asked)
                    Q_EMIT inputWanted();
                asked = true;
            } else if (looksReady(state)) {
                co_return Readiness{false, false, state};
            }
        }

        // Look often right after typing, when programs come up, and seldom at a long-running one.
        const auto pause = sinceTyped.elapsed() < 2000    ? 50ms
                           : sinceTyped.elapsed() < 20000 ? 250ms
                                                          : 1000ms;
        if (!m_promptSeen)
            co_await Pause{this, pause};
        if (!self || m_dying)
            co_return Readiness{true};
    }
}

QCoro::Task<bool> TmuxTyper::gaveUp() const
{
    // Joined lines: the message then starts a line, while the typed wait only holds it inside.
    // A named list: GCC 12 cannot take a braced list in a co_await's arguments.
    const QStringList replyArguments{u"capture-pane"_s, u"-p"_s, u"-J"_s, u"-t"_s, m_pane};
    const TmuxReply reply = co_await m_tmux.run(replyArguments);
    for (const QByteArrayView line : reply.out.split('\n')) {
        if (line.startsWith(QByteArrayView(gaveUpLine.data(), gaveUpLine.size())))
            co_return true;
    }
    co_return false;
}

QCoro::Task<TypingEnd> TmuxTyper::typeAll()
{
    QPointer self(this);
    listenForPrompt();
    QString screenBeforeTyping; // null: nothing typed yet
    const auto end = [&](TypingEnd how) {
        if (self) {
            m_typing = false;
            m_listener.kill();
        }
        return how;
    };

    for (qsizetype i = 0; i < m_window.steps.size(); ++i) {
        Readiness readiness = co_await untilReady(screenBeforeTyping);
        if (!self || readiness.gone)
            co_return end(TypingEnd::died);

        if (i > 0) {
            const TmuxStep &previous = m_window.steps.at(i - 1);
            // The hook's status tells only when the prompt came back in the window's own shell.
            const bool failed = readiness.atPrompt && readiness.state.status != "0"_L1;
            if (previous.isWait && (readiness.atPrompt ? failed : co_await gaveUp()))
                co_return end(TypingEnd::stopped);
            if (!self)
                co_return end(TypingEnd::died);
            if (m_window.stopOnError && failed)
                co_return end(TypingEnd::stopped);
            if (previous.delayAfter > 0) {
                co_await m_sleeper.sleepFor(std::chrono::ceil<std::chrono::nanoseconds>(
                    std::chrono::duration<double>(std::min(previous.delayAfter, 1e9))));
                if (!self)
                    co_return end(TypingEnd::died);
                readiness.state = co_await paneState();
                if (!self || !readiness.state.exists)
                    co_return end(TypingEnd::died);
            }
        }

        screenBeforeTyping = readiness.state.screen;
        m_promptSeen = false;
        // A named list: GCC 12 cannot take a braced list in a co_await's arguments.
        const QStringList typedArguments{
            u"send-keys"_s, u"-t"_s,        m_pane,
            u"-l"_s,        u"--"_s,        literalArgument(m_window.steps.at(i).text),
            u";"_s,         u"send-keys"_s, u"-t"_s,
            m_pane,         u"Enter"_s};
        const TmuxReply typed = co_await m_tmux.run(typedArguments);
        if (!self || !typed.ok)
            co_return end(TypingEnd::died);
        Q_EMIT stepTyped(int(i));
    }
    co_return end(TypingEnd::done);
}

} // namespace corvane
