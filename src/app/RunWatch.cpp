#include "RunWatch.h"

#include "TerminalRunner.h"

namespace corvane {

RunWatch::RunWatch(TerminalRunner &runner)
{
    QObject::connect(&runner, &TerminalRunner::alerting, &runner,
                     [this](const QString &messageText, const QString &informativeText) {
                         QString text = messageText;
                         if (!informativeText.isEmpty())
                             text += (text.endsWith(u'.') ? QStringLiteral(" ")
                                                          : QStringLiteral(": ")) +
                                     informativeText;
                         tell(text.simplified());
                     });
    QObject::connect(&runner, &TerminalRunner::isRunningChanged, &runner, [this](bool running) {
        if (!running)
            tell(std::nullopt);
    });
}

void RunWatch::whenKnown(Outcome outcome)
{
    m_waiting.push_back(std::move(outcome));
}

void RunWatch::tell(const std::optional<QString> &alert)
{
    // Taken first: an outcome may start what ends in this very call again.
    const std::vector<Outcome> waiting = std::exchange(m_waiting, {});
    for (const Outcome &outcome : waiting)
        outcome(alert);
}

} // namespace corvane
