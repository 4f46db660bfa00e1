#pragma once

#include <QJsonValue>
#include <QString>
#include <QUuid>

namespace corvane {

// One command of a window and what to wait for after it.
struct CommandStep {
    QUuid id = QUuid::createUuid();
    QString command;
    double delayAfter = 0;
    // After the command, wait for this (see WaitCondition.h) before delayAfter. Undefined when
    // not set; kept exactly as read, so a value the run cannot use is not lost.
    QJsonValue waitFor{QJsonValue::Undefined};

    friend bool operator==(const CommandStep &, const CommandStep &) = default;
};

} // namespace corvane
