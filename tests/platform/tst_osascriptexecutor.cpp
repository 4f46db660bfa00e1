// The osascript executor against stand-in osascript programs that answer as the real one does on
// a Mac.
#include "OsascriptExecutor.h"
#include "TestHelpers.h"

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
    const auto &failure = std::get<AppleScriptFailure>(outcome); // throws on no outcome at all
    return u"failure %1 | %2"_s.arg(failure.number ? QString::number(*failure.number) : u"none"_s,
                                    failure.message.value_or(u"none"_s));
}

} // namespace

class OsascriptExecutorTest final : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    // A stand-in osascript that records its arguments, one a line, then the script it was given.
    QString fake(const QByteArray &body)
    {
        const QString path = dir.filePath(u"osascript"_s);
        writeExecutable(path,
                        "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.in\"\ncat >> \"$0.in\"\n" + body);
        return path;
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
        QTest::newRow("integer, log on stderr")
            << QByteArray("echo 'a log line' >&2\necho 4711\n") << u"result 4711"_s;
        // AppleScript makes a real of an integer past 2^29.
        QTest::newRow("real") << QByteArray("echo 1.2E+9\n") << u"result 0"_s;
        QTest::newRow("text") << QByteArray("echo 'window id 5'\n") << u"result 0"_s;
        QTest::newRow("not authorized")
            << fails("0:5: execution error: Not authorized to send Apple events. (-1743)")
            << u"failure -1743 | Not authorized to send Apple events."_s;
        // Lines printed before the report (a framework's warnings) are not part of it.
        QTest::newRow("syntax, after a warning")
            << fails("x[1:2] error: warning (5)\n2:9: syntax error: Expected \"}\". (-2741)")
            << u"failure -2741 | Expected \"}\"."_s;
        // Localised, with parentheses of its own: only the group at the very end is the number.
        QTest::newRow("localised") << fails("4:6: execution error: fenêtre (2) fermée. (-1728)")
                                   << u"failure -1728 | fenêtre (2) fermée."_s;
        QTest::newRow("parentheses, no number")
            << fails("0:18: execution error: Something (went wrong)")
            << u"failure none | Something (went wrong)"_s;
        QTest::newRow("number, no message")
            << fails("LSOpenURLsWithRole() failed (-10810)") << u"failure -10810 | none"_s;
    }
    void outcomes()
    {
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        const QString program = fake(body);
        // What the driver sends: quotes, backslashes, line breaks and non-ASCII text.
        const QString source = u"tell application \"Terminal\"\n    do script \"echo \\\"é’\\\" "
                               u"\\\\ x\"\nend tell"_s;
        QCOMPARE(describe(OsascriptExecutor(program).execute(source)), expected);

        QFile record(program + u".in"_s);
        QVERIFY(record.open(QIODevice::ReadOnly));
        QCOMPARE(record.readAll(), "-\n" + source.toUtf8());
    }

    void hungOsascriptIsStoppedAtTheDeadlineWhileTheLoopServes()
    {
        // As when macOS shows its permission question and nobody answers.
        const QString program = fake("echo $$ > \"$0.pid\"\nexec sleep 60\n");
        bool loopServed = false;
        QTimer::singleShot(0, this, [&] { loopServed = true; });
        const QString outcome = describe(OsascriptExecutor(program, 300ms).execute(u"1"_s));
        QVERIFY(loopServed);
        QVERIFY2(outcome.startsWith(u"failure -1712 | "_s) &&
                     outcome.contains(u"answer that question"_s),
                 qPrintable(outcome));
        QFile pidRecord(program + u".pid"_s);
        QVERIFY(pidRecord.open(QIODevice::ReadOnly));
        // Stopped and reaped, not left running.
        QCOMPARE(::kill(static_cast<pid_t>(pidRecord.readAll().trimmed().toInt()), 0), -1);
    }

    void missingOsascriptSaysSo()
    {
        const QString outcome =
            describe(OsascriptExecutor(dir.filePath(u"absent"_s)).execute(u"1"_s));
        QVERIFY2(outcome.startsWith(u"failure 0 | Couldn’t start osascript: "_s),
                 qPrintable(outcome));
    }
};

QTEST_GUILESS_MAIN(OsascriptExecutorTest)
#include "tst_osascriptexecutor.moc"
