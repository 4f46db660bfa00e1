#pragma once

#include <QAction>
#include <QList>
#include <QWidget>

namespace corvane {

// Stands in for the tray icon on desktops without a system tray: a small window with the
// menu's entries as buttons, whose shortcuts work while it is active.
class FallbackWindow final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FallbackWindow)

public:
    // `entries` top to bottom; separators become dividers.
    explicit FallbackWindow(const QList<QAction *> &entries, QWidget *parent = nullptr);
};

} // namespace corvane
