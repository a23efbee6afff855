// The decoder objects that link threads feed.
#include "codec/decoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <vector>

#include "codec/convert/convert.h"
#include "tests/support/h264_streams.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/test_places.h"

namespace
{
// A row whose hooks note what they are given and answer from a list.
struct Feed {
    std::vector<std::vector<uint8_t>> units;
    std::vector<int32_t> results;  ///< one for each call; all bytes are consumed when it has run out
    bool picture = false;
    int closed = 0;
};
Feed g_Feed;
uint8_t g_Plane[16];

int32_t OpenHook(CodecContext* /*context*/)
{
    return 0;
}

int32_t DecodeHook(CodecContext* /*context*/, CodecFrame* frame, int32_t* got, const uint8_t* data,
                   int32_t size)
{
    g_Feed.units.emplace_back(data, data + size);
    if (g_Feed.picture) {
        frame->data[0] = g_Plane;
        *got = 4;
    }
    const size_t call = g_Feed.units.size() - 1;
    return call < g_Feed.results.size() ? g_Feed.results[call] : size;
}

int32_t CloseHook(CodecContext* /*context*/)
{
    ++g_Feed.closed;
    return 0;
}

CodecEntry g_Row = {.name = "fed",
                    .kind = CODEC_KIND_VIDEO,
                    .id = CODEC_ID_H264,
                    .priv_size = 64,
                    .open = OpenHook,
                    .encode = nullptr,
                    .close = CloseHook,
                    .decode = DecodeHook,
                    .capabilities = 0,
                    .next = nullptr};

int32_t NalLength(const std::vector<uint8_t>& bytes)
{
    return FindNalLength(bytes.data(), static_cast<int32_t>(bytes.size()));
}

TEST(FindNalLength, CutsInFrontOfThreeByteCode)
{
    EXPECT_EQ(NalLength({0, 0, 1, 0x67, 9, 0, 0, 1, 0x68}), 5);
}

TEST(FindNalLength, FourByteCodeKeepsItsFirstZero)
{
    EXPECT_EQ(NalLength({0, 0, 0, 1, 0x67, 9, 0, 0, 0, 1, 0x68}), 7);
}

TEST(FindNalLength, WithoutANextCodeThreeBytesAreLeft)
{
    EXPECT_EQ(NalLength({0, 0, 0, 1, 0x65, 1, 2, 3, 4, 5}), 7);
}

TEST(FindNalLength, CodeAtTheVeryEndIsFound)
{
    EXPECT_EQ(NalLength({0, 0, 1, 0x67, 9, 8, 0, 0, 1}), 6);
    EXPECT_EQ(NalLength({0, 0, 1, 0x67, 9, 0, 0, 0, 1}), 6);
}

TEST(FindNalLength, LeadingBytesOtherThanACodeAreWalkedOver)
{
    // only zeros and the first other byte are passed before the search begins
    EXPECT_EQ(NalLength({7, 0, 0, 1, 5, 5, 5}), 1);
    EXPECT_EQ(NalLength({0, 7, 0, 0, 1, 5, 5, 5}), 2);
}

TEST(FindNalLength, ZeroBytesOnlyAreThreeShort)
{
    for (int32_t length = 1; length < 20; ++length)
        EXPECT_EQ(NalLength(std::vector<uint8_t>(static_cast<size_t>(length))), length - 3) << length;
}

TEST(FindNalLength, ShortBuffersGoToZeroOrBelow)
{
    EXPECT_EQ(NalLength({1}), -2);
    EXPECT_EQ(NalLength({0, 1}), -1);
    EXPECT_EQ(NalLength({0, 0, 1}), 0);
}

class C264DecoderTest : public ::testing::Test
{
  protected:
    void SetUp() override { g_Feed = {}; }

    CodecFrame* Decode(const std::vector<uint8_t>& bytes)
    {
        return m_Decoder.Decode(bytes.data(), static_cast<int32_t>(bytes.size()));
    }

    CC264Decoder m_Decoder{176, 144, &g_Row};
};

TEST_F(C264DecoderTest, PayloadOfThreeUnitsIsFedUnitByUnit)
{
    g_Feed.picture = true;
    const CodecFrame* const frame =
        Decode({0, 0, 0, 1, 0x67, 1, 0, 0, 0, 1, 0x68, 2, 0, 0, 0, 1, 0x65, 3, 4, 5, 6});
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], g_Plane);
    const std::vector<std::vector<uint8_t>> units = {
        {0, 0, 0, 1, 0x67, 1, 0}, {0, 0, 1, 0x68, 2, 0}, {0, 0, 1, 0x65, 3}};
    // the last three bytes come in a pass of their own, whose length of 0 the table answers without the hook
    EXPECT_EQ(g_Feed.units, units);
}

