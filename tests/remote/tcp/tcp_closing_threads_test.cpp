// A device that is closed, destroyed or let go while its stream flows, is silent or stands still in mid-frame.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "model/tree/Folder.h"
#include "platform/windows/windows.h"
#include "render/CellPool.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/remote/tcp/tcp_support.h"

namespace
{

using testing::IsEmpty;

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;

class TcpClosing : public CTcpTest
{
  protected:
    static Milliseconds TimeClose(CTcpRemote& device)
    {
        const auto begun = std::chrono::steady_clock::now();
        device.Close();
        return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begun);
    }
    // Opens and closes until a Close is shorter than that, a few times, since a busy machine lengthens some:
    // the shortest. `feed` is what the peer does all the while.
    Milliseconds ShortestClose(Milliseconds limit, const std::function<void()>& feed)
    {
        const auto device = MakeDevice();
        Milliseconds shortest = Milliseconds::max();
        for (int i = 0; i < 4 && shortest >= limit; ++i) {
            OpenAndReply(*device);
            const std::uint64_t before = device->GetCounters().datagrams;
            m_Peer.SendFrame(1, "");
            EXPECT_TRUE(WaitUntil([&] { return device->GetCounters().datagrams > before; }));
            std::this_thread::sleep_for(50ms);  // until the link waits again
            const auto state = device->GetState();
            std::atomic<bool> closed = false;
            std::thread peer([&] {
                while (!closed) {
                    feed();
                    std::this_thread::sleep_for(5ms);
                }
            });
            shortest = std::min(shortest, TimeClose(*device));
            closed = true;
            peer.join();
            EXPECT_EQ(device->GetState(), state) << "the thread was left behind";
        }
        return shortest;
    }
};

TEST_F(TcpClosing, StreamThatFlowsEndsAtOnce)
{
    EXPECT_LT(ShortestClose(200ms, [this] { m_Peer.SendFrame(1, ""); }), 200ms);
}

TEST_F(TcpClosing, StreamThatIsSilentEndsWithinASecond)
{
    EXPECT_EQ(LINK_WAIT_MS, 1000);
    // With some time for the end of its thread.
    EXPECT_LT(ShortestClose(1500ms, [] {}), 1500ms);
}

// The peer stops in mid-frame: Close gives up after its wait, and the next Open ends the thread that was left
// behind.
TEST_F(TcpClosing, ThreadHeldInMidFrameIsLeftBehindAndDisturbsNothing)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    AddCell(static_cast<HWND>(72));
    const auto device = MakeDevice();
    device->SetRenderWnd(TakeFreeCell());
    OpenAndReply(*device);
    SendAndWait(0, 1);
    m_Peer.SendBytes(Words({1000, 0}));
    ASSERT_TRUE(m_Peer.WaitUntilRead());
    device->SnapShot();
    EXPECT_GE(TimeClose(*device), 2990ms);
    EXPECT_EQ(CTcpRemote::CLOSE_WAIT_MS, 3000U);
    EXPECT_EQ(device->GetState()->GetName(), "cam1");
    EXPECT_EQ(device->GetState()->m_nFlags, FLAG_SNAPSHOT)
        << "a request outlives the link that did not come to it";
    EXPECT_EQ(device->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(device->GetRenderWnd(), HWND::Null);
    EXPECT_TRUE(IsCellUsed(static_cast<HWND>(71))) << "still the late thread's";
    device->SetRenderWnd(TakeFreeCell());
    device->Open();
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    EXPECT_TRUE(IsCellUsed(static_cast<HWND>(72)));
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    SendAndWait(0, 5);
    device->Close();
    RemoveAllCells();
}

TEST_F(TcpClosing, OpenEndsTheThreadThatWasLeftBehindThoughTheDeviceIsNotReached)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    const auto device = MakeDevice();
    device->SetRenderWnd(TakeFreeCell());
    OpenAndReply(*device);
    m_Peer.SendBytes(Words({1000, 0}));
    ASSERT_TRUE(m_Peer.WaitUntilRead());
    device->Close();
    EXPECT_TRUE(IsCellUsed(static_cast<HWND>(71)));
    device->m_strNetAddress = "127.63.255.253";
    device->Open();
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    EXPECT_TRUE(m_Peer.ClientIsGone());
    device->Close();
    RemoveAllCells();
}

