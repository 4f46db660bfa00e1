#pragma once

#include "KeyedWidgets.h"
#include "TabGroup.h"

#include <QFrame>
#include <QUuid>

#include <optional>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QToolButton;
class QVBoxLayout;

namespace corvane {

class CommandRow;

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
    void update(const TabGroup &group, const std::optional<QString> &packedPreview, bool canDelete);

    // With `selectName`, typing replaces the name (a new window's made-up one).
    void focusName(bool selectName = false);
    QList<QWidget *> tabStops() const;

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
    CommandRow *makeRow(const QUuid &stepId);
    void fitCustomHeight();

    QUuid m_groupId;
    TabGroup m_group;
    std::optional<QString> m_preview;
    State m_state = State::steps;
    bool m_updating = false;
    bool m_stepsAlwaysShown = false;

    QLineEdit *m_name;
    QToolButton *m_delete;

    QWidget *m_stepsBody;
    QVBoxLayout *m_rowsLayout;
    QToolButton *m_addCommand;
    KeyedWidgets<CommandRow> m_rows;

    QWidget *m_previewBody;
    QLabel *m_previewText;
    QToolButton *m_makeCustom;

    QWidget *m_customBody;
    QPlainTextEdit *m_custom;
    // The custom command the field was last given or produced, and how the field showed it.
    QString m_customText;
    QString m_customShown;

    // The tab stops before and after the step rows.
    QList<QWidget *> m_headStops;
    QList<QWidget *> m_tailStops;
};

} // namespace corvane