TEST_F(C264DecoderTest, StepsByWhatTheCoreConsumed)
{
    g_Feed.results = {4};
    Decode({0, 0, 1, 0x67, 0, 0, 1, 0x68, 1, 1, 1});
    ASSERT_EQ(g_Feed.units.size(), 2u);
    g_Feed = {};
    g_Feed.results = {2};
    Decode({0, 0, 1, 0x67, 0, 0, 1, 0x68, 1, 1, 1});
    ASSERT_GE(g_Feed.units.size(), 2u);
    EXPECT_EQ(g_Feed.units[1], (std::vector<uint8_t>{1, 0x67}));
}

TEST_F(C264DecoderTest, UnitThatConsumesNothingDropsTheRest)
{
    g_Feed.results = {0};
    EXPECT_EQ(Decode({0, 0, 1, 0x67, 0, 0, 1, 0x68, 1, 1, 1}), nullptr);  // the table makes -1 of it
    EXPECT_EQ(g_Feed.units.size(), 1u);
}

TEST_F(C264DecoderTest, FailureOfALaterUnitGivesNull)
{
    g_Feed.picture = true;
    g_Feed.results = {4, -5};
    EXPECT_EQ(Decode({0, 0, 1, 0x67, 0, 0, 1, 0x68, 1, 1, 1}), nullptr);
    EXPECT_EQ(g_Feed.units.size(), 2u);
}

TEST_F(C264DecoderTest, FaultInTheCoreCostsOneFrame)
{
    g_Feed.results = {-1};
    EXPECT_EQ(Decode({0, 0, 1, 0x65, 1, 2, 3}), nullptr);
    g_Feed = {};
    g_Feed.picture = true;
    const CodecFrame* const frame = Decode({0, 0, 1, 0x65, 1, 2, 3});
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], g_Plane);
}

TEST_F(C264DecoderTest, FrameIsClearedFirst)
{
    g_Feed.picture = true;
    ASSERT_NE(Decode({0, 0, 1, 0x65, 1, 2, 3})->data[0], nullptr);
    g_Feed.picture = false;
    const CodecFrame* const frame = Decode({0, 0, 1, 0x65, 1, 2, 3});
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], nullptr);
}

TEST_F(C264DecoderTest, ZeroLengthOrNullBufferGivesTheClearedFrame)
{
    g_Feed.picture = true;
    const uint8_t byte = 0;
    Decode({0, 0, 1, 0x65, 1, 2, 3});
    const CodecFrame* frame = m_Decoder.Decode(&byte, 0);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], nullptr);
    frame = m_Decoder.Decode(nullptr, 100);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], nullptr);
    frame = m_Decoder.Decode(&byte, -3);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], nullptr);
}

TEST_F(C264DecoderTest, BufferShorterThanThreeBytesGivesTheClearedFrame)
{
    for (const std::vector<uint8_t>& bytes :
         {std::vector<uint8_t>{0}, {0, 0}, {0, 0, 0}, {1}, {0, 1}, {0, 0, 1}, {9, 9}}) {
        g_Feed = {};
        const CodecFrame* const frame = Decode(bytes);
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->data[0], nullptr);
        EXPECT_TRUE(g_Feed.units.empty());  // lengths of 0 or less never reach the hook
    }
}

TEST_F(C264DecoderTest, BufferOfZeroBytesOnlyGivesTheClearedFrame)
{
    // a core that finds no unit consumes what it was given, so the walk ends at the last three bytes
    const CodecFrame* const frame = Decode(std::vector<uint8_t>(40));
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], nullptr);
    ASSERT_EQ(g_Feed.units.size(), 1u);
    EXPECT_EQ(g_Feed.units[0].size(), 37u);
}

// The leaf's context, as the constructor left it.
template <typename Decoder>
class COpened : public Decoder
{
  public:
    using Decoder::Decoder;
    const CodecContext& Context() const { return this->m_Context; }
};

