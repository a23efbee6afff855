#include "record/Muxer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "inc/OutputDebugString.h"
#include "tests/model/model_support.h"
#include "tests/support/file_limit.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/test_folder.h"

namespace
{

constexpr std::int32_t MPEG4 = 13;
constexpr std::int32_t PCM = 0x10005;

struct ReadPacket {
    int stream = 0;
    bool key = false;
    std::int64_t pts = 0;
    std::vector<std::uint8_t> data;
};

/// What the library's own reader finds in a file.
struct ReadFile {
    bool opened = false;
    std::vector<AVCodecID> codecs;
    std::vector<AVMediaType> types;
    int width = 0;
    int height = 0;
    double rate = 0;
    int sampleRate = 0;
    int channels = 0;
    std::vector<ReadPacket> packets;
};

ReadFile Read(const std::string& path)
{
    ReadFile file;
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) return file;
    file.opened = true;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVCodecParameters& parameters = *context->streams[i]->codecpar;
        file.codecs.push_back(parameters.codec_id);
        file.types.push_back(parameters.codec_type);
        if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
            file.width = parameters.width;
            file.height = parameters.height;
            file.rate = 1 / av_q2d(context->streams[i]->time_base);
        } else {
            file.sampleRate = parameters.sample_rate;
            file.channels = parameters.ch_layout.nb_channels;
        }
    }
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(context, packet) >= 0) {
        file.packets.push_back({packet->stream_index,
                                (packet->flags & AV_PKT_FLAG_KEY) != 0,
                                packet->pts,
                                {packet->data, packet->data + packet->size}});
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&context);
    return file;
}

class Muxer : public testing::Test
{
  protected:
    Muxer() : m_Stream(EncodeMpeg4({.width = 176, .height = 144, .frames = 12, .gop = 5})) {}

    std::int32_t Open(CMuxer& muxer, const std::string& name = "a.avi") const
    {
        return muxer.Open(m_Folder.System(name), MPEG4, 176, 144, PCM, 64000, 8000);
    }
    std::int32_t WritePicture(CMuxer& muxer, std::size_t i) const
    {
        const auto& picture = m_Stream[i % m_Stream.size()];
        const std::int32_t key = i % 5 == 0 ? 1 + static_cast<std::int32_t>(i) : 0;
        return muxer.WriteVideoPacket(picture.data(), static_cast<std::int32_t>(picture.size()), key);
    }
    ReadFile ReadBack(const std::string& name = "a.avi") const { return Read(m_Folder.Path(name)); }

    CTestFolder m_Folder;
    const std::vector<Mpeg4Packet> m_Stream;
    CDebugCapture m_Told;
};

TEST_F(Muxer, DeclaresVideoAt25AndMonoSound)
{
    {
        CMuxer muxer;
        EXPECT_GE(Open(muxer), 0);
        EXPECT_GE(WritePicture(muxer, 0), 0);
        muxer.Close();
    }
    const ReadFile file = ReadBack();
    EXPECT_THAT(file.codecs, testing::ElementsAre(AV_CODEC_ID_MPEG4, AV_CODEC_ID_PCM_U8));
    EXPECT_THAT(file.types, testing::ElementsAre(AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO));
    EXPECT_EQ(file.width, 176);
    EXPECT_EQ(file.height, 144);
    EXPECT_EQ(file.rate, 25);
    EXPECT_EQ(file.sampleRate, 8000);
    EXPECT_EQ(file.channels, 1);
}

TEST_F(Muxer, EveryPictureComesBackInItsPlace)
{
    {
        CMuxer muxer;
        Open(muxer);
        for (std::size_t i = 0; i < m_Stream.size(); ++i)
            EXPECT_GE(WritePicture(muxer, i), 0);
        muxer.Close();
    }
    const ReadFile file = ReadBack();
    ASSERT_EQ(file.packets.size(), m_Stream.size());
    for (std::size_t i = 0; i < m_Stream.size(); ++i) {
        EXPECT_EQ(file.packets[i].data, m_Stream[i]) << i;
        EXPECT_EQ(file.packets[i].key, i % 5 == 0) << i;
        EXPECT_EQ(file.packets[i].stream, 0);
        EXPECT_EQ(file.packets[i].pts, static_cast<std::int64_t>(i))
            << "each lasts one place of the 25 a second";
    }
    EXPECT_EQ(m_Told.Text(), "");
}

TEST_F(Muxer, WritesNothingUntilTheFirstKeyPicture)
{
    {
        CMuxer muxer;
        Open(muxer);
        EXPECT_EQ(WritePicture(muxer, 3), -1);
        EXPECT_EQ(WritePicture(muxer, 4), -1);
        const std::uint8_t sound[8] = {};
        EXPECT_EQ(muxer.WriteAudioPacket(sound, 8, 1), -1) << "sound's key flag opens no gate";
        EXPECT_GE(WritePicture(muxer, 5), 0);
        EXPECT_GE(WritePicture(muxer, 6), 0);
        muxer.Close();
    }
    const ReadFile file = ReadBack();
    ASSERT_EQ(file.packets.size(), 2U);
    EXPECT_EQ(file.packets[0].data, m_Stream[5]);
    EXPECT_EQ(m_Told.Text(), "") << "what the gate drops is no failure";
}

