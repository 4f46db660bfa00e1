#pragma once

#include <QString>
#include <QStringView>

namespace corvane {

// `text` with a backslash before every backslash and every character of `specials`. Backslashes
// go first, so the ones added for the others stay single.
QString backslashEscaped(QString text, QStringView specials);

// `text` between double quotes, its backslashes and double quotes escaped: a string literal of
// AppleScript, and a double-quoted scalar of YAML.
QString doubleQuoted(const QString &text);

// A single quote inside a POSIX shell's single quotes: close them, add it escaped, reopen.
inline constexpr QStringView quotedApostrophe = u"'\\''";

// The hexadecimal digit for the low four bits of `value`.
constexpr char hexDigit(unsigned value, bool upperCase)
{
    return (upperCase ? "0123456789ABCDEF" : "0123456789abcdef")[value & 0xF];
}

} // namespace corvane
