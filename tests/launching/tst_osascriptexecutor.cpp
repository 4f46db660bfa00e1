// The osascript executor: its reading of osascript's output, and real runs of stand-in osascript
// programs that answer as the real one does on a Mac.
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
    void resultIsAPlainDecimal_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<int>("value");
        const std::pair<const char *, int> rows[] = {
            {"4711\n", 4711},
            {"-17\n", -17},
            {"0\n", 0},
            {"2147483647\n", 2147483647},
            {"-2147483648\n", -2147483647 - 1},
            {"2147483648\n", 0}, // beyond 32 bits
            {"1.2E+9\n", 0},     // AppleScript makes reals of integers past 2^29
            {"12.0\n", 0},
            {"+5\n", 0},
            {"12abc\n", 0},
            {"window id 5\n", 0},
            {"missing value\n", 0},
            {"", 0},
        };
        for (const auto &[output, value] : rows)
            QTest::newRow(*output ? QByteArray(output).trimmed().constData() : "empty")
                << QByteArray(output) << value;
    }
    void resultIsAPlainDecimal()
    {
        QFETCH(QByteArray, output);
        QFETCH(int, value);
        QCOMPARE(OsascriptExecutor::resultValue(output), value);
    }

    void errorReportGivesNumberAndMessage_data()
    {
        QTest::addColumn<QString>("report");
        QTest::addColumn<QString>("expected");
        const std::pair<QString, QString> rows[] = {
            {u"0:12: execution error: Terminal got an error: Not authorized to send Apple events "
             u"to Terminal. (-1743)\n"_s,
             u"failure -1743 | Terminal got an error: Not authorized to send Apple events to "
             u"Terminal."_s},
            {u"228:236: syntax error: Expected end of line but found identifier. (-2741)\n"_s,
             u"failure -2741 | Expected end of line but found identifier."_s},
            // Localised, with parentheses of its own: only the last group is the number.
            {u"41:67: execution error: Terminal a rencontré une erreur : Impossible d’obtenir "
             u"window id 7 (fenêtre fermée). (-1728)"_s,
             u"failure -1728 | Terminal a rencontré une erreur : Impossible d’obtenir window id 7 "
             u"(fenêtre fermée)."_s},
            {u"/tmp/a.scpt: script error: Can’t make \"x\" into type integer. (-1700)"_s,
             u"failure -1700 | Can’t make \"x\" into type integer."_s},
            // Lines before the report are not part of it.
            {u"osascript[12:34] error: a framework warning (5)\n3:9: execution error: The real "
             u"one. (-10004)"_s,
             u"failure -10004 | The real one."_s},
            {u"0:18: execution error: Something (went wrong)"_s,
             u"failure none | Something (went wrong)"_s},
            {u"0:4: execution error: (-1)"_s, u"failure -1 | "_s},
            {u"LSOpenURLsWithRole() failed (-10810)"_s, u"failure -10810 | none"_s},
            {u"0:1: execution error: Too big. (99999999999999999999)"_s,
             u"failure none | Too big. (99999999999999999999)"_s},
            {u"osascript: couldn't read the script\n"_s, u"failure none | none"_s},
            {{}, u"failure none | none"_s},
        };
        for (const auto &[report, expected] : rows)
            QTest::newRow(qPrintable(report.left(40).replace(u'\n', u' '))) << report << expected;
    }
    void errorReportGivesNumberAndMessage()
    {
        QFETCH(QString, report);
        QFETCH(QString, expected);
        QCOMPARE(describe(OsascriptExecutor::failure(report)), expected);
    }

    void standInsAnswerThroughTheProcess_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");
        QTest::newRow("integer") << QByteArray("echo 4711\n") << u"result 4711"_s;
        QTest::newRow("real") << QByteArray("echo 1.2E+9\n") << u"result 0"_s;
        QTest::newRow("text") << QByteArray("echo 'tab 1 of window id 3'\n") << u"result 0"_s;
        QTest::newRow("log on stderr")
            << QByteArray("echo 'a log line' >&2\necho 7\n") << u"result 7"_s;
        QTest::newRow("not authorized")
            << QByteArray("echo '0:35: execution error: Not authorized to send Apple events to "
                          "Terminal. (-1743)' >&2\nexit 1\n")
            << u"failure -1743 | Not authorized to send Apple events to Terminal."_s;
        QTest::newRow("syntax")
            << QByteArray("echo '12:20: syntax error: Expected \"given\", \"in\", \"of\", "
                          "expression or end of line but found \"}\". (-2741)' >&2\nexit 1\n")
            << u"failure -2741 | Expected \"given\", \"in\", \"of\", expression or end of line "
               u"but found \"}\"."_s;
        QTest::newRow("localised") << QByteArray("echo '0:40: execution error: Terminal hat einen "
                                                 "Fehler erhalten: Fenster (id 9) ungültig. "
                                                 "(-1719)' >&2\nexit 1\n")
                                   << u"failure -1719 | Terminal hat einen Fehler erhalten: "
                                      u"Fenster (id 9) ungültig."_s;
        QTest::newRow("no number")
            << QByteArray("echo 'osascript: no such component' >&2\nexit 2\n")
            << u"failure none | none"_s;
        QTest::newRow("killed") << QByteArray("kill -9 $$\n") << u"failure none | none"_s;
    }
    void standInsAnswerThroughTheProcess()
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