TEST_F(TcpClosing, DestructionEndsALinkThatWaitsInMidFrame)
{
    auto device = MakeDevice();
    OpenAndReply(*device);
    m_Peer.SendBytes(Words({1000, 0}));
    ASSERT_TRUE(m_Peer.WaitUntilRead());
    m_pDevice = nullptr;
    device.reset();
    EXPECT_EQ(m_Events.CountOf("destroy"), 1U);
}

/// Sends a message to a window when a stream ends.
class CTellingRender final : public CNotingRender
{
  public:
    CTellingRender(CEvents& events, HWND window) : CNotingRender(events), m_hWindow(window) {}
    std::int32_t DisplayClient(const CodecFrame*, CSurface*, HWND) override { return 0; }
    void DestroySurface(CSurface* surface) override
    {
        SendMessageA(m_hWindow, 0x7EA, 0, 0);
        CNotingRender::DestroySurface(surface);
    }

  private:
    const HWND m_hWindow;
};

TEST_F(TcpClosing, WalkWhileADestructionWaitsMeetsNoDevice)
{
    CFolder folder;
    std::int32_t met = -1;
    const HWND window = RegisterWindow([&](std::uint32_t, WPARAM, LPARAM) -> LRESULT {
        met = folder.GetCount();
        return 1;
    });
    SetRenderFactory([&] { return std::make_unique<CTellingRender>(m_Events, window); });
    auto device = MakeDevice();
    OpenAndReply(*device);
    folder.Add(device.get(), nullptr);
    m_pDevice = nullptr;
    device.reset();
    EXPECT_EQ(met, 0);
    UnregisterWindow(window);
}

TEST_F(TcpClosing, ReleaseEndsALinkThatWaitsInMidFrame)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    m_Peer.SendBytes(Words({1000, 0}));
    ASSERT_TRUE(m_Peer.WaitUntilRead());
    device->LetGo();
    EXPECT_TRUE(m_Events.WaitFor("destroy"));
    device->Close();
}

// The peer stops in mid-frame, and the rest of that frame comes behind Close: what was asked for waits for the
// next link, and nothing more is recorded.
class TcpLateFrame : public CTcpTest
{
  protected:
    void CloseInMidFrame(CTcpRemote& device, const std::function<void()>& ask)
    {
        const std::string frame = Words({static_cast<std::int32_t>(m_Stream[5].size()) + 8, 0}) +
                                  std::string(m_Stream[5].begin(), m_Stream[5].end());
        const auto half = std::string_view(frame).substr(0, frame.size() / 2);
        m_Peer.SendBytes(half);
        ASSERT_TRUE(m_Peer.WaitUntilRead());
        ask();
        device.Close();
        const std::uint32_t asked = device.GetState()->m_nFlags;
        m_Peer.SendBytes(std::string_view(frame).substr(half.size()));
        ASSERT_TRUE(m_Events.WaitFor("destroy"));
        EXPECT_EQ(device.GetState()->m_nFlags, asked);
    }
};

TEST_F(TcpLateFrame, ServesNoRequest)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    CloseInMidFrame(*device, [&] {
        device->SnapShot();
        device->StartRecord(0);
    });
    EXPECT_EQ(device->GetState()->m_nFlags, FLAG_SNAPSHOT | FLAG_START_RECORD);
    EXPECT_EQ(m_Events.CountOf("snapshot"), 0U);
    EXPECT_THAT(Recordings(), IsEmpty());
}

TEST_F(TcpLateFrame, IsNotRecorded)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    CloseInMidFrame(*device, [] {});
    ASSERT_EQ(Recordings().size(), 1U);
    EXPECT_EQ(ReadAvi(Recordings().front()).size(), 5U);
}

}  // namespace
