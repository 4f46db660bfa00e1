#include "StepList.h"

#include "CommandRow.h"

#include <QApplication>
#include <QEvent>

namespace corvane {

namespace {

constexpr int spacing = 10;
// A list this short is built whole, and needs not follow the scrolling.
constexpr qsizetype wholeList = 50;

} // namespace

StepList::StepList(MakeRow makeRow, QWidget *parent)
    : QWidget(parent), m_makeRow(std::move(makeRow))
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void StepList::setSteps(const QList<CommandStep> &steps)
{
    bool reordered = steps.size() != m_steps.size();
    for (qsizetype i = 0; !reordered && i < steps.size(); ++i)
        reordered = steps.at(i).id != m_steps.at(i).id;
    m_steps = steps;
    QList<CommandRow *> dropped;
    qsizetype focusedAt = -1;
    if (reordered) {
        QHash<QUuid, qsizetype> index;
        index.reserve(steps.size());
        for (qsizetype i = 0; i < steps.size(); ++i)
            index.insert(steps.at(i).id, i);
        const QWidget *focus = QApplication::focusWidget();
        for (auto it = m_rows.begin(); it != m_rows.end();) {
            if (index.contains(it.key())) {
                ++it;
                continue;
            }
            if (focus && it.value()->isAncestorOf(focus))
                focusedAt = m_index.value(it.key());
            dropped.append(it.value());
            it = m_rows.erase(it);
        }
        m_index = std::move(index);
        updateGeometry();
    }
    if (!m_rowHint.isValid() && !m_steps.isEmpty())
        row(0); // to know the rows' size
    if (m_steps.size() > wholeList && isVisible())
        watchAncestors();
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it)
        updateRow(it.value(), m_index.value(it.key()));
    placeRows();
    // The keys go to the row that took its place, before hiding it would send them along Tab.
    if (focusedAt >= 0 && !m_steps.isEmpty())
        row(std::min(focusedAt, m_steps.size() - 1))->focusCommand();
    for (CommandRow *row : std::as_const(dropped)) {
        row->hide();
        row->deleteLater(); // may be the sender of the click being handled
    }
}

CommandRow *StepList::row(qsizetype index)
{
    const QUuid id = m_steps.at(index).id;
    CommandRow *&row = m_rows[id];
    if (!row) {
        row = m_makeRow(id, this);
        updateRow(row, index);
        if (!m_rowHint.isValid()) {
            m_rowHint = row->sizeHint();
            m_rowMinimum = row->minimumSizeHint();
            updateGeometry();
        }
        row->setGeometry(0, int(index) * pitch(), width(), m_rowHint.height());
        row->show();
    }
    return row;
}

qsizetype StepList::indexOf(const QWidget *widget) const
{
    while (widget && widget->parentWidget() != this)
        widget = widget->parentWidget();
    const auto *row = qobject_cast<const CommandRow *>(widget);
    return row ? m_index.value(row->stepId(), -1) : -1;
}

QSize StepList::sizeHint() const
{
    if (m_steps.isEmpty() || !m_rowHint.isValid())
        return {0, 0};
    return {m_rowHint.width(), int(m_steps.size()) * pitch() - spacing};
}

QSize StepList::minimumSizeHint() const
{
    return {m_rowMinimum.width(), sizeHint().height()};
}

bool StepList::event(QEvent *event)
{
    const bool done = QWidget::event(event);
    switch (event->type()) {
    case QEvent::Show:
        if (m_steps.size() > wholeList)
            watchAncestors();
        placeRows();
        break;
    case QEvent::Move:
    case QEvent::Resize:
        placeRows();
        break;
    default:
        break;
    }
    return done;
}

bool StepList::eventFilter(QObject *watched, QEvent *event)
{
    // Scrolling moves an ancestor, and resizing the window resizes them: either changes which
    // rows can be seen.
    if (event->type() == QEvent::Move || event->type() == QEvent::Resize)
        placeRows();
    return QWidget::eventFilter(watched, event);
}

void StepList::watchAncestors()
{
    for (QWidget *w = parentWidget(); w; w = w->parentWidget()) {
        w->installEventFilter(this); // once: installing again only moves it to the front
        if (w->isWindow())
            break;
    }
}

// The part of the list inside every ancestor, in the list's own coordinates.
QRect StepList::shownRect() const
{
    if (!isVisible())
        return {};
    QRect shown = rect();
    QPoint offset;
    for (const QWidget *w = this; !w->isWindow(); w = w->parentWidget()) {
        offset += w->pos();
        shown &= w->parentWidget()->rect().translated(-offset);
    }
    return shown;
}

int StepList::pitch() const
{
    return m_rowHint.height() + spacing;
}

void StepList::updateRow(CommandRow *row, qsizetype index) const
{
    row->update(m_steps.at(index), m_steps.size() >= 2, index > 0, index + 1 < m_steps.size());
}

void StepList::placeRows()
{
    // Rows built while hidden stay until the list can be seen again.
    if (!m_rowHint.isValid() || !isVisible())
        return;
    qsizetype first = 0;
    qsizetype last = m_steps.size() <= wholeList ? m_steps.size() - 1 : -1;
    if (const QRect shown = shownRect(); last < 0 && !shown.isEmpty()) {
        // A screenful above and below is built too, so that scrolling shows rows at once.
        const int margin = shown.height();
        first = std::max(0, (shown.top() - margin) / pitch());
        last = std::min(m_steps.size() - 1, qsizetype((shown.bottom() + margin) / pitch()));
    }
    const QWidget *focus = QApplication::focusWidget();
    for (auto it = m_rows.begin(); it != m_rows.end();) {
        const qsizetype index = m_index.value(it.key());
        if ((index >= first && index <= last) || (focus && it.value()->isAncestorOf(focus))) {
            ++it;
            continue;
        }
        it.value()->hide();
        it.value()->deleteLater();
        it = m_rows.erase(it);
    }
    for (qsizetype i = first; i <= last; ++i)
        row(i);
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it)
        it.value()->setGeometry(0, int(m_index.value(it.key())) * pitch(), width(),
                                m_rowHint.height());
}

} // namespace corvane
