#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <string>
#include <vector>

namespace corvane {

// Streams JSON in the layout of Foundation's pretty-printed, sorted-keys encoder, so that a
// file written here is byte-for-byte what the macOS build writes. Callers emit object members
// in UTF-8 byte order of their keys; the writer does not reorder.
class JsonWriter final {
public:
    // `sizeHint`: the expected output size, reserved up front to avoid regrowing.
    explicit JsonWriter(std::size_t sizeHint = 0) { m_out.reserve(sizeHint); }

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    // Names the next value inside an object.
    void key(QLatin1StringView name);
    void key(const QString &name);

    void value(const QString &text);
    void value(QLatin1StringView text);
    // Finite values only: JSON has no form for NaN or infinity.
    void value(double number);
    void value(bool flag);
    // Any JSON value, objects with their keys in UTF-8 byte order at every level. Undefined
    // writes null.
    void value(const QJsonValue &json);

    QByteArray take() const { return QByteArray(m_out.data(), qsizetype(m_out.size())); }

    static void appendString(std::string &out, QByteArrayView utf8);
    static void appendNumber(std::string &out, double number);

private:
    void beginValue();
    void open(char bracket);
    void close(char bracket);
    void newLine(qsizetype depth);

    // std::string rather than QByteArray: many tiny appends, and these stay inline.
    std::string m_out;
    // One entry per open container: whether it has members yet.
    std::vector<bool> m_hasMembers;
    bool m_afterKey = false;
};

} // namespace corvane
