#pragma once

#include "Platform.h"

#include <memory>
#include <optional>

namespace corvane {

// Starts terminals the POSIX way on Linux and macOS alike: each in a session of its own, with
// clean signal state, never waited for by the caller, yet reaped so that none lingers as a
// zombie, and the last one's end kept for endOfLastStarted().
class DetachedSpawner final {
public:
    DetachedSpawner();
    ~DetachedSpawner();
    Q_DISABLE_COPY_MOVE(DetachedSpawner)

    struct LastStart;

    // A program without a slash is looked up on PATH. Gives the system's reason when the process
    // cannot be started.
    std::optional<QString> start(const ProcessCommand &command);

    // How the process started last has ended, or nothing while it runs.
    std::optional<ProcessEnd> endOfLastStarted();

private:
    std::shared_ptr<LastStart> m_lastStart;
};

} // namespace corvane
