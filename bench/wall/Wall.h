#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "render/device/SurfaceDevice.h"
#include "tests/links/recorder_support.h"

class CDevices;
class CUdpRemote;
class CUdpRemoteStation;

/// The client of a wall without its panels: a station of the recorder with its channels, and the default
/// renderer over a device of the caller's, all as the control builds them, with shared receiving and the
/// standard's chroma vectors. One wall at a time; one thread.
class CBenchWall
{
  public:
    static constexpr int CHANNEL_LIMIT = 16;

    /// Opens the renderer and logs on. `windows` has one for each channel that will be opened.
    CBenchWall(const CRecorderProcess& recorder, std::shared_ptr<ISurfaceAdapter> adapter,
               std::vector<HWND> windows);
    /// Closes what is open and releases the renderer.
    ~CBenchWall();
    CBenchWall(const CBenchWall&) = delete;
    CBenchWall& operator=(const CBenchWall&) = delete;

    int Count() const { return static_cast<int>(m_Windows.size()); }
    void Open(int channelNumber);
    void OpenAll();
    void Close(int channel);
    /// Waits until each channel has shown a picture since it was opened last; throws when one does not.
    void WaitForPictures();

    /// Pictures that were shown since the start.
    std::uint64_t Shown() const;
    std::uint64_t Shown(int channel) const;
    /// Milliseconds from the channel's last opening to its first picture on the screen.
    double FirstPictureMs(int channel) const;
    /// Pictures and messages that were lost or refused, and presentations that failed.
    std::uint64_t Lost() const;

    /// From now on keeps for each picture how long after the arrival of its last datagram it was shown; needs
    /// the arrival tap.
    void KeepAges() { m_bKeepAges = true; }
    /// Those ages in milliseconds. After the channels are closed.
    std::vector<double> TakeAges();

  private:
    struct WallChannel {
        CUdpRemote* device = nullptr;
        std::atomic<std::uint64_t> shown{0};
        std::atomic<std::uint64_t> failed{0};
        std::uint64_t shownAtOpen = 0;
        std::atomic<double> opened{0};
        std::atomic<double> first{-1};
        std::vector<double> ages;  // its link thread only, while that runs
    };

    void OnPresented(HWND window, bool shown);

    const std::vector<HWND> m_Windows;
    std::array<WallChannel, CHANNEL_LIMIT> m_Channels;
    std::atomic<bool> m_bKeepAges{false};
    std::unique_ptr<CUdpRemoteStation> m_pStation;
    std::unique_ptr<CDevices> m_pDevices;
};
