#include "ConfigCodec.h"
#include "RandomConfig.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <cstdlib>
#include <limits>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr auto stepId = "0D6A2C1B-4E5F-4A7B-8C9D-0E1F2A3B4C5D"_L1;
constexpr auto groupId = "8192A3B4-C5D6-47E8-B90A-1B2C3D4E5F60"_L1;

// A one-group, one-step document; `%1` goes inside the step object, `%2` inside the group,
// `%3` at the top level.
QByteArray document(const QString &step, const QString &group = {}, const QString &top = {})
{
    return QStringLiteral(R"({%3 "groups": [{%2 "id": "%4", "name": "n",
        "commands": [{%1 "id": "%5", "command": "c", "delayAfter": 1}]}]})")
        .arg(step, group, top, groupId, stepId)
        .toUtf8();
}

QByteArray readFixture(const QString &name)
{
    QFile file(QStringLiteral(CORVANE_CORE_TEST_DATA "/") + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing test data %s", qPrintable(name));
    return file.readAll();
}

// The text after `"delayAfter" : ` in a one-step encoding.
QByteArray encodedDelay(double delay)
{
    AppConfig config;
    config.groups.first().commands.first().delayAfter = delay;
    const QByteArray bytes = ConfigCodec::encode(config).value_or(QByteArray());
    const qsizetype start = bytes.indexOf("\"delayAfter\" : ") + 15;
    return bytes.mid(start, bytes.indexOf(',', start) - start);
}

} // namespace

