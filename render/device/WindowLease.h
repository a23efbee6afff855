#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "inc/Mutex.h"
#include "platform/windows/windows.h"

/// The loan of one window to those who draw into it: one for each cell. The window's owner lends it once the X
/// server knows the window, and takes it back, waiting for the frame in progress, before the window goes. A
/// window that its toolkit recreates is lent again.
///
/// Made, lent and taken back on the owner's thread.
class CWindowLease
{
  public:
    /// For the window with that handle, of which nothing is lent yet. One lease for a handle.
    explicit CWindowLease(HWND window);
    ~CWindowLease();  // takes it back
    CWindowLease(const CWindowLease&) = delete;
    CWindowLease& operator=(const CWindowLease&) = delete;

    /// `systemWindow`: the X11 window, which the server knows and keeps until TakeBack. Another window
    /// that is still lent is taken back first; the same one stays lent.
    void Lend(std::uintptr_t systemWindow);
    /// When it returns no frame uses the window and none will. Waits for one frame at the most, which waits for
    /// nobody.
    void TakeBack();

    /// Whether some lease stands for that handle; without one its window has gone for good. Any thread.
    static bool Stands(HWND window);

    struct Loan;

  private:
    const HWND m_hWindow;
    const std::shared_ptr<Loan> m_pLoan;
    CThreadMark m_OwnersThread;
};

/// Keeps a lent window from going while one frame is drawn into it. Any thread; asks no other thread.
class CWindowHold
{
  public:
    explicit CWindowHold(HWND window);
    CWindowHold(const CWindowHold&) = delete;
    CWindowHold& operator=(const CWindowHold&) = delete;

    /// The X11 window; 0 when none is lent.
    std::uintptr_t GetWindow() const { return m_Window; }
    /// Another number for each lending of any window, so that a window is not mistaken for a former one.
    std::uint64_t GetNumber() const { return m_Number; }

  private:
    std::shared_ptr<CWindowLease::Loan> m_pLoan;
    std::unique_lock<CMutex> m_Frame;
    std::uintptr_t m_Window = 0;
    std::uint64_t m_Number = 0;
};
