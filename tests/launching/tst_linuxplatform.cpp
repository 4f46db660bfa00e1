// LinuxPlatform and BootTimeSleeper for real: fake terminals on a private PATH that record how
// they were started, a real QMessageBox and real timers.
#include "BootTimeSleeper.h"
#include "FakeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"
#include "WarpLauncher.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <time.h>
#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// Each start leaves one file of NUL-terminated fields: working directory, $CORVANE_PROBE, the
// mask of ignored signals, argv. Renamed into place, so a file that exists is complete.
constexpr char recorder[] = R"sh(#!/bin/sh
out="$CORVANE_RECORDS/.$$"
{ printf '%s\0' "$PWD" "$CORVANE_PROBE" "$(/bin/sed -n 's/^SigIgn:\t//p' /proc/$$/status)" "$0"
  for a in "$@";
do
    printf '%s\0' "$a";
done;
} > "$out"
/bin/mv "$out" "$CORVANE_RECORDS/record.$$"
)sh";

class LinuxPlatformTest final : public QObject {
    Q_OBJECT

    QTemporaryDir bin, records, config;
    LinuxPlatform platform;

    // Waits for `count` starts; gives their fields (the mask checked and dropped), sorted.
    QList<QStringList> takeRecords(int count)
    {
        QDir dir(records.path());
        const auto names = [&] { return dir.entryList({u"record.*"_s}, QDir::Files); };
        [&] { QTRY_COMPARE_WITH_TIMEOUT(names().size(), count, 10000); }();
        QList<QStringList> result;
        for (const QString &name : names()) {
            QFile file(dir.filePath(name));
            if (!file.open(QIODevice::ReadOnly))
                continue;
            QStringList fields = QString::fromUtf8(file.readAll()).split(QChar(0));
            fields.removeLast(); // after the final terminator
            // No standard signal (1-31) may stay ignored; glibc keeps its real-time ones.
            if ((fields.takeAt(2).toULongLong(nullptr, 16) & 0x7FFFFFFF) != 0)
                fields.append(u"a signal is ignored"_s);
            result.append(fields);
            file.remove();
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    QStringList start(const QString &name, const QStringList &arguments)
    {
        return QStringList{QDir::currentPath(), u"inherited"_s, bin.filePath(name)} + arguments;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Only the fakes can be found: real terminals of this machine must not be picked up.
        qputenv("PATH", QFile::encodeName(bin.path()));
        qputenv("CORVANE_RECORDS", QFile::encodeName(records.path()));
        qputenv("CORVANE_PROBE", "inherited");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        for (const QString &name :
             {u"ghostty"_s, u"wezterm"_s, u"tabby"_s, u"warp-terminal"_s, u"xdg-open"_s})
            QVERIFY(writeExecutable(bin.filePath(name), recorder));
    }

    void lookupAndAppleScript()
    {
        QCOMPARE(platform.applicationLocation(u"dev.warp.Warp-Stable"_s),
                 bin.filePath(u"warp-terminal"_s));
        QCOMPARE(platform.applicationLocation(u"com.apple.Terminal"_s), std::nullopt);
        QCOMPARE(platform.applicationLocation(u"org.alacritty"_s), std::nullopt); // not on PATH
        QVERIFY(std::holds_alternative<std::monostate>(platform.executeAppleScript(u"1"_s)));
        // `open -na X.app --args ...` keeps what follows --args; a missing app stays a bare name.
        QCOMPARE(
            platform.openCommand(u"org.tabby"_s, {u"-na"_s, u"T.app"_s, u"--args"_s, u"x y"_s}),
            (ProcessCommand{bin.filePath(u"tabby"_s), {u"x y"_s}}));
        QCOMPARE(platform.openCommand(u"org.alacritty"_s, {u"--args"_s}),
                 (ProcessCommand{u"alacritty"_s, {}}));
    }

    void startProcessIsDetachedAndClean()
    {
        std::signal(SIGHUP, SIG_IGN); // as under nohup: must not reach the user's shells
        const QStringList odd{u"two\nlines 'q' \"d\" \\ é"_s, {}};
        QCOMPARE(platform.startProcess({bin.filePath(u"wezterm"_s), odd}), std::nullopt);
        std::signal(SIGHUP, SIG_DFL);
        QCOMPARE(takeRecords(1), QList<QStringList>{start(u"wezterm"_s, odd)});
        const auto zombies = [] { // an exited terminal must not linger as our zombie
            QProcess ps;
            ps.start(u"/bin/ps"_s, {u"--ppid"_s, QString::number(::getpid()), u"-o"_s, u"stat="_s});
            return ps.waitForFinished() ? ps.readAllStandardOutput().count('Z') : -1;
        };
        QTRY_COMPARE(zombies(), 0);
        const QString noFile = u"No such file or directory"_s, denied = u"Permission denied"_s;
        QCOMPARE(platform.startProcess({u"/nonexistent/kitty"_s, {}}), noFile);
        QCOMPARE(platform.startProcess({u"no-such-terminal"_s, {}}), noFile);
        QCOMPARE(platform.startProcess({u"/tmp"_s, {}}), denied);
        QCOMPARE(platform.startProcess({u"/etc/passwd"_s, {}}), denied); // not executable
    }

    void alertIsAModalWarningWithOneButton()
    {
        QStringList seen;
        QTimer::singleShot(0, this, [&] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            QVERIFY(box);
            seen = {box->text(), box->informativeText(), QString::number(box->icon()),
                    QString::number(box->buttons().size())};
            box->buttons().first()->click();
        });
        platform.showAlert(u"kitty isn’t installed"_s, u"one\n\ntwo"_s);
        QCOMPARE(seen, (QStringList{u"kitty isn’t installed"_s, u"one\n\ntwo"_s,
                                    QString::number(QMessageBox::Warning), u"1"_s}));
    }

    void runsStartEachTerminal_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<QString>("head");
        QTest::newRow("ghostty") << TerminalApp::ghostty << u"ghostty -e"_s;
        QTest::newRow("wezterm") << TerminalApp::wezterm
                                 << u"wezterm start --always-new-process --"_s;
        QTest::newRow("tabby") << TerminalApp::tabby << u"tabby run"_s;
        QTest::newRow("warp") << TerminalApp::warp << u"xdg-open"_s;
    }

