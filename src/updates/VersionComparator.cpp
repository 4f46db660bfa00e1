#include "VersionComparator.h"

#include <QList>
#include <QStringView>

namespace corvane {

namespace {

enum class CharType { number, string, period, separator };

CharType typeOf(QChar c)
{
    if (c == u'.')
        return CharType::period;
    if (c.isDigit())
        return CharType::number;
    if (c.isSpace() || c.isPunct())
        return CharType::separator;
    return CharType::string;
}

// Runs of digits and runs of other characters become one part each; every period is a part
// of its own, so "1.10b2" is 1 . 10 b 2.
QList<QStringView> split(QStringView version)
{
    QList<QStringView> parts;
    qsizetype start = 0;
    for (qsizetype i = 1; i <= version.size(); ++i) {
        const CharType previous = typeOf(version[i - 1]);
        if (i == version.size() || typeOf(version[i]) != previous || previous == CharType::period) {
            parts.append(version.mid(start, i - start));
            start = i;
        }
    }
    return parts;
}

// Numbers of any length compare by value, without overflowing an int as Sparkle's intValue
// would; Unicode digits count by their digit value.
int compareNumbers(QStringView a, QStringView b)
{
    auto significant = [](QStringView s) {
        qsizetype i = 0;
        while (i + 1 < s.size() && s[i].digitValue() == 0)
            ++i;
        return s.mid(i);
    };
    const QStringView x = significant(a);
    const QStringView y = significant(b);
    if (x.size() != y.size())
        return x.size() < y.size() ? -1 : 1;
    for (qsizetype i = 0; i < x.size(); ++i) {
        const int dx = x[i].digitValue();
        const int dy = y[i].digitValue();
        if (dx != dy)
            return dx < dy ? -1 : 1;
    }
    return 0;
}

} // namespace

int VersionComparator::compare(const QString &a, const QString &b)
{
    const QList<QStringView> partsA = split(a);
    const QList<QStringView> partsB = split(b);
    const qsizetype common = std::min(partsA.size(), partsB.size());

    for (qsizetype i = 0; i < common; ++i) {
        const CharType typeA = typeOf(partsA[i].front());
        const CharType typeB = typeOf(partsB[i].front());
        if (typeA == typeB) {
            int result = 0;
            if (typeA == CharType::number)
                result = compareNumbers(partsA[i], partsB[i]);
            else if (typeA == CharType::string)
                result = partsA[i].compare(partsB[i], Qt::CaseSensitive);
            if (result != 0)
                return result < 0 ? -1 : 1;
            continue;
        }
        // A string part marks a pre-release, so anything else beats it ("1.0.1" > "1.0b1").
        if (typeB == CharType::string)
            return 1;
        if (typeA == CharType::string)
            return -1;
        // A number beats a period or separator in the same place.
        return typeA == CharType::number ? 1 : -1;
    }

    if (partsA.size() == partsB.size())
        return 0;
    // One is a prefix of the other: an extra string part is a pre-release of the shorter
    // ("1.0b" < "1.0"), an extra number or period makes a later version ("1.0.1" > "1.0").
    const bool aLonger = partsA.size() > partsB.size();
    const QStringView extra = aLonger ? partsA[common] : partsB[common];
    const bool longerWins = typeOf(extra.front()) != CharType::string;
    return (aLonger == longerWins) ? 1 : -1;
}

} // namespace corvane
