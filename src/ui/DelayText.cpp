#include "DelayText.h"

#include <cmath>

namespace corvane {

QString DelayText::format(double seconds, const QLocale &locale)
{
    return locale.toString(seconds, 'f', QLocale::FloatingPointShortest);
}

std::optional<double> DelayText::parse(const QString &text, const QLocale &locale)
{
    bool ok = false;
    const double value = locale.toDouble(text.trimmed(), &ok);
    // "inf" and "nan" read as numbers but could never be written to the file.
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace corvane
