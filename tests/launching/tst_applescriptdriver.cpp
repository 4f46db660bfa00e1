#include "AppleScriptDriver.h"
#include "FakePlatform.h"

#include <QTest>

Q_DECLARE_METATYPE(corvane::AppleScriptOutcome)

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class AppleScriptDriverTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void literal_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("literal");
        QTest::newRow("plain") << u"ls -la"_s << u"\"ls -la\""_s;
        QTest::newRow("quotes") << u"echo \"hi\""_s << u"\"echo \\\"hi\\\"\""_s;
        QTest::newRow("backslash") << u"a\\b"_s << u"\"a\\\\b\""_s;
        // The backslash inserted for the quote is not doubled again.
        QTest::newRow("escaped quote") << u"\\\""_s << u"\"\\\\\\\"\""_s;
        QTest::newRow("line feed") << u"echo a\necho b"_s << u"\"echo a echo b\""_s;
        QTest::newRow("carriage return") << u"a\rb"_s << u"\"a b\""_s;
        QTest::newRow("crlf") << u"a\r\nb"_s << u"\"a  b\""_s;
        QTest::newRow("tab and unicode") << u"\tcafé → ok "_s << u"\"\tcafé → ok \""_s;
        QTest::newRow("apostrophe and dollar") << u"echo '$HOME'"_s << u"\"echo '$HOME'\""_s;
        QTest::newRow("empty") << QString() << u"\"\""_s;
    }

    void literal()
    {
        QFETCH(QString, command);
        QFETCH(QString, literal);
        QCOMPARE(AppleScriptDriver::literal(command), literal);
    }

    void scripts_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("expected");
        QTest::newRow("open Terminal")
            << AppleScriptDriver::openScript(u"cd \"x\""_s, TerminalApp::appleTerminal)
            << u"tell application \"Terminal\"\n    activate\n    do script \"cd \\\"x\\\"\"\n"
               u"    return id of front window\nend tell"_s;
        QTest::newRow("open iTerm2")
            << AppleScriptDriver::openScript(u"ls"_s, TerminalApp::iterm2)
            << u"tell application id \"com.googlecode.iterm2\"\n    activate\n"
               u"    set newWindow to (create window with default profile)\n"
               u"    tell current session of newWindow to write text \"ls\"\n"
               u"    return id of newWindow\nend tell"_s;
        QTest::newRow("run Terminal")
            << AppleScriptDriver::runScript(u"make"_s, 7, TerminalApp::appleTerminal)
            << u"tell application \"Terminal\"\n    do script \"make\" in tab 1 of window id 7\nend tell"_s;
        QTest::newRow("run iTerm2, negative id")
            << AppleScriptDriver::runScript(u"make"_s, -12, TerminalApp::iterm2)
            << u"tell application id \"com.googlecode.iterm2\"\n"
               u"    tell current session of window id -12 to write text \"make\"\nend tell"_s;
    }

    void scripts()
    {
        QFETCH(QString, script);
        QFETCH(QString, expected);
        QCOMPARE(script, expected);
    }

    void executeMapsOutcomes_data()
    {
        QTest::addColumn<AppleScriptOutcome>("outcome");
        QTest::addColumn<qint64>("number");
        QTest::addColumn<QString>("message");
        QTest::newRow("no script object")
            << AppleScriptOutcome{} << qint64(0) << u"Could not compile AppleScript."_s;
        QTest::newRow("number and message")
            << AppleScriptOutcome{AppleScriptFailure{-1728, u"Can’t get window."_s}}
            << qint64(-1728) << u"Can’t get window."_s;
        QTest::newRow("number only") << AppleScriptOutcome{AppleScriptFailure{-2741, std::nullopt}}
                                     << qint64(-2741) << u"Unknown AppleScript error."_s;
        QTest::newRow("message only")
            << AppleScriptOutcome{AppleScriptFailure{std::nullopt, u"Syntax error"_s}} << qint64(0)
            << u"Syntax error"_s;
        QTest::newRow("empty message kept")
            << AppleScriptOutcome{AppleScriptFailure{5, QString()}} << qint64(5) << QString();
    }

    void executeMapsOutcomes()
    {
        QFETCH(AppleScriptOutcome, outcome);
        QFETCH(qint64, number);
        QFETCH(QString, message);
        FakePlatform platform;
        platform.scriptOutcomes = {outcome, outcome};
        AppleScriptDriver driver(platform);

        const auto opened = driver.openWindowAndRun(u"ls"_s, TerminalApp::iterm2);
        QVERIFY(std::holds_alternative<ScriptError>(opened));
        QCOMPARE(std::get<ScriptError>(opened), (ScriptError{number, message}));
        const auto ran = driver.run(u"ls"_s, 3, TerminalApp::appleTerminal);
        QCOMPARE(ran, (ScriptError{number, message}));
    }

    void windowIdentifierComesFromTheOpenScript()
    {
        FakePlatform platform;
        platform.scriptOutcomes = {AppleScriptResult{-5}, AppleScriptResult{}};
        AppleScriptDriver driver(platform);
        const auto negative = driver.openWindowAndRun(u"top"_s, TerminalApp::appleTerminal);
        QCOMPARE(std::get<std::int64_t>(negative), -5);
        // A result that is not a number reads as window 0.
        const auto zero = driver.openWindowAndRun(u"top"_s, TerminalApp::appleTerminal);
        QCOMPARE(std::get<std::int64_t>(zero), 0);
        QVERIFY(!driver.run(u"ls"_s, 0, TerminalApp::appleTerminal));

        const QStringList sent{platform.calls.at(0).values.first(),
                               platform.calls.at(2).values.first()};
        QCOMPARE(sent.at(0), AppleScriptDriver::openScript(u"top"_s, TerminalApp::appleTerminal));
        QCOMPARE(sent.at(1), AppleScriptDriver::runScript(u"ls"_s, 0, TerminalApp::appleTerminal));
    }
};

QTEST_GUILESS_MAIN(AppleScriptDriverTest)
#include "tst_applescriptdriver.moc"
