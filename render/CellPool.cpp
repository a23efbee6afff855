#include "render/CellPool.h"

#include <algorithm>

#include "inc/Mutex.h"

namespace
{

struct CellPool {
    CMutex lock;                                     // a leaf lock
    std::vector<CRenderSub> cells GUARDED_BY(lock);  // a few dozen at most, searched in order
};

CellPool& Pool()
{
    // Never destroyed: link threads give cells back until the process ends.
    static auto& pool = *new CellPool;
    return pool;
}

}  // namespace

HWND TakeFreeCell(HWND grid)
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    const auto cell = std::ranges::find_if(pool.cells, [grid](const CRenderSub& free) {
        return !free.m_bUsed && (grid == HWND::Null || free.m_hGrid == grid);
    });
    if (cell == pool.cells.end()) return HWND::Null;
    cell->m_bUsed = true;
    return cell->m_hWnd;
}

void ReleaseCell(HWND window)
{
    auto& pool = Pool();
    {
        const CMutexLock lock(pool.lock);
        const auto cell = std::ranges::find(pool.cells, window, &CRenderSub::m_hWnd);
        if (cell == pool.cells.end()) return;
        cell->m_bUsed = false;
        cell->m_bShown = false;
    }
    PostMessageA(window, CELL_MESSAGE_CHANGED, 0, 0);
}

bool IsCellUsed(HWND window)
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    const auto cell = std::ranges::find(pool.cells, window, &CRenderSub::m_hWnd);
    return cell != pool.cells.end() && cell->m_bUsed;
}

bool IsCellShown(HWND window)
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    const auto cell = std::ranges::find(pool.cells, window, &CRenderSub::m_hWnd);
    return cell != pool.cells.end() && cell->m_bShown;
}

void NoteCellShown(HWND window)
{
    auto& pool = Pool();
    {
        const CMutexLock lock(pool.lock);
        const auto cell = std::ranges::find(pool.cells, window, &CRenderSub::m_hWnd);
        if (cell == pool.cells.end() || !cell->m_bUsed || cell->m_bShown) return;
        cell->m_bShown = true;
    }
    PostMessageA(window, CELL_MESSAGE_CHANGED, 0, 0);
}

void ForgetCellShown(HWND window)
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    const auto cell = std::ranges::find(pool.cells, window, &CRenderSub::m_hWnd);
    if (cell != pool.cells.end()) cell->m_bShown = false;
}

void AddCell(HWND window, HWND grid)
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    pool.cells.push_back({false, window, false, grid});
}

void RemoveCell(HWND window)
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    std::erase_if(pool.cells, [window](const CRenderSub& cell) { return cell.m_hWnd == window; });
}

void RemoveAllCells()
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    pool.cells.clear();
}

std::vector<CRenderSub> GetCells()
{
    auto& pool = Pool();
    const CMutexLock lock(pool.lock);
    return pool.cells;
}
