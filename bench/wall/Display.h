#pragma once

#include <sys/types.h>

#include <list>
#include <vector>

#include "platform/windows/windows.h"
#include "render/device/WindowLease.h"

/// A virtual frame buffer of its own, whose X server is a child process, with as many windows as a wall has
/// cells. Its display becomes the one of this process. The windows belong to the thread that made the object.
class CBenchDisplay
{
  public:
    /// Starts the server and maps `cells` windows of `width` x `height` pixels in rows of four.
    CBenchDisplay(int cells, int width, int height);
    ~CBenchDisplay();
    CBenchDisplay(const CBenchDisplay&) = delete;
    CBenchDisplay& operator=(const CBenchDisplay&) = delete;

    const std::vector<HWND>& Windows() const { return m_Windows; }
    pid_t Server() const { return m_Server; }

  private:
    pid_t m_Server = -1;
    struct _XDisplay* m_pDisplay = nullptr;
    std::vector<HWND> m_Windows;
    std::list<CWindowLease> m_Leases;
};
