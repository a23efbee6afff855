#pragma once

#include <vector>

#include "platform/windows.h"

// The pool of the grid's cells: process-wide, as there is one grid. The grid fills it and places what is in it;
// the panels take cells for the streams that they open, and link threads give theirs back. Every operation may
// come from any thread; no window is touched while the pool's own lock is held.

/// One cell of the grid.
struct CRenderSub {
    bool m_bUsed = false;      // a stream has been assigned to this cell
    HWND m_hWnd = HWND::Null;  // the cell window
};

/// The first free cell's window, which is in use from now on; HWND::Null when all are.
HWND TakeFreeCell();

/// Gives a cell back and lets its window repaint. A window that is no cell's changes nothing.
void ReleaseCell(HWND window);

/// Appends a free cell. For the grid's start.
void AddCell(HWND window);

/// Empties the pool. For the grid's end; cells that streams still hold may be given back later without harm.
void RemoveAllCells();

/// The cells as they stand now, in order.
std::vector<CRenderSub> GetCells();
