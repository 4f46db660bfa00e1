#include "ConfigCodec.h"

#include "JsonWriter.h"
#include "TextEscapes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace corvane {

namespace {

using namespace Qt::StringLiterals;

// Foundation's decoder refuses strings with unpaired surrogates ("\ud800"); Qt keeps them.
// Refusing them here too keeps every decoded text encodable without loss.
std::optional<QString> readText(const QJsonValue &value)
{
    if (!value.isString())
        return std::nullopt;
    QString text = value.toString();
    if (!text.isValidUtf16())
        return std::nullopt;
    return text;
}

bool isHexDigit(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f') || (u >= u'A' && u <= u'F');
}

// Only the bare 8-4-4-4-12 form: QUuid::fromString would also take braces and trailing text.
std::optional<QUuid> readUuid(const QJsonValue &value)
{
    if (!value.isString())
        return std::nullopt;
    const QString text = value.toString();
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
        if (hyphen ? text.at(i) != u'-' : !isHexDigit(text.at(i)))
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

// Waits are kept exactly as read, usable or not: the editor shows what is wrong with them and a
// run leaves them out, but the user's text is never lost. Null counts as not set.
QJsonValue readOptional(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    return value.isNull() ? QJsonValue(QJsonValue::Undefined) : value;
}

// Why a value was refused: the first key that is wrong, with the kind of value it must hold.
using Why = QString;

std::optional<CommandStep> readStep(const QJsonValue &value, Why &why)
{
    if (!value.isObject()) {
        why = u"it is not an object"_s;
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    const auto id = readUuid(object.value("id"_L1));
    auto command = readText(object.value("command"_L1));
    const QJsonValue delay = object.value("delayAfter"_L1);
    if (!id || !command || !delay.isDouble()) {
        why = !id        ? u"\"id\" is not an identifier"_s
              : !command ? u"\"command\" is not a text"_s
                         : u"\"delayAfter\" is not a number"_s;
        return std::nullopt;
    }
    return CommandStep{*id, std::move(*command), delay.toDouble(),
                       readOptional(object, "waitFor"_L1)};
}

std::optional<TabGroup> readGroup(const QJsonValue &value, Why &why)
{
    if (!value.isObject()) {
        why = u"it is not an object"_s;
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    const auto id = readUuid(object.value("id"_L1));
    auto name = readText(object.value("name"_L1));
    const QJsonValue commands = object.value("commands"_L1);
    if (!id || !name || !commands.isArray()) {
        why = !id     ? u"\"id\" is not an identifier"_s
              : !name ? u"\"name\" is not a text"_s
                      : u"\"commands\" is not a list"_s;
        return std::nullopt;
    }

    TabGroup group{*id,
                   std::move(*name),
                   {},
                   std::nullopt,
                   readOptional(object, "startWhen"_L1),
                   std::nullopt,
                   false};
    const QJsonArray steps = commands.toArray();
    group.commands.reserve(steps.size());
    for (const QJsonValue &stepValue : steps) {
        auto step = readStep(stepValue, why);
        if (!step) {
            why = u"command %1: %2"_s.arg(group.commands.size() + 1).arg(why);
            return std::nullopt;
        }
        group.commands.append(std::move(*step));
    }

    const QJsonValue packedOverride = object.value("packedOverride"_L1);
    if (!packedOverride.isUndefined() && !packedOverride.isNull()) {
        group.packedOverride = readText(packedOverride);
        if (!group.packedOverride) {
            why = u"\"packedOverride\" is not a text"_s;
            return std::nullopt;
        }
    }

    const QJsonValue directory = readOptional(object, "directory"_L1);
    if (!directory.isUndefined()) {
        group.directory = readText(directory);
        if (!group.directory) {
            why = u"\"directory\" is not a text"_s;
            return std::nullopt;
        }
    }
    const QJsonValue stopOnError = readOptional(object, "stopOnError"_L1);
    if (!stopOnError.isUndefined() && !stopOnError.isBool()) {
        why = u"\"stopOnError\" is not true or false"_s;
        return std::nullopt;
    }
    group.stopOnError = stopOnError.toBool();
    return group;
}

// Upper-case 8-4-4-4-12 text, built in place: ids are a third of the file and this runs for
// every one of them on each keystroke's save.
QLatin1StringView uuidText(const QUuid &id, char (&buffer)[36])
{
    const uchar bytes[16] = {
        uchar(id.data1 >> 24), uchar(id.data1 >> 16), uchar(id.data1 >> 8), uchar(id.data1),
        uchar(id.data2 >> 8),  uchar(id.data2),       uchar(id.data3 >> 8), uchar(id.data3),
        id.data4[0],           id.data4[1],           id.data4[2],          id.data4[3],
        id.data4[4],           id.data4[5],           id.data4[6],          id.data4[7],
    };
    char *out = buffer;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            *out++ = '-';
        *out++ = hexDigit(bytes[i] >> 4, true);
        *out++ = hexDigit(bytes[i], true);
    }
    return QLatin1StringView(buffer, 36);
}

} // namespace

std::optional<QByteArray> ConfigCodec::encode(const AppConfig &config)
{
    qsizetype steps = 0;
    for (const TabGroup &group : config.groups)
        steps += group.commands.size();
    // About 130 bytes of layout per step and per group, plus the texts.
    JsonWriter writer(std::size_t(64 + 160 * (config.groups.size() + steps)));
    char uuid[36];
    // Keys in UTF-8 byte order at every level.
    writer.beginObject();
    writer.key("groups"_L1);
    writer.beginArray();
    for (const TabGroup &group : config.groups) {
        writer.beginObject();
        writer.key("commands"_L1);
        writer.beginArray();
        for (const CommandStep &step : group.commands) {
            if (!std::isfinite(step.delayAfter))
                return std::nullopt;
            writer.beginObject();
            writer.key("command"_L1);
            writer.value(step.command);
            writer.key("delayAfter"_L1);
            writer.value(step.delayAfter);
            writer.key("id"_L1);
            writer.value(uuidText(step.id, uuid));
            if (!step.waitFor.isUndefined()) {
                writer.key("waitFor"_L1);
                writer.value(step.waitFor);
            }
            writer.endObject();
        }
        writer.endArray();
        if (group.directory) {
            writer.key("directory"_L1);
            writer.value(*group.directory);
        }
        writer.key("id"_L1);
        writer.value(uuidText(group.id, uuid));
        writer.key("name"_L1);
        writer.value(group.name);
        if (group.packedOverride) {
            writer.key("packedOverride"_L1);
            writer.value(*group.packedOverride);
        }
        if (!group.startWhen.isUndefined()) {
            writer.key("startWhen"_L1);
            writer.value(group.startWhen);
        }
        if (group.stopOnError) {
            writer.key("stopOnError"_L1);
            writer.value(true);
        }
        writer.endObject();
    }
    writer.endArray();
    writer.key("terminalApp"_L1);
    writer.value(rawValue(config.terminalApp));
    if (!config.typing.isEmpty()) {
        writer.key("typing"_L1);
        writer.value(config.typing);
    }
    writer.endObject();
    return writer.take();
}

namespace {

// Qt's parser drops a raw U+FEFF (EF BB BF) at the start of every string value, taking it for a
// byte-order mark, though it keeps an escaped one. Escaping the raw ones inside strings keeps a
// name or command that begins with one; a mark before the document stays as it is.
QByteArray escapeByteOrderMarks(const QByteArray &bytes)
{
    static constexpr char mark[] = "\xEF\xBB\xBF";
    if (!bytes.contains(mark))
        return bytes;
    QByteArray escaped;
    escaped.reserve(bytes.size() + 16);
    bool inString = false;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (inString && c == '\\' && i + 1 < bytes.size()) {
            escaped += c;
            escaped += bytes[++i];
            continue;
        }
        if (c == '"')
            inString = !inString;
        if (inString && c == mark[0] && QByteArrayView(bytes).sliced(i).startsWith(mark)) {
            escaped += "\\ufeff";
            i += 2;
            continue;
        }
        escaped += c;
    }
    return escaped;
}

// "line 3, column 7" for the offset that QJsonParseError gives, which is just past the character
// at fault; columns count characters rather than bytes.
QString position(const QByteArray &bytes, qsizetype offset)
{
    offset = std::clamp<qsizetype>(offset - 1, 0, bytes.size());
    const QByteArrayView before(bytes.constData(), offset);
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    const qsizetype column = QString::fromUtf8(before.sliced(lineStart)).size() + 1;
    return u"line %1, column %2"_s.arg(before.count('\n') + 1).arg(column);
}

} // namespace

std::optional<AppConfig> ConfigCodec::decode(const QByteArray &bytes, QString *reason)
{
    const auto refuse = [reason](const QString &why) -> std::optional<AppConfig> {
        if (reason)
            *reason = why;
        return std::nullopt;
    };
    QJsonParseError error{};
    const QByteArray escaped = escapeByteOrderMarks(bytes);
    const QJsonDocument document = QJsonDocument::fromJson(escaped, &error);
    if (error.error != QJsonParseError::NoError)
        return refuse(u"%1: %2"_s.arg(position(escaped, error.offset), error.errorString()));
    if (!document.isObject())
        return refuse(u"it does not hold a JSON object"_s);
    const QJsonObject root = document.object();

    AppConfig config;
    // An unknown or mistyped terminal is not worth losing the groups over.
    const QJsonValue terminal = root.value("terminalApp"_L1);
    config.terminalApp =
        terminalAppFromRawValue(terminal.toString()).value_or(TerminalApp::appleTerminal);
    if (auto typing = readText(root.value("typing"_L1)))
        config.typing = std::move(*typing);

    const QJsonValue groups = root.value("groups"_L1);
    if (groups.isUndefined() || groups.isNull())
        return config;
    if (!groups.isArray())
        return refuse(u"\"groups\" is not a list"_s);
    const QJsonArray groupArray = groups.toArray();
    if (groupArray.isEmpty())
        return config;

    QList<TabGroup> read;
    read.reserve(groupArray.size());
    for (const QJsonValue &groupValue : groupArray) {
        Why why;
        auto group = readGroup(groupValue, why);
        if (!group)
            return refuse(u"window %1: %2"_s.arg(read.size() + 1).arg(why));
        read.append(std::move(*group));
    }
    config.groups = std::move(read);
    return config;
}

} // namespace corvane
