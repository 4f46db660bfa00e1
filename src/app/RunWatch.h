#pragma once

#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace corvane {

class TerminalRunner;

// Watches a runner for how its runs end: `corvane run` waits for that. A run's outcome is known
// when its alert appears (the command line does not wait for it to be dismissed) or when the run
// ends without one.
class RunWatch final {
public:
    // Called once: nothing when the run went well, else the alert's text on one line.
    using Outcome = std::function<void(const std::optional<QString> &alert)>;

    explicit RunWatch(TerminalRunner &runner);

    // Tells `outcome` how the next (or current) run ends.
    void whenKnown(Outcome outcome);

private:
    void tell(const std::optional<QString> &alert);

    std::vector<Outcome> m_waiting;
};

} // namespace corvane
