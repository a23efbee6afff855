#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "record/FileNames.h"
#include "remote/Recording.h"
#include "tests/remote/tcp/tcp_support.h"
#include "tests/support/allocation_count.h"
#include "tests/support/h264_streams.h"
#include "tests/support/test_places.h"

namespace
{

using testing::IsEmpty;

constexpr std::uint32_t FIVE_MINUTES = 300000;

class TcpRecording : public CTcpTest
{
  protected:
    // What the file holds of a picture: the payload and 8 zero bytes.
    std::vector<std::uint8_t> Recorded(std::size_t i) const
    {
        std::vector<std::uint8_t> bytes = m_Stream[i];
        bytes.resize(bytes.size() + 8);
        return bytes;
    }
    void ExpectPictures(const std::string& path, std::size_t first, std::size_t last) const
    {
        const auto packets = ReadAvi(path);
        ASSERT_EQ(packets.size(), last - first) << path;
        for (std::size_t i = first; i < last; ++i)
            EXPECT_EQ(packets[i - first], Recorded(i)) << i;
    }
    // Waits until the only recording has so many pictures on the disk, and calls `meanwhile` until then.
    void AwaitOnDisk(
        std::size_t pictures, const std::function<void()>& meanwhile = [] {}) const
    {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        const auto file = Recordings().front();
        while (ReadAvi(file).size() < pictures && std::chrono::steady_clock::now() < until) {
            meanwhile();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ExpectPictures(file, 0, pictures);
    }
    // Waits until the clock's second has changed, as the names of files tell seconds apart.
    static void AwaitNextSecond()
    {
        const std::time_t begun = std::time(nullptr);
        while (std::time(nullptr) == begun)
            std::this_thread::yield();
    }
};

// size-counts-header
TEST_F(TcpRecording, HoldsThePayloadsFromTheFirstKeyPictureOnWithEightZerosAfterEach)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    SendAndWait(0, 3);
    device->StartRecord(0);
    SendAndWait(3, 12);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    device->StopRecord(0);
    SendAndWait(12, 14);
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    device->Close();
    ASSERT_EQ(Recordings().size(), 1U);
    ExpectPictures(Recordings().front(), 5, 12);
    EXPECT_EQ(m_Events.CountOf("tell IDS_RecordStarted"), 1U);
    EXPECT_EQ(m_Events.CountOf("tell IDS_RecordStopped"), 1U);
}

TEST_F(TcpRecording, LiesUnderRecordPathNameAndTime)
{
    const auto device = MakeDevice();
    device->SetName("../%s/cam");
    OpenAndReply(*device);
    device->StartRecord(0);
    const std::time_t before = std::time(nullptr);
    SendAndWait(0, 1);
    const std::time_t after = std::time(nullptr);
    device->Close();
    bool found = false;
    for (std::time_t time = before; time <= after; ++time)
        found = found || device->GetState()->m_strRecordFile == m_Folder.System("rec") + "\\.._%s_cam\\" +
                                                                    FormatTime(time, "%y-%m-%d-%H-%M-%S") +
                                                                    ".avi";
    EXPECT_TRUE(found) << device->GetState()->m_strRecordFile;
    ASSERT_EQ(Recordings().size(), 1U);
}

TEST_F(TcpRecording, PayloadThatGivesNoPictureIsNotRecorded)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    m_Peer.SendFrame(0, "no picture at all");
    m_Peer.SendFrame(1, "no media");
    SendAndWait(0, 2);
    device->StopRecord(0);
    SendAndWait(2, 3);
    device->Close();
    ExpectPictures(Recordings().front(), 0, 2);
    EXPECT_EQ(device->GetCounters().refused, 1U);
}

TEST_F(TcpRecording, RollsOverAtFiveMinutesExactlyAndNotBefore)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    m_Clock.Set(1000);
    device->StartRecord(0);
    SendAndWait(0, 5);
    m_Clock.Set(1000 + FIVE_MINUTES - 1);
    SendAndWait(5, 7);
    EXPECT_EQ(Recordings().size(), 1U);
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    AwaitNextSecond();
    m_Clock.Set(1000 + FIVE_MINUTES);
    SendAndWait(7, 8);  // the last one of the old file sets the requests
    EXPECT_EQ(device->GetState()->m_nFlags, FLAG_STOP_RECORD | FLAG_START_RECORD);
    EXPECT_EQ(device->GetState()->m_dwRecordTick, 1000 + FIVE_MINUTES);
    SendAndWait(8, 9);  // stop, then start, on one frame
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    EXPECT_EQ(Recordings().size(), 2U);
    SendAndWait(9, 15);
    device->StopRecord(0);
    SendAndWait(15, 16);
    device->Close();
    const auto files = Recordings();
    ASSERT_EQ(files.size(), 2U);
    ExpectPictures(files[0], 0, 8);
    ExpectPictures(files[1], 10, 15);  // from the next key picture on
    EXPECT_EQ(m_Events.CountOf("tell IDS_RecordStarted"), 2U);
    EXPECT_EQ(m_Events.CountOf("tell IDS_RecordStopped"), 2U);
}

