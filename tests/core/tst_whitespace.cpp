#include "Whitespace.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

class TestWhitespace final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What a blank step is, and what is trimmed off a command.
    void whitespaceSet()
    {
        const QList<char32_t> members{0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,
                                      0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                      0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x200B,
                                      0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
        for (char32_t c = 0; c < 0x110000; ++c)
            QVERIFY2(isWhitespaceOrNewline(c) == members.contains(c),
                     qPrintable(QString::number(c, 16)));
        // QString::trimmed() would keep U+200B; a surrogate pair is never cut.
        QCOMPARE(trimmedWhitespace(u"\u200b \U0001F600\t\u00a0b\u2029"_s),
                 u"\U0001F600\t\u00a0b"_s);
        QVERIFY(isBlank(QString()) && isBlank(u" \t\r\n\u00a0\u3000"_s) && !isBlank(u"\ufeff"_s));
    }
};

QTEST_GUILESS_MAIN(TestWhitespace)
#include "tst_whitespace.moc"
