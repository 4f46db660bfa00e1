// The real editor, offscreen, with the real LinuxPlatform and kitty chosen (on Linux each card
// shows its rows and the combined-command preview below them):
// - keystroke: one key in a step's command field: the edit goes into the store, the whole file is
//   saved, every card is brought up to date, and the event loop runs the layout work it queued;
// - open: from a loaded configuration to an editor shown with its layout done.
// Both for many windows of 5 steps and for one window of many steps; for the latter also a
// keystroke followed by the (delayed) update of its long preview.
#include "CommandRow.h"
#include "ConfigStore.h"
#include "EditorView.h"
#include "GroupEditor.h"
#include "LinuxPlatform.h"
#include "SizedConfig.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>

#include <benchmark/benchmark.h>

using namespace corvane;

namespace {

// range(0) groups of range(1) steps.
AppConfig configOf(const benchmark::State &state)
{
    return testing::sizedConfig(int(state.range(0)), int(state.range(1)));
}

// An editor shown on the benchmark's configuration, the cursor at the end of the first command.
struct ShownEditor {
    explicit ShownEditor(const benchmark::State &state) : store(dir.path())
    {
        store.setConfig(configOf(state));
        editor.show();
        QCoreApplication::processEvents();
        field = editor.groupEditors().first()->commandRow(0)->findChild<QLineEdit *>(
            QStringLiteral("commandField"));
        field->setFocus();
        field->end(false);
    }

    QTemporaryDir dir;
    ConfigStore store;
    LinuxPlatform platform;
    EditorView editor{store, platform};
    QLineEdit *field = nullptr;
};

void keystroke(benchmark::State &state)
{
    ShownEditor shown(state);
    bool typeLetter = true;
    for (auto _ : state) {
        // A letter, then its deletion, so the file keeps its size.
        QTest::keyClick(shown.field, typeLetter ? Qt::Key_A : Qt::Key_Backspace);
        QCoreApplication::processEvents();
        typeLetter = !typeLetter;
    }
    state.counters["steps"] = double(state.range(0) * state.range(1));
}

// A long preview follows the typing once it pauses: a keystroke, then the wait until the preview
// shows it. Read the CPU time: the wall time holds the pause.
void keystrokeThenPreview(benchmark::State &state)
{
    ShownEditor shown(state);
    auto *preview =
        shown.editor.groupEditors().first()->findChild<QLabel *>(QStringLiteral("previewText"));
    bool typeLetter = true;
    for (auto _ : state) {
        const QString before = preview->text();
        QTest::keyClick(shown.field, typeLetter ? Qt::Key_A : Qt::Key_Backspace);
        if (!QTest::qWaitFor([&] { return preview->text() != before; }))
            state.SkipWithError("the preview never followed");
        typeLetter = !typeLetter;
    }
}

void open(benchmark::State &state)
{
    QTemporaryDir dir;
    ConfigStore store(dir.path());
    store.setConfig(configOf(state));
    LinuxPlatform platform;
    for (auto _ : state) {
        EditorView editor(store, platform);
        editor.show();
        QCoreApplication::processEvents();
        state.PauseTiming();
        editor.hide();
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
    state.counters["steps"] = double(state.range(0) * state.range(1));
}

} // namespace

BENCHMARK(keystroke)
    ->Args({1, 5})
    ->Args({20, 5})
    ->Args({200, 5})
    ->Args({1, 1000})
    ->Args({1, 10000})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(keystrokeThenPreview)->Args({1, 1000})->Args({1, 10000})->Unit(benchmark::kMillisecond);
BENCHMARK(open)->Args({20, 5})->Args({1, 1000})->Args({1, 10000})->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
