#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

namespace
{

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
        m_Log.shown.push_back(window);
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

constexpr HWND CELL{31};

/// Waits fast, and tells a time that the test moves on.
class CShiftedClock final : public IClock
{
  public:
    std::uint32_t TickCount() override { return m_dwTick; }
    void Sleep(std::uint32_t ms) override { m_Fast.Sleep(ms); }
    void Advance(std::uint32_t ms) { m_dwTick += ms; }

  private:
    CFastClock m_Fast{10};
    std::atomic<std::uint32_t> m_dwTick{0xFFFFFF00};  // wraps on the way
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

TEST_F(UdpRemoteTest, DecodesAndShowsWhatArrivesInTheChannelsWindow)
{
    OpenAndWait(*m_pChannel);
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    CLavcMpeg4Decoder oracle;
    for (std::size_t i = 0; i < m_Stream.size(); ++i) {
        SendPicture(0, i);
        ASSERT_TRUE(oracle.Decode(m_Stream[i]));
    }
    ASSERT_TRUE(WaitForShown(m_Stream.size()));
    EXPECT_EQ(m_Machine.Requests(), std::vector<std::int32_t>{0});
    EXPECT_EQ(m_pChannel->GetCounters().decoded, m_Stream.size());
    EXPECT_EQ(m_pChannel->GetCounters().refused, 0U);
    EXPECT_GE(m_pChannel->GetCounters().firstPictureMs, 0);
    {
        const std::lock_guard lock(m_Log.lock);
        EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{176, 144}}));
        EXPECT_TRUE(std::ranges::all_of(m_Log.shown, [](HWND window) { return window == CELL; }));
        EXPECT_GT(ComparePlane(m_Log.last, oracle.Picture(), 0).dPsnr, 30);
    }
}

TEST_F(UdpRemoteTest, StreamRequestIsTheHeaderWordAndTheChannelNumber)
{
    auto channel = MakeChannel(5);
    OpenAndWait(*channel);
    Bytes request;
    for (const Bytes& datagram : m_Machine.Peer().GetReceived())
        if (TypeOf(datagram) == P2PMSG_DATA && datagram.size() > 96)
            request.assign(datagram.begin() + 96, datagram.end());
    EXPECT_EQ(request, (Bytes{8, 0, 0, 0x45, 5, 0, 0, 0}));
}

TEST_F(UdpRemoteTest, ChannelOfNetId0ReachesThePeer0)
{
    CScriptedMachine machine("0");
    const auto session = std::make_shared<CP2PSession>(machine.Options());
    session->Start("12345");
    CUdpRemote channel(0, session, "", "");
    channel.m_iDevID = 0;
    channel.Open();
    EXPECT_TRUE(machine.WaitForRequest(0));
    ASSERT_TRUE(machine.Server().WaitFor(P2PMSG_PUNCH));
    for (const Bytes& datagram : machine.Server().GetReceived())
        if (TypeOf(datagram) == P2PMSG_PUNCH) {
            ASSERT_EQ(datagram.size(), 129U);
            EXPECT_STREQ(reinterpret_cast<const char*>(datagram.data() + 96), "0");
        }
}

TEST_F(UdpRemoteTest, CloseWhileDataFlowsEndsTheThreadAndGivesEverythingBack)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    std::atomic<bool> flowing{true};
    std::thread stream([&] {
        for (std::size_t i = 1; flowing; ++i)
            SendPicture(0, i);
    });
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    flowing = false;
    stream.join();
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    {
        const std::lock_guard lock(m_Log.lock);
        EXPECT_EQ(m_Log.surfaces, 0);
    }
    EXPECT_EQ(m_pChannel->GetState()->m_pDecoder, nullptr);
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "", "IDS_DeviceClosed"}));
}

