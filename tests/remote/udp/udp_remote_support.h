#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <new>
#include <thread>

#include "codec/codec.h"
#include "codec/decoder.h"
#include "model/NodeModel.h"
#include "model/tree/Observer.h"
#include "platform/os/paths.h"
#include "remote/UdpRemote.h"
#include "render/CellPool.h"
#include "render/Render.h"
#include "tests/remote/udp/udp_support.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/test_folder.h"

/// Holds threads until it is opened, and stays open.
class CGate
{
  public:
    ~CGate() { Open(); }
    void Open()
    {
        const std::lock_guard lock(m_cs);
        m_bOpen = true;
        m_Changed.notify_all();
    }
    void Pass()
    {
        std::unique_lock lock(m_cs);
        ++m_iArrived;
        m_Changed.wait(lock, [this] { return m_bOpen; });
    }
    int Arrived()
    {
        const std::lock_guard lock(m_cs);
        return m_iArrived;
    }

  private:
    std::mutex m_cs;
    std::condition_variable m_Changed;
    bool m_bOpen = false;
    int m_iArrived = 0;
};

/// What the renderer was asked for, shared by all renderers of a test.
struct RenderLog {
    std::mutex lock;
    std::vector<std::pair<std::int32_t, std::int32_t>> created;
    std::vector<HWND> shown;
    std::vector<std::chrono::steady_clock::time_point> before;  // until when each of these might have waited
    TestPicture last;
    int surfaces = 0;                    // alive
    std::function<void()> onCreate;      // called in CreateSurface, under m_cs
    CGate* gate = nullptr;               // each picture has to pass it
    EShowing showing = EShowing::Shown;  // what becomes of the pictures
};

class CLoggingRender final : public CRender
{
  public:
    explicit CLoggingRender(RenderLog& log) : m_Log(log) {}
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override
    {
        CGate* gate = nullptr;
        {
            const std::lock_guard lock(m_Log.lock);
            gate = m_Log.gate;
        }
        if (gate != nullptr) gate->Pass();
        const std::lock_guard lock(m_Log.lock);
        EXPECT_NE(surface, nullptr);
        if (std::chrono::steady_clock::now() >= surface->m_ShowBefore) {
            surface->m_Showing = EShowing::TooLate;
            return 0;
        }
        m_Log.shown.push_back(window);
        m_Log.before.push_back(surface->m_ShowBefore);
        surface->m_Showing = m_Log.showing;
        if (frame->data[0] != nullptr) m_Log.last = CopyPicture(*frame);
        return 0;
    }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        const std::lock_guard lock(m_Log.lock);
        m_Log.created.emplace_back(width, height);
        if (m_Log.onCreate) m_Log.onCreate();
        ++m_Log.surfaces;
        return new CSurface(width, height);
    }
    void DestroySurface(CSurface* surface) override
    {
        const std::lock_guard lock(m_Log.lock);
        --m_Log.surfaces;
        delete surface;
    }
    std::int32_t SaveSnapshot(std::string, CSurface*) override { return 0; }

  private:
    RenderLog& m_Log;
};

class CTellingObserver final : public CObserver
{
  public:
    CTellingObserver() { AttachObserver(this); }
    ~CTellingObserver() override { DetachObserver(this); }
    void Update(CNode*, std::string message) override
    {
        const std::lock_guard lock(m_cs);
        m_Messages.push_back(message);
    }
    std::vector<std::string> Messages()
    {
        const std::lock_guard lock(m_cs);
        return m_Messages;
    }

  private:
    std::mutex m_cs;
    std::vector<std::string> m_Messages;
};

inline constexpr HWND CELL{31};

/// Waits fast, and tells a time that the test moves on.
class CShiftedClock final : public IClock
{
  public:
    std::uint32_t TickCount() override { return m_dwTick += m_ulStepMs; }
    void Sleep(std::uint32_t ms) override { m_Fast.Sleep(ms); }
    std::uint32_t SinceStamp(const timespec& stamp) override
    {
        return stamp.tv_sec == 0 ? 0U : m_ulWaitedMs.load();
    }
    void Advance(std::uint32_t ms) { m_dwTick += ms; }
    /// How much time passes before each look from now on.
    void SetStep(std::uint32_t ms) { m_ulStepMs = ms; }
    /// How long datagrams that come from now on have waited in the socket's buffer.
    void SetWaited(std::uint32_t ms) { m_ulWaitedMs = ms; }

