// Typing through tmux against real tmux and real shells (bash, zsh, dash, fish where installed),
// each with a private HOME and a private tmux server: a stand-in for ssh that asks for a password,
// a REPL, the shell's history, a session that dies and the sessions' ends. Real terminals typed
// into (delays and waits) are in tst_realterminals.
#include "BootTimeSleeper.h"
#include "FakePlatform.h"
#include "PackedCommandBuilder.h"
#include "TestHelpers.h"
#include "TmuxSessions.h"

#include <QCoroTask>
#include <QDir>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <deque>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class TmuxTypingTest final : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString tmux;
    FakePlatform platform;
    BootTimeSleeper sleeper;
    std::unique_ptr<TmuxSessions> sessions;
    QString server; // one per test: a server that was told to stop may still be on its way out

    QString file(const QString &name) const { return dir.filePath(name); }
    static QString read(const QString &path) { return QString::fromUtf8(readAll(path)).trimmed(); }

    // tmux on the test's server, waited for: the test's own look at the panes.
    QString tmuxOut(const QStringList &arguments) const
    {
        QProcess process;
        process.start(tmux, QStringList{u"-L"_s, server} + arguments);
        process.waitForFinished(10000);
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    // Opens `window` with the current row's shell, in a session named after it.
    void open(const TmuxWindow &window)
    {
        const QString session = TmuxSessions::sessionNames({window.name}, {}).first();
        const std::optional<ScriptError> error = QCoro::waitFor(sessions->open(session, window));
        QVERIFY2(!error, qPrintable(error ? error->message : QString()));
    }

private Q_SLOTS:
    void initTestCase()
    {
        tmux = QStandardPaths::findExecutable(u"tmux"_s);
        if (tmux.isEmpty())
            QSKIP("Needs tmux");
        // A stand-in for ssh: asks for a password without echo, as ssh does, keeps the answer, then
        // hands over to an interactive sh with a prompt of its own. Called by its path: login
        // shells set PATH afresh.
        QVERIFY(QDir().mkpath(file(u"bin"_s)));
        QVERIFY(writeExecutable(file(u"bin/ssh"_s), uR"(#!/bin/sh
printf '%s@%s password: ' "$USER" "$1"
stty -echo; IFS= read -r answer; stty echo; echo
printf '%s\n' "$answer" > "$TEST_DIR/password"
PS1="$1\$ " exec sh -i
)"_s.toUtf8()));
        qputenv("TEST_DIR", QFile::encodeName(dir.path()));
        // The machine user's own tools (pyenv shims and the like) stay out.
        qputenv("PATH", "/usr/bin:/bin");
        qputenv("TMUX_TMPDIR", QFile::encodeName(dir.path()));
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
                                 "XDG_STATE_HOME", "ZDOTDIR", "TMUX", "ENV", "PROMPT_COMMAND"})
            qunsetenv(name);
    }

    void init()
    {
        // Every row: a fresh HOME (zsh's own first-start menu kept away by an empty .zshrc) and a
        // fresh server, which takes its environment from the first client.
        const QString home = file(u"home-"_s + QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(QDir().mkpath(home));
        QVERIFY(QFile(home + u"/.zshrc"_s).open(QIODevice::WriteOnly));
        qputenv("HOME", QFile::encodeName(home));
        server = u"test-"_s + QString::fromLatin1(QTest::currentTestFunction()) + u'-' +
                 QString::fromLatin1(QTest::currentDataTag());
        sessions = std::make_unique<TmuxSessions>(platform, sleeper, tmux, server,
                                                  dir.filePath(u"hooks"_s));
    }

    void cleanup()
    {
        sessions.reset();
        // A typing cut short here still finishes the tmux call it is in; ending the test first
        // would leave that coroutine suspended for good.
        QTRY_COMPARE_WITH_TIMEOUT(TmuxClient::runsUnderWay(), 0, 15000);
        tmuxOut({u"kill-server"_s});
    }

    void typesEachCommandWhenThePreviousIsDone_data()
    {
        QTest::addColumn<QString>("shell");
        for (const QString &shell : {u"bash"_s, u"zsh"_s, u"dash"_s, u"fish"_s})
            QTest::newRow(qPrintable(shell)) << shell;
    }

    // One window: ssh and a command for the shell behind it once the password was given, a line
    // for python3, and the shell's history.
    void typesEachCommandWhenThePreviousIsDone()
    {
        QFETCH(QString, shell);
        platform.shell = QStandardPaths::findExecutable(shell);
        if (platform.shell.isEmpty())
            QSKIP("Shell not installed");
        const QString tag = shell + u'-';
        const QString inner = file(tag + u"inner"_s), repl = file(tag + u"repl"_s),
                      history = file(tag + u"history"_s);
        const QString historyCommand = shell == "fish"_L1 ? u"history > '%1'"_s.arg(history)
                                                          : u"fc -ln 1 > '%1'"_s.arg(history);

        TmuxWindow window{u"api: db"_s, dir.path(), {}, false};
        window.steps = {
            {PackedCommandBuilder::shellQuoted(file(u"bin/ssh"_s)) + u" box"_s},
            {u"echo \"$PS1\" > '"_s + inner + u'\''},
            {u"exit"_s},
            {u"python3 -q"_s},
            {u"open('%1', 'w').write(str(6 * 7))"_s.arg(repl)},
            {u"exit()"_s},
            {historyCommand},
        };
        QSignalSpy typed(sessions.get(), &TmuxSessions::stepTyped);
        QSignalSpy ended(sessions.get(), &TmuxSessions::typingEnded);
        int asked = 0;
        connect(sessions.get(), &TmuxSessions::inputWanted, this, [&](const QString &name) {
            QCOMPARE(name, u"api: db"_s);
            ++asked;
            tmuxOut({u"send-keys"_s, u"-t"_s, u"=api-db:"_s, u"-l"_s, u"s3cret"_s, u";"_s,
                     u"send-keys"_s, u"-t"_s, u"=api-db:"_s, u"Enter"_s});
        });
        open(window); // as session api-db
        QVERIFY2(ended.wait(90000),
                 qPrintable(tmuxOut({u"capture-pane"_s, u"-p"_s, u"-t"_s, u"=api-db:"_s})));
        QCOMPARE(ended.first().value(1).value<TypingEnd>(), TypingEnd::done);
        QCOMPARE(typed.size(), window.steps.size());

        QCOMPARE(asked, 1); // the question was left to the user, once ...
        QCOMPARE(read(file(u"password"_s)), u"s3cret"_s); // ... and got only the answer
        QCOMPARE(read(inner), u"box$"_s);                 // the command ran in the shell behind ssh
        QCOMPARE(read(repl), u"42"_s);
        // The window's shell keeps what was typed into it in its history (dash keeps none).
        if (shell != "dash"_L1)
            QTRY_VERIFY_WITH_TIMEOUT(read(history).contains(u"bin/ssh box"_s), 10000);
    }

    // How sessions end. A failing command ends its window's typing with stopOnError (a wait that
    // gives up: in tst_realterminals); a session that dies gets one alert naming its window while
    // the others go on. Sessions shown in a terminal of their own (script(1) stands in), attached
    // by the attach line: a closed window's session ends once typed, one detached on purpose
    // stays, and at quit only the sessions nobody looks at are ended.
    void sessionsEnd()
    {
        if (QStandardPaths::findExecutable(u"script"_s).isEmpty())
            QSKIP("Needs script(1)");
        platform.shell = u"/bin/bash"_s;
        QHash<QString, TypingEnd> ended;
        connect(sessions.get(), &TmuxSessions::typingEnded, this,
                [&](const QString &session, TypingEnd end) { ended.insert(session, end); });
        QStringList cutShort; // the windows whose typing was cut short
        connect(sessions.get(), &TmuxSessions::cutShort, this,
                [&](const QString &window) { cutShort.append(window); });
        std::deque<QProcess> terminals; // each killed as it goes
        const auto show = [&](const QString &session) {
            // Its input stays open, as a terminal's would.
            terminals.emplace_back().start(u"sh"_s,
                                           {u"-c"_s, u"sleep 600 | script -qec \"$0\" /dev/null"_s,
                                            TmuxSessions::attachLine(sessions->client(), session)});
            QTRY_VERIFY_WITH_TIMEOUT(tmuxOut({u"display-message"_s, u"-p"_s, u"-t"_s,
                                              u'=' + session + u':', u"#{session_attached}"_s}) ==
                                         "1"_L1,
                                     10000);
        };
        const auto sessionsLeft = [&] {
            return tmuxOut({u"list-sessions"_s, u"-F"_s, u"#{session_name}"_s}).split(u'\n');
        };
        const QString marker = file(u"after"_s);
        const TmuxStep after{u"touch '"_s + marker + u'\''};
        open({u"fails"_s, {}, {{u"false"_s}, after}, true});
        open({u"dies"_s, {}, {{u"sleep 600"_s}, after}});
        open({u"closed"_s, {}, {{u"true"_s}}});
        open({u"detached"_s, {}, {{u"true"_s}}});
        open({u"open"_s, {}, {{u"true"_s}}});
        open({u"still typing"_s, {}, {{u"sleep 600"_s}, {u"true"_s}}});
        for (const QString &session : {u"closed"_s, u"detached"_s, u"open"_s, u"still-typing"_s})
            show(session);
        QTRY_VERIFY_WITH_TIMEOUT(ended.size() == 4, 30000);
        QCOMPARE(ended.value(u"fails"_s), TypingEnd::stopped);
        QCOMPARE(ended.value(u"open"_s), TypingEnd::done);
        tmuxOut({u"kill-session"_s, u"-t"_s, u"=dies"_s});
        QTRY_VERIFY_WITH_TIMEOUT(ended.size() == 5, 30000);
        QCOMPARE(ended.value(u"dies"_s), TypingEnd::died);
        QCOMPARE(cutShort, (QStringList{u"dies"_s}));
        QVERIFY(!QFile::exists(marker));

        // Closing a window: its client loses its terminal.
        for (const QString &session : {u"closed"_s, u"still-typing"_s}) {
            const QString pid = tmuxOut(
                {u"list-clients"_s, u"-t"_s, u'=' + session + u':', u"-F"_s, u"#{client_pid}"_s});
            QVERIFY(!pid.isEmpty());
            ::kill(pid.toInt(), SIGHUP);
        }
        tmuxOut({u"detach-client"_s, u"-s"_s, u"=detached:"_s});
        QTRY_COMPARE_WITH_TIMEOUT(
            sessionsLeft(), (QStringList{u"detached"_s, u"fails"_s, u"open"_s, u"still-typing"_s}),
            10000);
        sessions->endUnattached(); // Corvane quits
        QTRY_COMPARE_WITH_TIMEOUT(sessionsLeft(), (QStringList{u"detached"_s, u"open"_s}), 10000);
    }
};

QTEST_MAIN(TmuxTypingTest)
#include "tst_tmuxtyping.moc"
