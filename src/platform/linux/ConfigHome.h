#pragma once

#include <QString>

namespace corvane {

// The user's configuration folder: $XDG_CONFIG_HOME when it is an absolute path, else
// ~/.config. A relative value is ignored, as the XDG base directory rules require; taken as is,
// it would put a fresh configuration in whatever folder Corvane was started from.
QString configHome();

} // namespace corvane
