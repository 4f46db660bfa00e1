#pragma once

#include <QString>

namespace corvane {

// Foundation's whitespace-and-newline set (QString::trimmed() differs in U+200B).
bool isWhitespaceOrNewline(char32_t codePoint);
// `text` without leading and trailing whitespace-or-newline characters.
QString trimmedWhitespace(const QString &text);
// True when nothing is left after trimming.
bool isBlank(const QString &text);

} // namespace corvane
