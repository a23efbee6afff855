#pragma once

#include <cstdint>

// Apart from the rest, because the names of Xlib's macros stand in the toolkit's way.

struct Geometry {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const Geometry&) const = default;
};

/// A connection of its own to the display of the suite: what it does to a window, the toolkit hears of from the
/// server only.
class CServerWindows
{
  public:
    CServerWindows();
    ~CServerWindows();
    CServerWindows(const CServerWindows&) = delete;
    CServerWindows& operator=(const CServerWindows&) = delete;

    /// Returns when the server has done it.
    void Move(std::uintptr_t window, const Geometry& place) const;
    /// What a window manager does to a window that it no longer manages; one that is gone stays so.
    void PutOnScreen(std::uintptr_t window) const;
    bool IsWithin(std::uintptr_t parent, std::uintptr_t child) const;
    /// As the server has it, relative to its parent.
    Geometry Get(std::uintptr_t window) const;

  private:
    void* m_pDisplay;
};
