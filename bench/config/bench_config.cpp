// Every edit in the editor re-encodes and rewrites the whole file, so save cost per size
// is what decides whether typing stays smooth.
#include "ConfigCodec.h"
#include "ConfigStore.h"
#include "SizedConfig.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace corvane;

namespace {

constexpr int stepsPerGroup = 5;

void encode(benchmark::State &state)
{
    const AppConfig config = testing::sizedConfig(static_cast<int>(state.range(0)), stepsPerGroup);
    for (auto _ : state)
        benchmark::DoNotOptimize(ConfigCodec::encode(config));
    state.SetComplexityN(state.range(0));
}

void encodeAndSave(benchmark::State &state)
{
    QTemporaryDir dir;
    ConfigStore store(dir.path());
    store.setConfig(testing::sizedConfig(static_cast<int>(state.range(0)), stepsPerGroup));
    for (auto _ : state)
        store.save();
    state.SetBytesProcessed(state.iterations() * QFile(store.filePath()).size());
    state.SetComplexityN(state.range(0));
}

void readAndDecode(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("config.json"));
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(*ConfigCodec::encode(
            testing::sizedConfig(static_cast<int>(state.range(0)), stepsPerGroup)));
    }
    for (auto _ : state) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        benchmark::DoNotOptimize(ConfigCodec::decode(file.readAll()));
    }
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(encode)->Arg(1)->Arg(20)->Arg(200)->Arg(2000)->Complexity(benchmark::oN);
BENCHMARK(encodeAndSave)->Arg(1)->Arg(20)->Arg(200)->Arg(2000)->Complexity(benchmark::oN);
BENCHMARK(readAndDecode)->Arg(1)->Arg(20)->Arg(200)->Arg(2000)->Complexity(benchmark::oN);

BENCHMARK_MAIN();
