#include "Whitespace.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

class TestWhitespace final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void membership()
    {
        const QList<char32_t> members{0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,
                                      0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                      0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x200B,
                                      0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
        for (char32_t c = 0; c < 0x110000; ++c)
            QVERIFY2(isWhitespaceOrNewline(c) == members.contains(c),
                     qPrintable(QString::number(c, 16)));
    }

    void trimming()
    {
        const QList<std::pair<QString, QString>> cases{
            {QString(), QString()},
            {u" \t\r\n\u00a0\u3000"_s, QString()},
            {u"  a \t b\n"_s, u"a \t b"_s},
            {u"\u200bls\u2029"_s, u"ls"_s}, // QString::trimmed() would keep U+200B
            {u"\ufeffls"_s, u"\ufeffls"_s}, // not whitespace, though some tables say so
            {u" \U0001F600 "_s, u"\U0001F600"_s},
        };
        for (const auto &[text, trimmed] : cases) {
            QCOMPARE(trimmedWhitespace(text), trimmed);
            QCOMPARE(isBlank(text), trimmed.isEmpty());
        }
    }
};

QTEST_GUILESS_MAIN(TestWhitespace)
#include "tst_whitespace.moc"
