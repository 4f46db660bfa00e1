#include "JsonWriter.h"

#include "TextEscapes.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace corvane {

void JsonWriter::beginObject()
{
    open('{');
}

void JsonWriter::endObject()
{
    close('}');
}

void JsonWriter::beginArray()
{
    open('[');
}

void JsonWriter::endArray()
{
    close(']');
}

void JsonWriter::key(QLatin1StringView name)
{
    beginValue();
    appendString(m_out, QByteArrayView(name.data(), name.size()));
    m_out.append(" : ");
    m_afterKey = true;
}

void JsonWriter::key(const QString &name)
{
    beginValue();
    appendString(m_out, name.toUtf8());
    m_out.append(" : ");
    m_afterKey = true;
}

void JsonWriter::value(bool flag)
{
    beginValue();
    m_out.append(flag ? "true" : "false");
}

void JsonWriter::value(const QJsonValue &json)
{
    switch (json.type()) {
    case QJsonValue::Bool:
        value(json.toBool());
        return;
    case QJsonValue::Double:
        value(json.toDouble());
        return;
    case QJsonValue::String:
        value(json.toString());
        return;
    case QJsonValue::Array:
        beginArray();
        for (const QJsonValue &element : json.toArray())
            value(element);
        endArray();
        return;
    case QJsonValue::Object: {
        const QJsonObject object = json.toObject();
        QList<std::pair<QByteArray, QString>> keys;
        keys.reserve(object.size());
        for (auto it = object.begin(); it != object.end(); ++it)
            keys.append({it.key().toUtf8(), it.key()});
        std::sort(keys.begin(), keys.end());
        beginObject();
        for (const auto &[utf8, name] : std::as_const(keys)) {
            key(name);
            value(object.value(name));
        }
        endObject();
        return;
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        beginValue();
        m_out.append("null");
        return;
    }
}

void JsonWriter::value(const QString &text)
{
    beginValue();
    // Pure ASCII, the usual case, goes straight in; anything else through one conversion.
    const char16_t *const begin = QStringView(text).utf16();
    const char16_t *const end = begin + text.size();
    const bool ascii = std::all_of(begin, end, [](char16_t c) { return c < 0x80; });
    if (!ascii) {
        appendString(m_out, text.toUtf8());
        return;
    }
    std::array<char, 256> buffer;
    if (text.size() <= qsizetype(buffer.size())) {
        std::copy(begin, end, buffer.begin());
        appendString(m_out, QByteArrayView(buffer.data(), text.size()));
    } else {
        appendString(m_out, text.toLatin1());
    }
}

void JsonWriter::value(QLatin1StringView text)
{
    beginValue();
    appendString(m_out, QByteArrayView(text.data(), text.size()));
}

void JsonWriter::value(double number)
{
    beginValue();
    appendNumber(m_out, number);
}

void JsonWriter::beginValue()
{
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (m_hasMembers.empty())
        return;
    if (m_hasMembers.back())
        m_out.push_back(',');
    m_hasMembers.back() = true;
    newLine(static_cast<qsizetype>(m_hasMembers.size()));
}

void JsonWriter::open(char bracket)
{
    beginValue();
    m_out.push_back(bracket);
    m_hasMembers.push_back(false);
}

void JsonWriter::close(char bracket)
{
    const bool hadMembers = m_hasMembers.back();
    m_hasMembers.pop_back();
    // Foundation leaves an empty line inside an empty container.
    if (!hadMembers)
        m_out.push_back('\n');
    newLine(static_cast<qsizetype>(m_hasMembers.size()));
    m_out.push_back(bracket);
}

void JsonWriter::newLine(qsizetype depth)
{
    m_out.push_back('\n');
    m_out.append(std::size_t(2 * depth), ' ');
}

void JsonWriter::appendString(std::string &out, QByteArrayView utf8)
{
    out.push_back('"');
    const char *run = utf8.data();
    const char *const end = utf8.data() + utf8.size();
    // Copy unescaped stretches in one go; only a handful of ASCII bytes need escaping.
    for (const char *p = run; p != end; ++p) {
        const auto byte = static_cast<unsigned char>(*p);
        if (byte >= 0x20 && byte != '"' && byte != '\\' && byte != '/')
            continue;
        out.append(run, std::size_t(p - run));
        run = p + 1;
        switch (byte) {
        case '"':
            out.append("\\\"");
            break;
        case '\\':
            out.append("\\\\");
            break;
        case '/':
            out.append("\\/");
            break;
        case '\b':
            out.append("\\b");
            break;
        case '\f':
            out.append("\\f");
            break;
        case '\n':
            out.append("\\n");
            break;
        case '\r':
            out.append("\\r");
            break;
        case '\t':
            out.append("\\t");
            break;
        default: {
            const char escape[] = {
                '\\', 'u', '0', '0', hexDigit(byte >> 4, false), hexDigit(byte, false)};
            out.append(escape, sizeof escape);
            break;
        }
        }
    }
    out.append(run, std::size_t(end - run));
    out.push_back('"');
}

void JsonWriter::appendNumber(std::string &out, double number)
{
    // Shortest digits that read back to the same double, then Foundation's choice between
    // plain and exponent notation: plain unless |x| < 1e-4 or |x| > 2^53.
    if (number == 0) {
        out.append(std::signbit(number) ? "-0" : "0");
        return;
    }
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                                      std::chars_format::scientific);
    const std::string_view text(buffer.data(), result.ptr - buffer.data());

    const bool negative = text.front() == '-';
    const std::size_t ePos = text.find('e');
    const std::string_view mantissa = text.substr(negative ? 1 : 0, ePos - (negative ? 1 : 0));
    int exponent = 0;
    std::from_chars(text.data() + ePos + 1 + (text[ePos + 1] == '+' ? 1 : 0),
                    text.data() + text.size(), exponent);

    std::array<char, 32> digitBuffer{};
    std::size_t digitCount = 0;
    for (char c : mantissa) {
        if (c != '.')
            digitBuffer[digitCount++] = c;
    }
    const std::string_view digits(digitBuffer.data(), digitCount);

    if (negative)
        out.push_back('-');
    const double magnitude = std::fabs(number);
    if (magnitude < 1e-4 || magnitude > 9007199254740992.0) {
        out.push_back(digits.front());
        if (digits.size() > 1) {
            out.push_back('.');
            out.append(digits.substr(1));
        }
        out.append(exponent < 0 ? "e-" : "e+");
        const int absExponent = std::abs(exponent);
        if (absExponent < 10)
            out.push_back('0');
        out.append(std::to_string(absExponent));
        return;
    }

    const auto count = static_cast<int>(digits.size());
    if (exponent < 0) {
        out.append("0.");
        out.append(std::size_t(-exponent - 1), '0');
        out.append(digits);
    } else if (exponent + 1 >= count) {
        out.append(digits);
        out.append(std::size_t(exponent + 1 - count), '0');
    } else {
        out.append(digits.substr(0, std::size_t(exponent + 1)));
        out.push_back('.');
        out.append(digits.substr(std::size_t(exponent + 1)));
    }
}

} // namespace corvane
