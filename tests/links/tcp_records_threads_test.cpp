// What a direct link keeps: recordings and snapshots of a recorder's live channels over real sockets, read back
// with other programs.

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

#include "codec/codec.h"
#include "model/tree/Observer.h"
#include "tests/links/drawing_support.h"
#include "tests/links/recordings_support.h"
#include "tests/links/tcp_links_support.h"

namespace
{

/// A picture that was shown, and the recording that was open then; none when that is empty.
struct ShownPictureNote {
    std::uint32_t number = 0;
    bool key = false;
    std::string file;
};

class TcpRecords : public CTcpLinksTest, public testing::WithParamInterface<std::int32_t>, private CObserver
{
  protected:
    TcpRecords() : m_Device(GetParam(), -1)
    {
        m_Device.SetName("gate");
        m_Device.SetRenderWnd(HWND{1});
        m_Device.GetSetup().rolloverMs = 3000;
        AttachObserver(this);
        SetRenderFactory(
            [this] { return MakeDrawingRender([this](HWND, const CodecFrame& frame) { OnDrawn(frame); }); });
    }
    ~TcpRecords() override
    {
        m_Device.Close();
        DetachObserver(this);
    }

    // Link thread.
    void OnDrawn(const CodecFrame& frame)
    {
        const auto mark = ReadMark(frame);
        const std::lock_guard lock(m_cs);
        m_Unmarked += !mark;
        m_Shown.push_back({mark ? mark->picture : 0, frame.key_frame != 0, m_strOpenFile});
    }
    // Link thread.
    void Update(CNode* node, std::string message) override
    {
        if (node != &m_Device) return;
        const std::lock_guard lock(m_cs);
        if (message == "IDS_RecordStarted") {
            m_strOpenFile = HostPath(m_State.m_strRecordFile);
            m_Started.push_back(m_strOpenFile);
        }
        if (message == "IDS_RecordStopped") m_strOpenFile.clear();
    }

    std::vector<ShownPictureNote> Shown() const
    {
        const std::lock_guard lock(m_cs);
        return m_Shown;
    }
    bool WaitForShown(std::size_t count)
    {
        return WaitUntil([&] { return Shown().size() >= count; });
    }
    std::vector<std::string> Started() const
    {
        const std::lock_guard lock(m_cs);
        return m_Started;
    }
    // The pictures shown while the file was open, from its first key picture on.
    std::vector<std::optional<std::uint32_t>> NumbersFor(const std::string& file) const
    {
        std::vector<std::optional<std::uint32_t>> numbers;
        for (const ShownPictureNote& picture : Shown())
            if (picture.file == file && (picture.key || !numbers.empty())) numbers.emplace_back(picture.number);
        return numbers;
    }
    // The number in the corner of a snapshot, which holds rows from the bottom up, four bytes a pixel.
    static std::optional<recorder::Mark> ReadSnapshotMark(const std::string& bmp)
    {
        constexpr std::size_t HEADERS = 54;
        if (bmp.size() != HEADERS + 176 * 144 * 4 || !bmp.starts_with("BM")) return std::nullopt;
        recorder::Picture corner;
        corner.Resize(recorder::MARK_WIDTH, recorder::MARK_HEIGHT);
        for (int row = 0; row < recorder::MARK_HEIGHT; ++row)
            for (int column = 0; column < recorder::MARK_WIDTH; ++column)
                corner.y[static_cast<std::size_t>((recorder::MARK_HEIGHT - 1 - row) * recorder::MARK_WIDTH +
                                                  column)] =
                    static_cast<std::uint8_t>(bmp[HEADERS + static_cast<std::size_t>(row * 176 + column) * 4]);
        return recorder::ReadMark(corner);
    }

    mutable std::mutex m_cs;
    std::vector<ShownPictureNote> m_Shown;  // guarded by m_cs, as all below
    std::vector<std::string> m_Started;
    std::string m_strOpenFile;
    std::size_t m_Unmarked = 0;
    CTcpRemote m_Device;
    CDeviceState& m_State{*m_Device.GetState()};  // for the link's thread
};

TEST_P(TcpRecords, LiveChannelIsRecordedRolledOverAndReadBackByOthers)
{
    const auto recorder = StartRecorder({"--gop", "10"});
    Open(m_Device);
    ASSERT_TRUE(WaitForShown(3));
    m_Device.StartRecord(0);
    ASSERT_TRUE(WaitUntil([&] { return Started().size() == 1; }));
    m_Device.SnapShot();
    // Over the first file's end, which comes by itself, and well into the second one.
    ASSERT_TRUE(WaitUntil([&] { return Started().size() == 2; }));
    ASSERT_TRUE(WaitForShown(Shown().size() + 25));
    m_Device.StopRecord(0);
    ASSERT_TRUE(WaitUntil([&] { return m_Device.GetStatus() == STATUS_OPEN; }));
    m_Device.Close();

    const auto files = FindRecordings(m_Folder.Path("rec/gate"));
    ASSERT_EQ(files, Started());
    for (const std::string& file : files) {
        const auto numbers = NumbersFor(file);
        const ProbedFile probed = ProbeFile(file);
        EXPECT_EQ(probed.codec, GetParam() == MODE_LIVE_H264 ? "h264" : "mpeg4");
        EXPECT_EQ(probed.width, 176);
        EXPECT_EQ(probed.height, 144);
        EXPECT_EQ(probed.rate, "25/1");
        EXPECT_EQ(probed.packets, numbers.size());
        std::string complaints;
        EXPECT_EQ(DecodeNumbers(file, 176, 144, complaints), numbers) << file;
        EXPECT_EQ(complaints, "");
    }
    // What is in neither file is what the second one's gate kept out: fewer pictures than from key to key.
    const auto shown = Shown();
    EXPECT_EQ(m_Unmarked, 0U);
    const auto begin = std::ranges::find(shown, files[0], &ShownPictureNote::file);
    const auto second = std::ranges::find(shown, files[1], &ShownPictureNote::file);
    EXPECT_EQ(std::find_if(begin, second, [](const auto& picture) { return picture.file.empty(); }), second)
        << "the second file begins with the first frame behind the first file's last";
    EXPECT_LT(std::find_if(second, shown.end(), [](const auto& picture) { return picture.key; }) - second, 10);

    const std::string snapshot = HostPath(m_Device.GetState()->m_strPictureFile);
    EXPECT_TRUE(snapshot.ends_with(".jpg")) << snapshot;
    const auto mark = ReadSnapshotMark(m_Folder.Read(snapshot.substr(m_Folder.Path().size() + 1)).value_or(""));
    ASSERT_TRUE(mark) << snapshot;
    EXPECT_EQ(mark->channel, 1);
    EXPECT_NE(std::ranges::find(shown, mark->picture, &ShownPictureNote::number), shown.end());
    EXPECT_NE(recorder->End(), "");
}

INSTANTIATE_TEST_SUITE_P(Modes, TcpRecords, testing::Values(MODE_LIVE_MPEG4, MODE_LIVE_H264));

}  // namespace
