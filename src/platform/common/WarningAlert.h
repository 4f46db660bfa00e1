#pragma once

#include <QString>

namespace corvane {

// A modal warning with one OK button, raised and activated, that returns once dismissed.
void showWarningAlert(const QString &messageText, const QString &informativeText);

} // namespace corvane
