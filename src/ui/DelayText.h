#pragma once

#include <QLocale>
#include <QString>

#include <optional>

namespace corvane {

// The delay field's number format: the locale's standard decimal notation, both ways.
class DelayText final {
public:
    DelayText() = delete;

    static QString format(double seconds, const QLocale &locale = QLocale());
    // The number the text stands for, or nothing when it does not read as one.
    static std::optional<double> parse(const QString &text, const QLocale &locale = QLocale());
};

} // namespace corvane
