#pragma once

#include <cstdint>
#include <vector>

#include "platform/windows/windows.h"

// The pool of the grids' cells: process-wide, also when a host holds two controls. Each grid fills it and
// places what is in it; the panels take cells of their own grid for the streams that they open, and link
// threads give theirs back. Every operation may come from any thread; no window is touched while the pool's own
// lock is held.

/// One cell of the grid.
struct CRenderSub {
    bool m_bUsed = false;       // a stream has been assigned to this cell
    HWND m_hWnd = HWND::Null;   // the cell window
    bool m_bShown = false;      // what a renderer has drawn into it since it was assigned stands there
    HWND m_hGrid = HWND::Null;  // whose cell it is
};

/// Posted to a cell window when IsCellShown of it has changed, but by ForgetCellShown.
inline constexpr std::uint32_t CELL_MESSAGE_CHANGED = 0x406;

/// The window of the first free cell of `grid` (null: of whatever grid), which is in use from now on;
/// HWND::Null when all are.
HWND TakeFreeCell(HWND grid = HWND::Null);

/// Gives a cell back and lets its window repaint later; waits for nobody. A window that is no cell's changes
/// nothing.
void ReleaseCell(HWND window);

/// Whether the cell of that window is used; false for a window that is no cell's.
bool IsCellUsed(HWND window);

/// Whether pictures are drawn into the cell, so that nothing else may paint it.
bool IsCellShown(HWND window);

/// A renderer has drawn into the window; a window that is no used cell's changes nothing.
void NoteCellShown(HWND window);

/// The window has lost what was drawn: it counts as shown from the next picture on. Called by the window
/// itself, so nothing is posted.
void ForgetCellShown(HWND window);

/// Appends a free cell of `grid`. For the grid's start.
void AddCell(HWND window, HWND grid = HWND::Null);

/// Takes a cell out. For its grid's end; a stream that still holds it may give it back later without harm.
void RemoveCell(HWND window);

/// Empties the pool, every grid's cells. For tests, which begin with none.
void RemoveAllCells();

/// The cells as they stand now, in order.
std::vector<CRenderSub> GetCells();
