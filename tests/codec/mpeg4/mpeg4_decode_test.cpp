// What the MPEG-4 decoder makes of whole VOPs: what it shows, keeps and hands out.
#include <gtest/gtest.h>

#include "codec/codec.h"
#include "tests/codec/mpeg4/mpeg4_decode_support.h"

namespace
{

TEST_F(Mpeg4Decode, BytesUsedAreThoseOfTheVop)
{
    std::vector<uint8_t> bytes = m_Packets[1];
    const int32_t size = static_cast<int32_t>(bytes.size());
    bytes.insert(bytes.end(), {0, 0, 1, 0xB6, 9, 9, 9, 9});
    EXPECT_EQ(m_Fed.Feed(bytes), size);
    EXPECT_EQ(m_Fed.m_iGot, size);
}

TEST_F(Mpeg4Decode, PlanesHandedOutAreTheReferenceOfTheNextCall)
{
    const uint8_t* const first = m_Fed.m_Frame.data[0];
    ASSERT_GT(m_Fed.Feed(m_Packets[1]), 0);
    const uint8_t* const second = m_Fed.m_Frame.data[0];
    EXPECT_NE(first, second);
    EXPECT_EQ(m_Fed.Record()->reference.plane[0], second);
    ASSERT_GT(m_Fed.Feed(m_Packets[2]), 0);
    EXPECT_EQ(m_Fed.m_Frame.data[0], first);
}

TEST_F(Mpeg4Decode, PlanesArePackedWithoutBorder)
{
    EXPECT_EQ(m_Fed.m_Frame.linesize[0], SIZE);
    EXPECT_EQ(m_Fed.m_Frame.linesize[1], SIZE / 2);
    EXPECT_EQ(m_Fed.m_Frame.data[1], m_Fed.m_Frame.data[0] + SIZE * SIZE);
    EXPECT_EQ(m_Fed.m_Frame.data[2], m_Fed.m_Frame.data[1] + SIZE * SIZE / 4);
}

/// A VOP that shows nothing: one that isn't coded, or a B-VOP.
class Mpeg4Hidden : public Mpeg4Decode, public ::testing::WithParamInterface<Mpeg4VopFields>
{
};

// oddity: hidden-picture-swaps
TEST_P(Mpeg4Hidden, SwapsThePicturesSoThatTheNextPPredictsFromTheOlderOne)
{
    ASSERT_GT(m_Fed.Feed(m_Packets[1]), 0);
    const TestPicture newer = m_Fed.Picture();
    ASSERT_NE(newer.plane[0], m_Base.plane[0]);
    m_Fed.m_Frame.key_frame = 77;

    CMpeg4Writer writer;
    const std::vector<uint8_t> hidden = writer.Vop(GetParam()).Bits(0, 32).Take();
    EXPECT_EQ(m_Fed.Feed(hidden), 0);
    EXPECT_EQ(m_Fed.m_iGot, 0);
    EXPECT_EQ(m_Fed.m_Frame.key_frame, 77);      // left as it was
    ExpectSamePicture(m_Fed.Picture(), m_Base);  // filled all the same

    FeedP([](CMpeg4Writer& w) { w.Skip(9); });
    ExpectSamePicture(m_Fed.Picture(), m_Base);
}

TEST_P(Mpeg4Hidden, IsAFailureOfTheTable)
{
    CMpeg4Writer writer;
    const std::vector<uint8_t> hidden = writer.Vop(GetParam()).Bits(0, 32).Take();
    int32_t got = 9;
    const int32_t count = m_Fed.m_Context.picture_count;
    EXPECT_EQ(codec_decode(&m_Fed.m_Context, &m_Fed.m_Frame, &got, hidden.data(),
                           static_cast<int32_t>(hidden.size())),
              -1);
    EXPECT_EQ(got, 0);
    EXPECT_EQ(m_Fed.m_Context.picture_count, count);
}

INSTANTIATE_TEST_SUITE_P(Vops, Mpeg4Hidden,
                         ::testing::Values(Mpeg4VopFields{.type = 0, .coded = false},
                                           Mpeg4VopFields{.type = 1, .coded = false},
                                           Mpeg4VopFields{.type = 2}),
                         [](const auto& test) {
                             const Mpeg4VopFields& fields = test.param;
                             return fields.coded ? "B" : fields.type == 0 ? "NotCodedI" : "NotCodedP";
                         });

TEST_F(Mpeg4Decode, RefusedHeadersSwapNothing)
{
    ASSERT_GT(m_Fed.Feed(m_Packets[1]), 0);
    const TestPicture newer = m_Fed.Picture();
    CMpeg4Writer writer;
    EXPECT_EQ(m_Fed.Feed(writer.Vol({.interlaced = true}).Vop({}).Bits(0, 32).Take()), -9965);
    FeedP([](CMpeg4Writer& w) { w.Skip(9); });
    ExpectSamePicture(m_Fed.Picture(), newer);
}

TEST_F(Mpeg4Decode, VolOfAnotherSizeChangesTheStoredSizeOnly)
{
    for (const Vector size : {Vector{1280, 720}, {8191, 8191}, {16, 16}, {1, 1}}) {
        CMpeg4Writer writer;
        writer.Vol({.width = static_cast<uint32_t>(size.x), .height = static_cast<uint32_t>(size.y)});
        ASSERT_GT(m_Fed.Feed(writer.Vop({.type = 1}).Skip(9).Take()), 0);
        EXPECT_EQ(m_Fed.Record()->header.width, size.x);
        EXPECT_EQ(m_Fed.Record()->header.height, size.y);
        // what is handed out describes the planes, which stay as opened
        EXPECT_EQ(m_Fed.Record()->mb_across, 3);
        EXPECT_EQ(m_Fed.m_Frame.width, SIZE);
        EXPECT_EQ(m_Fed.m_Frame.height, SIZE);
        EXPECT_EQ(m_Fed.m_Frame.linesize[0], SIZE);
        ExpectSamePicture(m_Fed.Picture(), m_Base);
    }
}

}  // namespace
