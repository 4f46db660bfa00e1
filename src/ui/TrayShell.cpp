#include "TrayShell.h"

#include "EditorView.h"
#include "FallbackWindow.h"
#include "Icons.h"
#include "Platform.h"
#include "TerminalRunner.h"

#include <QCursor>

namespace corvane {

TrayShell::TrayShell(ConfigStore &store, TerminalRunner &runner, UpdateChecker &updater,
                     Platform &platform, QObject *parent)
    : QObject(parent), m_store(store), m_platform(platform), m_menuView(store, runner, updater)
{
    m_menu.setObjectName(QStringLiteral("trayMenu"));
    m_menu.addActions(m_menuView.entries());

    m_tray.setIcon(platform.trayIconIsTemplate()
                       ? Icons::menuBarTemplate()
                       : Icons::get(QStringLiteral("utilities-terminal")));
    m_tray.setToolTip(QStringLiteral("Corvane"));
    m_tray.setContextMenu(&m_menu);
    connect(&m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
#ifndef Q_OS_MACOS
                // The tray opens the context menu on a right click only; a left click should
                // show it too. (On macOS Qt already does so for the menu-bar item.)
                if (reason == QSystemTrayIcon::Trigger)
                    m_menu.popup(QCursor::pos());
#else
                Q_UNUSED(reason);
#endif
            });

    connect(&m_menuView, &MenuView::editRequested, this, &TrayShell::showEditor);
    // A window typed into through tmux waits for a password or a host key: say so.
    connect(&runner, &TerminalRunner::inputWanted, this, [this](const QString &message) {
        m_tray.showMessage(QStringLiteral("Corvane"), message, QSystemTrayIcon::Information);
    });

    // Only while there is no tray; a cheap query, so that idle costs stay low otherwise.
    m_trayPoll.setInterval(2000);
    connect(&m_trayPoll, &QTimer::timeout, this, &TrayShell::dockWhenTrayAppears);
}

TrayShell::~TrayShell() = default;

void TrayShell::start()
{
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        m_tray.show();
        return;
    }
    if (!m_fallback) {
        m_fallback = std::make_unique<FallbackWindow>(m_menuView.entries());
        connect(m_fallback.get(), &FallbackWindow::closedByUser, m_menuView.quitAction(),
                &QAction::trigger);
    }
    m_fallback->show();
    m_trayPoll.start();
}

void TrayShell::dockWhenTrayAppears()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return;
    m_trayPoll.stop();
    m_tray.show();
    if (m_fallback)
        m_fallback->hide();
}

void TrayShell::showEditor()
{
    if (!m_editor)
        m_editor = std::make_unique<EditorView>(m_store, m_platform);
    m_editor->show();
    if (m_editor->isMinimized())
        m_editor->showNormal();
    m_editor->raise();
    m_editor->activateWindow();
}

} // namespace corvane
