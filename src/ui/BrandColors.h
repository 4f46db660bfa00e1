#pragma once

#include <QColor>

namespace corvane {

// The two brand colours shared by the editor window and its group editors.
inline QColor brandMint(qreal opacity = 1.0)
{
    QColor color(0xD5, 0xF2, 0xEE);
    color.setAlphaF(float(opacity));
    return color;
}

inline QColor brandAccent(qreal opacity = 1.0)
{
    QColor color(0x34, 0x8F, 0x7C);
    color.setAlphaF(float(opacity));
    return color;
}

// The notice that the chosen terminal works differently.
inline QColor noticeOrange()
{
    return {0xE0, 0x7A, 0x00};
}

// Text that says something went wrong; dark enough to read in a caption on the mint.
inline QColor warningColor()
{
    return {0xB4, 0x3C, 0x0A};
}

// A colour as a style-sheet value, alpha included.
inline QString cssColor(const QColor &color)
{
    return QStringLiteral("rgba(%1, %2, %3, %4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alphaF());
}

} // namespace corvane
