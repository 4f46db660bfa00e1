#pragma once

#include <QIcon>
#include <QString>

namespace corvane {

// Freedesktop theme icons, with the bundled drawing when the theme lacks one.
class Icons final {
public:
    Icons() = delete;

    // `themeName` e.g. "go-up"; `bundledName` defaults to the same name under :/icons/.
    static QIcon get(const QString &themeName, const QString &bundledName = {});

    // The menu-bar glyph: black on transparent, marked as a mask so that macOS tints it for a
    // light, dark or highlighted menu bar.
    static QIcon menuBarTemplate();
};

} // namespace corvane
