// What the MPEG-4 decoder leaves out where nothing changes, and what it says of it: a decoder that copies
// everything, and a conversion of everything, give the same samples and pixels, whatever the stream.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "codec/codec.h"
#include "codec/convert/convert.h"
#include "codec/mpeg4_dec.h"
#include "tests/codec/mpeg4/mpeg4_fed_support.h"
#include "tests/support/mpeg4_streams.h"
#include "tests/support/mpeg4_writer.h"

namespace
{
using Pixels = std::vector<uint8_t>;

constexpr int WIDTH = 96;
constexpr int HEIGHT = 80;

/// Converts every picture as a renderer with two targets does, and looks whether the pixels are those of a
/// whole conversion.
class CWatcher
{
  public:
    void Look(const CodecFrame& frame)
    {
        const size_t turn = m_Turn++ % 2;
        ASSERT_EQ(ConvertChanges(Target(m_Pixels[turn]), frame, WIDTH, HEIGHT, &m_Held[turn]), CONVERT_OK);
        Pixels whole(m_Pixels[turn].size());
        ASSERT_EQ(ConvertFrame(Target(whole), frame, WIDTH, HEIGHT, false), CONVERT_OK);
        ASSERT_EQ(m_Pixels[turn], whole);
    }

  private:
    static ConvertTarget Target(Pixels& pixels)
    {
        return {.data = {pixels.data(), nullptr, nullptr, nullptr},
                .linesize = {WIDTH * 4, 0, 0, 0},
                .format = CONVERT_FORMAT_BGR32};
    }

    Pixels m_Pixels[2] = {Pixels(WIDTH * HEIGHT * 4), Pixels(WIDTH* HEIGHT * 4)};
    ConvertHeld m_Held[2] = {};
    size_t m_Turn = 0;
};

/// The decoder at hand and one that is told before each payload that its pictures differ everywhere, so that it
/// copies all.
class CTwins
{
  public:
    void Feed(const std::vector<uint8_t>& bytes)
    {
        Mpeg4Decoder* const copying = m_Copying.Record();
        std::memset(copying->same, 0, static_cast<size_t>(copying->mb_across * copying->mb_down));
        const int32_t used = m_Copying.Feed(bytes);
        ASSERT_EQ(m_Fed.Feed(bytes), used);
        ASSERT_EQ(m_Fed.m_iGot, m_Copying.m_iGot);
        if (!m_Fed.m_Frame.data[0]) return;
        ExpectSamePicture(m_Fed.Picture(), m_Copying.Picture());
        m_Watcher.Look(m_Fed.m_Frame);
    }

    CFed m_Fed{WIDTH, HEIGHT};

