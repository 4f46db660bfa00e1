#include "ConfigBuilders.h"
#include "FakeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "WarpLauncher.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>

#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

namespace {

// Each start of a fake leaves one file: working directory, $CORVANE_PROBE, then argv[0..],
// every field NUL-terminated so that arguments holding line feeds survive. Written under a
// temporary name and renamed, so a file that exists is complete.
constexpr char recorderScript[] = R"(#!/bin/sh
out="$CORVANE_RECORDS/.$$"
{ printf '%s\0' "$PWD" "$CORVANE_PROBE" "$0"; for a in "$@"; do printf '%s\0' "$a"; done; } > "$out"
/bin/mv "$out" "$CORVANE_RECORDS/record.$$"
)";

// "<pid> <state>" of every process whose parent is this test.
QStringList childrenOfThisProcess()
{
    QStringList children;
    const QByteArray self = QByteArray::number(::getpid());
    for (const QString &pid : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        QFile stat(u"/proc/"_s + pid + u"/stat"_s);
        if (!pid.front().isDigit() || !stat.open(QIODevice::ReadOnly))
            continue;
        // pid (comm) state ppid ...; comm may hold blanks, so split after the last ')'.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> rest = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (rest.size() > 1 && rest.at(1) == self)
            children.append(pid + u' ' + QString::fromLatin1(rest.at(0)));
    }
    return children;
}

QStringList fields(const QByteArray &record)
{
    QStringList result;
    for (const QByteArray &field : record.split('\0'))
        result.append(QString::fromUtf8(field));
    result.removeLast(); // after the final terminator
    return result;
}

} // namespace

class LinuxPlatformTest final : public QObject {
    Q_OBJECT

private:
    QTemporaryDir bin;
    QTemporaryDir records;
    QTemporaryDir config;
    LinuxPlatform platform;

