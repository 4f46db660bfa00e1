// The run preview against the run itself: whatever the preview names, the runner must then do on
// a recording platform; and its shell lines must give back the argument vectors in real shells.
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "RunPreview.h"
#include "TerminalRunner.h"
#include "TerminalTable.h"
#include "TestHelpers.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace corvane::testing;

namespace {

using Vectors = QList<QStringList>;

// Commands that need quoting of every kind, a blank step with a delay, a group with nothing to
// run and an SSH group.
AppConfig awkwardConfig(TerminalApp terminal)
{
    return {
        terminal,
        {group(u"Build ‘box’"_s, {step(u"  cd ~/app && echo \"it's $HOME\" `id -u`  "_s, 1.5),
                                  step(u" "_s, 9), step(u"printf '%s\\n' a\\ b\t|| !!"_s, 0.2)}),
         group(u"empty"_s, {step(u"\u3000"_s, 4)}),
         group(u"remote"_s, {step(u"ssh box"_s, 2), step(u"tail -f /var/log/*.log"_s)}),
         group(u"two lines"_s, {step(u"echo one\necho two"_s)})}};
}

// Prints its argument vector, NUL-separated and ended by a record separator.
constexpr char recorder[] = "#!/bin/sh\nprintf '%s\\0' \"$0\" \"$@\"; printf '\\036'\n";

// The argument vectors of the recorders that `shell` starts when it runs `script`.
Vectors startedByShell(const QString &shell, const QString &script)
{
    QProcess process;
    process.start(shell, {u"-c"_s, script});
    if (!process.waitForFinished() || process.exitCode() != 0)
        return {{u"shell failed: "_s + QString::fromUtf8(process.readAllStandardError())}};
    Vectors vectors;
    for (const QByteArray &record : process.readAllStandardOutput().split('\036')) {
        if (record.isEmpty())
            continue;
        QStringList words = QString::fromUtf8(record).split(QChar(0));
        words.removeLast(); // after the final terminator
        vectors.append(words);
    }
    return vectors;
}

} // namespace

class RunPreviewTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void previewNamesWhatTheRunDoes_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<bool>("installed");
        for (TerminalApp app : {TerminalApp::kitty, TerminalApp::ghostty, TerminalApp::tabby,
                                TerminalApp::gnomeTerminal, TerminalApp::foot, TerminalApp::warp,
                                TerminalApp::appleTerminal, TerminalApp::iterm2})
            QTest::newRow(qUtf8Printable(rawValue(app))) << app << true;
        QTest::newRow("not installed") << TerminalApp::wezterm << false;
    }

    void previewNamesWhatTheRunDoes()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(bool, installed);
        QTemporaryDir support;
        FakePlatform platform;
        platform.supportDirectory = support.path();
        if (installed)
            platform.install(bundleIdentifier(terminal));
        const AppConfig config = awkwardConfig(terminal);

        const RunPreview preview = RunPreview::of(config, platform);
        QCOMPARE(platform.calls, QList<FakePlatform::Call>{}); // nothing started, typed or shown
        QVERIFY(!QFile::exists(support.filePath(u"Corvane"_s)));

        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        QVERIFY(runner.runAll(config).isReady());

        if (!installed) {
            const auto alerts = platform.callsOf(u"alert"_s);
            QCOMPARE(alerts.size(), 1);
            QCOMPARE(preview.problem, alerts[0].values.join(u". "_s));
            QVERIFY(preview.text().isEmpty());
            return;
        }
        QVERIFY2(preview.problem.isEmpty(), qPrintable(preview.problem));
        QCOMPARE(platform.callsOf(u"alert"_s).size(), 0);

        Vectors started;
        for (const auto &call : platform.callsOf(u"startProcess"_s))
            started.append(call.values);
        Vectors previewed;
        for (const ProcessCommand &process : preview.processes)
            previewed.append(QStringList{process.program} + process.arguments);
        QCOMPARE(previewed, started);

        // The fake gives every window the id 0; the preview cannot know it.
        QStringList typed, shown;
        QList<double> waits;
        for (const auto &call : platform.callsOf(u"appleScript"_s))
            typed.append(call.values[0]);
        for (const RunPreview::ScriptedWindow &window : preview.scriptedWindows) {
            for (const RunPreview::Script &script : window.scripts) {
                shown.append(QString(script.source).replace(u"{window}"_s, u"0"_s));
                waits.append(std::chrono::duration<double>(script.waitAfter).count());
            }
        }
        QCOMPARE(shown, typed);
        if (!typed.isEmpty())
            QCOMPARE(waits, sleeper.seconds);

        const auto opened = platform.callsOf(u"openUrl"_s);
        QCOMPARE(preview.warp.has_value(), !opened.isEmpty());
        if (preview.warp) {
            QCOMPARE(preview.warp->url.toString(QUrl::FullyEncoded), opened[0].values[0]);
            QFile written(preview.warp->filePath);
            QVERIFY(written.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(written.readAll()), preview.warp->fileText);
            QVERIFY(preview.text().contains(preview.warp->fileText));
        }
    }

    // Pasted into a POSIX shell, the preview's lines give the exact argument vectors.
    void linesReadBackInRealShells()
    {
        QTemporaryDir dir;
        const QString location = dir.filePath(u"my kitty's $HOME"_s);
        QVERIFY(QDir().mkpath(location + u"/Contents/MacOS"_s));
        QVERIFY(writeExecutable(location + u"/Contents/MacOS/kitty"_s, recorder));
        FakePlatform platform;
        platform.install(bundleIdentifier(TerminalApp::kitty), location);
        const RunPreview preview = RunPreview::of(awkwardConfig(TerminalApp::kitty), platform);
        Vectors expected;
        for (const ProcessCommand &process : preview.processes)
            expected.append(QStringList{process.program} + process.arguments);
        QCOMPARE(expected.size(), 3);
        // One line per window, except where a command itself holds a line break; words that
        // need no quotes get none.
        QCOMPARE(preview.text().count(u'\n'), 4);
        QVERIFY(preview.text().contains(u"/Contents/MacOS/kitty' --single-instance "_s));

        for (const QString &shell : {u"bash"_s, u"dash"_s}) {
            const QString path = QStandardPaths::findExecutable(shell);
            if (path.isEmpty())
                QSKIP(qPrintable(shell + u" is not installed"_s));
            QCOMPARE(startedByShell(path, preview.text()), expected);
        }
    }
};

QTEST_GUILESS_MAIN(RunPreviewTest)
#include "tst_runpreview.moc"