  private:
    CFastClock m_Fast{10};
    std::atomic<std::uint32_t> m_dwTick{0xFFFFFF00};  // wraps on the way
    std::atomic<std::uint32_t> m_ulStepMs{0};
    std::atomic<std::uint32_t> m_ulWaitedMs{0};
};

/// A channel of the machine "4711", whose session is started, and a renderer that keeps account.
class UdpRemoteTest : public testing::Test
{
  protected:
    explicit UdpRemoteTest(bool shared = false) : m_pSession(std::make_shared<CP2PSession>(Options(shared)))
    {
        SetModuleDirectory(m_Folder.System());
        SetRenderFactory([this] { return std::make_unique<CLoggingRender>(m_Log); });
        AddCell(CELL);
        EXPECT_EQ(TakeFreeCell(), CELL);
        m_pSession->Start("12345");
        m_pChannel = MakeChannel(0);
        m_pChannel->SetRenderWnd(CELL);
    }
    ~UdpRemoteTest() override
    {
        m_pChannel.reset();
        EXPECT_EQ(m_Log.surfaces, 0);
        ReleaseRender();
        SetRenderFactory({});
        RemoveAllCells();
        CNodeModel::DestroyInstance();
        SetModuleDirectory("");
    }

    /// A session on the test's clock. Without shared receiving no request is ever repeated, however soon.
    SessionOptions Options(bool shared)
    {
        SessionOptions options = m_Machine.Options(shared);
        options.p2p.clock = &m_Clock;
        if (!shared) options.requestRepeatMs = 1;
        return options;
    }

    std::unique_ptr<CUdpRemote> MakeChannel(std::int32_t number)
    {
        auto channel = std::make_unique<CUdpRemote>(4711, m_pSession, "user", "secret");
        channel->m_iDevID = number;
        return channel;
    }

    /// Opens the channel and waits until its link has asked for the stream.
    void OpenAndWait(CUdpRemote& channel)
    {
        const auto requests = m_Machine.Requests();
        const auto before = std::count(requests.begin(), requests.end(), channel.m_iDevID);
        channel.Open();
        ASSERT_TRUE(m_Machine.WaitForRequest(channel.m_iDevID, static_cast<std::size_t>(before) + 1));
    }

    void SendPicture(std::int32_t channel, std::size_t number)
    {
        m_Machine.SendMessage(MakeUdpMessage(channel, 1, m_Stream[number % m_Stream.size()]));
    }

    bool WaitForShown(std::uint64_t count)
    {
        return WaitUntil([&] { return m_pChannel->GetCounters().shown >= count; });
    }
    bool IsCellFree() const { return !GetCells().empty() && !GetCells()[0].m_bUsed; }

    CTestFolder m_Folder;
    RenderLog m_Log;
    CTellingObserver m_Observer;
    CScriptedMachine m_Machine{"4711"};
    CShiftedClock m_Clock;
    std::shared_ptr<CP2PSession> m_pSession;
    std::unique_ptr<CUdpRemote> m_pChannel;
    const std::vector<Mpeg4Packet> m_Stream = EncodeMpeg4({});
};

/// A channel whose link thread stands in the renderer, where nothing wakes it.
class UdpHeldRemoteTest : public UdpRemoteTest
{
  protected:
    UdpHeldRemoteTest()
    {
        m_Log.gate = &m_Gate;
        OpenAndWait(*m_pChannel);
        SendPicture(0, 0);
        EXPECT_TRUE(WaitUntil([&] { return m_Gate.Arrived() == 1; }));
        m_pChannel->SetCloseWait(50);
    }
    ~UdpHeldRemoteTest() override { m_Gate.Open(); }

    CGate m_Gate;
};

class UdpSharedRemoteTest : public UdpRemoteTest
{
  protected:
    UdpSharedRemoteTest() : UdpRemoteTest(true) {}
};