TEST_F(Muxer, FileWithoutAKeyPictureHasHeaderAndTrailerOnly)
{
    {
        CMuxer muxer;
        Open(muxer);
        WritePicture(muxer, 1);
        muxer.Close();
    }
    const ReadFile file = ReadBack();
    EXPECT_TRUE(file.opened);
    EXPECT_TRUE(file.packets.empty());
}

// Zeros may stand before a start code, and what precedes the first one is the decoder's to pass over.
TEST_F(Muxer, H264IsWrittenAsItComesWhateverStandsBeforeItsStartCode)
{
    const std::vector<std::vector<std::uint8_t>> payloads = {{0, 0, 0, 0, 1, 0x65, 0x88, 0x84, 0x21},
                                                             {7, 8, 9, 0, 0, 1, 0x65, 0x88, 0x84, 0x21}};
    for (const auto& payload : payloads) {
        {
            CMuxer muxer;
            ASSERT_GE(muxer.Open(m_Folder.System("a.avi"), 28, 176, 144, PCM, 64000, 8000), 0);
            EXPECT_GE(muxer.WriteVideoPacket(payload.data(), static_cast<std::int32_t>(payload.size()), 1), 0);
            muxer.Close();
        }
        const ReadFile file = ReadBack();
        ASSERT_EQ(file.packets.size(), 1U);
        EXPECT_EQ(file.packets[0].data, payload);
        EXPECT_EQ(file.codecs[0], AV_CODEC_ID_H264);
    }
}

TEST_F(Muxer, EmptyPacketIsRefusedButItsKeyFlagOpensTheGate)
{
    CMuxer muxer;
    Open(muxer);
    EXPECT_EQ(muxer.WriteVideoPacket(m_Stream[0].data(), 0, 1), -1);
    EXPECT_EQ(muxer.WriteVideoPacket(m_Stream[0].data(), -7, 0), -1);
    EXPECT_GE(WritePicture(muxer, 1), 0);
}

TEST_F(Muxer, SoundIsWrittenOnceTheGateIsOpen)
{
    {
        CMuxer muxer;
        Open(muxer);
        WritePicture(muxer, 0);
        const std::vector<std::uint8_t> sound(320, 0x81);
        EXPECT_GE(muxer.WriteAudioPacket(sound.data(), 320, 1), 0);
        muxer.Close();
    }
    const ReadFile file = ReadBack();
    ASSERT_EQ(file.packets.size(), 2U);
    EXPECT_EQ(file.packets[0].stream + file.packets[1].stream, 1);
}

TEST_F(Muxer, HeaderIsOnTheDiskWhenOpenReturns)
{
    CMuxer muxer;
    Open(muxer);
    EXPECT_TRUE(ReadBack().opened);
}

// Too few bytes to fill the library's buffer.
TEST_F(Muxer, PicturesAreOnTheDiskWithTheOneOfASecondLater)
{
    const std::vector<std::uint8_t> picture(20, 0xA5);
    const auto bytes = static_cast<std::int32_t>(picture.size());
    CMuxer muxer;
    Open(muxer);
    EXPECT_GE(muxer.WriteVideoPacket(picture.data(), bytes, 1), 0);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_GE(muxer.WriteVideoPacket(picture.data(), bytes, 1), 0);
    EXPECT_EQ(ReadBack().packets.size(), 2U);
}

TEST_F(Muxer, FileThatIsLeftWithoutATrailerCanBeRead)
{
    {
        CMuxer muxer;
        Open(muxer);
        for (std::size_t i = 0; i < 10; ++i)
            WritePicture(muxer, i);
    }
    EXPECT_EQ(ReadBack().packets.size(), 10U);
}

TEST_F(Muxer, NothingIsWrittenAfterTheTrailer)
{
    {
        CMuxer muxer;
        Open(muxer);
        WritePicture(muxer, 0);
        muxer.Close();
        EXPECT_LT(WritePicture(muxer, 1), 0);
        muxer.Close();
    }
    EXPECT_EQ(ReadBack().packets.size(), 1U);
}

