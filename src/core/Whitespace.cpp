#include "Whitespace.h"

namespace corvane {

bool isWhitespaceOrNewline(char32_t codePoint)
{
    switch (codePoint) {
    case 0x0009:
    case 0x000A:
    case 0x000B:
    case 0x000C:
    case 0x000D:
    case 0x0020:
    case 0x0085:
    case 0x00A0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
        return true;
    default:
        // U+2000..U+200A are the Unicode space separators; U+200B is in the set as well.
        return codePoint >= 0x2000 && codePoint <= 0x200B;
    }
}

QString trimmedWhitespace(const QString &text)
{
    // Every member of the set lies in the BMP, so a surrogate unit is never trimmed and
    // walking UTF-16 units is enough.
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isWhitespaceOrNewline(text.at(begin).unicode()))
        ++begin;
    while (end > begin && isWhitespaceOrNewline(text.at(end - 1).unicode()))
        --end;
    if (begin == 0 && end == text.size())
        return text;
    return text.mid(begin, end - begin);
}

bool isBlank(const QString &text)
{
    for (QChar c : text) {
        if (!isWhitespaceOrNewline(c.unicode()))
            return false;
    }
    return true;
}

} // namespace corvane
