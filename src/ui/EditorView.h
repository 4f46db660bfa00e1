#pragma once

#include "KeyedWidgets.h"
#include "TerminalApp.h"

#include <QList>
#include <QUuid>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace corvane {

class ConfigStore;
class GroupEditor;
class Platform;

// The "Edit Commands" window: the terminal picker and one card per window. Every change it
// sees in the store while shown is saved at once.
class EditorView final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(EditorView)

public:
    EditorView(ConfigStore &store, Platform &platform, QWidget *parent = nullptr);

    // The cards in the order shown.
    QList<GroupEditor *> groupEditors() const;

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void onConfigChanged();
    void sync();
    void syncPicker(const QList<TerminalApp> &installed, TerminalApp current);
    void syncCards();
    GroupEditor *makeCard(const QUuid &id);

    ConfigStore &m_store;
    Platform &m_platform;
    // Saving follows the window's visibility: only changes made while it is shown are written.
    bool m_saving = false;

    QScrollArea *m_scroll;
    QWidget *m_pickerRow;
    QComboBox *m_picker;
    QList<TerminalApp> m_pickerEntries;
    QList<TerminalApp> m_installed; // as found when the window was last opened
    QLabel *m_notice;
    // "Type commands one at a time (through tmux)": shown while tmux is installed (as found when
    // the window was last opened) and the terminal is started with a command line.
    QCheckBox *m_typeThroughTmux;
    bool m_tmuxInstalled = false;
    QVBoxLayout *m_cardsLayout;
    QToolButton *m_addWindow = nullptr;
    KeyedWidgets<GroupEditor> m_cards;
};

} // namespace corvane
