#include "render/CellPool.h"

#include <algorithm>
#include <mutex>

namespace
{

struct XCellPool {
    std::mutex m_cs;                  // a leaf lock
    std::vector<CRenderSub> m_Cells;  // guarded by m_cs; a few dozen at most, searched in order
};

XCellPool& Pool()
{
    // Never destroyed: link threads give cells back until the process ends.
    static auto& pool = *new XCellPool;
    return pool;
}

}  // namespace

HWND TakeFreeCell()
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    const auto cell = std::ranges::find(pool.m_Cells, false, &CRenderSub::m_bUsed);
    if (cell == pool.m_Cells.end()) return HWND::Null;
    cell->m_bUsed = true;
    return cell->m_hWnd;
}

void ReleaseCell(HWND window)
{
    auto& pool = Pool();
    {
        const std::lock_guard lock(pool.m_cs);
        const auto cell = std::ranges::find(pool.m_Cells, window, &CRenderSub::m_hWnd);
        if (cell == pool.m_Cells.end()) return;
        cell->m_bUsed = false;
        cell->m_bShown = false;
    }
    PostMessageA(window, CELL_MESSAGE_CHANGED, 0, 0);
}

bool IsCellUsed(HWND window)
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    const auto cell = std::ranges::find(pool.m_Cells, window, &CRenderSub::m_hWnd);
    return cell != pool.m_Cells.end() && cell->m_bUsed;
}

bool IsCellShown(HWND window)
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    const auto cell = std::ranges::find(pool.m_Cells, window, &CRenderSub::m_hWnd);
    return cell != pool.m_Cells.end() && cell->m_bShown;
}

void NoteCellShown(HWND window)
{
    auto& pool = Pool();
    {
        const std::lock_guard lock(pool.m_cs);
        const auto cell = std::ranges::find(pool.m_Cells, window, &CRenderSub::m_hWnd);
        if (cell == pool.m_Cells.end() || !cell->m_bUsed || cell->m_bShown) return;
        cell->m_bShown = true;
    }
    PostMessageA(window, CELL_MESSAGE_CHANGED, 0, 0);
}

void AddCell(HWND window)
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    pool.m_Cells.push_back({false, window, false});
}

void RemoveCell(HWND window)
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    std::erase_if(pool.m_Cells, [window](const CRenderSub& cell) { return cell.m_hWnd == window; });
}

void RemoveAllCells()
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    pool.m_Cells.clear();
}

std::vector<CRenderSub> GetCells()
{
    auto& pool = Pool();
    const std::lock_guard lock(pool.m_cs);
    return pool.m_Cells;
}
