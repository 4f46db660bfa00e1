#pragma once

#include <QBoxLayout>
#include <QHash>
#include <QList>
#include <QUuid>
#include <QWidget>

#include <functional>

namespace corvane {

// One widget per model element, kept by the element's id and laid out in the model's order.
// A widget survives moves, so the field being typed in keeps its focus and cursor.
template <typename W> class KeyedWidgets final {
public:
    // Lays out a widget per id of `order`, making the missing ones with `make`. True when the
    // order changed (widgets were added, removed or moved).
    bool sync(const QList<QUuid> &order, QBoxLayout *layout,
              const std::function<W *(const QUuid &)> &make)
    {
        if (order == m_order)
            return false;
        for (auto it = m_widgets.begin(); it != m_widgets.end();) {
            if (order.contains(it.key())) {
                ++it;
                continue;
            }
            layout->removeWidget(it.value());
            it.value()->hide();
            it.value()->deleteLater(); // may be the sender of the click being handled
            it = m_widgets.erase(it);
        }
        for (W *widget : std::as_const(m_widgets))
            layout->removeWidget(widget);
        for (const QUuid &id : order) {
            W *&widget = m_widgets[id];
            if (!widget)
                widget = make(id);
            layout->addWidget(widget);
            widget->show();
        }
        m_order = order;
        return true;
    }

    W *value(const QUuid &id) const { return m_widgets.value(id); }

    QList<W *> ordered() const
    {
        QList<W *> widgets;
        for (const QUuid &id : m_order)
            widgets.append(m_widgets.value(id));
        return widgets;
    }

    // The widgets' own tab stops, in layout order.
    QList<QWidget *> tabStops() const
    {
        QList<QWidget *> stops;
        for (W *widget : ordered())
            stops += widget->tabStops();
        return stops;
    }

private:
    QHash<QUuid, W *> m_widgets;
    QList<QUuid> m_order;
};

} // namespace corvane
