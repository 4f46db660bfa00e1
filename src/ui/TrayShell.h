#pragma once

#include "MenuView.h"

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include <memory>

namespace corvane {

class ConfigStore;
class EditorView;
class FallbackWindow;
class Platform;
class TerminalRunner;
class UpdateChecker;

// Corvane's presence on the desktop: the tray icon with its menu (or the fallback window where
// there is no tray), and the one editor window, made on first use.
class TrayShell final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TrayShell)

public:
    TrayShell(ConfigStore &store, TerminalRunner &runner, UpdateChecker &updater,
              Platform &platform, QObject *parent = nullptr);
    ~TrayShell() override;

    // Shows the tray icon, or the fallback window until a tray turns up.
    void start();
    // Opens the editor, or brings the open one forward.
    void showEditor();

private:
    void dockWhenTrayAppears();

    ConfigStore &m_store;
    Platform &m_platform;
    MenuView m_menuView;
    QMenu m_menu;
    QSystemTrayIcon m_tray;
    QTimer m_trayPoll;
    std::unique_ptr<FallbackWindow> m_fallback;
    std::unique_ptr<EditorView> m_editor;
};

} // namespace corvane
