#include "TmuxSessions.h"

#include "PackedCommandBuilder.h"
#include "Platform.h"
#include "Whitespace.h"

#include <QCoroTimer>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QStandardPaths>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView clientsChannel{"corvane-clients"};
// Corvane's own slot in the server's hook arrays, so a user's hooks stay as they are.
constexpr QLatin1StringView attachedHook{"client-attached[77]"};
constexpr QLatin1StringView detachedHook{"client-detached[77]"};
constexpr int longestName = 40;

QString exactSession(const QString &session)
{
    // "=" matches the name exactly (no prefix or pattern match); ":" makes it a session target.
    return u'=' + session + u':';
}

} // namespace

TmuxSessions::TmuxSessions(Platform &platform, Sleeper &sleeper, const QString &tmuxProgram,
                           const QString &server, const QString &hooksDirectory, QObject *parent)
    : QObject(parent), m_platform(platform), m_sleeper(sleeper), m_tmux(tmuxProgram, server),
      m_hookDir(hooksDirectory), m_hooks(tmuxProgram, hooksDirectory)
{
    // Owner only: the shells run what is in there.
    if (!QDir().mkpath(m_hookDir) ||
        !QFile::setPermissions(m_hookDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        m_hookProblem = u"cannot create "_s + m_hookDir;
    else
        m_hookProblem = m_hooks.write();
    const ProcessCommand watch = m_tmux.command({u"wait-for"_s, clientsChannel});
    m_clientWatch.setProgram(watch.program);
    m_clientWatch.setArguments(watch.arguments);
    m_clientWatch.setStandardInputFile(QProcess::nullDevice());
    connect(&m_clientWatch, &QProcess::finished, this, [this](int code, QProcess::ExitStatus how) {
        if (how == QProcess::NormalExit && code == 0)
            review();
    });
}

TmuxSessions::~TmuxSessions()
{
    endUnattached();
    m_clientWatch.kill();
    m_clientWatch.waitForFinished(1000); // killed: this only reaps it
}

QString TmuxSessions::safeName(const QString &windowName)
{
    QString name;
    for (const QChar c : windowName) {
        const bool keep = c.isLetterOrNumber() || c == u'-' || c == u'_';
        if (keep)
            name += c;
        else if (!name.isEmpty() && !name.endsWith(u'-'))
            name += u'-';
        if (name.size() >= longestName)
            break;
    }
    while (name.endsWith(u'-'))
        name.chop(1);
    return name.isEmpty() ? u"window"_s : name;
}

QStringList TmuxSessions::sessionNames(const QStringList &windowNames, const QStringList &taken)
{
    QStringList names;
    for (const QString &windowName : windowNames) {
        const QString base = safeName(windowName);
        QString name = base;
        for (int n = 2; taken.contains(name) || names.contains(name); ++n)
            name = base + u'-' + QString::number(n);
        names.append(name);
    }
    return names;
}

QCoro::Task<QStringList> TmuxSessions::existingSessions() const
{
    // A named list: GCC 12 cannot take a braced list in a co_await's arguments.
    const QStringList replyArguments{u"list-sessions"_s, u"-F"_s, u"#{session_name}"_s};
    const TmuxReply reply = co_await m_tmux.run(replyArguments);
    co_return reply.ok ? QString::fromUtf8(reply.out).split(u'\n', Qt::SkipEmptyParts)
                       : QStringList();
}

QString TmuxSessions::defaultHooksDirectory()
{
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + u"/corvane-shells"_s;
}

TmuxWindow TmuxSessions::windowOf(const TabGroup &group, const QString &folder,
                                  const QStringList &notices)
{
    TmuxWindow window{group.name, folder, {}, group.stopOnError};
    for (const QString &notice : notices)
        window.steps.append({PackedCommandBuilder::echoCommand(notice)});
    if (const QString start = PackedCommandBuilder::waitCommand(group.startWhen); !start.isEmpty())
        window.steps.append({start, 0, true});
    bool commands = false;
    for (const CommandStep &step : group.commands) {
        if (isBlank(step.command))
            continue;
        commands = true;
        const QString wait = PackedCommandBuilder::waitCommand(step.waitFor);
        window.steps.append({step.command, wait.isEmpty() ? step.delayAfter : 0});
        if (!wait.isEmpty())
            window.steps.append({wait, step.delayAfter, true});
    }
    if (!commands) // nothing to type but a wait: nothing to run
        window.steps.clear();
    return window;
}

QStringList TmuxSessions::typeArguments(const QString &session, const QString &text)
{
    return {u"send-keys"_s, u"-t"_s, exactSession(session), u"-l"_s,   u"--"_s, text, u";"_s,
            u"send-keys"_s, u"-t"_s, exactSession(session), u"Enter"_s};
}

QStringList TmuxSessions::newSessionArguments(const QString &tmuxProgram,
                                              const QString &hooksDirectory,
                                              const QString &shellPath, const QString &session,
                                              const TmuxWindow &window)
{
    const TmuxShellStart shell = TmuxShellHooks(tmuxProgram, hooksDirectory).start(shellPath);
    QStringList arguments{u"new-session"_s,
                          u"-d"_s,
                          u"-P"_s,
                          u"-F"_s,
                          u"#{pane_id}"_s,
                          u"-s"_s,
                          session,
                          u"-n"_s,
                          window.name.isEmpty() ? session : window.name,
                          u"-c"_s,
                          window.folder.isEmpty() ? QDir::homePath() : window.folder};
    for (const QString &variable : shell.environment)
        arguments << u"-e"_s << variable;
    arguments << u"--"_s << shell.command;
    // Attaching marks the session as shown; both attaching and detaching wake Corvane's watch.
    arguments << u";"_s << u"set-hook"_s << u"-g"_s << attachedHook
              << u"set -q @corvane-seen 1 ; wait-for -S "_s + clientsChannel;
    arguments << u";"_s << u"set-hook"_s << u"-g"_s << detachedHook
              << u"wait-for -S "_s + clientsChannel;
    return arguments;
}

QString TmuxSessions::attachLine(const TmuxClient &client, const QString &session)
{
    const auto tmux = [&](const QStringList &arguments) {
        QStringList words;
        for (const QString &word : client.command(arguments).arguments)
            words.append(PackedCommandBuilder::shellQuoted(word));
        return PackedCommandBuilder::shellQuoted(client.program()) + u' ' + words.join(u' ');
    };
    // tmux attach ends with 0 after a detach (and when the session ended, where marking it
    // fails quietly), and with 1 when the terminal went away. Either way the window then closes,
    // as a window running tmux alone would.
    return tmux({u"attach-session"_s, u"-t"_s, exactSession(session)}) + u" && "_s +
           tmux({u"set-option"_s, u"-t"_s, exactSession(session), u"@corvane-kept"_s, u"1"_s}) +
           u" 2>/dev/null; exit"_s;
}

QCoro::Task<std::optional<ScriptError>> TmuxSessions::open(const QString &session,
                                                           TmuxWindow window)
{
    if (m_hookProblem)
        co_return ScriptError{0, u"Couldn’t prepare the shells for typing: "_s + *m_hookProblem};
    QPointer self(this);
    const TmuxReply reply = co_await m_tmux.run(newSessionArguments(
        m_tmux.program(), m_hookDir, m_platform.windowShell(), session, window));
    if (!self)
        co_return std::nullopt;
    const QString pane = QString::fromUtf8(reply.out).trimmed();
    if (!reply.ok || !pane.startsWith(u'%')) {
        const QString why = QString::fromUtf8(reply.err).trimmed();
        co_return ScriptError{0, u"Couldn’t open a tmux session for “%1”: %2"_s.arg(
                                     window.name, why.isEmpty() ? u"tmux failed"_s : why)};
    }
    m_sessions.insert(session, Session{window.name});
    watchClients();
    const QString shell = m_platform.windowShell();
    auto *typer = new TmuxTyper(m_tmux, m_sleeper, std::move(window), pane, shell,
                                m_hooks.start(shell).signalsPrompt, this);
    connect(typer, &TmuxTyper::inputWanted, this,
            [this, typer] { Q_EMIT inputWanted(typer->window().name); });
    connect(typer, &TmuxTyper::stepTyped, this,
            [this, session](int index) { Q_EMIT stepTyped(session, index); });
    type(session, typer); // runs on by itself
    co_return std::nullopt;
}

QCoro::Task<> TmuxSessions::type(QString session, TmuxTyper *typer)
{
    QPointer self(this);
    const TypingEnd end = co_await typer->typeAll();
    if (!self)
        co_return;
    const QString windowName = typer->window().name;
    typer->deleteLater();
    auto found = m_sessions.find(session);
    if (found != m_sessions.end()) {
        found->typing = false;
        if (end == TypingEnd::died)
            m_sessions.erase(found);
        else if (found->windowClosed)
            this->end(session);
    }
    Q_EMIT typingEnded(session, end);
    if (end == TypingEnd::died)
        Q_EMIT cutShort(windowName);
}

void TmuxSessions::watchClients()
{
    if (!m_sessions.isEmpty() && m_clientWatch.state() == QProcess::NotRunning)
        m_clientWatch.start();
}

QCoro::Task<> TmuxSessions::review()
{
    QPointer self(this);
    // After a detach on purpose the attach line marks the session a moment later: give it that.
    co_await QCoro::sleepFor(std::chrono::seconds(1));
    if (!self)
        co_return;
    // A named list: GCC 12 cannot take a braced list in a co_await's arguments.
    const QStringList replyArguments{
        u"list-sessions"_s, u"-F"_s,
        u"#{session_name}\t#{session_attached}\t#{@corvane-seen}\t#{@corvane-kept}"_s};
    const TmuxReply reply = co_await m_tmux.run(replyArguments);
    if (!self)
        co_return;
    QHash<QString, QStringList> states;
    for (const QString &line : QString::fromUtf8(reply.out).split(u'\n', Qt::SkipEmptyParts))
        states.insert(line.section(u'\t', 0, 0), line.split(u'\t'));
    for (auto it = m_sessions.begin(); it != m_sessions.end();) {
        const QStringList state = states.value(it.key());
        const bool closed = !state.isEmpty() && state.value(1) == "0"_L1 &&
                            state.value(2) == "1"_L1 && state.value(3) != "1"_L1;
        const bool kept = state.value(3) == "1"_L1;
        // A gone session is the typer's to report; a kept one is the user's now.
        if ((state.isEmpty() && !it->typing) || kept) {
            it = m_sessions.erase(it);
            continue;
        }
        if (closed && !it->typing) {
            m_tmux.run({u"kill-session"_s, u"-t"_s, exactSession(it.key())});
            it = m_sessions.erase(it);
            continue;
        }
        it->windowClosed = closed;
        ++it;
    }
    watchClients();
}

void TmuxSessions::end(const QString &session)
{
    m_sessions.remove(session);
    m_tmux.run({u"kill-session"_s, u"-t"_s, exactSession(session)});
}

void TmuxSessions::endUnattached()
{
    QStringList arguments;
    for (auto it = m_sessions.cbegin(); it != m_sessions.cend(); ++it) {
        if (!arguments.isEmpty())
            arguments << u";"_s;
        arguments << u"if-shell"_s << u"-F"_s << u"-t"_s << exactSession(it.key())
                  << u"#{&&:#{==:#{session_attached},0},#{!=:#{@corvane-kept},1}}"_s
                  << u"kill-session -t "_s + exactSession(it.key());
    }
    m_sessions.clear();
    if (arguments.isEmpty())
        return;
    // Corvane is on its way out: nothing waits for the answer.
    const ProcessCommand command = m_tmux.command(arguments);
    QProcess::startDetached(command.program, command.arguments);
}

std::pair<QString, QString> TmuxSessions::cutShortText(const QString &windowName)
{
    return {
        u"“%1” closed before all its commands were typed"_s.arg(windowName),
        u"Its tmux session ended. Corvane typed nothing more into it; the other windows go on."_s};
}

std::pair<QString, QString> TmuxSessions::missingText()
{
    return {u"tmux isn’t installed"_s,
            u"Turn off “Type commands one at a time (through tmux)” in Edit Commands…, or "
            u"install tmux and try again."_s};
}

QString TmuxSessions::inputWantedMessage(const QString &windowName)
{
    return u"Window “%1” is waiting for your input"_s.arg(windowName);
}

} // namespace corvane
