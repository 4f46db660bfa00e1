// One keystroke in a step's command field of the real editor, offscreen: the edit goes into the
// store, the whole file is saved, every card is brought up to date (rows and the combined-command
// preview), and the event loop runs the layout work the keystroke queued.
#include "CommandRow.h"
#include "ConfigStore.h"
#include "EditorView.h"
#include "GroupEditor.h"
#include "LinuxPlatform.h"
#include "RandomConfig.h"

#include <QApplication>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>

#include <benchmark/benchmark.h>

using namespace corvane;

namespace {

constexpr int stepsPerGroup = 5;

void keystroke(benchmark::State &state)
{
    QTemporaryDir dir;
    ConfigStore store(dir.path());
    // kitty combines commands: on Linux each card shows its rows and the preview below them.
    store.setConfig(testing::sizedConfig(static_cast<int>(state.range(0)), stepsPerGroup));
    LinuxPlatform platform;
    EditorView editor(store, platform);
    editor.show();
    QCoreApplication::processEvents();
    auto *field = editor.groupEditors().first()->commandRows().first()->findChild<QLineEdit *>(
        QStringLiteral("commandField"));
    field->setFocus();
    field->end(false);

    bool typeLetter = true;
    for (auto _ : state) {
        // A letter, then its deletion, so the file keeps its size.
        QTest::keyClick(field, typeLetter ? Qt::Key_A : Qt::Key_Backspace);
        QCoreApplication::processEvents();
        typeLetter = !typeLetter;
    }
    state.counters["groups"] = double(state.range(0));
}

} // namespace

BENCHMARK(keystroke)->Arg(1)->Arg(20)->Arg(200)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
