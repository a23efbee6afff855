#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "model/tree/Observer.h"
#include "platform/os/clock.h"
#include "remote/TcpRemote.h"
#include "render/Render.h"
#include "tests/model/model_support.h"
#include "tests/remote/tcp/socket_pair_support.h"
#include "tests/support/mpeg4_streams.h"

/// A device's stream port on a loopback address of the test's own. One client at a time.
class CStreamPeer
{
  public:
    CStreamPeer() : m_Listen(10061) {}
    ~CStreamPeer() { HangUp(); }
    CStreamPeer(const CStreamPeer&) = delete;
    CStreamPeer& operator=(const CStreamPeer&) = delete;

    const std::string& Address() const { return m_Listen.Address(); }
    /// Takes the next client and returns the words of its request; empty when none came for 10 s.
    std::vector<std::int32_t> Accept();
    /// Takes the next client, reads its request and answers with a size.
    bool AcceptAndReply(std::int32_t width = 176, std::int32_t height = 144);
    void SendReply(std::int32_t type, std::int32_t width, std::int32_t height);
    /// A frame of the stream.
    void SendFrame(std::int32_t type, std::string_view payload);
    void SendVideo(const Mpeg4Packet& packet);
    void SendBytes(std::string_view bytes) const;
    /// Waits until the client has read all that was sent; false after 10 s.
    bool WaitUntilRead() const;
    /// Whether the client has closed; waits for that.
    bool ClientIsGone();
    void HangUp();
    /// Whether a client stands before the door.
    bool HasCaller() const { return m_Listen.HasCaller(); }

  private:
    CControlPeer m_Listen;
    SOCKET m_hClient = -1;
};

/// Little-endian words.
std::string Words(const std::vector<std::int32_t>& words);

/// What the renderer and the observers saw, in order: "create 176x144", "show 3", "snapshot <path>", "destroy",
/// "tell <text>". Any thread.
class CEvents
{
  public:
    void Add(const std::string& event);
    /// Waits for that many events of this text; false after 10 s.
    bool WaitFor(const std::string& event, std::size_t count = 1);
    std::size_t CountOf(const std::string& event) const;
    std::vector<std::string> All() const;

  private:
    mutable std::mutex m_cs;
    std::condition_variable m_Changed;
    std::vector<std::string> m_Events;  // guarded by m_cs
};

/// Notes what it is asked for; what becomes of pictures is a derived class's.
class CNotingRender : public CRender
{
  public:
    explicit CNotingRender(CEvents& events) : m_Events(events) {}
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override;
    void DestroySurface(CSurface* surface) override;
    std::int32_t SaveSnapshot(std::string path, CSurface* surface) override;

  protected:
    CEvents& m_Events;
};

/// A clock that stands until it is set.
class CHandClock final : public IClock
{
  public:
    std::uint32_t TickCount() override { return m_ulNow; }
    void Sleep(std::uint32_t /*ms*/) override {}
    void Set(std::uint32_t ms) { m_ulNow = ms; }

  private:
    std::atomic<std::uint32_t> m_ulNow{0};
};

/// A device over a scripted peer, a renderer and an observer that note what they are asked for, and a module
/// directory of the test's own with no directory server.
class CTcpTest : public CModelTest, private CObserver
{
  protected:
    CTcpTest();
    ~CTcpTest() override;

    /// A device on the peer's address, with a hand-driven clock for its recordings.
    std::unique_ptr<CTcpRemote> MakeDevice(std::int32_t mode = MODE_LIVE_MPEG4, std::int32_t record = -1);
    /// Opens the device and takes its call.
    void OpenAndReply(CTcpRemote& device);
    /// Sends pictures [first, last) and waits until the last of them was shown.
    void SendAndWait(std::size_t first, std::size_t last);
    std::size_t Shown() const { return m_Events.CountOf("show"); }
    /// Recordings below the record path, oldest first, as paths of this machine.
    std::vector<std::string> Recordings() const;
    /// Payload of each packet of an AVI file.
    static std::vector<std::vector<std::uint8_t>> ReadAvi(const std::string& path);

    CEvents m_Events;
    std::atomic<EShowing> m_Showing = EShowing::Shown;  // what becomes of a picture
    CHandClock m_Clock;
    CStreamPeer m_Peer;
    // Every fifth one is a key picture.
    const std::vector<Mpeg4Packet> m_Stream =
        EncodeMpeg4({.width = 176, .height = 144, .frames = 20, .gop = 5});
    const CDevice* m_pDevice = nullptr;  // of the last MakeDevice

  private:
    void Update(CNode* node, std::string message) override;
};
