#include "ShownTextEdit.h"

#include <algorithm>

namespace corvane {

namespace {

bool isCrLf(const QString &text, qsizetype at)
{
    return at >= 0 && at + 1 < text.size() && text[at] == u'\r' && text[at + 1] == u'\n';
}

// Where `text` stands after the characters that the document shows as its first `shown` ones.
qsizetype afterShown(const QString &text, qsizetype shown)
{
    qsizetype at = 0;
    for (; shown > 0 && at < text.size(); --shown)
        at += isCrLf(text, at) ? 2 : 1;
    return at;
}

// Where `text` stands before the characters that the document shows as its last `shown` ones.
qsizetype beforeShown(const QString &text, qsizetype shown)
{
    qsizetype at = text.size();
    for (; shown > 0 && at > 0; --shown)
        at -= isCrLf(text, at - 2) ? 2 : 1;
    return at;
}

} // namespace

QString applyShownEdit(const QString &text, const QString &shownBefore, const QString &shownAfter)
{
    const qsizetype common = std::min(shownBefore.size(), shownAfter.size());
    qsizetype prefix = 0;
    while (prefix < common && shownBefore[prefix] == shownAfter[prefix])
        ++prefix;
    qsizetype suffix = 0;
    while (suffix < common - prefix && shownBefore[shownBefore.size() - 1 - suffix] ==
                                           shownAfter[shownAfter.size() - 1 - suffix])
        ++suffix;

    QString inserted = shownAfter.mid(prefix, shownAfter.size() - prefix - suffix);
    inserted.replace(QChar::ParagraphSeparator, u'\n');

    const qsizetype from = afterShown(text, prefix);
    const qsizetype to = std::max(from, beforeShown(text, suffix));
    return text.left(from) + inserted + text.mid(to);
}

} // namespace corvane
