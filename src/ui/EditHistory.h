#pragma once

#include "AppConfig.h"

#include <QList>
#include <QPointer>
#include <QWidget>

#include <optional>

namespace corvane {

// Undo and redo for the editor, as whole-configuration snapshots: the lists share their data
// with the store's value until an edit touches it, so a snapshot costs little. Each snapshot keeps
// the widget that had the keyboard focus, to give it back.
class EditHistory final {
public:
    struct Snapshot {
        AppConfig config;
        QPointer<QWidget> focus;
    };

    // Before an edit: `before` is what undo returns to. An edit with the same non-null
    // `mergeKey` as the one before it joins it, so typing into one field undoes at once.
    void record(const AppConfig &before, QWidget *focus, const void *mergeKey = nullptr);
    // The next edit starts a step of its own.
    void stopMerging() { m_mergeKey = nullptr; }
    // The state to go back to, when there is one; `current` becomes what redo returns to.
    std::optional<Snapshot> undo(const AppConfig &current, QWidget *focus);
    std::optional<Snapshot> redo(const AppConfig &current, QWidget *focus);
    void clear();

private:
    // Enough for any slip; a snapshot of a window of 10,000 steps takes under a megabyte.
    static constexpr qsizetype limit = 100;

    QList<Snapshot> m_undo;
    QList<Snapshot> m_redo;
    const void *m_mergeKey = nullptr;
};

} // namespace corvane
