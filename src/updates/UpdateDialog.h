#pragma once

#include "UpdateCheckResult.h"

#include <functional>

class QAbstractButton;
class QMessageBox;
class QWidget;

namespace corvane {

// Tells the user what an update check found, in a modal dialog with links opened in the browser.
class UpdateDialog final {
public:
    UpdateDialog() = delete;

    static void present(const UpdateCheckResult &result, QWidget *parent = nullptr);

    // Lets tests answer the dialog instead of a user: the hook receives the finished box in
    // place of exec() and returns the button to act on (nullptr: closed without a choice).
    // An empty hook restores the real modal loop.
    using AnswerHook = std::function<QAbstractButton *(QMessageBox &box)>;
    static void setAnswerHook(AnswerHook hook);
};

} // namespace corvane
