// The devices' checksum: announced, kept, wrong, and taken off the payload.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "tests/codec/c264/c264_handmade_support.h"
#include "tests/support/h264_streams.h"

namespace
{
constexpr int SIZE = 32;  // of the opened pictures: 2 by 2 macroblocks

class C264Checksum : public testing::TestWithParam<EH264Checksum>
{
  protected:
    H264Packet Protected(const H264Packet& packet, bool announce) const
    {
        return ProtectH264(packet, GetParam(), MODULUS, announce);
    }
    /// All units of a call, one call for each as a link's walk does it. \returns the last result.
    int32_t FeedAll(const H264Packet& packet)
    {
        int32_t result = 0;
        for (const H264UnitPlace& unit : FindH264Units(packet)) {
            result = m_Fed.Feed(H264Packet(packet.begin() + static_cast<ptrdiff_t>(unit.begin),
                                           packet.begin() + static_cast<ptrdiff_t>(unit.end)),
                                0);
            if (result < 0) break;
        }
        return result;
    }
    static constexpr uint32_t MODULUS = 65521;
    C264Fed m_Fed{SIZE, SIZE};
    H264Packet m_Packet = C264Joined({C264ParameterUnits(), C264SliceUnit(C264Flats({1, 0, 0, 0}))});
};

TEST_P(C264Checksum, ProtectedUnitsDecode)
{
    EXPECT_GT(FeedAll(Protected(m_Packet, true)), 0);
    EXPECT_EQ(m_Fed.got, 1);
    EXPECT_EQ(m_Fed.Middle(0, 0), 132);
    EXPECT_GT(FeedAll(Protected(m_Packet, false)), 0) << "stays in force";
    EXPECT_EQ(m_Fed.got, 1);
}

TEST_P(C264Checksum, WrongUnitFailsWithAWarningAndTheNextOneDecodes)
{
    FeedAll(Protected(m_Packet, true));
    const CC264NewWarnings warnings;
    H264Packet damaged = Protected(m_Packet, false);
    damaged[damaged.size() - 8] ^= 0x10;
    EXPECT_EQ(FeedAll(damaged), -1);
    EXPECT_EQ(m_Fed.got, 0);
    EXPECT_EQ(warnings.Count(C264_WARNING_CHECKSUM), 1);
    EXPECT_GT(FeedAll(Protected(m_Packet, false)), 0);
    EXPECT_EQ(m_Fed.got, 1);
}

TEST_P(C264Checksum, TheLaterOfTwoAnnouncementsHolds)
{
    constexpr uint32_t LATER = 65519;
    const auto other = GetParam() == EH264Checksum::Bits16 ? EH264Checksum::Bits32 : EH264Checksum::Bits16;
    EXPECT_GT(m_Fed.Feed(H264ChecksumSei(GetParam(), MODULUS, MODULUS)), 0);
    EXPECT_GT(m_Fed.Feed(H264ChecksumSei(other, LATER, LATER)), 0);
    EXPECT_EQ(FeedAll(Protected(m_Packet, false)), -1);
    EXPECT_GT(FeedAll(ProtectH264(m_Packet, other, LATER, false)), 0);
    EXPECT_EQ(m_Fed.got, 1);
    EXPECT_EQ(m_Fed.Middle(0, 0), 132);
}

TEST_P(C264Checksum, UnitWithoutReferencePassesUnchecked)
{
    FeedAll(Protected(m_Packet, true));
    EXPECT_GT(m_Fed.Feed(C264SliceUnit(C264Flats({-1, 0, 0, 0}), UNIT_SLICE, 0)), 0);
    EXPECT_EQ(m_Fed.got, 1);
    EXPECT_EQ(m_Fed.Middle(0, 0), 124);
}

TEST_P(C264Checksum, PayloadLosesAllOfItsChecksum)
{
    // A slice without any macroblock: what follows its header is read as zeros, not as the checksum.
    // of so many checksums some are read as another macroblock
    for (uint32_t less = 5; less < 40; less += 2) {
        const uint32_t modulus = (GetParam() == EH264Checksum::Bits16 ? 0xFFFF : 0xFFFFFFFF) - less;
        CH264Bits bits = C264SliceStart({});
        bits.AlignWith(false);
        const H264Packet cut = C264Unit(UNIT_SLICE, bits.Bytes());
        const H264Packet guarded = ProtectH264(cut, GetParam(), modulus, false);
        const size_t bytes = GetParam() == EH264Checksum::Bits16 ? 2 : 4;
        ASSERT_EQ(guarded.size(), cut.size() + bytes);
        std::array<std::vector<int>, 2> pictures;
        for (const bool checked : {false, true}) {
            C264Fed fed(SIZE, SIZE);
            fed.Feed(C264ParameterUnits());
            if (checked) fed.Feed(H264ChecksumSei(GetParam(), modulus, modulus));
            EXPECT_GT(fed.Feed(checked ? guarded : cut, 0), 0);
            ASSERT_EQ(fed.got, 1);
            for (int i = 0; i < SIZE * SIZE; ++i)
                pictures[checked ? 1 : 0].push_back(fed.Luma(i % SIZE, i / SIZE));
        }
        EXPECT_EQ(pictures[0], pictures[1]);
    }
}

TEST_P(C264Checksum, WrongAnnouncementFailsTheCall)
{
    EXPECT_EQ(m_Fed.Feed(H264ChecksumSei(GetParam(), 5, 6)), -1);
    EXPECT_GT(FeedAll(m_Packet), 0) << "nothing is checked";
    EXPECT_EQ(m_Fed.got, 1);
}

INSTANTIATE_TEST_SUITE_P(Widths, C264Checksum, testing::Values(EH264Checksum::Bits16, EH264Checksum::Bits32));
}  // namespace
