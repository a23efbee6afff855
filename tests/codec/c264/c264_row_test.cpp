// What the codec table's row and the wrapper make of the decoder.
#include <gtest/gtest.h>

#include "codec/decoder.h"
#include "tests/codec/c264/c264_handmade_support.h"

namespace
{
constexpr int SIZE = 32;  // of the opened pictures: 2 by 2 macroblocks

class C264Row : public testing::Test
{
  protected:
    void SetUp() override
    {
        codec_init();
        codec_register_all();
        m_Context.width = SIZE;
        m_Context.height = SIZE;
        ASSERT_EQ(codec_open(&m_Context, codec_find_decoder(CODEC_ID_H264)), 0);
    }
    void TearDown() override { codec_close(&m_Context); }

    int32_t Decode(H264Packet packet)
    {
        packet.resize(packet.size() + 8);
        return codec_decode(&m_Context, &m_Frame, &m_iGot, packet.data(), static_cast<int32_t>(packet.size()));
    }

    CodecContext m_Context = {};
    CodecFrame m_Frame = {};
    int32_t m_iGot = 0;
};

TEST_F(C264Row, PictureComesWithSizePlanesAndKeyFlag)
{
    EXPECT_GT(Decode(C264Joined({C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))})), 0);
    EXPECT_EQ(m_iGot, 4);
    EXPECT_EQ(m_Frame.width, SIZE);
    EXPECT_EQ(m_Frame.height, SIZE);
    EXPECT_EQ(m_Frame.linesize[0], SIZE + 64);
    EXPECT_EQ(m_Frame.linesize[2], (SIZE + 64) / 2);
    EXPECT_EQ(m_Frame.format, 0) << "left as it was";
    EXPECT_EQ(m_Frame.data[0][0], 132);
    EXPECT_EQ(m_Context.picture_count, 1);
}

TEST_F(C264Row, KeyFlagIsTheSliceTypeNotTheUnitType)
{
    Decode(C264Joined({C264ParameterUnits(), C264SliceUnit(C264Flats({0, 0, 0, 0}))}));
    EXPECT_EQ(m_Frame.key_frame, 1) << "an I slice that isn't IDR";
    CH264Bits p = C264SliceStart({.type = 0});
    p.Ue(4);
    Decode(C264SliceUnit(p));
    EXPECT_EQ(m_Frame.key_frame, 0);
}

TEST_F(C264Row, AnswersMinusOneForOneToFiveBytes)
{
    const uint8_t data[8] = {};
    for (int32_t size = 1; size <= 5; ++size)
        EXPECT_EQ(codec_decode(&m_Context, &m_Frame, &m_iGot, data, size), -1) << size;
    EXPECT_EQ(codec_decode(&m_Context, &m_Frame, &m_iGot, data, 6), 6);
    EXPECT_EQ(codec_decode(&m_Context, &m_Frame, &m_iGot, data, 0), 0);
}

TEST_F(C264Row, ChangesTellWhatWasWritten)
{
    Decode(C264Joined({C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))}));
    ASSERT_NE(m_Frame.changes, nullptr);
    EXPECT_EQ(m_Frame.changes->across, 2);
    EXPECT_EQ(m_Frame.changes->down, 2);
    EXPECT_EQ(m_Frame.changes->picture, 1u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(m_Frame.changes->changed[i], 1u) << i;
    // skipped but for one, unfiltered
    CH264Bits p = C264SliceStart({.type = 0});
    p.Ue(2);
    C264Flat(&p, 1, 5);
    p.Ue(1);
    Decode(C264SliceUnit(p));
    EXPECT_EQ(m_Frame.changes->picture, 2u);
    EXPECT_EQ(m_Frame.changes->changed[0], 1u);
    EXPECT_EQ(m_Frame.changes->changed[1], 1u);
    EXPECT_EQ(m_Frame.changes->changed[2], 2u);
    EXPECT_EQ(m_Frame.changes->changed[3], 1u);
}

TEST(C264Decoder, OneToEightZeroBytesGiveTheClearedFrame)
{
    CC264Decoder decoder(SIZE, SIZE);
    const uint8_t zeros[16] = {};
    for (int32_t size = 1; size <= 16; ++size) {
        const CodecFrame* const frame = decoder.Decode(zeros, size);
        ASSERT_NE(frame, nullptr) << size;
        EXPECT_EQ(frame->data[0], nullptr) << size;
    }
}

TEST(C264Decoder, ShortRestThatIsNotZeroGivesNull)
{
    CC264Decoder decoder(SIZE, SIZE);
    const uint8_t data[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(decoder.Decode(data, 8), nullptr);
}

TEST(C264Decoder, ParameterSetsAndPictureInOnePayloadGiveThePicture)
{
    CC264Decoder decoder(SIZE, SIZE);
    H264Packet packet = C264Joined({C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))});
    packet.resize(packet.size() + 8);
    const CodecFrame* const frame = decoder.Decode(packet.data(), static_cast<int32_t>(packet.size()));
    ASSERT_NE(frame, nullptr);
    ASSERT_NE(frame->data[0], nullptr);
    EXPECT_EQ(frame->data[0][0], 132);
}
}  // namespace
