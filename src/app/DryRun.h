#pragma once

#include <QString>

namespace corvane {

class Platform;

// What `corvane run --dry-run` prints and its exit status.
struct DryRunOutput {
    int status = 0;
    QString out; // the run preview (RunPreview::text)
    QString err; // why there is none, one line
};

// The preview of a run of the configuration that Corvane would load now, with nothing started.
DryRunOutput dryRun(Platform &platform);

} // namespace corvane