TEST_F(UdpRemoteTest, OpenOfAnOpenChannelStartsNothingButTellsAgain)
{
    OpenAndWait(*m_pChannel);
    m_pChannel->m_bVisible = false;
    m_pChannel->Open();
    EXPECT_TRUE(m_pChannel->m_bVisible);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    EXPECT_EQ(m_Machine.Requests().size(), 1U);
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "IDS_DeviceOpened"}));
}

TEST_F(UdpRemoteTest, CloseOfAClosedChannelTellsAllTheSame)
{
    m_pChannel->Close();
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(m_Observer.Messages(), std::vector<std::string>{"IDS_DeviceClosed"});
    EXPECT_EQ(m_pChannel->GetRenderWnd(), CELL);
}

TEST_F(UdpRemoteTest, FailedConnectLetsTheStatusFallAndGivesTheCellBack)
{
    auto channel = std::make_unique<CUdpRemote>(99, m_pSession, "", "");  // a machine that nobody lists
    channel->m_iDevID = 0;
    channel->SetRenderWnd(CELL);
    channel->Open();
    ASSERT_TRUE(WaitUntil([&] { return m_Observer.Messages().size() == 2; }));
    EXPECT_EQ(channel->GetStatus(), STATUS_CLOSED);
    EXPECT_EQ(channel->GetRenderWnd(), HWND::Null);
    EXPECT_TRUE(IsCellFree());
    const auto messages = m_Observer.Messages();
    EXPECT_TRUE(std::ranges::is_permutation(messages, std::vector<std::string>{"IDS_DeviceOpened", ""}));
    channel->Open();  // and may be tried again
    channel->Close();
}

TEST_F(UdpRemoteTest, ChannelOfASessionThatDidNotStartFailsToConnect)
{
    auto channel =
        std::make_unique<CUdpRemote>(4711, std::make_shared<CP2PSession>(m_Machine.Options()), "", "");
    channel->Open();
    ASSERT_TRUE(WaitUntil([&] { return m_Observer.Messages().size() == 2; }));
    EXPECT_EQ(channel->GetStatus(), STATUS_CLOSED);
}

TEST_F(UdpRemoteTest, ChannelThatEndsShutsTheRecordDatabaseAsIntended)  // oddity: channel-end-shuts-database
{
    ASSERT_NE(CNodeModel::GetInstance(), nullptr);
    ASSERT_NE(CNodeModel::GetDatabase(), nullptr);
    auto channel = std::make_unique<CUdpRemote>(99, m_pSession, "", "");
    channel->Open();
    ASSERT_TRUE(WaitUntil([&] { return m_Observer.Messages().size() == 2; }));
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);  // it stays shut
}

TEST_F(UdpRemoteTest, CloseEndsTheWaitForASilentMachine)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->IsReceiveLockTaken(); }));
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "", "IDS_DeviceClosed"}));
}

TEST_F(UdpRemoteTest, ChannelThatIsToEndOpensNoPictureWhateverComes)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    m_pChannel->GetState()->m_bRunning = false;
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes{0, 0, 1, 0xB6, 1, 2, 3, 4}));
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_TRUE(m_Log.created.empty());
}

TEST_F(UdpRemoteTest, CloseEndsThePunchingOfAPath)
{
    m_Machine.m_bAnswersPunches = false;
    m_pChannel->Open();
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_PUNCH));
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_TRUE(IsCellFree());
    EXPECT_TRUE(m_Machine.Requests().empty());
}

TEST_F(UdpRemoteTest, CloseEndsTheWaitForTheChannelThatReceives)
{
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    auto second = MakeChannel(1);
    OpenAndWait(*second);
    second->SetCloseWait(20000);
    second->Close();
    EXPECT_EQ(m_Observer.Messages().back(), "IDS_DeviceClosed");
    EXPECT_EQ(m_Observer.Messages()[2], "");  // the thread ended before the wait for it did
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));  // and the other goes on
}

