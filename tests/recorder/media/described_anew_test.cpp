// Films that describe the stream anew: with a packet, as FLV does when the encoder was set otherwise, or within
// pictures.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <utility>

#include "recorder/h264/AnnexB.h"
#include "recorder/media/AvInput.h"
#include "recorder/media/Mpeg4Encoder.h"
#include "recorder/media/PassThrough.h"
#include "tests/recorder/media_support.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;

constexpr size_t PICTURES = 10;  // of each part, two groups

// One part is written behind the other. The second part may begin in the middle of a group. Where the format
// doesn't describe a stream anew, its key pictures come with their parameter sets.
class DescribedAnewTest : public testing::Test
{
  protected:
    void Write(size_t secondFrom, const std::string& format = "flv")
    {
        AVFormatContext& output = Begin(format, AV_CODEC_ID_H264, SetsOf(m_First[0]));
        for (const auto& unit : m_First)
            WritePicture(output, unit, {}, false);
        for (size_t i = secondFrom; i < m_Second.size(); ++i) {
            const bool described = format == "flv" && i == secondFrom;
            WritePicture(output, m_Second[i], described ? SetsOf(m_Second[0]) : std::vector<uint8_t>(),
                         format != "flv");
        }
        End(output);
    }
    // A film that begins with this description.
    AVFormatContext& Begin(const std::string& format, AVCodecID codecId,
                           const std::vector<uint8_t>& description)
    {
        m_iWritten = 0;
        AVFormatContext* output = nullptr;
        CheckAv(avformat_alloc_output_context2(&output, nullptr, format.c_str(), m_strFilm.c_str()), "write");
        AVCodecParameters& codec = *avformat_new_stream(output, nullptr)->codecpar;
        codec.codec_type = AVMEDIA_TYPE_VIDEO;
        codec.codec_id = codecId;
        codec.width = H264_TEST_WIDTH;
        codec.height = H264_TEST_HEIGHT;
        codec.extradata = static_cast<uint8_t*>(av_mallocz(description.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        codec.extradata_size = static_cast<int>(description.size());
        std::copy(description.begin(), description.end(), codec.extradata);
        CheckAv(avio_open(&output->pb, m_strFilm.c_str(), AVIO_FLAG_WRITE), "write");
        CheckAv(avformat_write_header(output, nullptr), "write");
        return *output;
    }
    void WritePacket(AVFormatContext& output, std::span<const uint8_t> bytes, bool key,
                     const std::vector<uint8_t>& described = {})
    {
        const AvPacket packet(av_packet_alloc());
        CheckAv(av_new_packet(packet.get(), static_cast<int>(bytes.size())), "write");
        std::copy(bytes.begin(), bytes.end(), packet->data);
        if (!described.empty())
            std::copy(described.begin(), described.end(),
                      av_packet_new_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, described.size()));
        packet->pts = packet->dts = 40 * m_iWritten++;
        packet->flags = key ? AV_PKT_FLAG_KEY : 0;
        CheckAv(av_write_frame(&output, packet.get()), "write");
    }
    static void End(AVFormatContext& output)
    {
        av_write_trailer(&output);
        avio_closep(&output.pb);
        avformat_free_context(&output);
    }
    // The latest picture is this key picture, which comes with its parameter sets here.
    static void ExpectShown(AvInput& input, const std::vector<uint8_t>& key)
    {
        const Picture coded = CDecoder("h264").Decode(key);
        const AVFrame& frame = input.Frame();
        for (int y = 0; y < H264_TEST_HEIGHT; ++y)
            ASSERT_TRUE(std::equal(coded.y.begin() + ptrdiff_t{y} * H264_TEST_WIDTH,
                                   coded.y.begin() + ptrdiff_t{y + 1} * H264_TEST_WIDTH,
                                   frame.data[0] + ptrdiff_t{y} * frame.linesize[0]))
                << "row " << y;
    }
    // The first packet of a round after a restart is read by then.
    void ExpectRound(AvInput& input, int round) const
    {
        for (size_t i = 0; i < 2 * PICTURES; ++i) {
            if (i > 0 || round == 0) {
                ASSERT_TRUE(input.Next()) << round << ' ' << i;
            }
            if (i % 5 == 0) ExpectShown(input, i < PICTURES ? m_First[i] : m_Second[i - PICTURES]);
        }
        ASSERT_FALSE(input.Next());
    }

    AccessUnits m_First = EncodeH264("annexb=1:keyint=5:cabac=0", PICTURES);
    AccessUnits m_Second = EncodeH264("annexb=1:keyint=5:cabac=1:qp=20", PICTURES);
    const CTestFolder m_Folder;
    const std::string m_strFilm = m_Folder.Path("film");

  private:
    static bool IsSet(std::span<const uint8_t> unit)
    {
        return UnitType(unit) == EUnit::SequenceSet || UnitType(unit) == EUnit::PictureSet;
    }
    static std::vector<uint8_t> SetsOf(const std::vector<uint8_t>& key)
    {
        std::vector<uint8_t> sets;
        for (const auto unit : SplitUnits(key))
            if (IsSet(unit)) AppendUnit(sets, unit[0], Unescape(unit));
        return sets;
    }
    void WritePicture(AVFormatContext& output, const std::vector<uint8_t>& accessUnit,
                      const std::vector<uint8_t>& described, bool withSets)
    {
        std::vector<uint8_t> bytes;
        for (const auto unit : SplitUnits(accessUnit))
            if (withSets || !IsSet(unit)) AppendUnit(bytes, unit[0], Unescape(unit));
        WritePacket(output, bytes, UnitType(SplitUnits(bytes).back()) == EUnit::IdrSlice, described);
    }

    int64_t m_iWritten = 0;
};

// As while nobody watches.
TEST_F(DescribedAnewTest, ADescriptionHoldsThoughItsPacketIsLeftOut)
{
    Write(3);
    AvInput input(m_strFilm, [] { return false; });
    input.SetKeysOnly(true);
    for (const auto* key : {&m_First[0], &m_First[5], &m_Second[5]}) {
        ASSERT_TRUE(input.Next());
        ExpectShown(input, *key);
    }
}

TEST_F(DescribedAnewTest, AFilmThatIsPlayedAgainBeginsAsItDidAtFirst)
{
    for (const std::string format : {"flv", "matroska"}) {
        SCOPED_TRACE(format);
        Write(0, format);
        AvInput input(m_strFilm, [] { return false; });
        PacketCheck check(input.Codec(), H264_TEST_WIDTH, H264_TEST_HEIGHT);
        int described = 0;
        input.SetTap([&](const AVPacket& packet) {
            if (av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, nullptr) != nullptr) ++described;
            if (format == "flv") {
                EXPECT_EQ(check.Check(packet).result, h264::Checked::EResult::Passes);
            }
        });
        for (int round = 0; round < 3; ++round) {
            ASSERT_NO_FATAL_FAILURE(ExpectRound(input, round));
            EXPECT_EQ(std::exchange(described, 0), (round == 0 ? 0 : 1) + (format == "flv" ? 1 : 0));
            input.Restart();
        }
    }
}

