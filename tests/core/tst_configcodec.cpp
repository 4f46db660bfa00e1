#include "ConfigCodec.h"
#include "RandomConfig.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

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
    }

    void numbers_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("whole") << 1200.0 << QByteArray("1200");
        QTest::newRow("fraction") << 1200.5 << QByteArray("1200.5");
        QTest::newRow("shortest round trip") << 0.1 + 0.2 << QByteArray("0.30000000000000004");
        QTest::newRow("smallest plain") << 1e-4 << QByteArray("0.0001");
        QTest::newRow("below 1e-4") << -9.5e-5 << QByteArray("-9.5e-05");
        QTest::newRow("2^53") << 9007199254740992.0 << QByteArray("9007199254740992");
        QTest::newRow("above 2^53") << 9007199254740994.0 << QByteArray("9.007199254740994e+15");
        QTest::newRow("1e16") << 1e16 << QByteArray("1e+16");
        QTest::newRow("three-digit exponent") << 5e-324 << QByteArray("5e-324");
        QTest::newRow("negative zero") << -0.0 << QByteArray("-0");
    }

    void numbers()
    {
        QFETCH(double, value);
        QFETCH(QByteArray, text);
        AppConfig config;
        config.groups[0].commands[0].delayAfter = value;
        QVERIFY2(encoded(config).contains(": " + text + ",\n"), encoded(config).constData());
        const auto read = ConfigCodec::decode(doc(": 1}", ": " + text + '}'));
        QVERIFY(read);
        QCOMPARE(read->groups[0].commands[0].delayAfter, value);
    }

    void strings_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("slash") << u"cd ~/src"_s << QByteArray("\"cd ~\\/src\"");
        QTest::newRow("quote, backslash") << u"a\"b\\c"_s << QByteArray("\"a\\\"b\\\\c\"");
        QTest::newRow("short escapes") << u"\b\f\n\r\t"_s << QByteArray("\"\\b\\f\\n\\r\\t\"");
        QTest::newRow("other controls")
            << QString(QChar(0)) + u"\x1b"_s << QByteArray("\"\\u0000\\u001b\"");
        QTest::newRow("raw") << u"\x7f\u2028\U0001F600'"_s
                             << QByteArray("\"\x7f\xe2\x80\xa8\xf0\x9f\x98\x80'\"");
    }

    void strings()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, json);
        AppConfig config;
        config.groups[0].name = text;
        QVERIFY2(encoded(config).contains(": " + json + '\n'), encoded(config).constData());
        QCOMPARE(ConfigCodec::decode(encoded(config))->groups[0].name, text);
    }

    void nonFiniteDelayEncodesToNothing()
    {
        for (double delay : {qQNaN(), -qInf()}) {
            AppConfig config;
            config.groups.append(TabGroup{});
            config.groups[1].commands.append(CommandStep{QUuid::createUuid(), u"x"_s, delay});
            QVERIFY(!ConfigCodec::encode(config));
        }
    }

    void unreadable_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("array at top") << QByteArray("[]");
        QTest::newRow("truncated") << doc().chopped(3);
        QTest::newRow("trailing garbage") << doc() + "{}";
        QTest::newRow("invalid utf-8") << doc("\"n\"", "\"\xff\"");
        QTest::newRow("overflowing number") << doc(": 1}", ": 1e400}");
        QTest::newRow("groups not an array") << QByteArray(R"({"groups": {}})");
        QTest::newRow("group null") << QByteArray(R"({"groups": [null]})");
        QTest::newRow("name missing") << doc("\"name\": \"n\",");
        QTest::newRow("name null") << doc("\"n\"", "null");
        QTest::newRow("name lone surrogate") << doc("\"n\"", "\"\\ud800\"");
        QTest::newRow("commands missing") << doc("\"commands\"", "\"x\"");
        QTest::newRow("step not an object") << doc("\"commands\": [", "\"commands\": [3, ");
        QTest::newRow("delay digit string") << doc(": 1}", ": \"2\"}");
        QTest::newRow("command missing") << doc("\"command\": \"c\",");
        QTest::newRow("override a number") << doc("\"name\"", "\"packedOverride\": 0, \"name\"");
        QTest::newRow("id braced") << doc(stepId, '{' + QByteArray(stepId) + '}');
        QTest::newRow("id trailing text") << doc(stepId, QByteArray(stepId) + 'X');
        QTest::newRow("id non-hex") << doc(stepId, QByteArray(stepId).replace('D', 'G'));
        QTest::newRow("id hyphen moved") << doc(stepId, "0D6A2C1-B4E5F-4A7B-8C9D-0E1F2A3B4C5D");
    }

    void unreadable()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(ConfigCodec::decode(doc())); // the base document itself is fine
        QVERIFY(!ConfigCodec::decode(bytes));
    }

    void readable_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("summary");     // terminal, first group's name, its step count
        QTest::addColumn<QByteArray>("fragment"); // in the re-encoding; "!x": x must not be
        const auto row = [](const char *name, const QByteArray &bytes, const QString &summary,
                            const QByteArray &fragment) {
            QTest::newRow(name) << bytes << summary << fragment;
        };
        row("empty object", "{}", u"appleTerminal Window 1 1"_s, "\"command\" : \"\"");
        row("groups null", R"({"groups": null, "terminalApp": "kitty"})", u"kitty Window 1 1"_s,
            "!packedOverride");
        row("groups empty", R"({"groups": [], "terminalApp": "kitty"})", u"kitty Window 1 1"_s,
            "\"kitty\"");
        for (const char *terminal : {"\"Warp\"", "3", "null"}) {
            row(terminal, doc("{", "{\"terminalApp\": " + QByteArray(terminal) + ','),
                u"appleTerminal n 1"_s, "\"terminalApp\" : \"appleTerminal\"");
        }
        row("no steps", doc("[{\"id\": \"" + QByteArray(stepId), "[], \"x\": [{\"id\": \""),
            u"appleTerminal n 0"_s, "\"commands\" : [\n\n      ]");
        row("exponent delay", doc(": 1}", ": 1.5e0}"), u"appleTerminal n 1"_s, ": 1.5,");
        row("lower-case id", doc(stepId, QByteArray(stepId).toLower()), u"appleTerminal n 1"_s,
            stepId);
        row("empty override", doc("\"name\"", "\"packedOverride\": \"\", \"name\""),
            u"appleTerminal n 1"_s, "\"packedOverride\" : \"\"");
        row("null override", doc("\"name\"", "\"packedOverride\": null, \"name\""),
            u"appleTerminal n 1"_s, "!packedOverride");
        row("unknown keys", doc("\"id\"", "\"x1\": {}, \"id\""), u"appleTerminal n 1"_s, "!x1");
    }

    void readable()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, summary);
        QFETCH(QByteArray, fragment);
        const auto config = ConfigCodec::decode(bytes);
        QVERIFY(config && config->groups.size() == 1);
        QCOMPARE(u"%1 %2 %3"_s.arg(rawValue(config->terminalApp), config->groups[0].name)
                     .arg(config->groups[0].commands.size()),
                 summary);
        const QByteArray again = encoded(*config);
        const bool absent = fragment.startsWith('!');
        QVERIFY2(again.contains(fragment.mid(absent ? 1 : 0)) != absent, again.constData());
    }

    void randomConfigurationsRoundTrip()
    {
        QRandomGenerator rng(20240611);
        for (int i = 0; i < 400; ++i) {
            const AppConfig config = testing::randomConfig(rng, 4);
            const auto read = ConfigCodec::decode(encoded(config));
            QVERIFY2(read, encoded(config).constData());
            if (config.groups.isEmpty())
                QCOMPARE(read->groups[0].name, u"Window 1"_s); // the default list
            else
                QVERIFY2(*read == config, encoded(config).constData());
        }
    }

    void pythonReadsTheSameValues()
    {
        // Python reads our file and writes it again in its own dialect (\u escapes, repr
        // floats); reading that back must give exactly the configuration we wrote.
        const QString python = QStandardPaths::findExecutable(u"python3"_s);
        if (python.isEmpty())
            QSKIP("python3 is not installed");
        QRandomGenerator rng(7);
        AppConfig config{TerminalApp::warp, {}};
        while (config.groups.size() < 8)
            config.groups.append(testing::randomConfig(rng, 3).groups);
        QTemporaryDir dir;
        QFile file(dir.filePath(u"config.json"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(encoded(config)) > 0);
        file.close();
        QProcess process;
        process.start(python, {u"-c"_s,
                               u"import json, sys; print(json.dumps(json.load(open(sys.argv[1], "
                               "encoding='utf-8'))))"_s,
                               file.fileName()});
        QVERIFY(process.waitForFinished(60000));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
        const QByteArray viaPython = process.readAllStandardOutput();
        QVERIFY(!viaPython.contains("\\/")); // really Python's text, not ours passed through
        QCOMPARE(ConfigCodec::decode(viaPython), std::optional<AppConfig>(config));
    }
};

QTEST_GUILESS_MAIN(TestConfigCodec)
#include "tst_configcodec.moc"
