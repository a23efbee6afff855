#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "platform/windows/windows.h"

/// The window operations by widgets. Calls from other threads than the panels' cross to it as messages sent to
/// a window of its own, so that they are served wherever sent messages are. All lengths are device-independent
/// pixels. It has to stand to process end: a thread may be on its way in when it is stopped.
class CWindowBackend final : public IWindowBackend
{
  public:
    CWindowBackend() = default;
    CWindowBackend(const CWindowBackend&) = delete;
    CWindowBackend& operator=(const CWindowBackend&) = delete;

    /// On the panels' thread, both. While it is stopped every call answers false, or IDOK.
    void Start();
    void Stop();

    bool SetWindowPos(HWND window, const RECT& rect) override;
    std::int32_t MessageBoxA(HWND owner, std::string_view text, std::string_view caption,
                             std::uint32_t type) override;
    void ServeUntil(const std::function<bool()>& ended) override;

  private:
    /// Runs `work` on the panels' thread and waits for it. 0 when that thread takes no more messages.
    LRESULT OnPanelsThread(const std::function<LRESULT()>& work) const;

    std::atomic<HWND> m_hCrossing{HWND::Null};
    std::atomic<std::thread::id> m_PanelsThread;
};
