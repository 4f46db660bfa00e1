#pragma once

#include <QBoxLayout>
#include <QHash>
#include <QList>
#include <QSet>
#include <QUuid>
#include <QWidget>

#include <functional>

namespace corvane {

// One widget per model element, kept by the element's id and laid out in the model's order.
// A widget survives moves, so the field being typed in keeps its focus and cursor. The layout
// holds these widgets only. Costs grow with the number of widgets added, removed or moved, plus
// one pass over the order: a window may hold thousands of rows.
template <typename W> class KeyedWidgets final {
public:
    // Lays out a widget per id of `order`, making the missing ones with `make`. True when the
    // order changed (widgets were added, removed or moved).
    bool sync(const QList<QUuid> &order, QBoxLayout *layout,
              const std::function<W *(const QUuid &)> &make)
    {
        if (order == m_order)
            return false;
        const QSet<QUuid> wanted(order.begin(), order.end());
        for (auto it = m_widgets.begin(); it != m_widgets.end();) {
            if (wanted.contains(it.key())) {
                ++it;
                continue;
            }
            layout->removeWidget(it.value());
            it.value()->hide();
            it.value()->deleteLater(); // may be the sender of the click being handled
            it = m_widgets.erase(it);
        }
        for (qsizetype i = 0; i < order.size(); ++i) {
            W *&widget = m_widgets[order.at(i)];
            const bool made = !widget;
            if (made)
                widget = make(order.at(i));
            QLayoutItem *item = layout->itemAt(int(i));
            if (made || !item || item->widget() != widget)
                layout->insertWidget(int(i), widget); // takes it from its old place
            if (made)
                widget->show();
        }
        m_order = order;
        return true;
    }

    W *value(const QUuid &id) const { return m_widgets.value(id); }

    QList<W *> ordered() const
    {
        QList<W *> widgets;
        widgets.reserve(m_order.size());
        for (const QUuid &id : m_order)
            widgets.append(m_widgets.value(id));
        return widgets;
    }

private:
    QHash<QUuid, W *> m_widgets;
    QList<QUuid> m_order;
};

} // namespace corvane
