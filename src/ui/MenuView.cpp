#include "MenuView.h"

#include "ConfigStore.h"
#include "RunPolicy.h"
#include "TerminalRunner.h"
#include "UpdateChecker.h"
#include "UpdateDialog.h"

#include <QCoreApplication>

namespace corvane {

MenuView::MenuView(ConfigStore &store, TerminalRunner &runner, UpdateChecker &updater,
                   QObject *parent)
    : QObject(parent), m_store(store), m_runner(runner), m_updater(updater),
      m_run(QStringLiteral("Run Startup Commands")), m_edit(QStringLiteral("Edit Commands…")),
      m_checkForUpdates(QStringLiteral("Check for Updates…")),
      m_quit(QStringLiteral("Quit Corvane"))
{
    m_run.setObjectName(QStringLiteral("runAction"));
    m_edit.setObjectName(QStringLiteral("editAction"));
    m_checkForUpdates.setObjectName(QStringLiteral("checkForUpdatesAction"));
    m_quit.setObjectName(QStringLiteral("quitAction"));
    m_separator.setSeparator(true);

    m_run.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    m_edit.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_E));
    m_quit.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    m_quit.setMenuRole(QAction::QuitRole);

    connect(&m_run, &QAction::triggered, this, [this] { startRun(m_runner, m_store.config()); });
    connect(&m_edit, &QAction::triggered, this, &MenuView::editRequested);
    connect(&m_checkForUpdates, &QAction::triggered, &m_updater, &UpdateChecker::checkForUpdates);
    connect(&m_updater, &UpdateChecker::checkFinished, this,
            [](const UpdateCheckResult &result) { UpdateDialog::present(result); });
    connect(&m_quit, &QAction::triggered, this, [] { QCoreApplication::quit(); });

    connect(&m_store, &ConfigStore::configChanged, this, &MenuView::refresh);
    connect(&m_runner, &TerminalRunner::isRunningChanged, this, &MenuView::refresh);
    connect(&m_updater, &UpdateChecker::canCheckForUpdatesChanged, this, &MenuView::refresh);
    refresh();
}

QList<QAction *> MenuView::entries()
{
    return {&m_run, &m_edit, &m_separator, &m_checkForUpdates, &m_quit};
}

void MenuView::refresh()
{
    m_run.setText(m_runner.isRunning() ? QStringLiteral("Running…")
                                       : QStringLiteral("Run Startup Commands"));
    m_run.setEnabled(!runRefusal(m_runner, m_store.config()));
    m_checkForUpdates.setEnabled(m_updater.canCheckForUpdates());
}

} // namespace corvane
