#pragma once

#include <functional>
#include <thread>

#include "platform/windows/windows.h"

/// The window operations by widgets. Made and destroyed on the panels' thread; calls from other threads cross
/// to it as messages sent to a window of its own, so that they are served wherever sent messages are. All
/// lengths are device-independent pixels.
class CWindowBackend final : public IWindowBackend
{
  public:
    CWindowBackend();
    ~CWindowBackend() override;
    CWindowBackend(const CWindowBackend&) = delete;
    CWindowBackend& operator=(const CWindowBackend&) = delete;

    bool SetWindowPos(HWND window, const RECT& rect) override;
    std::int32_t MessageBoxA(HWND owner, std::string_view text, std::string_view caption,
                             std::uint32_t type) override;
    void ServeUntil(const std::function<bool()>& ended) override;

  private:
    /// Runs `work` on the panels' thread and waits for it. 0 when that thread takes no more messages.
    LRESULT OnPanelsThread(const std::function<LRESULT()>& work) const;

    HWND m_hCrossing;
    const std::thread::id m_PanelsThread = std::this_thread::get_id();
};
