#pragma once

#include "UpdateCheckResult.h"

class QWidget;

namespace corvane {

// Tells the user what an update check found, in a modal dialog with links opened in the browser.
class UpdateDialog final {
public:
    UpdateDialog() = delete;

    static void present(const UpdateCheckResult &result, QWidget *parent = nullptr);
};

} // namespace corvane
