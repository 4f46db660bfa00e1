// The osascript executor against stand-in osascript programs that answer as the real one does on
// a Mac.
#include "OsascriptExecutor.h"
#include "TestHelpers.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// One line per outcome, so that tables can name what they expect.
QString describe(const AppleScriptOutcome &outcome)
{
    if (const auto *result = std::get_if<AppleScriptResult>(&outcome))
        return u"result %1"_s.arg(result->value);
    if (const auto *failure = std::get_if<AppleScriptFailure>(&outcome)) {
        return u"failure %1 | %2"_s.arg(failure->number ? QString::number(*failure->number)
                                                        : u"none"_s,
                                        failure->message ? *failure->message : u"none"_s);
    }
    return u"no script"_s;
}

} // namespace

class OsascriptExecutorTest final : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    QString fake(const QString &name, const QByteArray &body)
    {
        const QString path = dir.filePath(name);
        // Every stand-in records its arguments and the script it was given.
        const QByteArray text =
            "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args\"\ncat > \"$0.stdin\"\n" + body;
        return writeExecutable(path, text) ? path : QString();
    }

private Q_SLOTS:
    // Each row is what a stand-in osascript prints (stdout, or stderr with a non-zero exit) and
    // the outcome it must give.
    void outcomes_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");
        const auto fails = [](const char *report) {
            return "echo '" + QByteArray(report) + "' >&2\nexit 1\n";
        };
        QTest::newRow("integer") << QByteArray("echo 4711\n") << u"result 4711"_s;
        QTest::newRow("negative") << QByteArray("echo -17\n") << u"result -17"_s;
        QTest::newRow("beyond 32 bits") << QByteArray("echo 2147483648\n") << u"result 0"_s;
        // AppleScript makes a real of an integer past 2^29.
        QTest::newRow("real") << QByteArray("echo 1.2E+9\n") << u"result 0"_s;
        QTest::newRow("text") << QByteArray("echo 'window id 5'\n") << u"result 0"_s;
        QTest::newRow("log on stderr")
            << QByteArray("echo 'a log line' >&2\necho 7\n") << u"result 7"_s;
        QTest::newRow("not authorized")
            << fails("0:12: execution error: Terminal got an error: Not authorized to send Apple "
                     "events to Terminal. (-1743)")
            << u"failure -1743 | Terminal got an error: Not authorized to send Apple events to "
               u"Terminal."_s;
        QTest::newRow("syntax") << fails("228:236: syntax error: Expected end of line but found "
                                         "\"}\". (-2741)")
                                << u"failure -2741 | Expected end of line but found \"}\"."_s;
        // Localised, with parentheses of its own: only the group at the very end is the number.
        QTest::newRow("localised") << fails("41:67: execution error: Terminal a rencontré une "
                                            "erreur : fenêtre (id 7) fermée. (-1728)")
                                   << u"failure -1728 | Terminal a rencontré une erreur : fenêtre "
                                      u"(id 7) fermée."_s;
        QTest::newRow("lines before the report")
            << fails("osascript[12:34] error: a framework warning (5)\n3:9: execution error: The "
                     "real one. (-10004)")
            << u"failure -10004 | The real one."_s;
        QTest::newRow("parentheses, no number")
            << fails("0:18: execution error: Something (went wrong)")
            << u"failure none | Something (went wrong)"_s;
        QTest::newRow("number, no message")
            << fails("LSOpenURLsWithRole() failed (-10810)") << u"failure -10810 | none"_s;
        QTest::newRow("no number at all")
            << fails("osascript: no such component") << u"failure none | none"_s;
        QTest::newRow("killed") << QByteArray("kill -9 $$\n") << u"failure none | none"_s;
    }
    void outcomes()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        const QString program = fake(u"osascript"_s, body);
        // What the driver sends: quotes, backslashes, line breaks and non-ASCII text.
        const QString source = u"tell application \"Terminal\"\n    do script \"echo \\\"é’\\\" "
                               u"\\\\ x\"\nend tell"_s;
        QCOMPARE(describe(OsascriptExecutor(program).execute(source)), expected);

        QFile stdinRecord(program + u".stdin"_s), argsRecord(program + u".args"_s);
        QVERIFY(stdinRecord.open(QIODevice::ReadOnly) && argsRecord.open(QIODevice::ReadOnly));
        QCOMPARE(stdinRecord.readAll(), source.toUtf8());
        QCOMPARE(argsRecord.readAll(), QByteArray("-\n"));
    }

    void hungOsascriptIsStoppedAtTheDeadlineWhileTheLoopServes()
    {
        // As when macOS shows its permission question and nobody answers.
        const QString program = fake(u"osascript"_s, "echo $$ > \"$0.pid\"\nexec sleep 60\n");
        bool loopServed = false;
        QTimer::singleShot(0, this, [&] { loopServed = true; });
        const AppleScriptOutcome outcome = OsascriptExecutor(program, 300ms).execute(u"1"_s);

        QVERIFY(loopServed);
        const auto *failure = std::get_if<AppleScriptFailure>(&outcome);
        QVERIFY(failure);
        QCOMPARE(failure->number, OsascriptExecutor::timedOut);
        QVERIFY2(failure->message && failure->message->contains(u"answer that question"_s),
                 qPrintable(describe(outcome)));
        QFile pidRecord(program + u".pid"_s);
        QVERIFY(pidRecord.open(QIODevice::ReadOnly));
        const auto pid = static_cast<pid_t>(pidRecord.readAll().trimmed().toInt());
        QVERIFY(pid > 0);
        QCOMPARE(::kill(pid, 0), -1); // stopped and reaped, not left running
    }

    void missingOsascriptSaysSo()
    {
        const auto outcome = OsascriptExecutor(dir.filePath(u"absent"_s)).execute(u"1"_s);
        const auto *failure = std::get_if<AppleScriptFailure>(&outcome);
        QVERIFY(failure && failure->number == 0);
        QVERIFY2(failure->message && failure->message->startsWith(u"Couldn’t start osascript: "_s),
                 qPrintable(describe(outcome)));
    }
};

QTEST_GUILESS_MAIN(OsascriptExecutorTest)
#include "tst_osascriptexecutor.moc"