TEST_F(UdpRemoteTest, ChannelsThatAreToldTogetherEndSideBySideWhileDataFlows)
{
    std::vector<std::unique_ptr<CUdpRemote>> channels;
    for (std::int32_t i = 0; i < 16; ++i) {
        channels.push_back(MakeChannel(i));
        OpenAndWait(*channels.back());
    }
    std::atomic<bool> flowing{true};
    std::thread stream([&] {
        for (std::size_t i = 0; flowing; ++i)
            SendPicture(static_cast<std::int32_t>(i % 16), i / 16);
    });
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->GetCounters().foreign > 32; }));
    for (const auto& channel : channels)
        channel->LetGo();
    for (const auto& channel : channels)
        EXPECT_TRUE(WaitUntil([&] { return channel->GetStatus() == STATUS_CLOSED; })) << channel->m_iDevID;
    EXPECT_TRUE(WaitUntil([&] { return !m_pSession->IsReceiveLockTaken(); }));
    flowing = false;
    stream.join();
    channels.clear();
    m_pSession->Shutdown();
    EXPECT_TRUE(m_Machine.Server().WaitFor(P2PMSG_LOGOUT));
    EXPECT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_LOGOUT));
}

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

TEST_F(UdpHeldRemoteTest, ThreadThatCantBeWokenIsLeftBehindAfter3000Milliseconds)
{
    EXPECT_EQ(CUdpRemote::CLOSE_WAIT_MS, 3000U);
    EXPECT_EQ(MakeChannel(1)->GetCloseWait(), 3000U);
    m_pChannel->Close();
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_CLOSED);
    EXPECT_FALSE(IsCellFree());  // the cell is the late thread's to give back
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "IDS_DeviceClosed"}));
}

TEST_F(UdpHeldRemoteTest, DestructorWaitsForALateThread)
{
    m_pChannel->Close();
    std::thread opener([&] { m_Gate.Open(); });
    m_pChannel.reset();
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    EXPECT_EQ(m_Observer.Messages(), (std::vector<std::string>{"IDS_DeviceOpened", "IDS_DeviceClosed"}));
    opener.join();
}

TEST_F(UdpHeldRemoteTest, LateThreadEndsAndChangesNothingOfTheDevice)
{
    m_pChannel->Close();
    m_pChannel->SetRenderWnd(HWND{32});
    m_Gate.Open();
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND{32});
}

TEST_F(UdpHeldRemoteTest, ChannelOpenedAgainAfterALateThreadPlays)
{
    m_pChannel->Close();
    m_Gate.Open();
    m_pChannel->SetRenderWnd(CELL);
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(2));
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(m_pChannel->GetRenderWnd(), CELL);
}

TEST_F(UdpRemoteTest, LostReplyIsWaitedForThoughPicturesComeUntilTheChannelIsOpenedAgain)
{
    // Nobody sends a lost reply again. What comes instead doesn't fit the place of a reply and is dropped, so
    // the link stands still while datagrams flow and are acknowledged, for as long as they do.
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    for (std::uint64_t i = 1; i <= 20; ++i) {
        m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes(5000, 7)));
        ASSERT_TRUE(WaitUntil([&] { return m_pSession->GetCounters().dropped == i; }));
    }
    EXPECT_EQ(m_pSession->GetCounters().messages, 0U);
    EXPECT_EQ(m_pSession->GetCounters().datagrams, 100U);
    EXPECT_EQ(m_Machine.Requests().size(), 1U);
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    m_Machine.m_bReplies = true;
    m_pChannel->SetRenderWnd(CELL);
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));
}

TEST_F(UdpRemoteTest, SmallPicturePassesForALostReplyAsIntended)
{
    // A message that fits is the reply, whatever it is: this one's first bytes are a start code.
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes{0, 0, 1, 0xB6, 1, 2, 3, 4}));
    ASSERT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(m_Log.lock);
        return !m_Log.created.empty();
    }));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 0xB601}}));
}

TEST_F(UdpRemoteTest, DestructionOfAnOpenChannelEndsItsThread)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    m_pChannel.reset();
    EXPECT_TRUE(IsCellFree());
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
}