// Each part is a file of its own, with stamps of its own, so that the film is opened again.
TEST_F(DescribedAnewTest, AJoinedFilmThatIsPlayedAgainBeginsAsItDidAtFirst)
{
    constexpr size_t HEADER_BYTES = 13;  // which stands in front of the first part only
    std::string film;
    for (const size_t from : {size_t{0}, HEADER_BYTES}) {
        Write(PICTURES);
        std::ifstream part(m_strFilm, std::ios::binary);
        film.append(std::string(std::istreambuf_iterator<char>(part), {}), from);
        std::swap(m_First, m_Second);
    }
    std::ofstream(m_strFilm, std::ios::binary) << film;

    AvInput input(m_strFilm, [] { return false; });
    PacketCheck check(input.Codec(), H264_TEST_WIDTH, H264_TEST_HEIGHT);
    int passes = 0;
    input.SetTap([&](const AVPacket& packet) {
        if (check.Check(packet).result == h264::Checked::EResult::Passes) ++passes;
    });
    for (int round = 0; round < 3; ++round) {
        ASSERT_NO_FATAL_FAILURE(ExpectRound(input, round));
        EXPECT_EQ(std::exchange(passes, 0), 2 * PICTURES) << round;
        input.Restart();
    }
}

// The later part is of another size, which its key pictures tell; the first part's was told with the film
// alone.
TEST_F(DescribedAnewTest, AFilmOfMpeg4ThatIsPlayedAgainBeginsAsItDidAtFirst)
{
    constexpr std::array<uint8_t, 4> VOP = {0, 0, 1, 0xB6};
    AVFormatContext* output = nullptr;
    for (const int times : {1, 2}) {
        Picture grey;
        grey.Resize(times * H264_TEST_WIDTH, times * H264_TEST_HEIGHT);
        Mpeg4Encoder encoder(grey.width, grey.height, 25, EMotion::Half);
        for (size_t i = 0; i < PICTURES; ++i) {
            const Coded coded = encoder.Encode(grey, static_cast<int64_t>(i), i % 5 == 0, 6);
            const auto vop = std::search(coded.bytes.begin(), coded.bytes.end(), VOP.begin(), VOP.end());
            if (output == nullptr)
                output = &Begin("matroska", AV_CODEC_ID_MPEG4, std::vector<uint8_t>(coded.bytes.begin(), vop));
            WritePacket(*output, std::span(times == 1 ? vop : coded.bytes.begin(), coded.bytes.end()),
                        coded.key);
        }
    }
    End(*output);

    AvInput input(m_strFilm, [] { return false; });
    ASSERT_TRUE(input.Next());
    for (int round = 0; round < 3; ++round) {
        for (size_t i = 0; i < 2 * PICTURES; ++i) {
            if (i > 0) {
                ASSERT_TRUE(input.Next()) << round << ' ' << i;
            }
            ASSERT_EQ(input.Frame().width, (i < PICTURES ? 1 : 2) * H264_TEST_WIDTH) << round << ' ' << i;
        }
        ASSERT_FALSE(input.Next());
        input.Restart();
    }
}

}  // namespace