TEST(VideoDecoder, LeavesOpenTheRowOfTheirCodecInTheirSize)
{
    const COpened<CMpeg4Decoder> mpeg4(352, 288);
    ASSERT_NE(mpeg4.Context().entry, nullptr);
    EXPECT_EQ(mpeg4.Context().entry->id, 13);
    EXPECT_EQ(mpeg4.Context().codec_id, 13);
    EXPECT_EQ(mpeg4.Context().codec_type, 0);
    EXPECT_EQ(mpeg4.Context().width, 352);
    EXPECT_EQ(mpeg4.Context().height, 288);
    const COpened<CC264Decoder> c264(176, 144);
    EXPECT_EQ(c264.Context().codec_id, 28);
    EXPECT_EQ(c264.Context().codec_type, 0);
    EXPECT_EQ(c264.Context().width, 176);
    EXPECT_EQ(c264.Context().height, 144);
}

// The base class over the noting row.
class CFedDecoder : public CVideoDecoder
{
  public:
    CFedDecoder() : CVideoDecoder(176, 144, CODEC_ID_MPEG4, 0, &g_Row) {}
};

TEST(VideoDecoder, FeedsThePayloadWholeAndOnceHoweverMuchIsConsumed)
{
    g_Feed = {};
    g_Feed.results = {2};
    CFedDecoder decoder;
    const std::vector<uint8_t> bytes = {0, 0, 1, 0xB6, 1, 0, 0, 1, 0xB6, 2};
    EXPECT_NE(decoder.Decode(bytes.data(), 10), nullptr);
    EXPECT_EQ(g_Feed.units, std::vector<std::vector<uint8_t>>{bytes});
}

// oddity: frame-handed-out-again
TEST(VideoDecoder, FrameIsHandedOutOnceMoreWithoutAPictureAndAfterAFailure)
{
    g_Feed = {};
    g_Feed.results = {4, -1, 4};
    g_Feed.picture = true;
    CFedDecoder decoder;
    const uint8_t bytes[4] = {};
    const CodecFrame* const frame = decoder.Decode(bytes, 4);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], g_Plane);
    g_Feed.picture = false;
    EXPECT_EQ(decoder.Decode(bytes, 4), nullptr);
    EXPECT_EQ(decoder.Decode(bytes, 4), frame);
    EXPECT_EQ(frame->data[0], g_Plane) << "not cleared";
}

TEST(VideoDecoder, DestructionClosesTheCoreOnce)
{
    g_Feed = {};
    {
        CFedDecoder decoder;
        EXPECT_EQ(g_Feed.closed, 0);
    }
    EXPECT_EQ(g_Feed.closed, 1);
}

TEST(VideoDecoder, UnknownCodecDecodesToNull)
{
    // only a build with assertions complains, by the place in the source
    EXPECT_DEBUG_DEATH(
        {
            CVideoDecoder decoder(176, 144, 99, 0);
            const uint8_t bytes[8] = {};
            EXPECT_EQ(decoder.Decode(bytes, 8), nullptr);
        },
        "decoder\\.cpp:27");
}

TEST(VideoDecoder, FailedOpenShowsOnlyAsNull)
{
    const codec_report_fn old = codec_set_report([](const char*) {});
    CMpeg4Decoder decoder(-16, 144);
    const uint8_t bytes[8] = {};
    EXPECT_EQ(decoder.Decode(bytes, 8), nullptr);
    EXPECT_EQ(decoder.Decode(bytes, 0), nullptr);
    codec_set_report(old);
}

class Mpeg4DecoderTest : public ::testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        m_pAll = new std::vector<Mpeg4Packet>(EncodeMpeg4({.frames = 4, .scene = ETestScene::Lively}));
    }
    static void TearDownTestSuite()
    {
        delete m_pAll;
        m_pAll = nullptr;
    }

    const CodecFrame* Decode(const Mpeg4Packet& packet, size_t bytes)
    {
        return m_Decoder.Decode(packet.data(), static_cast<int32_t>(bytes));
    }
    const CodecFrame* Decode(size_t i) { return Decode((*m_pAll)[i], (*m_pAll)[i].size()); }

    static std::vector<Mpeg4Packet>* m_pAll;
    CMpeg4Decoder m_Decoder{176, 144};
};
std::vector<Mpeg4Packet>* Mpeg4DecoderTest::m_pAll = nullptr;

TEST_F(Mpeg4DecoderTest, HandsOutThePicture)
{
    const CodecFrame* const frame = Decode(0);
    ASSERT_NE(frame, nullptr);
    EXPECT_NE(frame->data[0], nullptr);
    EXPECT_EQ(frame->width, 176);
    EXPECT_EQ(frame->height, 144);
    EXPECT_EQ(frame->linesize[0], 176);
    EXPECT_EQ(frame->linesize[1], 88);
    EXPECT_EQ(frame->key_frame, 1);
    EXPECT_EQ(frame->format, 0);  // left as it was found
    ASSERT_NE(Decode(1), nullptr);
    EXPECT_EQ(frame->key_frame, 0);
}

