#include "ConfigCodec.h"
#include "WaitCondition.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <QFile>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr char stepId[] = "0D6A2C1B-4E5F-4A7B-8C9D-0E1F2A3B4C5D";

// One readable group with one step; each table row below changes one thing in it.
QByteArray doc(const QByteArray &from = {}, const QByteArray &to = {})
{
    QByteArray text = R"({"groups": [{"id": "8192A3B4-C5D6-47E8-B90A-1B2C3D4E5F60", "name": "n", )"
                      R"("commands": [{"id": ")" +
                      QByteArray(stepId) + R"(", "command": "c", "delayAfter": 1}]}]})";
    return text.replace(from, to);
}

QByteArray encoded(const AppConfig &config)
{
    return ConfigCodec::encode(config).value_or("encoding failed");
}

} // namespace

class TestConfigCodec final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Every key the file can hold, texts that need escapes, numbers in both notations and at the
    // edges between them, and an unusable wait kept as the user wrote it, read and written back
    // byte for byte.
    void writesFoundationLayoutByteForByte()
    {
        QFile fixture(QStringLiteral(CORVANE_CORE_TEST_DATA "/foundation-layout.json"));
        QVERIFY(fixture.open(QIODevice::ReadOnly));
        const QByteArray bytes = fixture.readAll();
        const auto config = ConfigCodec::decode(bytes);
        QVERIFY(config && config->groups.size() == 3);
        QCOMPARE(encoded(*config), bytes);
        QCOMPARE(encoded(AppConfig{TerminalApp::iterm2, {}}),
                 QByteArray("{\n  \"groups\" : [\n\n  ],\n  \"terminalApp\" : \"iterm2\"\n}"));
        // Qt's reader turns "-0" into 0, so the fixture cannot hold it.
        AppConfig negativeZero;
        negativeZero.groups[0].commands[0].delayAfter = -0.0;
        QVERIFY(encoded(negativeZero).contains(": -0,"));
    }

    void readingWaits_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("read"); // describe() and the timeout, or the problem
        auto row = [](const char *json, const QString &read) {
            QTest::newRow(json) << QByteArray(json) << read;
        };
        row(R"({"port": 5432})", u"port 5432 60"_s);
        row(R"({"port": 6379, "host": " cache ", "timeout": 2.5})", u"cache:6379 2.5"_s);
        row(R"({"file": "~/ready"})", u"file ~/ready 60"_s);
        row("{\"url\": \"http://localhost:8080/\"}", u"http://localhost:8080/ 60"_s);
        row(R"({"port": 0})", u"the port must be a number from 1 to 65535"_s);
        row(R"({"port": 80.5})", u"the port must be a number from 1 to 65535"_s);
        row(R"({"url": " "})", u"the URL is empty"_s);
        row(R"({"file": "x", "timeout": -1})",
            u"the timeout must be a positive number of seconds"_s);
        row(R"({"socket": "x"})", u"a wait must be a port, a URL or a file"_s);
    }

    void readingWaits()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, read);
        const QJsonValue value = QJsonDocument::fromJson(json).object();
        const WaitReading reading = readWait(value);
        QCOMPARE(reading.condition ? u"%1 %2"_s.arg(reading.condition->describe())
                                         .arg(reading.condition->timeoutSeconds)
                                   : reading.problem,
                 read);
        if (reading.condition)
            QCOMPARE(readWait(waitValue(*reading.condition)).condition, reading.condition);
    }

    void decoding_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        // Read: terminal, first group's name, its step count. Unreadable: where and why, as the
        // command line and the editor show it.
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QByteArray>("fragment"); // in the re-encoding; "!x": x must not be
        const auto row = [](const char *name, const QByteArray &bytes, const QString &summary,
                            const QByteArray &fragment = {}) {
            QTest::newRow(name) << bytes << summary << fragment;
        };
        const QString base = u"appleTerminal n 1"_s;
        const QString badId = u"window 1: command 1: \"id\" is not an identifier"_s;
        row("base document", doc(), base, stepId);
        row("empty object", "{}", u"appleTerminal Window 1 1"_s, "\"command\" : \"\"");
        row("groups null", R"({"groups": null, "terminalApp": "kitty"})", u"kitty Window 1 1"_s);
        row("groups empty", R"({"groups": [], "terminalApp": "kitty"})", u"kitty Window 1 1"_s);
        for (const char *terminal : {"\"Warp\"", "3", "null"}) {
            row(terminal, doc("{", "{\"terminalApp\": " + QByteArray(terminal) + ','), base,
                "\"terminalApp\" : \"appleTerminal\"");
        }
        row("lower-case id", doc(stepId, QByteArray(stepId).toLower()), base, stepId);
        row("null override", doc("\"name\"", "\"packedOverride\": null, \"name\""), base,
            "!packedOverride");
        row("start when null", doc("\"name\"", "\"startWhen\": null, \"name\""), base,
            "!startWhen");
        // Qt's parser alone drops a raw U+FEFF that starts a string; escaped ones it keeps.
        row("mark starts a name", doc("\"n\"", "\"\xEF\xBB\xBFn\""), u"appleTerminal \uFEFFn 1"_s,
            "\"name\" : \"\xEF\xBB\xBFn\"");
        row("mark after an escaped backslash",
            doc("\"n\"", "\"\\\\\"")
                .replace("\"c\"", "\"\xEF\xBB\xBF"
                                  "c\""),
            u"appleTerminal \\ 1"_s,
            "\"command\" : \"\xEF\xBB\xBF"
            "c\"");
        row("mark before the document", "\xEF\xBB\xBF" + doc(), base);

        row("nothing", QByteArray(), u"line 1, column 1: illegal value"_s);
        // Columns count characters, not bytes.
        row("typo", "{\n  \"groups\" : [\n    { \"név\" : 1 ]\n}",
            u"line 3, column 17: unterminated object"_s);
        row("array at top", "[]", u"it does not hold a JSON object"_s);
        row("groups not an array", R"({"groups": {}})", u"\"groups\" is not a list"_s);
        row("group null", R"({"groups": [null]})", u"window 1: it is not an object"_s);
        row("name missing", doc("\"name\": \"n\","), u"window 1: \"name\" is not a text"_s);
        row("name lone surrogate", doc("\"n\"", "\"\\ud800\""),
            u"window 1: \"name\" is not a text"_s);
        row("commands missing", doc("\"commands\"", "\"x\""),
            u"window 1: \"commands\" is not a list"_s);
        row("step not an object", doc("\"commands\": [", "\"commands\": [3, "),
            u"window 1: command 1: it is not an object"_s);
        row("delay digit string", doc(": 1}", ": \"2\"}"),
            u"window 1: command 1: \"delayAfter\" is not a number"_s);
        row("override a number", doc("\"name\"", "\"packedOverride\": 0, \"name\""),
            u"window 1: \"packedOverride\" is not a text"_s);
        row("stop on error a text", doc("\"name\"", "\"stopOnError\": \"yes\", \"name\""),
            u"window 1: \"stopOnError\" is not true or false"_s);
        row("folder a number", doc("\"name\"", "\"directory\": 3, \"name\""),
            u"window 1: \"directory\" is not a text"_s);
        // Only the bare 8-4-4-4-12 form.
        row("id one short", doc(stepId, QByteArray(stepId).chopped(1)), badId);
        row("id non-hex", doc(stepId, QByteArray(stepId).replace('D', 'G')), badId);
        row("id hyphen moved", doc(stepId, "0D6A2C1-B4E5F-4A7B-8C9D-0E1F2A3B4C5D"), badId);
    }

    void decoding()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, summary);
        QFETCH(QByteArray, fragment);
        QString reason;
        const auto config = ConfigCodec::decode(bytes, &reason);
        const TabGroup first = config ? config->groups.value(0) : TabGroup();
        QCOMPARE(config ? u"%1 %2 %3"_s.arg(rawValue(config->terminalApp), first.name)
                              .arg(first.commands.size())
                        : reason,
                 summary);
        const QByteArray again = config ? encoded(*config) : QByteArray();
        const bool absent = fragment.startsWith('!');
        QVERIFY2(again.contains(fragment.mid(absent ? 1 : 0)) != absent, again.constData());
    }
};

QTEST_GUILESS_MAIN(TestConfigCodec)
#include "tst_configcodec.moc"
