#pragma once

#include <QRect>
#include <cstdint>
#include <memory>
#include <string>

#include "tests/support/test_folder.h"

/// A real window manager on a display of a test's own, and an eye on the windows there over a connection of its
/// own. Ended with the object, and with the process.
class CWindowManager
{
  public:
    /// Returns when it takes windows; those that are asked for later are its to place.
    explicit CWindowManager(const std::string& display);
    ~CWindowManager();
    CWindowManager(const CWindowManager&) = delete;
    CWindowManager& operator=(const CWindowManager&) = delete;

    /// The one that the test program began with.
    static CWindowManager& Get();

    /// It hears of nothing until Continue, as one on a machine that is busy.
    void Stop();
    void Continue();
    /// Returns when it has done what the server has told it so far.
    void Sync() const;

    // What a task bar, a pager or a script asks it for.
    void Close(std::uintptr_t window) const;
    void Minimise(std::uintptr_t window) const;
    void Activate(std::uintptr_t window) const;
    void Move(std::uintptr_t window, const QPoint& place) const;

    /// Where the server has the window on the screen, without a frame; empty for one that isn't shown.
    QRect PlaceOf(std::uintptr_t window) const;
    /// Whether keys go to it.
    bool HasKeyboard(std::uintptr_t window) const;

  private:
    struct State;
    void Ask(const char* type, std::uintptr_t window, std::uint32_t first = 0, std::uint32_t second = 0,
             std::uint32_t third = 0) const;
    bool DoesDisplayAnswer() const;
    bool WaitUntilItManages(int end) const;
    void End();

    const CTestFolder m_Folder;  // its home
    std::unique_ptr<State> m_pState;
    int m_iProcess = -1;
};
