#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "inc/Mutex.h"
#include "platform/os/clock.h"
#include "platform/os/socket_calls.h"
#include "remote/DeviceState.h"
#include "remote/LinkThreads.h"
#include "remote/link/LinkPicture.h"
#include "remote/p2p/LinkCounters.h"
#include "remote/tcp/Rollover.h"

/// The port on which a device streams.
inline constexpr std::uint16_t DATA_PORT = 10061;

/// What a link asks of the far side.
inline constexpr std::int32_t MODE_LIVE_MPEG4 = 0;
inline constexpr std::int32_t MODE_QUERY = 1;
inline constexpr std::int32_t MODE_PLAYBACK = 2;
inline constexpr std::int32_t MODE_LIVE_H264 = 3;

/// The longest frame of a stream.
inline constexpr std::int32_t LINK_FRAME_LIMIT = 262144;

/// How long a link waits for a frame before it looks whether it is to end, milliseconds.
inline constexpr int LINK_WAIT_MS = 1000;

struct TcpLinkSetup {
    std::int32_t mode = MODE_LIVE_H264;
    std::int32_t record = -1;   // the record to play, in MODE_PLAYBACK
    std::int32_t channel = -1;  // the device's
    bool canRecord = true;      // the device's answer; where it is false, requests to record are cleared
    IClock* clock = &SystemClock();
    std::uint32_t rolloverMs = ROLLOVER_MS;  // the length of a recording's files
};

/// One run of a device's direct link, over a connected socket that it owns: asks for the stream, decodes,
/// records and draws what arrives, one frame after the other without a queue, and serves the request bits of
/// the device's state between two frames. Ends when m_bRunning of the state is clear, when the peer ends or
/// breaks the stream, or by Cancel. The device's status stays as it is then.
class CTcpLink final : public ILink
{
  public:
    CTcpLink(std::shared_ptr<CDeviceState> state, std::shared_ptr<CLinkCounters> counters, SOCKET socket,
             const TcpLinkSetup& setup);
    ~CTcpLink() override;
    CTcpLink(const CTcpLink&) = delete;
    CTcpLink& operator=(const CTcpLink&) = delete;

    void Run() override;
    void Cancel() override;

  private:
    // A payload is decoded and recorded with so many zero bytes after it.
    static constexpr std::int32_t TRAILING_BYTES = 8;
    // The header of a frame of the stream: length and type.
    static constexpr std::int32_t HEADER_BYTES = 8;

    void Receive();
    bool Logon();
    bool OpenPicture();
    bool TakeFrame();
    void ServeFlags();
    void TakeSnapshot();
    void StopRecord();
    void StartRecord();
    void Show(std::int32_t length);
    void FlushRecording();
    void CleanUp();
    void CloseSocket();

    // set in the constructor, constant afterwards
    const std::shared_ptr<CDeviceState> m_pState;
    const std::shared_ptr<CLinkCounters> m_pCounters;
    const SOCKET m_socket;
    const TcpLinkSetup m_Setup;
    // any thread
    std::atomic<bool> m_bCancel{false};
    CMutex m_csSocket;  // a leaf lock, so that Cancel meets no other socket of the number of a closed one
    bool m_bSocketOpen GUARDED_BY(m_csSocket) = true;
    // link thread only
    std::int32_t m_iCodec = 0;
    std::int32_t m_iWidth = 0;
    std::int32_t m_iHeight = 0;
    std::int32_t m_iThirdValue = 0;  // of the reply; nothing reads it
    CLinkPicture m_Picture;
    std::array<std::uint8_t, LINK_FRAME_LIMIT + TRAILING_BYTES + 64> m_Buffer = {};
};