TEST_F(TcpRecording, RollsOverAfterARecordedPictureOnly)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    m_Clock.Set(FIVE_MINUTES);
    m_Peer.SendFrame(1, "no media");
    m_Peer.SendFrame(0, "no picture at all");
    device->SnapShot();
    m_Peer.SendFrame(1, "");
    ASSERT_TRUE(m_Events.WaitFor("snapshot"));
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    EXPECT_EQ(device->GetState()->m_dwRecordTick, 0U);
    SendAndWait(5, 6);
    EXPECT_EQ(device->GetState()->m_nFlags, FLAG_STOP_RECORD | FLAG_START_RECORD);
    device->Close();
}

TEST_F(TcpRecording, RollsOverAtItsTimeThoughTheTickCountBeginsAnew)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    const std::uint32_t begun = 0U - 1000;
    m_Clock.Set(begun);
    device->StartRecord(0);
    SendAndWait(0, 5);
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    m_Clock.Set(begun + FIVE_MINUTES - 1);
    SendAndWait(5, 6);
    EXPECT_EQ(device->GetState()->m_nFlags, 0U);
    m_Clock.Set(begun + FIVE_MINUTES);
    SendAndWait(6, 7);
    EXPECT_EQ(device->GetState()->m_nFlags, FLAG_STOP_RECORD | FLAG_START_RECORD);
    device->Close();
}

TEST_F(TcpRecording, RollsOverForRealAfterItsPeriod)
{
    const auto device = MakeDevice();
    device->GetSetup().clock = &SystemClock();
    device->GetSetup().rolloverMs = 3000;
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    const std::uint32_t begun = SystemClock().TickCount();
    while (SystemClock().TickCount() - begun < 3000)
        std::this_thread::yield();
    SendAndWait(5, 6);
    SendAndWait(6, 13);
    device->StopRecord(0);
    SendAndWait(13, 14);
    device->Close();
    const auto files = Recordings();
    ASSERT_EQ(files.size(), 2U);
    ExpectPictures(files[0], 0, 6);
    ExpectPictures(files[1], 10, 13);
}

/// Asks for the next recording as soon as one has stopped, on the link's thread.
class CAskingObserver final : public CObserver
{
  public:
    explicit CAskingObserver(const CDevice& device) : m_pState(device.GetState()) { AttachObserver(this); }
    ~CAskingObserver() override { DetachObserver(this); }
    void Update(CNode*, std::string message) override
    {
        if (message == "IDS_RecordStopped") m_pState->m_nFlags.SetBits(FLAG_START_RECORD);
    }

  private:
    const std::shared_ptr<CDeviceState> m_pState;
};

TEST_F(TcpRecording, StartThatIsAskedForByAnObserverOfTheStopIsServedWithTheSameFrame)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    AwaitNextSecond();
    {
        const CAskingObserver asking(*device);
        device->StopRecord(0);
        SendAndWait(5, 6);  // a key picture: the new file loses none
    }
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    SendAndWait(6, 7);
    device->Close();
    const auto files = Recordings();
    ASSERT_EQ(files.size(), 2U);
    ExpectPictures(files[0], 0, 5);
    ExpectPictures(files[1], 5, 7);
}

/// Counts what the link thread has allocated from picture to picture.
class CCountingRender final : public CNotingRender
{
  public:
    CCountingRender(CEvents& events, std::atomic<std::size_t>& allocations)
        : CNotingRender(events), m_Allocations(allocations)
    {
    }
    std::int32_t DisplayClient(const CodecFrame*, CSurface*, HWND) override
    {
        m_Allocations += CountAllocations() - m_Before;
        m_Events.Add("show");
        m_Before = CountAllocations();
        return 0;
    }

  private:
    std::atomic<std::size_t>& m_Allocations;
    std::size_t m_Before = 0;
};

TEST_F(TcpRecording, AllocatesNothingFromPictureToPicture)
{
    std::atomic<std::size_t> allocations = 0;
    SetRenderFactory([&] { return std::make_unique<CCountingRender>(m_Events, allocations); });
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    EXPECT_GT(allocations.exchange(0), 0U) << "the opening of a recording allocates";
    for (int round = 0; round < 20; ++round)
        SendAndWait(5, 20);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    EXPECT_EQ(allocations, 0U);
    device->Close();
    EXPECT_EQ(ReadAvi(Recordings().front()).size(), 305U);
}

