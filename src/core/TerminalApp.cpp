#include "TerminalApp.h"

namespace corvane {

namespace {

struct TerminalInfo {
    const char16_t *rawValue;
    const char16_t *displayName;
    const char16_t *bundleIdentifier;
    TerminalLaunchStyle launchStyle;
};

// Indexed by TerminalApp; the order is the order of allTerminalApps.
constexpr TerminalInfo terminalInfo[] = {
    {u"appleTerminal", u"Terminal (macOS built-in)", u"com.apple.Terminal",
     TerminalLaunchStyle::appleScript},
    {u"iterm2", u"iTerm2", u"com.googlecode.iterm2", TerminalLaunchStyle::appleScript},
    {u"ghostty", u"Ghostty", u"com.mitchellh.ghostty", TerminalLaunchStyle::packedScript},
    {u"warp", u"Warp", u"dev.warp.Warp-Stable", TerminalLaunchStyle::warpLaunchConfiguration},
    {u"kitty", u"kitty", u"net.kovidgoyal.kitty", TerminalLaunchStyle::packedScript},
    {u"wezterm", u"WezTerm", u"com.github.wez.wezterm", TerminalLaunchStyle::packedScript},
    {u"alacritty", u"Alacritty", u"org.alacritty", TerminalLaunchStyle::packedScript},
    {u"tabby", u"Tabby", u"org.tabby", TerminalLaunchStyle::packedScript},
};
static_assert(std::size(terminalInfo) == allTerminalApps.size());

const TerminalInfo &info(TerminalApp app)
{
    return terminalInfo[static_cast<std::size_t>(app)];
}

} // namespace

QString rawValue(TerminalApp app)
{
    return QString::fromUtf16(info(app).rawValue);
}

std::optional<TerminalApp> terminalAppFromRawValue(const QString &text)
{
    for (TerminalApp app : allTerminalApps) {
        if (text == QStringView(info(app).rawValue))
            return app;
    }
    return std::nullopt;
}

QString displayName(TerminalApp app)
{
    return QString::fromUtf16(info(app).displayName);
}

QString bundleIdentifier(TerminalApp app)
{
    return QString::fromUtf16(info(app).bundleIdentifier);
}

TerminalLaunchStyle launchStyle(TerminalApp app)
{
    return info(app).launchStyle;
}

bool combinesCommands(TerminalApp app)
{
    return launchStyle(app) != TerminalLaunchStyle::appleScript;
}

} // namespace corvane
