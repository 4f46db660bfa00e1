#pragma once

#include "KeyedWidgets.h"
#include "TabGroup.h"

#include <QFrame>
#include <QUuid>

#include <optional>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QToolButton;
class QVBoxLayout;

namespace corvane {

class CommandRow;
class WaitField;

// The card of one window: its name, move and delete buttons, and one of three bodies: the
// line-by-line steps, the preview of the combined command, or the user's custom command.
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
    // `packedPreview` is present only while the chosen terminal combines commands.
    // Cheap when little changed: only rows whose step changed are touched, and every widget
    // whose element still exists keeps its focus and cursor.
    void update(const TabGroup &group, const std::optional<QString> &packedPreview, bool canDelete);
    // Whether the window can move up or down (it is not the first, or the last).
    void setMoveLimits(bool canMoveUp, bool canMoveDown);

    // With `selectName`, typing replaces the name (a new window's made-up one).
    void focusName(bool selectName = false);
    // The card moves in the Tab order as one block, entered at its name.
    QList<QWidget *> tabStops() { return {this}; }
    bool moreShown() const;

    // The step rows in the order shown.
    QList<CommandRow *> commandRows() const;

Q_SIGNALS:
    // The group as the user changed it; the editor writes it back into the configuration.
    void groupEdited(const corvane::TabGroup &group);
    void moveUpRequested();
    void moveDownRequested();
    void deleteRequested();

private:
    void editGroup(const std::function<void(TabGroup &)> &edit);
    void syncRows();
    void syncMore();
    void chainTabOrder();
    CommandRow *makeRow(const QUuid &stepId);
    void fitCustomHeight();
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
    QWidget *m_rowsBox;
    QVBoxLayout *m_rowsLayout;
    QToolButton *m_addCommand;
    QLabel *m_notInUse;
    KeyedWidgets<CommandRow> m_rows;
    // The steps the rows were last given, in order.
    QList<CommandStep> m_shownSteps;

    QWidget *m_previewBody;
    QLabel *m_previewText;
    QToolButton *m_makeCustom;

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

    // The tab stops after the step rows.
    QList<QWidget *> m_tailStops;
};

} // namespace corvane