TEST_F(TcpRecording, StreamThatPausesHasItsPicturesOnTheDisk)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    AwaitOnDisk(5);
    device->Close();
}

TEST_F(TcpRecording, StreamWithoutMediaHasItsPicturesOnTheDisk)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    AwaitOnDisk(5, [this] { m_Peer.SendFrame(1, ""); });
    device->Close();
}

TEST_F(TcpRecording, StreamThatStandsStillInMidFrameHasItsPicturesOnTheDisk)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    m_Peer.SendBytes(Words({100000, 0}));
    AwaitOnDisk(5);
    EXPECT_EQ(device->GetCounters().datagrams, 5U) << "no frame has come";
}

TEST_F(TcpRecording, StreamThatTricklesHasItsPicturesOnTheDisk)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    m_Peer.SendBytes(Words({100000, 0}));
    AwaitOnDisk(5, [this] { m_Peer.SendBytes("x"); });
    EXPECT_EQ(device->GetCounters().datagrams, 5U) << "no frame has come";
}

TEST_F(TcpRecording, StreamOfFramesWithoutATypeHasItsPicturesOnTheDisk)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    AwaitOnDisk(5, [this] { m_Peer.SendBytes(Words({4})); });
    device->Close();
}

TEST_F(TcpRecording, StreamOfPayloadsWithoutAPictureHasItsPicturesOnTheDisk)
{
    const H264Packet picture = ReadH264Stream(SourcePath("tests/data/h264/cabac_cif.h264")).front();
    const H264Packet remark = {0, 0, 0, 1, 6, 5, 1, 0, 0x80};
    const auto device = MakeDevice(MODE_LIVE_H264);
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply(352, 288));
    device->StartRecord(0);
    m_Peer.SendVideo(picture);
    ASSERT_TRUE(m_Events.WaitFor("show"));
    const auto file = Recordings().front();
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (ReadAvi(file).empty() && std::chrono::steady_clock::now() < until) {
        m_Peer.SendVideo(remark);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(ReadAvi(file).size(), 1U);
    EXPECT_EQ(Shown(), 1U);
    EXPECT_GT(device->GetCounters().refused, 0U);
    device->Close();
}

TEST_F(TcpRecording, BrokenLinkLeavesAFileThatReadsToItsEndAndGetsItsTrailerAtTheNextStart)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    m_Peer.HangUp();
    ASSERT_TRUE(m_Events.WaitFor("destroy"));
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING) << "a broken link doesn't stop a recording";
    const auto files = Recordings();
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(ReadAvi(files[0]).size(), 5U);
    device->Close();
    const auto sizeBefore = std::filesystem::file_size(files[0]);
    AwaitNextSecond();
    device->Open();
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    ASSERT_TRUE(m_Events.WaitFor("create 176x144", 2));
    device->StartRecord(0);
    SendAndWait(0, 5);
    EXPECT_GT(std::filesystem::file_size(files[0]), sizeBefore) << "no trailer";
    device->Close();
    EXPECT_EQ(Recordings().size(), 2U);
}

TEST_F(TcpRecording, DestructionWritesTheTrailerAndNoRow)
{
    auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    device->Close();
    const auto sizeBefore = std::filesystem::file_size(Recordings().front());
    device.reset();
    EXPECT_GT(std::filesystem::file_size(Recordings().front()), sizeBefore);
}

TEST_F(TcpRecording, FolderThatCannotBeMadeStillCountsAsRecordingAndTheStreamRuns)
{
    m_Folder.Write("rec", "a file stands in the way");
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 10);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    device->StopRecord(0);
    SendAndWait(10, 12);
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    device->Close();
}

// The old picture is the key picture here, and so opens the file.
TEST_F(TcpRecording, PayloadWithoutANewPictureGivesTheOldOneWithItsKeyFlagAndIsRecorded)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    SendAndWait(0, 1);
    device->StartRecord(0);
    const std::string cut(m_Stream[1].begin(), m_Stream[1].begin() + 7);  // into the picture's header
    m_Peer.SendFrame(0, cut);
    ASSERT_TRUE(m_Events.WaitFor("show", 2));
    SendAndWait(1, 2);
    device->Close();
    const auto packets = ReadAvi(Recordings().front());
    ASSERT_EQ(packets.size(), 2U);
    EXPECT_EQ(std::string(packets[0].begin(), packets[0].end()), cut + std::string(8, '\0'));
    EXPECT_EQ(packets[1], Recorded(1));
}

