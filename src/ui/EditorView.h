#pragma once

#include "EditHistory.h"
#include "KeyedWidgets.h"
#include "TerminalApp.h"

#include <QList>
#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace corvane {

class ConfigStore;
class GroupEditor;
class LoginOptions;
class Platform;

// The "Edit Commands" window: the terminal picker and one group editor per terminal window. Every
// change it sees in the store while shown is saved at once, and the footer says whether that
// worked. Its own edits can be undone and redone (Ctrl+Z, Ctrl+Shift+Z or Ctrl+Y); Escape closes
// it.
class EditorView final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(EditorView)

public:
    EditorView(ConfigStore &store, Platform &platform, QWidget *parent = nullptr);

    // The group editors in the order shown.
    QList<GroupEditor *> groupEditors() const;

    void undo();
    void redo();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    // Every edit the user makes goes through here, to be saved and undoable.
    void edit(const std::function<void(AppConfig &)> &change);
    void restore(const std::optional<EditHistory::Snapshot> &snapshot);
    void focusChange(const AppConfig &before, QWidget *field);
    const void *typingKey(const AppConfig &before) const;
    void onConfigChanged();
    void showSaveState();
    void sync();
    void syncPicker(const QList<TerminalApp> &installed, TerminalApp current);
    // `typed`: the commands are typed through tmux.
    void syncGroups(bool typed);
    GroupEditor *makeGroupEditor(const QUuid &id);

    ConfigStore &m_store;
    Platform &m_platform;
    // Saving follows the window's visibility: only changes made while it is shown are written.
    bool m_saving = false;
    // Set while the editor itself changes the store: any other change makes the history moot.
    bool m_editing = false;
    EditHistory m_history;
    // The text field the user was last in: focus moves away from it when a button is clicked.
    QPointer<QWidget> m_lastField;

    QScrollArea *m_scroll;
    QWidget *m_pickerRow;
    QComboBox *m_picker;
    QList<TerminalApp> m_pickerEntries;
    QList<TerminalApp> m_installed; // as found when the window was last opened
    QLabel *m_notice;
    QWidget *m_savedDot;
    QLabel *m_savedNote;
    // "Type commands one at a time (through tmux)": shown while tmux is installed (as found when
    // the window was last opened) and the terminal is started with a command line.
    QCheckBox *m_typeThroughTmux;
    bool m_tmuxInstalled = false;
    QVBoxLayout *m_groupsLayout;
    QToolButton *m_addWindow = nullptr;
    LoginOptions *m_loginOptions = nullptr;
    KeyedWidgets<GroupEditor> m_groupEditors;
};

} // namespace corvane
