#pragma once

#include <QAction>
#include <QList>
#include <QObject>

namespace corvane {

class ConfigStore;
class TerminalRunner;
class UpdateChecker;

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