    void runsStartEachTerminal()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(QString, head);
        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        runner.runAll({terminal,
                       {group(u"a"_s, {step(u"echo 'a'"_s, 1), step(u"pwd"_s)}),
                        group(u"b"_s, {step(u"top"_s)})}});
        const QStringList words = head.split(u' ');
        QList<QStringList> expected;
        if (terminal == TerminalApp::warp) {
            const QString path = config.filePath(u"Corvane/warp_launch.yaml"_s);
            expected = {
                start(words[0], {u"warp://launch/"_s +
                                 QString::fromLatin1(WarpLauncher::percentEncodedPath(path))})};
            QVERIFY(sleeper.seconds.isEmpty() && QFile::exists(path));
        } else {
            const QString shell = platform.windowShell();
            for (const QString &packed : {u"echo 'a'; sleep 1; pwd"_s, u"top"_s})
                expected.append(start(words[0], words.mid(1) + QStringList{shell, u"-ilc"_s,
                                                                           packed + u"; exec "_s +
                                                                               shell + u" -il"_s}));
            QCOMPARE(sleeper.seconds, (QList<double>{0.8, 0.8}));
        }
        std::sort(expected.begin(), expected.end());
        QCOMPARE(takeRecords(expected.size()), expected);
    }

    void bootTimeWaitKeepsTheLoopServingAndIsNeverShort()
    {
        const auto now = [] {
            timespec t{};
            clock_gettime(CLOCK_BOOTTIME, &t);
            return std::chrono::seconds(t.tv_sec) + std::chrono::nanoseconds(t.tv_nsec);
        };
        BootTimeSleeper sleeper;
        bool timerFired = false, firedBeforeWake = false, completed = false;
        std::chrono::nanoseconds slept{-1};
        QTimer::singleShot(0, this, [&] { timerFired = true; });
        const auto begin = now();
        // The coroutine takes its state as parameters: a capturing lambda's closure would be gone
        // by the time the wait resumes it.
        const auto waitAndRecord = [](BootTimeSleeper &sleeper, bool &completed, const bool &fired,
                                      bool &firedBeforeWake, auto now, auto begin,
                                      std::chrono::nanoseconds &slept) -> QCoro::Task<> {
            completed = co_await sleeper.sleepFor(300ms + 123us);
            firedBeforeWake = fired;
            slept = now() - begin;
        };
        auto task =
            waitAndRecord(sleeper, completed, timerFired, firedBeforeWake, now, begin, slept);
        QVERIFY(!task.isReady());
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY(completed && firedBeforeWake);
        QVERIFY2(slept >= 300ms + 123us, qPrintable(QString::number(slept.count())));

        // Nothing to wait for ends at once.
        QVERIFY(sleeper.sleepFor(0ns).isReady() &&
                sleeper.sleepFor(std::chrono::nanoseconds::min()).isReady());
    }
};

QTEST_MAIN(LinuxPlatformTest)
#include "tst_linuxplatform.moc"