class TestConfigCodec final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void foundationLayoutIsReproducedByteForByte()
    {
        const QByteArray fixture = readFixture(QStringLiteral("foundation-layout.json"));
        const auto config = ConfigCodec::decode(fixture);
        QVERIFY(config);
        QCOMPARE(config->terminalApp, TerminalApp::wezterm);
        QCOMPARE(config->groups.size(), 3);
        QCOMPARE(config->groups[0].commands[0].command, QStringLiteral("cd ~/src/app"));
        QCOMPARE(config->groups[0].packedOverride, std::optional<QString>(QString()));
        QVERIFY(!config->groups[1].packedOverride);
        QVERIFY(config->groups[1].commands.isEmpty());
        QCOMPARE(ConfigCodec::encode(*config), std::optional<QByteArray>(fixture));
    }

    void emptyGroupListLayout()
    {
        AppConfig config;
        config.groups.clear();
        config.terminalApp = TerminalApp::iterm2;
        QCOMPARE(ConfigCodec::encode(config),
                 std::optional<QByteArray>("{\n  \"groups\" : [\n\n  ],\n"
                                           "  \"terminalApp\" : \"iterm2\"\n}"));
        // Read back, an empty list is the default one.
        const auto read = ConfigCodec::decode(*ConfigCodec::encode(config));
        QVERIFY(read);
        QCOMPARE(read->terminalApp, TerminalApp::iterm2);
        QCOMPARE(read->groups.size(), 1);
        QCOMPARE(read->groups[0].name, QStringLiteral("Window 1"));
    }

    void numbers_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QByteArray>("text");

        QTest::newRow("whole") << 2.0 << QByteArray("2");
        QTest::newRow("fraction") << 1.5 << QByteArray("1.5");
        QTest::newRow("shortest round trip") << 0.1 + 0.2 << QByteArray("0.30000000000000004");
        QTest::newRow("smallest plain") << 1e-4 << QByteArray("0.0001");
        QTest::newRow("below 1e-4") << 9.5e-5 << QByteArray("9.5e-05");
        QTest::newRow("tiny") << 1e-5 << QByteArray("1e-05");
        QTest::newRow("negative tiny") << -2.5e-7 << QByteArray("-2.5e-07");
        QTest::newRow("1e15") << 1e15 << QByteArray("1000000000000000");
        QTest::newRow("2^53") << 9007199254740992.0 << QByteArray("9007199254740992");
        QTest::newRow("above 2^53") << 9007199254740994.0 << QByteArray("9.007199254740994e+15");
        QTest::newRow("1e16") << 1e16 << QByteArray("1e+16");
        QTest::newRow("max") << std::numeric_limits<double>::max()
                             << QByteArray("1.7976931348623157e+308");
        QTest::newRow("subnormal") << 5e-324 << QByteArray("5e-324");
        QTest::newRow("zero") << 0.0 << QByteArray("0");
        QTest::newRow("negative zero") << -0.0 << QByteArray("-0");
        QTest::newRow("trailing zeros") << 1200.0 << QByteArray("1200");
    }

    void numbers()
    {
        QFETCH(double, value);
        QFETCH(QByteArray, text);
        QCOMPARE(encodedDelay(value), text);
        // And the reader agrees on the value.
        const auto read = ConfigCodec::decode(
            document(QString()).replace("\"delayAfter\": 1", "\"delayAfter\": " + text));
        QVERIFY(read);
        QCOMPARE(read->groups[0].commands[0].delayAfter, value);
    }

    void strings_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("json");

        QTest::newRow("slash") << u"cd ~/src"_s << QByteArray("\"cd ~\\/src\"");
        QTest::newRow("quote and backslash") << u"a\"b\\c"_s << QByteArray("\"a\\\"b\\\\c\"");
        QTest::newRow("short escapes") << u"\b\f\n\r\t"_s << QByteArray("\"\\b\\f\\n\\r\\t\"");
        QTest::newRow("other controls") << QString(QChar(0)) + u"\x01\x1b\x1f"_s
                                        << QByteArray("\"\\u0000\\u0001\\u001b\\u001f\"");
        QTest::newRow("DEL stays raw") << u"\x7f"_s << QByteArray("\"\x7f\"");
        QTest::newRow("line separators raw")
            << u"\u2028\u2029"_s << QByteArray("\"\xe2\x80\xa8\xe2\x80\xa9\"");
        QTest::newRow("astral raw") << u"\U0001F600"_s << QByteArray("\"\xf0\x9f\x98\x80\"");
        QTest::newRow("apostrophe raw") << u"'"_s << QByteArray("\"'\"");
        QTest::newRow("empty") << QString() << QByteArray("\"\"");
    }

    void strings()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, json);
        AppConfig config;
        config.groups[0].name = text;
        const QByteArray bytes = ConfigCodec::encode(config).value_or(QByteArray());
        QVERIFY2(bytes.contains("\"name\" : " + json + '\n'), bytes.constData());
        QCOMPARE(ConfigCodec::decode(bytes)->groups[0].name, text);
    }

    void nonFiniteDelayEncodesToNothing_data()
    {
        QTest::addColumn<double>("delay");
        QTest::newRow("nan") << std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("inf") << std::numeric_limits<double>::infinity();
        QTest::newRow("-inf") << -std::numeric_limits<double>::infinity();
    }

    void nonFiniteDelayEncodesToNothing()
    {
        QFETCH(double, delay);
        AppConfig config;
        TabGroup second;
        second.commands.append(CommandStep{QUuid::createUuid(), u"x"_s, delay});
        config.groups.append(second);
        QVERIFY(!ConfigCodec::encode(config));
    }

    void unreadable_data()
    {
        QTest::addColumn<QByteArray>("bytes");

        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("not json") << QByteArray("terminalApp=kitty");
        QTest::newRow("array at top") << QByteArray("[]");
        QTest::newRow("truncated") << document(QString()).chopped(3);
        QTest::newRow("trailing garbage") << QByteArray("{} {}");
        QTest::newRow("invalid utf-8") << document(QString()).replace("\"n\"", "\"\xff\"");
        QTest::newRow("overflowing number") << document(QString()).replace("1}", "1e400}");
        QTest::newRow("groups a number") << QByteArray(R"({"groups": 5})");
        QTest::newRow("group not an object") << QByteArray(R"({"groups": [null]})");
        QTest::newRow("name missing") << document({}).replace("\"name\": \"n\",", "");
        QTest::newRow("name null") << document({}).replace("\"name\": \"n\"", "\"name\": null");
        QTest::newRow("name lone surrogate")
            << document({}).replace("\"name\": \"n\"", "\"name\": \"\\ud800\"");
        QTest::newRow("commands missing") << QByteArray(
            R"({"groups": [{"id": ")" + QByteArray(groupId.data()) + R"(", "name": "n"}]})");
        QTest::newRow("step not an object")
            << document({}).replace("\"commands\": [{", "\"commands\": [3, {");
        QTest::newRow("delay a digit string")
            << document({}).replace("\"delayAfter\": 1", "\"delayAfter\": \"2\"");
        QTest::newRow("delay null")
            << document({}).replace("\"delayAfter\": 1", "\"delayAfter\": null");
        QTest::newRow("delay missing") << document({}).replace(", \"delayAfter\": 1", "");
        QTest::newRow("command missing") << document({}).replace(" \"command\": \"c\",", "");
        QTest::newRow("override a number") << document({}, u"\"packedOverride\": 0,"_s);

        const auto withStepId = [](const QByteArray &id) {
            return document({}).replace(QByteArray(stepId.data()), id);
        };
        QTest::newRow("id not a uuid") << withStepId("not-a-uuid");
        QTest::newRow("id braced") << withStepId('{' + QByteArray(stepId.data()) + '}');
        QTest::newRow("id trailing text") << withStepId(QByteArray(stepId.data()) + "X");
        QTest::newRow("id one short") << withStepId(QByteArray(stepId.data()).chopped(1));
        QTest::newRow("id non-hex digit")
            << withStepId(QByteArray(stepId.data()).replace('D', 'G'));
        QTest::newRow("id hyphen moved")
            << withStepId(QByteArray("0D6A2C1-B4E5F-4A7B-8C9D-0E1F2A3B4C5D"));
        QTest::newRow("group id missing")
            << document({}).replace("\"id\": \"" + QByteArray(groupId.data()) + "\",", "");
    }

    void unreadable()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!ConfigCodec::decode(bytes));
    }

    void baseDocumentIsReadable()
    {
        // Guards the unreadable cases above: each differs from this readable document by one fault.
        const auto config = ConfigCodec::decode(document({}));
        QVERIFY(config);
        QCOMPARE(config->groups.size(), 1);
        QCOMPARE(config->groups[0].id, QUuid::fromString(groupId));
        QCOMPARE(config->groups[0].commands.size(), 1);
        QCOMPARE(config->groups[0].commands[0].id, QUuid::fromString(stepId));
        QCOMPARE(config->groups[0].commands[0].command, u"c"_s);
        QCOMPARE(config->groups[0].commands[0].delayAfter, 1.0);
    }

    void defaultGroupsWhenMissingOrEmpty_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty object") << QByteArray("{}");
        QTest::newRow("groups null") << QByteArray(R"({"groups": null, "terminalApp": "kitty"})");
        QTest::newRow("groups empty") << QByteArray(R"({"groups": [], "terminalApp": "kitty"})");
        QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf{\"terminalApp\": \"kitty\"}");
    }

    void defaultGroupsWhenMissingOrEmpty()
    {
        QFETCH(QByteArray, bytes);
        const auto config = ConfigCodec::decode(bytes);
        QVERIFY(config);
        QCOMPARE(config->terminalApp,
                 bytes.contains("kitty") ? TerminalApp::kitty : TerminalApp::appleTerminal);
        QCOMPARE(config->groups.size(), 1);
        const TabGroup &group = config->groups[0];
        QCOMPARE(group.name, u"Window 1"_s);
        QVERIFY(!group.packedOverride);
        QCOMPARE(group.commands.size(), 1);
        QVERIFY(group.commands[0].command.isEmpty());
        QCOMPARE(group.commands[0].delayAfter, 0.0);
    }

    void unknownTerminalReadsAsTerminal_data()
    {
        QTest::addColumn<QString>("terminal");
        QTest::newRow("capital W") << u"\"Warp\""_s;
        QTest::newRow("number") << u"3"_s;
        QTest::newRow("null") << u"null"_s;
        QTest::newRow("object") << u"{\"warp\": 1}"_s;
        QTest::newRow("later version") << u"\"hyper\""_s;
    }

    void unknownTerminalReadsAsTerminal()
    {
        QFETCH(QString, terminal);
        const auto config =
            ConfigCodec::decode(document({}, {}, u"\"terminalApp\": "_s + terminal + u','));
        QVERIFY(config);
        QCOMPARE(config->terminalApp, TerminalApp::appleTerminal);
        QCOMPARE(config->groups.size(), 1);
        QCOMPARE(config->groups[0].id, QUuid::fromString(groupId));
        QVERIFY(ConfigCodec::encode(*config)->endsWith("\"terminalApp\" : \"appleTerminal\"\n}"));
    }

    void lenientReading()
    {
        // A group with no steps stays as it is.
        auto config =
            ConfigCodec::decode(QByteArray(R"({"groups": [{"id": ")" + QByteArray(groupId.data()) +
                                           R"(", "name": "", "commands": []}]})"));
        QVERIFY(config);
        QCOMPARE(config->groups.size(), 1);
        QVERIFY(config->groups[0].commands.isEmpty());
        QVERIFY(config->groups[0].name.isEmpty());

        // Delays in any JSON number form.
        config =
            ConfigCodec::decode(document({}).replace("\"delayAfter\": 1", "\"delayAfter\": 1.5e0"));
        QVERIFY(config);
        QCOMPARE(config->groups[0].commands[0].delayAfter, 1.5);

        // Lower-case ids are accepted and written back upper-case.
        config = ConfigCodec::decode(
            document({}).replace(QByteArray(stepId.data()), QByteArray(stepId.data()).toLower()));
        QVERIFY(config);
        QCOMPARE(config->groups[0].commands[0].id, QUuid::fromString(stepId));
        QVERIFY(ConfigCodec::encode(*config)->contains(stepId.data()));

        // An empty override is present; a null one is absent and leaves no key behind.
        config = ConfigCodec::decode(document({}, u"\"packedOverride\": \"\","_s));
        QVERIFY(config);
        QCOMPARE(config->groups[0].packedOverride, std::optional<QString>(QString()));
        QVERIFY(ConfigCodec::encode(*config)->contains("\"packedOverride\" : \"\""));
        config = ConfigCodec::decode(document({}, u"\"packedOverride\": null,"_s));
        QVERIFY(config);
        QVERIFY(!config->groups[0].packedOverride);
        QVERIFY(!ConfigCodec::encode(*config)->contains("packedOverride"));

        // Unknown keys at every level are read past and not written back.
        config = ConfigCodec::decode(
            document(u"\"x1\": [1, {}],"_s, u"\"x2\": null,"_s, u"\"x3\": {\"a\": 1},"_s));
        QVERIFY(config);
        const QByteArray written = *ConfigCodec::encode(*config);
        QVERIFY(!written.contains("x1") && !written.contains("x2") && !written.contains("x3"));

        // With a key given twice, the later one counts.
        config = ConfigCodec::decode(document({}, u"\"name\": \"first\","_s));
        QVERIFY(config);
        QCOMPARE(config->groups[0].name, u"n"_s);
    }

    void randomConfigurationsRoundTrip()
    {
        QRandomGenerator rng(20240611);
        for (int i = 0; i < 400; ++i) {
            const AppConfig config = testing::randomConfig(rng, 4);
            const auto bytes = ConfigCodec::encode(config);
            QVERIFY(bytes);
            const auto read = ConfigCodec::decode(*bytes);
            QVERIFY2(read, bytes->constData());
            if (config.groups.isEmpty()) {
                QCOMPARE(read->groups.size(), 1);
                QCOMPARE(read->terminalApp, config.terminalApp);
            } else {
                QVERIFY2(*read == config, bytes->constData());
                // Writing what was read gives the same bytes again, except that Qt's reader
                // turns "-0" into 0.
                QByteArray expected = *bytes;
                expected.replace(" : -0,", " : 0,");
                QCOMPARE(ConfigCodec::encode(*read), std::optional<QByteArray>(expected));
            }
        }
    }

    void pythonReadsTheSameValues()
    {
        const QString python = QStandardPaths::findExecutable(u"python3"_s);
        if (python.isEmpty())
            QSKIP("python3 is not installed");

        QRandomGenerator rng(7);
        AppConfig config = testing::randomConfig(rng, 0);
        for (int i = 0; i < 12; ++i) {
            AppConfig more = testing::randomConfig(rng, 3);
            config.groups.append(more.groups);
        }
        QVERIFY(config.groups.size() > 5);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QFile file(dir.filePath(u"config.json"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(*ConfigCodec::encode(config));
        file.close();

        // Python reports texts as code point lists and numbers as exact hex floats, so the
        // comparison below does not go through any JSON writer of ours.
        static const char script[] = R"(
import json, sys
with open(sys.argv[1], encoding="utf-8") as f:
    d = json.load(f)
def text(s): return [ord(c) for c in s]
print(json.dumps({
    "terminalApp": d["terminalApp"],
    "groups": [{
        "id": g["id"], "name": text(g["name"]),
        "override": text(g["packedOverride"]) if "packedOverride" in g else None,
        "commands": [{"id": s["id"], "command": text(s["command"]),
                      "delay": float(s["delayAfter"]).hex()} for s in g["commands"]],
    } for g in d["groups"]],
}))
)";
        QProcess process;
        process.start(python, {u"-c"_s, QString::fromUtf8(script), file.fileName()});
        QVERIFY(process.waitForFinished(60000));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
        const QJsonObject seen = QJsonDocument::fromJson(process.readAllStandardOutput()).object();

        const auto codePoints = [](const QString &text) {
            QJsonArray list;
            for (char32_t c : text.toUcs4())
                list.append(static_cast<qint64>(c));
            return list;
        };
        QCOMPARE(seen.value(u"terminalApp"_s).toString(), rawValue(config.terminalApp));
        const QJsonArray groups = seen.value(u"groups"_s).toArray();
        QCOMPARE(groups.size(), config.groups.size());
        for (qsizetype g = 0; g < groups.size(); ++g) {
            const TabGroup &group = config.groups[g];
            const QJsonObject pyGroup = groups[g].toObject();
            QCOMPARE(QUuid::fromString(pyGroup.value(u"id"_s).toString()), group.id);
            QCOMPARE(pyGroup.value(u"name"_s).toArray(), codePoints(group.name));
            if (group.packedOverride)
                QCOMPARE(pyGroup.value(u"override"_s).toArray(), codePoints(*group.packedOverride));
            else
                QVERIFY(pyGroup.value(u"override"_s).isNull());
            const QJsonArray steps = pyGroup.value(u"commands"_s).toArray();
            QCOMPARE(steps.size(), group.commands.size());
            for (qsizetype s = 0; s < steps.size(); ++s) {
                const QJsonObject pyStep = steps[s].toObject();
                const CommandStep &step = group.commands[s];
                QCOMPARE(QUuid::fromString(pyStep.value(u"id"_s).toString()), step.id);
                QCOMPARE(pyStep.value(u"command"_s).toArray(), codePoints(step.command));
                const QByteArray hex = pyStep.value(u"delay"_s).toString().toLatin1();
                QCOMPARE(std::strtod(hex.constData(), nullptr), step.delayAfter);
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestConfigCodec)
#include "tst_configcodec.moc"
