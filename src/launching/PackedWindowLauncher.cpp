#include "PackedWindowLauncher.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

enum class Starter { open, bundledBinary };

// One terminal's command line, written as on macOS. The shell placeholder is replaced by the
// platform's window shell, and the window command is appended as the last argument.
struct Recipe {
    TerminalApp terminal;
    Starter starter;
    QStringView executableName; // bundledBinary only
    QStringView arguments[6];
};

constexpr QStringView recipeShell = u"/bin/zsh";

constexpr Recipe recipes[] = {
    {TerminalApp::ghostty,
     Starter::open,
     {},
     {u"-na", u"Ghostty.app", u"--args", u"-e", recipeShell, u"-ilc"}},
    {TerminalApp::kitty,
     Starter::bundledBinary,
     u"kitty",
     {u"--single-instance", recipeShell, u"-ilc"}},
    {TerminalApp::wezterm,
     Starter::bundledBinary,
     u"wezterm",
     {u"start", u"--always-new-process", u"--", recipeShell, u"-ilc"}},
    {TerminalApp::alacritty, Starter::bundledBinary, u"alacritty", {u"-e", recipeShell, u"-ilc"}},
    {TerminalApp::tabby,
     Starter::open,
     {},
     {u"-na", u"Tabby.app", u"--args", u"run", recipeShell, u"-ilc"}},
};

const Recipe &recipeFor(TerminalApp terminal)
{
    for (const Recipe &recipe : recipes) {
        if (recipe.terminal == terminal)
            return recipe;
    }
    qFatal("%s does not use packed-script launching", qUtf8Printable(displayName(terminal)));
}

} // namespace

// The login shell is looked up once per launcher (one run), not once per window.
PackedWindowLauncher::PackedWindowLauncher(Platform &platform)
    : m_platform(platform), m_shell(platform.windowShell())
{
}

std::variant<ProcessCommand, ScriptError>
PackedWindowLauncher::windowProcess(const QString &script, TerminalApp terminal) const
{
    const Recipe &recipe = recipeFor(terminal);
    const QString &shell = m_shell;
    // Once the commands end, the shell replaces itself with a fresh login shell so that the
    // window stays open at a prompt.
    const QString windowCommand = script + u"; exec "_s + shell + u" -il"_s;

    QStringList arguments;
    for (QStringView argument : recipe.arguments) {
        if (argument.isEmpty())
            break;
        arguments.append(argument == recipeShell ? shell : argument.toString());
    }
    arguments.append(windowCommand);

    if (recipe.starter == Starter::open)
        return m_platform.openCommand(bundleIdentifier(terminal), arguments);

    const auto program =
        m_platform.bundledExecutable(bundleIdentifier(terminal), recipe.executableName.toString());
    if (!program)
        return ScriptError{0, displayName(terminal) + u" doesn’t seem to be installed."_s};
    return ProcessCommand{*program, arguments};
}

std::optional<ScriptError> PackedWindowLauncher::launchPackedWindow(const QString &script,
                                                                    TerminalApp terminal)
{
    auto process = windowProcess(script, terminal);
    if (auto *error = std::get_if<ScriptError>(&process))
        return std::move(*error);
    if (const auto reason = m_platform.startProcess(std::get<ProcessCommand>(process)))
        return ScriptError{0, u"Couldn’t launch "_s + displayName(terminal) + u": "_s + *reason};
    return std::nullopt;
}

} // namespace corvane