std::size_t LinesIn(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_F(Muxer, FileThatCannotBeMadeFailsEachPictureAndIsReportedOnceAndAtTheClose)
{
    CMuxer muxer;
    EXPECT_EQ(Open(muxer, "not/there/a.avi"), -1);
    EXPECT_EQ(LinesIn(m_Told.Text()), 1U) << m_Told.Text();
    EXPECT_NE(m_Told.Text().find("a.avi"), std::string::npos);
    for (std::size_t i = 0; i < 100; ++i)
        EXPECT_EQ(WritePicture(muxer, i), -1);
    EXPECT_EQ(LinesIn(m_Told.Text()), 1U) << m_Told.Text();
    muxer.Close();
    EXPECT_EQ(LinesIn(m_Told.Text()), 2U) << m_Told.Text();
    EXPECT_NE(m_Told.Text().find("101 writes have failed"), std::string::npos) << m_Told.Text();
    muxer.Close();
    EXPECT_EQ(LinesIn(m_Told.Text()), 2U) << "told once: " << m_Told.Text();
}

TEST_F(Muxer, ControlCharactersOfAPathAreEscapedInTheLog)
{
    CMuxer muxer;
    EXPECT_EQ(Open(muxer,
                   "not\xC2\x9B"
                   "2J/there/a.avi"),
              -1);
    muxer.Close();
    EXPECT_EQ(LinesIn(m_Told.Text()), 2U);
    EXPECT_EQ(m_Told.Text().find("\xC2\x9B"), std::string::npos) << m_Told.Text();
}

TEST_F(Muxer, NameWithAColonIsAFilesName)
{
    const CTestCurrentFolder inside(m_Folder.Path());
    std::filesystem::create_directory("tcp:127.0.0.1:9");
    for (const std::string name :
         {"tcp:127.0.0.1:9\\a.avi", "pipe:1", "data:,a.avi", "file:a.avi", "none:a.avi", ":a.avi"}) {
        {
            CMuxer muxer;
            EXPECT_GE(muxer.Open(name, MPEG4, 176, 144, PCM, 64000, 8000), 0) << name;
            EXPECT_GE(WritePicture(muxer, 0), 0) << name;
            muxer.Close();
        }
        std::string host = name;
        std::ranges::replace(host, '\\', '/');
        EXPECT_EQ(ReadBack(host).packets.size(), 1U) << name;
    }
}

TEST_F(Muxer, UnknownCodecHasNoHeaderAndIsNeverWrittenOrFinished)
{
    CMuxer muxer;
    EXPECT_LT(muxer.Open(m_Folder.System("a.avi"), 99, 176, 144, PCM, 64000, 8000), 0);
    EXPECT_EQ(WritePicture(muxer, 0), -1);
    muxer.Close();
}

TEST_F(Muxer, SizesThatTheLibraryRefusesEndAsAFailedOpen)
{
    for (const std::int32_t size : {0, -16, 1 << 30}) {
        CMuxer muxer;
        muxer.Open(m_Folder.System("a.avi"), MPEG4, size, size, PCM, 64000, 8000);
        WritePicture(muxer, 0);
        muxer.Close();
    }
}

// A limit on the size of files acts as a full disk.
class FullDisk : public Muxer
{
    const CFileLimit m_Limit{20000};
};

TEST_F(FullDisk, IsReportedOnceAndAtTheCloseAndLeavesAFileThatCanBeRead)
{
    {
        CMuxer muxer;
        ASSERT_GE(Open(muxer), 0);
        for (std::size_t i = 0; i < 300; ++i)
            WritePicture(muxer, i);
        EXPECT_EQ(LinesIn(m_Told.Text()), 1U) << m_Told.Text();
        muxer.Close();
    }
    EXPECT_EQ(LinesIn(m_Told.Text()), 2U) << m_Told.Text();
    EXPECT_EQ(std::filesystem::file_size(m_Folder.Path("a.avi")), 20000U);
    EXPECT_GT(ReadBack().packets.size(), 0U);
}

// What the library still held in its buffer, and every write before it seemed to succeed.
TEST_F(FullDisk, ThatRefusesTheLastBytesAloneIsReportedAtTheClose)
{
    const std::vector<std::uint8_t> picture(16000, 0xA5);
    CMuxer muxer;
    ASSERT_GE(Open(muxer), 0);
    ASSERT_GE(muxer.WriteVideoPacket(picture.data(), static_cast<std::int32_t>(picture.size()), 1), 0);
    EXPECT_EQ(m_Told.Text(), "");
    muxer.Close();
    EXPECT_EQ(LinesIn(m_Told.Text()), 2U) << m_Told.Text();
    EXPECT_NE(m_Told.Text().find("a.avi: File too large"), std::string::npos) << m_Told.Text();
    EXPECT_NE(m_Told.Text().find("a.avi: 1 writes have failed"), std::string::npos) << m_Told.Text();
}

TEST_F(FullDisk, ThatTakesNoHeaderFailsTheOpening)
{
    const CFileLimit less{1000};
    CMuxer muxer;
    EXPECT_LT(Open(muxer), 0);
    EXPECT_EQ(LinesIn(m_Told.Text()), 1U) << m_Told.Text();
}

TEST_F(Muxer, PathIsCutAtTheLibrarysLength)
{
    CMuxer muxer;
    EXPECT_LT(muxer.Open(m_Folder.System(std::string(2000, 'p')), MPEG4, 176, 144, PCM, 64000, 8000), 0);
    EXPECT_LT(m_Told.Text().size(), 1400U);
}

}  // namespace
