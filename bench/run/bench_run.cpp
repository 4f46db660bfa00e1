// How long a run spends outside its own waits, per packed window: real LinuxPlatform starting a
// fake terminal that only records its arguments, against /bin/sh starting the same processes.
#include "LinuxPlatform.h"
#include "Sleeper.h"
#include "TerminalRunner.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr int windows = 8;

// Waits take no time here: only the run's own work is measured.
class ImmediateSleeper final : public Sleeper {
public:
    QCoro::Task<> sleepFor(std::chrono::nanoseconds) override { co_return; }
};

struct FakeTerminal {
    QTemporaryDir dir;
    QString path = dir.filePath(u"kitty"_s);

    FakeTerminal()
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write the fake terminal");
        file.write(u"#!/bin/sh\nprintf '%s\\0' \"$@\" >> '%1'\n"_s.arg(dir.filePath(u"record"_s))
                       .toUtf8());
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", QFile::encodeName(dir.path()) + ":/usr/bin:/bin");
    }
};

AppConfig benchConfig()
{
    AppConfig config{TerminalApp::kitty, {}};
    for (int i = 0; i < windows; ++i) {
        config.groups.append(TabGroup{QUuid::createUuid(),
                                      u"w"_s,
                                      {CommandStep{QUuid::createUuid(), u"cd /tmp"_s, 1},
                                       CommandStep{QUuid::createUuid(), u"ls -la"_s, 0}},
                                      std::nullopt});
    }
    return config;
}

void perWindow(benchmark::State &state)
{
    state.counters["per_window"] = benchmark::Counter(
        windows, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_RunAllPackedWindows(benchmark::State &state)
{
    FakeTerminal fake;
    LinuxPlatform platform;
    ImmediateSleeper sleeper;
    TerminalRunner runner(platform, sleeper);
    const AppConfig config = benchConfig();
    for (auto _ : state) {
        auto task = runner.runAll(config);
        if (!task.isReady())
            state.SkipWithError("the run did not finish at once");
        // In the app the event loop runs during the pauses and reaps the exited terminals;
        // without this, pidfds and zombies would pile up over the benchmark.
        state.PauseTiming();
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
    perWindow(state);
}

void BM_ShellScriptStartingTheSameProcesses(benchmark::State &state)
{
    FakeTerminal fake;
    const QString shell = LinuxPlatform().windowShell();
    QString script;
    for (int i = 0; i < windows; ++i) {
        script +=
            u"'%1' --single-instance '%2' -ilc 'cd /tmp; sleep 1; ls -la; exec %2 -il' &\n"_s.arg(
                fake.path, shell);
    }
    for (auto _ : state) {
        QProcess sh;
        sh.start(u"/bin/sh"_s, {u"-c"_s, script});
        sh.waitForFinished(-1);
    }
    perWindow(state);
}

} // namespace

BENCHMARK(BM_RunAllPackedWindows)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_ShellScriptStartingTheSameProcesses)->Unit(benchmark::kMicrosecond)->UseRealTime();

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
