#pragma once

#include <QAction>
#include <QList>
#include <QObject>

#include <optional>

namespace corvane {

class ConfigStore;
class TerminalRunner;
class UpdateChecker;

// Why "Run Startup Commands" cannot start a run now.
enum class RunRefusal {
    alreadyRunning,
    nothingToRun, // no step of any group holds a non-blank command
};

// The five entries of Corvane's menu, as actions shared by the tray menu and the fallback
// window, with their titles and enabled states kept in step with the store and the runner.
class MenuView final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(MenuView)

public:
    MenuView(ConfigStore &store, TerminalRunner &runner, UpdateChecker &updater,
             QObject *parent = nullptr);

    QAction *runAction() { return &m_run; }
    QAction *quitAction() { return &m_quit; }
    // Top to bottom, the separator included.
    QList<QAction *> entries();

    // Why a run cannot start now, or nothing when it can: the rules that enable the run entry.
    std::optional<RunRefusal> runRefusal() const;
    // What the run entry does: a run of the configuration as it stands now. The runner ignores
    // it while a run is under way.
    void startRun();

Q_SIGNALS:
    void editRequested();

private:
    void refresh();

    ConfigStore &m_store;
    TerminalRunner &m_runner;
    UpdateChecker &m_updater;
    QAction m_run;
    QAction m_edit;
    QAction m_separator;
    QAction m_checkForUpdates;
    QAction m_quit;
};

} // namespace corvane