  private:
    CFed m_Copying{WIDTH, HEIGHT};
    CWatcher m_Watcher;
};

std::vector<uint8_t> Vop(const Mpeg4VopFields& fields)
{
    CMpeg4Writer writer;
    writer.Vop(fields);
    return writer.Take();
}

std::vector<uint8_t> SkippedVop()
{
    CMpeg4Writer writer;
    writer.Vop({.type = 1}).Skip((WIDTH / 16) * (HEIGHT / 16));
    return writer.Take();
}

std::vector<Mpeg4Packet> Stream(ETestScene scene, uint32_t seed)
{
    return EncodeMpeg4({.width = WIDTH,
                        .height = HEIGHT,
                        .frames = 12,
                        .gop = 6,
                        .quant = 5,
                        .scene = scene,
                        .b4Mv = true,
                        .acPred = true,
                        .seed = seed});
}

TEST(Mpeg4Changes, EncodedStreamsAreTheSameWithoutCopying)
{
    for (const ETestScene scene : {ETestScene::Surveillance, ETestScene::Lively, ETestScene::Noise}) {
        CTwins twins;
        for (const Mpeg4Packet& packet : Stream(scene, 1))
            ASSERT_NO_FATAL_FAILURE(twins.Feed(packet));
    }
}

TEST(Mpeg4Changes, DamageUncodedAndForeignVopsBetweenAreTheSameWithoutCopying)
{
    std::mt19937 random(5);
    for (uint32_t round = 0; round < 60; ++round) {
        CTwins twins;
        for (Mpeg4Packet packet :
             Stream(round % 2 == 0 ? ETestScene::Surveillance : ETestScene::Lively, 1 + round)) {
            switch (random() % 8) {
                case 0:
                    packet.resize(random() % packet.size());
                    break;
                case 1:
                    packet[random() % packet.size()] ^= static_cast<uint8_t>(1U << random() % 8);
                    break;
                case 2:
                    ASSERT_NO_FATAL_FAILURE(twins.Feed(Vop({.type = 1, .coded = false})));
                    break;
                case 3:
                    ASSERT_NO_FATAL_FAILURE(twins.Feed(Vop({.type = 2})));
                    break;
                case 4:
                    ASSERT_NO_FATAL_FAILURE(twins.Feed(SkippedVop()));
                    break;
                default:
                    break;
            }
            ASSERT_NO_FATAL_FAILURE(twins.Feed(packet)) << "round " << round;
        }
    }
}

TEST(Mpeg4Changes, NumbersTellThePictureThatChangedAMacroblock)
{
    CFed fed(WIDTH, HEIGHT);
    const std::vector<Mpeg4Packet> packets = Stream(ETestScene::Surveillance, 1);
    ASSERT_GT(fed.Feed(packets[0]), 0);
    const CodecChanges* const changes = fed.m_Frame.changes;
    ASSERT_NE(changes, nullptr);
    EXPECT_NE(changes->stream, 0U);
    EXPECT_EQ(changes->picture, 1U);
    ASSERT_EQ(changes->across, WIDTH / 16);
    ASSERT_EQ(changes->down, HEIGHT / 16);
    const int count = changes->across * changes->down;
    EXPECT_EQ(std::count(changes->changed, changes->changed + count, 1U), count) << "an I picture changes all";

    CMpeg4Writer writer;
    writer.Vop({.type = 1}).Skip(4).InterMacroblock(2, 0).Skip(count - 5);
    ASSERT_GT(fed.Feed(writer.Take()), 0);
    EXPECT_EQ(changes->picture, 2U);
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(changes->changed[i], i == 4 ? 2U : 1U) << i;

    ASSERT_GT(fed.Feed(SkippedVop()), 0);
    EXPECT_EQ(changes->picture, 3U);
    EXPECT_EQ(std::count(changes->changed, changes->changed + count, 3U), 0)
        << "what is copied is what was shown";
}

TEST(Mpeg4Changes, SwapWithoutAPictureCountsAsAChangeWhereTheTwoDiffer)
{
    CFed fed(WIDTH, HEIGHT);
    ASSERT_GT(fed.Feed(Stream(ETestScene::Surveillance, 1)[0]), 0);
    const CodecChanges* const changes = fed.m_Frame.changes;
    const int count = changes->across * changes->down;
    ASSERT_GT(fed.Feed(SkippedVop()), 0);
    CMpeg4Writer writer;
    writer.Vop({.type = 1}).Skip(7).InterMacroblock(2, 0).Skip(count - 8);
    ASSERT_GT(fed.Feed(writer.Take()), 0);
    EXPECT_EQ(fed.Feed(Vop({.type = 1, .coded = false})), 0);
    EXPECT_EQ(fed.m_Frame.changes, nullptr) << "its planes are those of an older picture";
    ASSERT_GT(fed.Feed(SkippedVop()), 0);
    ASSERT_EQ(fed.m_Frame.changes, changes);
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(changes->changed[i], i == 7 ? changes->picture : 1U) << i;
}

TEST(Mpeg4Changes, EveryOpeningIsAStreamOfItsOwn)
{
    const std::vector<Mpeg4Packet> packets = Stream(ETestScene::Lively, 1);
    CFed one(WIDTH, HEIGHT);
    CFed two(WIDTH, HEIGHT);
    ASSERT_GT(one.Feed(packets[0]), 0);
    ASSERT_GT(two.Feed(packets[0]), 0);
    EXPECT_NE(one.m_Frame.changes->stream, two.m_Frame.changes->stream);
}

TEST(Mpeg4Changes, WhatIsTheSameInBothPicturesIsNotCopied)
{
    CFed fed(WIDTH, HEIGHT);
    ASSERT_GT(fed.Feed(Stream(ETestScene::Surveillance, 1)[0]), 0);
    ASSERT_GT(fed.Feed(SkippedVop()), 0);
    // a sample that the decoder would overwrite if it copied
    fed.Record()->current.plane[0][0] ^= 0xFF;
    const uint8_t* const sample = fed.Record()->current.plane[0];
    const uint8_t spoilt = *sample;
    ASSERT_GT(fed.Feed(SkippedVop()), 0);
    EXPECT_EQ(*sample, spoilt);
}
}  // namespace