TEST_F(UdpRemoteTest, DestructionWhilePunchingEndsTheThread)
{
    m_Machine.m_bAnswersPunches = false;
    m_pChannel->Open();
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_PUNCH));
    m_pChannel.reset();
    EXPECT_TRUE(IsCellFree());
}

TEST_F(UdpRemoteTest, ShutdownOfTheSessionEndsTheThread)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    m_pSession->Shutdown();
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
}

TEST_F(UdpRemoteTest, RecordingAndSnapshotAreAskedForWithoutEffect)
{
    OpenAndWait(*m_pChannel);
    m_pChannel->StartRecord(0x10);
    m_pChannel->SnapShot();
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(m_pChannel->GetState()->m_nFlags, FLAG_START_RECORD | FLAG_SNAPSHOT);
}

TEST_F(UdpRemoteTest, BadVideoIsRefusedAndTheNextPictureIsShown)
{
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes(500, 0xEE)));
    m_Machine.SendMessage(MakeUdpMessage(0, 1, {}));  // no data: the header alone
    Bytes lengthless = MakeUdpMessage(0, 1, Bytes(3, 1));
    WriteLittle32(lengthless.data(), 0x40000000);  // a length of 0
    m_Machine.SendMessage(lengthless);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitUntil([&] {
        const std::lock_guard lock(m_Log.lock);
        return m_Log.last.width == 176;
    }));
    EXPECT_EQ(m_pChannel->GetCounters().messages, 4U);
}

TEST_F(UdpRemoteTest, DecoderGetsTheMessageWithoutItsHeaderWordAndNothingBehindIt)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    // Of a message without data the decoder gets no byte, not what an earlier message left: the picture is
    // shown once more.
    m_Machine.SendMessage(MakeUdpMessage(0, 1, {}));
    ASSERT_TRUE(WaitForShown(2));
    EXPECT_EQ(m_pChannel->GetCounters().refused, 0U);
}

TEST_F(UdpRemoteTest, DatagramOfOneByteDoesNoHarm)
{
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(Bytes{0});
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
}

TEST_F(UdpRemoteTest, ReplyOfSizeZeroIsTakenAsItIsAndShowsNoPicture)
{
    m_Machine.m_Width = 0;
    m_Machine.m_Height = 0;
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    const auto& counters = m_pChannel->GetCounters();
    ASSERT_TRUE(WaitUntil([&] { return counters.decoded + counters.refused == 1; }));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{0, 0}}));
    EXPECT_EQ(m_Log.last.width, 0);
}

TEST_F(UdpRemoteTest, ReplyWithASizeBeyondTheLimitLeavesTheChannelOpenAndRefusesItsPictures)
{
    CDebugText debug;
    m_Machine.m_Width = 16384;
    m_Machine.m_Height = 16384;
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    SendPicture(0, 1);
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().refused == 2; }));
    EXPECT_EQ(m_pChannel->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(m_pChannel->GetCounters().width, 16384);
    EXPECT_EQ(m_pChannel->GetCounters().decoded, 0U);
    EXPECT_EQ(m_Machine.Requests().size(), 1U);
    {
        const std::lock_guard lock(m_Log.lock);
        EXPECT_TRUE(m_Log.created.empty());
    }
    const std::string text = debug.Text();
    const auto first = text.find("16384 x 16384");
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_EQ(text.find("16384 x 16384", first + 1), std::string::npos) << text;
}

TEST_F(UdpRemoteTest, ExceptionInTheLinkThreadEndsItsChannelAloneWithALineInTheLog)
{
    CDebugText debug;
    m_Log.onCreate = [] { throw std::bad_alloc(); };
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return IsCellFree(); }));
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetStatus() == STATUS_CLOSED; }));
    EXPECT_FALSE(m_pSession->IsReceiveLockTaken());
    EXPECT_EQ(m_pChannel->GetState()->m_pDecoder, nullptr);
    EXPECT_NE(debug.Text().find("channel 1 of 4711 ends: std::bad_alloc"), std::string::npos) << debug.Text();
    {
        const std::lock_guard lock(m_Log.lock);
        m_Log.onCreate = {};
    }
    OpenAndWait(*m_pChannel);  // and may be opened again
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));
}

