#pragma once

#include <QString>
#include <QUuid>

namespace corvane {

// One command of a window and the seconds to wait after it.
struct CommandStep {
    QUuid id = QUuid::createUuid();
    QString command;
    double delayAfter = 0;

    friend bool operator==(const CommandStep &, const CommandStep &) = default;
};

} // namespace corvane
