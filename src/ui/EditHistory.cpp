#include "EditHistory.h"

namespace corvane {

void EditHistory::record(const AppConfig &before, QWidget *focus, const void *mergeKey)
{
    m_redo.clear();
    if (mergeKey && mergeKey == m_mergeKey && !m_undo.isEmpty())
        return;
    m_mergeKey = mergeKey;
    m_undo.append({before, focus});
    if (m_undo.size() > limit)
        m_undo.removeFirst();
}

std::optional<EditHistory::Snapshot> EditHistory::undo(const AppConfig &current, QWidget *focus)
{
    m_mergeKey = nullptr;
    if (m_undo.isEmpty())
        return std::nullopt;
    m_redo.append({current, focus});
    return m_undo.takeLast();
}

std::optional<EditHistory::Snapshot> EditHistory::redo(const AppConfig &current, QWidget *focus)
{
    m_mergeKey = nullptr;
    if (m_redo.isEmpty())
        return std::nullopt;
    m_undo.append({current, focus});
    return m_redo.takeLast();
}

void EditHistory::clear()
{
    m_undo.clear();
    m_redo.clear();
    m_mergeKey = nullptr;
}

} // namespace corvane
