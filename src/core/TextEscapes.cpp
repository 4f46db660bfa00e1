#include "TextEscapes.h"

namespace corvane {

QString backslashEscaped(QString text, QStringView specials)
{
    text.replace(u'\\', QStringLiteral("\\\\"));
    for (const QChar c : specials) {
        if (c != u'\\')
            text.replace(c, QString(u'\\') + c);
    }
    return text;
}

QString doubleQuoted(const QString &text)
{
    return u'"' + backslashEscaped(text, u"\"") + u'"';
}

} // namespace corvane
