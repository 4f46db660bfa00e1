#include "MenuView.h"

#include "ConfigStore.h"
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

    connect(&m_run, &QAction::triggered, this, &MenuView::startRun);
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

std::optional<RunRefusal> MenuView::runRefusal() const
{
    // A run under way decides alone; the configuration is not even scanned then.
    if (m_runner.isRunning())
        return RunRefusal::alreadyRunning;
    if (!hasCommands(m_store.config()))
        return RunRefusal::nothingToRun;
    return std::nullopt;
}

void MenuView::refresh()
{
    m_run.setText(m_runner.isRunning() ? QStringLiteral("Running…")
                                       : QStringLiteral("Run Startup Commands"));
    m_run.setEnabled(!runRefusal());
    m_checkForUpdates.setEnabled(m_updater.canCheckForUpdates());
}

void MenuView::startRun()
{
    // The run gets the configuration as it stands now; later edits do not reach it. The task
    // runs on without its handle: QCoro frees a finished coroutine whose Task is gone.
    AppConfig config = m_store.config();
    auto run = m_runner.runAll(std::move(config));
    Q_UNUSED(run);
}

} // namespace corvane
