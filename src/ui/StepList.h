#pragma once

#include "CommandStep.h"

#include <QHash>
#include <QList>
#include <QUuid>
#include <QWidget>

#include <functional>

namespace corvane {

class CommandRow;

// The command rows of one group, one per step, in step order. A group may hold thousands of
// steps, and a row is eight widgets: only the rows near the part of the list that can be seen
// (and any row holding the keyboard focus) exist; the rest is empty space of the same height.
// Rows are built and dropped as the list scrolls, so the cost of a change or a scroll follows
// the rows shown, not the steps.
class StepList final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StepList)

public:
    using MakeRow = std::function<CommandRow *(const QUuid &stepId, QWidget *parent)>;

    StepList(MakeRow makeRow, QWidget *parent = nullptr);

    // Rows of steps that are gone are dropped; every row shown is brought up to date.
    void setSteps(const QList<CommandStep> &steps);
    qsizetype count() const { return m_steps.size(); }
    // The row of the step at `index`, built if it does not exist.
    CommandRow *row(qsizetype index);
    // The index of the step whose row holds `widget`, or -1.
    qsizetype indexOf(const QWidget *widget) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void updateRow(CommandRow *row, qsizetype index) const;
    void placeRows();
    void watchAncestors();
    QRect shownRect() const;
    int pitch() const;

    MakeRow m_makeRow;
    QList<CommandStep> m_steps;
    QHash<QUuid, qsizetype> m_index;
    // The rows that exist, by step.
    QHash<QUuid, CommandRow *> m_rows;
    // Every row has the size of the first one built.
    QSize m_rowHint;
    QSize m_rowMinimum;
};

} // namespace corvane
