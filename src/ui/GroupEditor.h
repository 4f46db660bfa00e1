#pragma once

#include "TabGroup.h"

#include <QFrame>
#include <QTimer>
#include <QUuid>

#include <optional>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QToolButton;

namespace corvane {

class CommandRow;
class StepList;
class WaitField;

// The editor of one group (a terminal window): its name, move and delete buttons, and one of three
// bodies: the line-by-line steps, the preview of the combined command, or the user's custom
// command.
class GroupEditor final : public QFrame {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GroupEditor)

public:
    enum class State { steps, preview, custom };

    explicit GroupEditor(const QUuid &groupId, QWidget *parent = nullptr);

    QUuid groupId() const { return m_groupId; }
    State state() const { return m_state; }
    // Keeps the step rows above the preview or the custom command, for systems where no
    // terminal is typed into command by command and the steps could not be edited otherwise.
    // Takes effect at the next update().
    void setStepsAlwaysShown(bool shown);
    // `preview` is present only while the chosen terminal combines commands: the packed line, or
    // with `typed` what is typed through tmux (which leaves a custom command unused).
    // Cheap when little changed: only rows whose step changed are touched, and every widget
    // whose element still exists keeps its focus and cursor.
    void update(const TabGroup &group, const std::optional<QString> &preview, bool typed,
                bool canDelete);
    // Whether the window can move up or down (it is not the first, or the last).
    void setMoveLimits(bool canMoveUp, bool canMoveDown);

    // With `selectName`, typing replaces the name (a new window's made-up one).
    void focusName(bool selectName = false);
    bool moreShown() const;

    // Tab goes through the name, the step rows in step order, then the rest. Moves the focus to
    // the next (or previous) place; false when the focus is not in this group or at its end.
    bool focusNextStop(bool next);
    // Focuses the first or the last place Tab reaches; false when there is none.
    bool focusEdge(bool first);
    // After an undo or redo from `before`: focuses the first step row that came back or moved,
    // or with `anyChange` the first whose step differs. False when there is none.
    bool focusStepChange(const TabGroup &before, bool anyChange);

    // The row of the step at `index`, built if it does not exist yet (see StepList).
    CommandRow *commandRow(qsizetype index);

Q_SIGNALS:
    // The group as the user changed it; the editor writes it back into the configuration.
    void groupEdited(const corvane::TabGroup &group);
    void moveUpRequested();
    void moveDownRequested();
    void deleteRequested();

private:
    void editGroup(const std::function<void(TabGroup &)> &edit);
    void syncMore();
    CommandRow *makeRow(const QUuid &stepId, QWidget *parent);
    // The places Tab reaches in `part`: 0 the name, then one part per step row, then the rest.
    QList<QWidget *> stopsOf(qsizetype part);
    // From `from` in `part` (its first or last place when none) onwards.
    bool focusFrom(qsizetype part, std::optional<qsizetype> from, bool next);
    void fitCustomHeight();
    void showPreview(const QString &text);
    // Alt+↑, Alt+↓, Alt+Delete: the command whose row has the focus, else the window.
    void keyboardAction(int action);

    QUuid m_groupId;
    TabGroup m_group;
    std::optional<QString> m_preview;
    State m_state = State::steps;
    bool m_updating = false;
    bool m_stepsAlwaysShown = false;

    QLineEdit *m_name;
    QToolButton *m_up;
    QToolButton *m_down;
    QToolButton *m_delete;

    QWidget *m_stepsBody;
    StepList *m_stepList;
    QToolButton *m_addCommand;
    QLabel *m_notInUse;

    QWidget *m_previewBody;
    QLabel *m_previewCaption;
    QLabel *m_previewText;
    QToolButton *m_makeCustom;
    // A long preview follows the typing once it pauses.
    QTimer m_previewDelay;
    QString m_pendingPreview;

    QWidget *m_customBody;
    QPlainTextEdit *m_custom;
    // The custom command the field was last given or produced, and how the field showed it.
    QString m_customText;
    QString m_customShown;

    QToolButton *m_moreToggle;
    QWidget *m_moreBody;
    WaitField *m_startWhen;
    QLineEdit *m_folder;
    QCheckBox *m_stopOnError;

    // The places Tab reaches after the step rows.
    QList<QWidget *> m_tailStops;
};

} // namespace corvane