TEST_F(Mpeg4DecoderTest, PayloadThatEndsInMidPictureReturnsTheOldFrame)
{
    const CodecFrame* const frame = Decode(0);
    ASSERT_NE(frame, nullptr);
    const CodecFrame old = *frame;
    const TestPicture picture = CopyPicture(*frame);
    const Mpeg4Packet& second = (*m_pAll)[1];
    // the shortest one still has the whole VOP header
    for (size_t bytes = 12; bytes < second.size(); ++bytes) {
        ASSERT_EQ(Decode(second, bytes), frame) << bytes;
        EXPECT_EQ(std::memcmp(&old, frame, sizeof old), 0) << bytes;
        EXPECT_EQ(ComparePlane(CopyPicture(*frame), picture, 0).largest, 0) << bytes;
    }
    // and the whole of it still predicts from the last good picture
    CMpeg4Decoder undamaged(176, 144);
    undamaged.Decode((*m_pAll)[0].data(), static_cast<int32_t>((*m_pAll)[0].size()));
    const CodecFrame* const expected = undamaged.Decode(second.data(), static_cast<int32_t>(second.size()));
    ASSERT_NE(Decode(1), nullptr);
    for (int plane = 0; plane < 3; ++plane)
        EXPECT_EQ(ComparePlane(CopyPicture(*frame), CopyPicture(*expected), plane).largest, 0);
}

TEST_F(Mpeg4DecoderTest, FirstPayloadThatEndsInMidPictureHasNoPlanes)
{
    const CodecFrame* const frame = Decode((*m_pAll)[0], (*m_pAll)[0].size() / 2);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->data[0], nullptr);
}

TEST_F(Mpeg4DecoderTest, GarbageReturnsNullAndTheNextDecodeWorks)
{
    ASSERT_NE(Decode(0), nullptr);
    const std::vector<uint8_t> garbage(500, 0x5A);
    EXPECT_EQ(m_Decoder.Decode(garbage.data(), 500), nullptr);
    EXPECT_EQ(m_Decoder.Decode(nullptr, 500), nullptr);
    const CodecFrame* const frame = Decode(1);
    ASSERT_NE(frame, nullptr);
    EXPECT_NE(frame->data[0], nullptr);
}

TEST_F(Mpeg4DecoderTest, ZeroLengthReturnsThePreviousFrame)
{
    const CodecFrame* const frame = Decode(0);
    const CodecFrame old = *frame;
    EXPECT_EQ(m_Decoder.Decode((*m_pAll)[0].data(), 0), frame);
    EXPECT_EQ(std::memcmp(&old, frame, sizeof old), 0);
}
// As where a channel is opened anew in the other codec.
TEST(DecoderStreams, NoTwoCodecsShareANumber)
{
    const Mpeg4Packet mpeg4 = EncodeMpeg4({.width = 352, .height = 288, .frames = 1}).front();
    const H264Packet h264 = ReadH264Stream(SourcePath("tests/data/h264/cabac_cif.h264")).front();
    uint64_t before = 0;
    for (int opening = 0; opening < 3; ++opening) {
        CMpeg4Decoder first(352, 288);
        CC264Decoder second(352, 288);
        const CodecFrame* const older = first.Decode(mpeg4.data(), static_cast<int32_t>(mpeg4.size()));
        const CodecFrame* const newer = second.Decode(h264.data(), static_cast<int32_t>(h264.size()));
        ASSERT_TRUE(older && older->changes && newer && newer->changes);
        EXPECT_GT(older->changes->stream, before) << "all are counted by one";
        EXPECT_GT(newer->changes->stream, older->changes->stream);
        before = newer->changes->stream;

        std::vector<uint8_t> held(352 * 288 * 4);
        std::vector<uint8_t> whole(held.size());
        ConvertTarget target = {.data = {held.data()}, .linesize = {352 * 4}, .format = CONVERT_FORMAT_BGR32};
        ConvertHeld known = {};
        ASSERT_EQ(ConvertChanges(target, *older, 352, 288, &known), CONVERT_OK);
        ASSERT_EQ(ConvertChanges(target, *newer, 352, 288, &known), CONVERT_OK);
        target.data[0] = whole.data();
        ASSERT_EQ(ConvertFrame(target, *newer, 352, 288, false), CONVERT_OK);
        EXPECT_TRUE(held == whole) << "pixels of the one codec's picture stand in the other's";
    }
}

}  // namespace
