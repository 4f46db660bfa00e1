#include "TerminalRunner.h"

#include "AppleScriptDriver.h"
#include "LaunchAlerts.h"
#include "PackedWindowLauncher.h"
#include "Platform.h"
#include "RunPlan.h"
#include "Sleeper.h"
#include "TmuxSessions.h"
#include "WarpLauncher.h"

#include <optional>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// How a strategy ended: it went through every window, or a step failed.
using Ending = std::optional<ScriptError>;

QCoro::Task<Ending> typeIntoWindows(const RunPlan &plan, Platform &platform, Sleeper &sleeper)
{
    AppleScriptDriver driver(platform);
    const TerminalTraits &terminal = *plan.row;
    for (const PlannedWindow &window : plan.windows) {
        std::int64_t windowId = 0;
        for (qsizetype i = 0; i < window.typed.size(); ++i) {
            const TypedCommand &typed = window.typed.at(i);
            if (i == 0) {
                auto opened = driver.openWindowAndRun(typed.command, terminal);
                if (auto *error = std::get_if<ScriptError>(&opened))
                    co_return std::move(*error);
                windowId = std::get<std::int64_t>(opened);
            } else if (auto error = driver.run(typed.command, windowId, terminal)) {
                co_return std::move(*error);
            }
            co_await sleeper.sleepFor(typed.waitAfter);
        }
    }
    co_return std::nullopt;
}

QCoro::Task<Ending> launchPackedWindows(const RunPlan &plan, Platform &platform, Sleeper &sleeper,
                                        TmuxSessions *tmux)
{
    PackedWindowLauncher launcher(platform, *plan.row);
    for (const PlannedWindow &window : plan.windows) {
        // Typed through tmux: the session first, so that the window has something to attach to.
        if (window.tmuxSession && tmux) {
            if (auto error = co_await tmux->open(*window.tmuxSession, window.tmuxWindow))
                co_return std::move(*error);
        }
        auto error = launcher.launch(window.process);
        if (!error) {
            co_await sleeper.sleepFor(packedWindowPause);
            error = launcher.failureRightAfterStart();
        }
        if (error) {
            if (window.tmuxSession && tmux)
                tmux->end(*window.tmuxSession); // no window shows it
            co_return error;
        }
    }
    co_return std::nullopt;
}

Ending openWarpWindows(const RunPlan &plan, Platform &platform)
{
    if (plan.windows.isEmpty())
        return std::nullopt;
    return WarpLauncher(platform).launchWarp(WarpLauncher::windowsOf(plan));
}

} // namespace

TerminalRunner::TerminalRunner(Platform &platform, Sleeper &sleeper, QObject *parent)
    : QObject(parent), m_platform(platform), m_sleeper(sleeper)
{
}

TerminalRunner::~TerminalRunner() = default;

QCoro::Task<> TerminalRunner::runAll(AppConfig config)
{
    // Tested and set with no suspension in between, so runs can never overlap.
    if (m_isRunning)
        co_return;
    setRunning(true);
    const auto activity = m_platform.holdRunActivity(); // the waits keep their length

    RunPlan plan = RunPlan::of(config, m_platform);
    if (!plan.installed) {
        alert(LaunchAlerts::notInstalledText(plan.row->app));
        setRunning(false);
        co_return;
    }
    if (plan.tmuxMissing && !plan.windows.isEmpty()) {
        alert(TmuxSessions::missingText());
        setRunning(false);
        co_return;
    }
    if (plan.tmux && !plan.windows.isEmpty()) {
        if (!m_tmux || m_tmux->client().program() != *plan.tmux) {
            m_tmux = std::make_unique<TmuxSessions>(m_platform, m_sleeper, *plan.tmux);
            connect(m_tmux.get(), &TmuxSessions::inputWanted, this, [this](const QString &window) {
                Q_EMIT inputWanted(TmuxSessions::inputWantedMessage(window));
            });
            connect(m_tmux.get(), &TmuxSessions::cutShort, this,
                    [this](const QString &window) { alert(TmuxSessions::cutShortText(window)); });
        }
        // New sessions must not take the names of those on the server now.
        plan.nameSessions(co_await m_tmux->existingSessions());
    }

    Ending ending;
    switch (plan.row->launchStyle) {
    case TerminalLaunchStyle::appleScript:
        ending = co_await typeIntoWindows(plan, m_platform, m_sleeper);
        break;
    case TerminalLaunchStyle::packedScript:
        ending = co_await launchPackedWindows(plan, m_platform, m_sleeper, m_tmux.get());
        break;
    case TerminalLaunchStyle::warpLaunchConfiguration:
        ending = openWarpWindows(plan, m_platform);
        break;
    }

    // The alert is shown while the run still counts as under way.
    if (ending)
        alert(LaunchAlerts::failureText(*ending));
    setRunning(false);
}

void TerminalRunner::alert(const std::pair<QString, QString> &text)
{
    Q_EMIT alerting(text.first, text.second);
    m_platform.showAlert(text.first, text.second);
}

void TerminalRunner::setRunning(bool running)
{
    m_isRunning = running;
    Q_EMIT isRunningChanged(running);
}

} // namespace corvane