TEST_F(UdpRemoteTest, WithoutARendererPicturesAreDecodedAndNotShown)
{
    ReleaseRender();
    SetRenderFactory([] { return std::unique_ptr<CRender>(); });
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().decoded == 1; }));
    EXPECT_EQ(m_pChannel->GetCounters().shown, 0U);
    EXPECT_EQ(m_pChannel->GetCounters().firstPictureMs, -1);
}

// The key counts at the opening of each stream.
TEST_F(UdpRemoteTest, StandardChromaIsAsTheSettingsSayWhenTheStreamOpens)
{
    std::array<TestPicture, 2> expected;
    for (const int on : {0, 1}) {
        CMpeg4Decoder decoder(176, 144);
        decoder.SetStandardChroma(on == 1);
        const CodecFrame* frame = nullptr;
        for (const Mpeg4Packet& packet : m_Stream)
            frame = decoder.Decode(packet.data(), static_cast<std::int32_t>(packet.size()));
        ASSERT_NE(frame, nullptr);
        expected[static_cast<std::size_t>(on)] = CopyPicture(*frame);
    }
    ASSERT_NE(expected[0].Plane[1], expected[1].Plane[1]) << "a stream that shows no difference";
    for (const int on : {0, 1, 0}) {
        m_Folder.Write("config/system.ini", "[System]\nStandardChroma=" + std::to_string(on) + "\n");
        auto channel = MakeChannel(0);
        OpenAndWait(*channel);
        for (std::size_t i = 0; i < m_Stream.size(); ++i)
            SendPicture(0, i);
        ASSERT_TRUE(WaitUntil([&] { return channel->GetCounters().shown == m_Stream.size(); }));
        const std::lock_guard lock(m_Log.lock);
        for (std::size_t plane = 0; plane < 3; ++plane)
            EXPECT_EQ(m_Log.last.Plane[plane], expected[static_cast<std::size_t>(on)].Plane[plane])
                << on << plane;
    }
}

TEST_F(UdpRemoteTest, PicturesAreCountedByWhatBecameOfThem)
{
    const auto& counters = m_pChannel->GetCounters();
    OpenAndWait(*m_pChannel);
    std::uint32_t picture = 0;
    const auto send = [&](EShowing showing) {
        {
            const std::lock_guard lock(m_Log.lock);
            m_Log.showing = showing;
        }
        const std::uint64_t decoded = ++picture;
        SendPicture(0, 0);
        ASSERT_TRUE(WaitUntil([&] {
            const std::lock_guard lock(m_Log.lock);
            return m_Log.shown.size() == decoded;
        }));
    };
    for (const EShowing showing : {EShowing::WithoutCell, EShowing::NotConvertible, EShowing::NotConvertible,
                                   EShowing::Dropped, EShowing::None})
        send(showing);
    EXPECT_EQ(counters.firstPictureMs, -1);
    for (int i = 0; i < 4; ++i)
        send(EShowing::Shown);
    ASSERT_TRUE(WaitUntil([&] { return counters.shown == 4; }));
    EXPECT_EQ(counters.decoded, 9U);
    EXPECT_EQ(counters.withoutCell, 1U);
    EXPECT_EQ(counters.notConvertible, 2U);
    EXPECT_GE(counters.firstPictureMs, 0);
}

TEST_F(UdpRemoteTest, RendererThatTheGridLetGoServesTheOpenChannel)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ReleaseRender();
    SendPicture(0, 1);
    EXPECT_TRUE(WaitForShown(2));
}