TEST_F(TcpRecording, FolderThatIsRemovedMeanwhileKeepsTheStreamRunningAndIsMadeAgain)
{
    const auto device = MakeDevice();
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    std::filesystem::remove_all(m_Folder.Path("rec"));
    SendAndWait(5, 10);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    device->StopRecord(0);
    SendAndWait(10, 11);
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    EXPECT_THAT(Recordings(), IsEmpty());
    device->StartRecord(0);
    SendAndWait(11, 17);
    device->Close();
    ASSERT_EQ(Recordings().size(), 1U);
    ExpectPictures(Recordings().front(), 15, 17);
}

class TcpRecordingName : public TcpRecording, public testing::WithParamInterface<std::string>
{
};

TEST_P(TcpRecordingName, StaysBelowTheRecordPathAndTheStreamRuns)
{
    const auto device = MakeDevice();
    device->SetName(GetParam());
    OpenAndReply(*device);
    device->StartRecord(0);
    SendAndWait(0, 5);
    EXPECT_EQ(device->GetStatus(), STATUS_RECORDING);
    device->StopRecord(0);
    SendAndWait(5, 6);
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    device->Close();
    const auto files = Recordings();
    if (GetParam().size() > 255) {
        EXPECT_THAT(files, IsEmpty()) << "no folder takes such a name";
        return;
    }
    ASSERT_EQ(files.size(), 1U);
    ExpectPictures(files[0], 0, 5);
    const auto folder = std::filesystem::path(files[0]).parent_path();
    EXPECT_EQ(folder.parent_path(), m_Folder.Path("rec"));
    EXPECT_EQ(folder.filename(), MakeFileName(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Names, TcpRecordingName,
                         testing::Values("it's \"gate\"", "100%s%n", "a/b\\c", "..", ".", "../../../etc",
                                         "\x1B[2J\r\n\x7F", std::string(300, 'n')));

// one-stop-at-a-time: the first device's stop is held inside its observers while the second one tries.
class CHoldingObserver final : public CObserver
{
  public:
    CHoldingObserver() { AttachObserver(this); }
    ~CHoldingObserver() override
    {
        Release();
        DetachObserver(this);
    }
    void Update(CNode*, std::string message) override
    {
        if (message != "IDS_RecordStopped") return;
        std::unique_lock lock(m_cs);
        ++m_iHeld;
        m_Changed.notify_all();
        m_Changed.wait(lock, [this] { return m_bReleased; });
    }
    bool WaitUntilHeld()
    {
        std::unique_lock lock(m_cs);
        return m_Changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_iHeld > 0; });
    }
    void Release()
    {
        const std::lock_guard lock(m_cs);
        m_bReleased = true;
        m_Changed.notify_all();
    }

  private:
    std::mutex m_cs;
    std::condition_variable m_Changed;
    int m_iHeld = 0;
    bool m_bReleased = false;
};

TEST_F(TcpRecording, SecondDeviceThatStopsAtTheSameMomentIsRefusedAndTriesAgain)
{
    CDevice first;
    first.SetStatus(STATUS_OPEN);
    ASSERT_TRUE(first.StartRecording(13, 176, 144, 0, m_Folder.System("first.avi")));
    const auto second = MakeDevice();
    OpenAndReply(*second);
    second->StartRecord(0);
    SendAndWait(0, 5);
    {
        CHoldingObserver holding;
        std::thread stop([state = first.GetState()] {  // that of a link
            state->m_LinkThread.Clear();
            EXPECT_TRUE(StopRecording(*state));
        });
        ASSERT_TRUE(holding.WaitUntilHeld());
        second->StopRecord(0);
        second->GetState()->m_nFlags.SetBits(FLAG_START_RECORD);
        SendAndWait(5, 7);  // recorded in the old file: the stop is refused, the start after it fails
        EXPECT_EQ(second->GetStatus(), STATUS_RECORDING);
        EXPECT_EQ(second->GetState()->m_nFlags, FLAG_STOP_RECORD | FLAG_START_RECORD);
        holding.Release();
        stop.join();
    }
    AwaitNextSecond();
    SendAndWait(7, 8);
    EXPECT_EQ(second->GetState()->m_nFlags, 0U);
    EXPECT_EQ(second->GetStatus(), STATUS_RECORDING);
    second->Close();
    const auto files = Recordings();
    ASSERT_EQ(files.size(), 2U);
    ExpectPictures(files[0], 0, 7);
}

}  // namespace
