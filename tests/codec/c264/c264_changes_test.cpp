// What the H.264 decoder leaves out where nothing changes, against one that leaves out nothing, and the
// conversion of its changes.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "codec/convert/convert.h"
#include "tests/codec/c264/c264_fed_support.h"
#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/c264_copying.h"
#include "tests/support/h264_random.h"
#include "tests/support/h264_writer.h"
#include "tests/support/stream_damage.h"
#include "tests/support/test_picture.h"

namespace
{
ConvertTarget Target(const CodecFrame& frame, std::vector<uint8_t>* pixels)
{
    pixels->resize(static_cast<size_t>(frame.width) * frame.height * 4);
    return {.data = {pixels->data(), nullptr, nullptr, nullptr},
            .linesize = {frame.width * 4, 0, 0, 0},
            .format = CONVERT_FORMAT_BGR32};
}

/// An ordinary decoder whose changes are followed, and a copying one.
class CTwins
{
  public:
    CTwins(int width, int height) : m_Decoder(width, height), m_Copying(width, height) {}

    void Feed(const H264Packet& packet)
    {
        const CodecFrame* const found = FeedAsLink(&m_Decoder, packet);
        const CodecFrame* const expected = FeedAsLink(&m_Copying, packet);
        ASSERT_EQ(found == nullptr, expected == nullptr);
        if (!found || !found->data[0]) return;
        ASSERT_NE(expected->data[0], nullptr);
        ASSERT_EQ(DescribeDifference(CopyPicture(*found), CopyPicture(*expected)), "");
        ASSERT_EQ(ConvertChanges(Target(*found, &m_Pixels), *found, found->width, found->height, &m_Held),
                  CONVERT_OK);
        std::vector<uint8_t> whole;
        ASSERT_EQ(ConvertFrame(Target(*found, &whole), *found, found->width, found->height, false), CONVERT_OK);
        ASSERT_TRUE(m_Pixels == whole);
        ASSERT_NE(found->changes, nullptr);
        for (int i = 0; i < found->changes->across * found->changes->down; ++i)
            ++(found->changes->changed[i] == found->changes->picture ? m_iChanged : m_iKept);
    }

    int m_iChanged = 0;
    int m_iKept = 0;

  private:
    CC264Decoder m_Decoder;
    CCopyingC264Decoder m_Copying;
    std::vector<uint8_t> m_Pixels;
    ConvertHeld m_Held{};
};

/// Long groups with much that is skipped.
H264Sequence StillSequence(uint32_t seed)
{
    H264RandomShape shape = H264ShapeOfSeed(seed);
    shape.pictures = 12;
    shape.gop = 9;
    shape.still = true;
    H264Sequence sequence = MakeRandomH264(shape);
    sequence.parameters.crop_right = sequence.parameters.crop_bottom =
        0;  // the conversion wants whole macroblocks
    return sequence;
}

TEST(C264Changes, WholeStreamsAreTheSameWithoutCopying)
{
    int changed = 0;
    int kept = 0;
    for (uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const H264Sequence sequence = StillSequence(seed);
        CTwins twins(sequence.Width(), sequence.Height());
        for (const H264Packet& packet : WriteH264(sequence, seed % 2 == 0))
            ASSERT_NO_FATAL_FAILURE(twins.Feed(packet));
        changed += twins.m_iChanged;
        kept += twins.m_iKept;
    }
    EXPECT_GT(changed, 1000);
    EXPECT_GT(kept, 1000) << "nothing was ever left out";
}

TEST(C264Changes, DamagedStreamsAreTheSameWithoutCopying)
{
    std::mt19937 random(23);
    for (uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const H264Sequence sequence = StillSequence(seed);
        CTwins twins(sequence.Width(), sequence.Height());
        for (H264Packet packet : WriteH264(sequence, seed % 2 == 0)) {
            const auto& damages = StreamDamages();
            if (random() % 3 == 0) damages[random() % damages.size()].Do(&packet, &random);
            ASSERT_NO_FATAL_FAILURE(twins.Feed(packet));
        }
    }
}

TEST(C264Changes, WhatIsTheSameInBothPicturesIsNotWritten)
{
    for (const uint32_t disableFilter : {0u, 1u}) {
        SCOPED_TRACE(disableFilter ? "unfiltered" : "filtered");
        C264Fed fed(32, 32);
        CH264Bits skipped = C264SliceStart({.type = 0, .disable_deblocking_filter_idc = disableFilter});
        skipped.Ue(4);
        fed.FeedSlice(C264Flats({1, 0, -1, 0}));
        fed.FeedSlice(skipped);
        // samples that the decoder would overwrite if it copied, and those of the border if it extended it
        const auto* const dec = reinterpret_cast<const C264Context*>(fed.Handle());  // its first member
        uint8_t* const picture = dec->current.plane[0];
        const ptrdiff_t stride = dec->stride[0];
        const ptrdiff_t places[] = {0, 31 * stride + 31, -1, 32, -stride, 32 * stride};
        std::vector<uint8_t> spoilt;
        for (const ptrdiff_t place : places) {
            picture[place] ^= 0xFF;
            spoilt.push_back(picture[place]);
        }
        fed.FeedSlice(skipped);
        ASSERT_EQ(fed.picture.plane[0], picture);
        for (size_t i = 0; i < spoilt.size(); ++i)
            EXPECT_EQ(picture[places[i]], spoilt[i]) << i;
    }
}

TEST(C264Changes, RowsAboveASliceThatBeginsLowerGoBackToTheOlderPicture)
{
    constexpr int DOWN = 6;
    for (uint32_t first = 1; first <= DOWN; ++first) {
        SCOPED_TRACE(first);
        C264Fed fed(16, 16 * DOWN);
        fed.FeedSlice(C264Flats({1, 0, 1, 0, 0, 0}));
        fed.FeedSlice(C264Flats({1, 1, -1, 1, 0, 0}));  // the first macroblock is the only one that is the same
        fed.FeedSlice(C264Flats(std::vector<int>(DOWN - first, 0), {.first_mb = first}));
        const CodecChanges* const changes = c264_changes(fed.Handle());
        ASSERT_EQ(changes->picture, 3u);
        for (int row = 0; row < DOWN; ++row)
            EXPECT_EQ(changes->changed[row], 3u) << row;
    }
}
}  // namespace