/// Asks, from the link thread that tells of its end, whether any lock is held.
class CLockWatcher final : public CObserver
{
  public:
    explicit CLockWatcher(CP2PSession& session) : m_Session(session) { AttachObserver(this); }
    ~CLockWatcher() override { DetachObserver(this); }
    void Update(CNode*, std::string message) override
    {
        if (message.empty()) m_bTaken = m_Session.IsReceiveLockTaken();
    }
    std::atomic<bool> m_bTaken{true};

  private:
    CP2PSession& m_Session;
};

TEST_F(UdpRemoteTest, NoLockIsHeldWhileObserversAreTold)
{
    CLockWatcher watcher(*m_pSession);
    OpenAndWait(*m_pChannel);
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->IsReceiveLockTaken(); }));
    m_pSession->Shutdown();
    ASSERT_TRUE(WaitUntil([&] { return !watcher.m_bTaken; }));
}

TEST_F(UdpRemoteTest, OneChannelReceivesAtATimeByDefaultAsIntended)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    auto second = MakeChannel(1);
    second->SetCloseWait(50);
    OpenAndWait(*second);
    for (std::size_t i = 0; i < 5; ++i) {
        SendPicture(1, i);
        SendPicture(0, i + 1);
    }
    ASSERT_TRUE(WaitForShown(6));
    EXPECT_EQ(second->GetCounters().messages, 0U);
    EXPECT_GE(m_pSession->GetCounters().foreign, 5U);
    second->Close();
}

TEST_F(UdpRemoteTest, ThreadThatEndsHandsTheReceivingToTheNextChannel)
{
    OpenAndWait(*m_pChannel);
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    ASSERT_TRUE(WaitUntil([&] { return m_pSession->HasWaitingReader(); }));
    auto second = MakeChannel(1);
    OpenAndWait(*second);
    m_pChannel.reset();
    m_pChannel = std::move(second);
    // Its reply was the first channel's to throw away, so the next small message counts as one.
    Bytes reply(4);
    WriteLittle16(reply.data(), 176);
    WriteLittle16(reply.data() + 2, 144);
    m_Machine.SendMessage(MakeUdpMessage(1, 1, reply));
    SendPicture(1, 0);
    EXPECT_TRUE(WaitForShown(1));
}

class UdpSharedRemoteTest : public UdpRemoteTest
{
  protected:
    UdpSharedRemoteTest() : UdpRemoteTest(true) {}
};

TEST_F(UdpSharedRemoteTest, AllOpenChannelsPlayAtOnce)
{
    std::vector<std::unique_ptr<CUdpRemote>> channels;
    for (std::int32_t i = 0; i < 16; ++i) {
        channels.push_back(MakeChannel(i));
        channels.back()->Open();
    }
    for (std::int32_t i = 0; i < 16; ++i)
        ASSERT_TRUE(m_Machine.WaitForRequest(i));
    for (std::size_t picture = 0; picture < m_Stream.size(); ++picture)
        for (std::int32_t i = 0; i < 16; ++i)
            SendPicture(i, picture);
    for (const auto& channel : channels) {
        EXPECT_TRUE(WaitUntil([&] { return channel->GetCounters().shown == m_Stream.size(); }));
        EXPECT_EQ(channel->GetCounters().refused, 0U);
    }
}

TEST_F(UdpSharedRemoteTest, RequestIsRepeatedUntilAReplyComes)
{
    EXPECT_EQ(SessionOptions{}.requestRepeatMs, 3000U);
    SessionOptions options = Options(true);
    options.requestRepeatMs = 20;
    m_pSession = std::make_shared<CP2PSession>(options);
    m_pSession->Start("12345");
    m_Machine.m_bReplies = false;
    m_pChannel = MakeChannel(0);
    m_pChannel->SetRenderWnd(CELL);
    m_pChannel->Open();
    ASSERT_TRUE(m_Machine.WaitForRequest(0, 3));
    m_Machine.m_bReplies = true;
    ASSERT_TRUE(WaitUntil([&] { return m_pChannel->GetCounters().width == 176; }));
    SendPicture(0, 0);
    EXPECT_TRUE(WaitForShown(1));
}