    void addFake(const QString &name)
    {
        QFile file(bin.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(recorderScript);
        file.close();
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    // Waits for `count` recordings and gives them as field lists (without cwd and probe), sorted.
    QList<QStringList> takeRecords(int count)
    {
        QDir dir(records.path());
        const auto names = [&] { return dir.entryList({u"record.*"_s}, QDir::Files); };
        [&] { QTRY_COMPARE_WITH_TIMEOUT(names().size(), count, 10000); }();
        QList<QStringList> result;
        for (const QString &name : names()) {
            QFile file(dir.filePath(name));
            if (file.open(QIODevice::ReadOnly))
                result.append(fields(file.readAll()));
            file.remove();
        }
        std::sort(result.begin(), result.end());
        return result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Only the fakes can be found: real terminals on this machine must not be picked up.
        qputenv("PATH", QFile::encodeName(bin.path()));
        qputenv("CORVANE_RECORDS", QFile::encodeName(records.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        for (const char *name : {"ghostty", "wezterm", "tabby", "warp-terminal", "xdg-open"})
            addFake(QString::fromLatin1(name));
    }

    void lookupFindsExecutablesOnPath()
    {
        QCOMPARE(platform.applicationLocation(u"com.mitchellh.ghostty"_s),
                 bin.filePath(u"ghostty"_s));
        QCOMPARE(platform.applicationLocation(u"dev.warp.Warp-Stable"_s),
                 bin.filePath(u"warp-terminal"_s));
        QCOMPARE(platform.bundledExecutable(u"com.github.wez.wezterm"_s, u"wezterm"_s),
                 bin.filePath(u"wezterm"_s));
        // Terminal and iTerm2 never exist here; an unknown identifier neither.
        QCOMPARE(platform.applicationLocation(u"com.apple.Terminal"_s), std::nullopt);
        QCOMPARE(platform.applicationLocation(u"com.googlecode.iterm2"_s), std::nullopt);
        QCOMPARE(platform.applicationLocation(u"org.example.nothing"_s), std::nullopt);
        QCOMPARE(platform.applicationSupportDirectory(), config.path());
    }

    void openCommandKeepsTheArgumentsAfterArgs()
    {
        const QStringList open{u"-na"_s, u"Tabby.app"_s, u"--args"_s, u"run"_s, u"x y"_s};
        QCOMPARE(platform.openCommand(u"org.tabby"_s, open),
                 (ProcessCommand{bin.filePath(u"tabby"_s), {u"run"_s, u"x y"_s}}));
        // Not on PATH: the bare name, so starting it reports the system's reason.
        const auto missing = platform.openCommand(u"net.kovidgoyal.kitty"_s, {u"--args"_s, u"a"_s});
        QCOMPARE(missing, (ProcessCommand{u"kitty"_s, {u"a"_s}}));
        QCOMPARE(platform.startProcess(missing), u"No such file or directory"_s);
    }

    void startProcessIsDetachedAndInherits()
    {
        qputenv("CORVANE_PROBE", "inherited");
        const QString odd = u"two\nlines 'q' \"d\" \\ é"_s;
        QCOMPARE(platform.startProcess({bin.filePath(u"wezterm"_s), {u"start"_s, odd, QString()}}),
                 std::nullopt);
        const auto recorded = takeRecords(1);
        QCOMPARE(recorded.size(), 1);
        QCOMPARE(recorded.first(),
                 (QStringList{QDir::currentPath(), u"inherited"_s, bin.filePath(u"wezterm"_s),
                              u"start"_s, odd, QString()}));
        // Once the terminal has exited, nothing of it remains as our zombie.
        QTRY_COMPARE(childrenOfThisProcess(), QStringList());
    }

    void startFailuresGiveTheSystemsReason_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing file") << u"/nonexistent/kitty"_s << u"No such file or directory"_s;
        QTest::newRow("not executable") << u"not-executable"_s << u"Permission denied"_s;
        QTest::newRow("directory") << u"/tmp"_s << u"Permission denied"_s;
        QTest::newRow("not on PATH") << u"no-such-terminal"_s << u"No such file or directory"_s;
    }

    void startFailuresGiveTheSystemsReason()
    {
        QFETCH(QString, program);
        QFETCH(QString, reason);
        if (program == u"not-executable"_s) {
            QFile plain(records.filePath(program));
            QVERIFY(plain.open(QIODevice::WriteOnly));
            plain.write("#!/bin/sh\n");
            plain.close();
            QVERIFY(plain.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
            program = plain.fileName();
        }
        QCOMPARE(platform.startProcess({program, {u"x"_s}}), reason);
    }

    void appleScriptIsUnavailable()
    {
        QVERIFY(std::holds_alternative<std::monostate>(platform.executeAppleScript(u"return 1"_s)));
    }

    void alertIsAModalWarningWithOneButton()
    {
        QString title, text, informative;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        qsizetype buttons = 0;
        QTimer::singleShot(0, this, [&] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            QVERIFY(box);
            text = box->text();
            informative = box->informativeText();
            icon = box->icon();
            buttons = box->buttons().size();
            box->buttons().first()->click();
        });
        platform.showAlert(u"kitty isn’t installed"_s, u"line one\n\nline two"_s);
        QCOMPARE(text, u"kitty isn’t installed"_s);
        QCOMPARE(informative, u"line one\n\nline two"_s);
        QCOMPARE(icon, QMessageBox::Warning);
        QCOMPARE(buttons, 1);
    }

    void runsReachTheRecipesOfEachTerminal_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<QStringList>("head");
        QTest::newRow("ghostty") << TerminalApp::ghostty << QStringList{u"ghostty"_s, u"-e"_s};
        QTest::newRow("wezterm") << TerminalApp::wezterm
                                 << QStringList{u"wezterm"_s, u"start"_s, u"--always-new-process"_s,
                                                u"--"_s};
        QTest::newRow("tabby") << TerminalApp::tabby << QStringList{u"tabby"_s, u"run"_s};
    }

    void runsReachTheRecipesOfEachTerminal()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(QStringList, head);
        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        runner.runAll({terminal,
                       {group(u"a"_s, {step(u"echo 'a'"_s, 1), step(u"pwd"_s)}),
                        group(u"b"_s, {step(u"top"_s)})}});
        QVERIFY(!runner.isRunning());
        const QString shell = platform.windowShell();
        head[0] = bin.filePath(head[0]);
        const auto expectedFor = [&](const QString &packed) {
            return QStringList{QDir::currentPath(), qEnvironmentVariable("CORVANE_PROBE")} + head +
                   QStringList{shell, u"-ilc"_s, packed + u"; exec "_s + shell + u" -il"_s};
        };
        auto expected =
            QList<QStringList>{expectedFor(u"echo 'a'; sleep 1; pwd"_s), expectedFor(u"top"_s)};
        std::sort(expected.begin(), expected.end());
        QCOMPARE(takeRecords(2), expected);
        QCOMPARE(sleeper.seconds(), (QList<double>{0.8, 0.8}));
    }

    void warpRunHandsTheFileUrlToXdgOpen()
    {
        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        runner.runAll({TerminalApp::warp, {group(u"W"_s, {step(u"ls"_s)})}});
        const QString path = config.filePath(u"Corvane/warp_launch.yaml"_s);
        const auto recorded = takeRecords(1);
        QCOMPARE(recorded.size(), 1);
        QCOMPARE(recorded.first().mid(2),
                 (QStringList{bin.filePath(u"xdg-open"_s),
                              QString::fromLatin1("warp://launch/" +
                                                  WarpLauncher::percentEncodedPath(path))}));
        QVERIFY(QFile::exists(path));
        QVERIFY(sleeper.waits.isEmpty());
    }
};

QTEST_MAIN(LinuxPlatformTest)
#include "tst_linuxplatform.moc"