/// A channel whose first picture stands in the renderer until the gate is opened, so that what comes grows old.
class UdpAgeTest : public UdpSharedRemoteTest
{
  protected:
    UdpAgeTest()
    {
        m_Log.gate = &m_Gate;
        OpenAndWait(*m_pChannel);
        SendPicture(0, 0);
        EXPECT_TRUE(WaitUntil([&] { return m_Gate.Arrived() == 1; }));
    }
    ~UdpAgeTest() override { m_Gate.Open(); }

    const CLinkCounters& Counters() const { return m_pChannel->GetCounters(); }

    CGate m_Gate;
};

TEST_F(UdpAgeTest, PicturesOlderThanTwoSecondsAreSkippedUpToTheNextKeyPictureAndCounted)
{
    SendPicture(0, 1);
    SendPicture(0, 0);  // a key picture, but old itself by then
    SendPicture(0, 1);
    m_Clock.Advance(2001);
    SendPicture(0, 1);  // young, but it needs one that was skipped
    SendPicture(0, 0);
    SendPicture(0, 1);
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(3));
    EXPECT_EQ(Counters().skipped, 4U);
    EXPECT_EQ(Counters().decoded, 3U);
    EXPECT_EQ(Counters().refused, 0U);
}

TEST_F(UdpAgeTest, PicturesOfTwoSecondsAreShown)
{
    for (std::size_t i = 1; i < 4; ++i)
        SendPicture(0, i);
    m_Clock.Advance(2000);
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(4));
    EXPECT_EQ(Counters().skipped, 0U);
}

TEST_F(UdpHeldRemoteTest, WithoutSharedReceivingNothingIsSkippedHoweverOld)
{
    for (std::size_t i = 1; i < 4; ++i)
        SendPicture(0, i);
    m_Clock.Advance(100000);
    m_Gate.Open();
    ASSERT_TRUE(WaitForShown(4));
    EXPECT_EQ(m_pChannel->GetCounters().skipped, 0U);
}

TEST_F(UdpSharedRemoteTest, CloseOfASilentChannelEndsItsThreadAtOnce)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    m_pChannel->SetCloseWait(20000);
    m_pChannel->Close();
    EXPECT_TRUE(IsCellFree());
}

TEST_F(UdpSharedRemoteTest, PicturesOfAnEarlierOpeningAreNotTakenForTheReply)
{
    m_Machine.m_bReplies = false;
    OpenAndWait(*m_pChannel);
    m_Machine.SendMessage(
        MakeUdpMessage(0, 1, Bytes{0, 0, 1, 0xB6, 1, 2, 3, 4}));  // a picture that still was under way
    m_Machine.SendMessage(MakeUdpMessage(0, 1, Bytes(1021, 7)));  // the rest of one, longer than any reply
    Bytes reply(4);
    WriteLittle16(reply.data(), 176);
    WriteLittle16(reply.data() + 2, 144);
    m_Machine.SendMessage(MakeUdpMessage(0, 1, reply));
    SendPicture(0, 0);
    ASSERT_TRUE(WaitForShown(1));
    const std::lock_guard lock(m_Log.lock);
    EXPECT_EQ(m_Log.created, (std::vector<std::pair<std::int32_t, std::int32_t>>{{176, 144}}));
}

TEST_F(UdpSharedRemoteTest, ChannelsOpenAndCloseManyTimes)
{
    for (int round = 0; round < 20; ++round) {
        OpenAndWait(*m_pChannel);
        if (round % 2 == 0) SendPicture(0, 0);
        m_pChannel->SetCloseWait(20000);
        m_pChannel->Close();
        EXPECT_EQ(m_pChannel->GetRenderWnd(), HWND::Null);
    }
}

}  // namespace
