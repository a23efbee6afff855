// Splitting streams into units, and the checksum over a unit.
#include "codec/c264/c264_nal.h"

#include <gmock/gmock.h>

#include <random>
#include <vector>

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;

struct Split {
    size_t used = 0;
    C264Nal nal = {};
    std::vector<uint8_t> payload;
};

Split Took(size_t used, const C264Nal& nal)
{
    return {used, nal, std::vector<uint8_t>(nal.payload, nal.payload + nal.size)};
}

Split StartCode(const std::vector<uint8_t>& data, size_t room = 100)
{
    uint8_t scratch[100] = {};
    C264Nal nal = {};
    const size_t used = c264_split_start_code(data.data(), data.size(), scratch, room, &nal);
    return Took(used, nal);
}

Split Length(const std::vector<uint8_t>& data, c264_wanted wanted = c264_wanted::nothing)
{
    uint8_t scratch[100] = {};
    C264Nal nal = {};
    const size_t used = c264_split_length(data.data(), data.size(), wanted, scratch, sizeof scratch, &nal);
    return Took(used, nal);
}

TEST(C264Nal, UnitEndsBeforeTheNextStartCode)
{
    const Split four = StartCode({0, 0, 0, 1, 0x67, 10, 11, 0, 0, 0, 1, 0x68, 12});
    EXPECT_EQ(four.used, 7u);
    EXPECT_EQ(four.nal.nal_unit_type, 7);
    EXPECT_EQ(four.nal.nal_ref_idc, 3);
    EXPECT_THAT(four.payload, ElementsAre(10, 11));
    const Split three = StartCode({0, 0, 1, 0x26, 10, 0, 0, 1, 0x68});
    EXPECT_EQ(three.used, 5u);
    EXPECT_EQ(three.nal.nal_unit_type, 6);
    EXPECT_EQ(three.nal.nal_ref_idc, 1);
    EXPECT_THAT(three.payload, ElementsAre(10));
}

TEST(C264Nal, EmulationPreventionBytesAreDropped)
{
    EXPECT_THAT(StartCode({0, 0, 1, 0x65, 0, 0, 3, 1, 0, 0, 3, 0, 0, 3, 9}).payload,
                ElementsAre(0, 0, 1, 0, 0, 0, 0, 9));
    // a zero byte before a pair doesn't hide the 3
    EXPECT_THAT(StartCode({0, 0, 1, 0x65, 0, 0, 0, 3, 5}).payload, ElementsAre(0, 0, 0, 5));
    EXPECT_THAT(StartCode({0, 0, 1, 0x65, 7, 0, 0, 3}).payload, ElementsAre(7, 0, 0));
}

TEST(C264Nal, WithoutAStartCodeAllBytesAreUsedAndThereIsNoUnit)
{
    const Split split = StartCode({1, 2, 3, 0, 0, 2, 0x67, 1});
    EXPECT_EQ(split.used, 8u);
    EXPECT_EQ(split.nal.nal_unit_type, -1);
    EXPECT_EQ(split.nal.nal_ref_idc, 0);
    EXPECT_EQ(StartCode({}).used, 0u);
}

// oddity: start-code-at-end
TEST(C264Nal, StartCodeAtEndIsIntendedToNeedAByteAfterIt)
{
    const Split header = StartCode({9, 9, 0, 0, 1});
    EXPECT_EQ(header.used, 5u);
    EXPECT_EQ(header.nal.nal_unit_type, -1);
    EXPECT_EQ(header.nal.nal_ref_idc, 0);
    const Split atEnd = StartCode({0, 0, 1, 0x65, 5, 0, 0, 1});
    EXPECT_EQ(atEnd.used, 8u);
    EXPECT_THAT(atEnd.payload, ElementsAre(5, 0, 0, 1));
    const Split withOneMore = StartCode({0, 0, 1, 0x65, 5, 0, 0, 1, 0});
    EXPECT_EQ(withOneMore.used, 5u);
    EXPECT_THAT(withOneMore.payload, ElementsAre(5));
}

TEST(C264Nal, PayloadIsCutToTheRoom)
{
    std::vector<uint8_t> data = {0, 0, 1, 0x65};
    for (uint8_t i = 1; i <= 40; ++i)
        data.push_back(i);
    for (const size_t room : {0u, 1u, 7u, 8u, 9u, 39u, 40u}) {
        const Split split = StartCode(data, room);
        EXPECT_EQ(split.used, data.size());
        ASSERT_EQ(split.payload.size(), room);
        for (size_t i = 0; i < room; ++i)
            EXPECT_EQ(split.payload[i], i + 1);
    }
}

TEST(C264Nal, LongPayloadsComeOutWhole)
{
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::vector<uint8_t> payload(random() % 90);
        for (uint8_t& byte : payload)
            byte = static_cast<uint8_t>(random() % 5 == 0 ? 4 + random() % 250 : random() % 4 * (random() % 2));
        if (!payload.empty()) payload.back() = 0x80;
        std::vector<uint8_t> data = {0, 0, 0, 1, 0x61};
        int zeros = 0;
        for (const uint8_t byte : payload) {
            if (zeros >= 2 && byte <= 3) {
                data.push_back(3);
                zeros = 0;
            }
            data.push_back(byte);
            zeros = byte == 0 ? zeros + 1 : 0;
        }
        EXPECT_THAT(StartCode(data).payload, ElementsAreArray(payload));
    }
}

TEST(C264Nal, LengthModeTakesTheUnitOfThatLength)
{
    const Split split = Length({0, 0, 0, 4, 0x65, 0, 0, 3, 0, 0, 0, 9});
    EXPECT_EQ(split.used, 8u);
    EXPECT_EQ(split.nal.nal_unit_type, 5);
    EXPECT_THAT(split.payload, ElementsAre(0, 0));
    // start codes mean nothing here
    EXPECT_THAT(Length({0, 0, 0, 6, 0x65, 0, 0, 0, 1, 7}).payload, ElementsAre(0, 0, 0, 1, 7));
}

TEST(C264Nal, LengthModeIsClippedToTheBuffer)
{
    const Split split = Length({0xFF, 0xFF, 0xFF, 0xFF, 0x65, 1, 2});
    EXPECT_EQ(split.used, 7u);
    EXPECT_THAT(split.payload, ElementsAre(1, 2));
    EXPECT_EQ(Length({0, 0, 0, 0, 0x65, 1}).used, 4u);
    EXPECT_EQ(Length({0, 0, 0, 0, 0x65, 1}).nal.nal_unit_type, -1);
    EXPECT_EQ(Length({0, 0}).used, 2u);
}

TEST(C264Nal, LengthModeLooksForTheWantedParameterSet)
{
    const std::vector<uint8_t> both = {0, 0, 0, 7, 1, 2, 0x67, 40, 0x68, 41, 42, 0};
    const Split sps = Length(both, c264_wanted::sps);
    EXPECT_EQ(sps.used, 0u) << "the unit is read once more for its PPS";
    EXPECT_EQ(sps.nal.nal_unit_type, 7);
    EXPECT_THAT(sps.payload, ElementsAre(40, 0x68, 41, 42));
    const Split pps = Length(both, c264_wanted::pps);
    EXPECT_EQ(pps.used, 11u);
    EXPECT_EQ(pps.nal.nal_unit_type, 8);
    EXPECT_THAT(pps.payload, ElementsAre(41, 42));
    const Split none = Length({0, 0, 0, 2, 0x65, 1, 0x67, 0x67}, c264_wanted::sps);
    EXPECT_EQ(none.used, 6u);
    EXPECT_EQ(none.nal.nal_unit_type, -1);
}

TEST(C264Nal, LengthModeLooksAtTheFirst64BytesOnly)
{
    std::vector<uint8_t> unit(4 + 70, 1);
    unit[0] = unit[1] = unit[2] = 0;
    unit[3] = 70;
    unit[4 + 63] = 0x67;
    EXPECT_EQ(Length(unit, c264_wanted::sps).nal.nal_unit_type, 7);
    unit[4 + 63] = 1;
    unit[4 + 64] = 0x67;
    EXPECT_EQ(Length(unit, c264_wanted::sps).nal.nal_unit_type, -1);
}

TEST(C264Nal, ChecksumIsTheRestByteByByte)
{
    std::mt19937 random(2);
    for (int round = 0; round < 200; ++round) {
        std::vector<uint8_t> payload(random() % 40);
        for (uint8_t& byte : payload)
            byte = static_cast<uint8_t>(random());
        const uint32_t modulus = round % 3 == 0 ? 0xFFFFFFFF - random() % 100 : 1 + random() % 70000;
        uint64_t value = 0;
        for (const uint8_t byte : payload)
            value = (value * 256 + byte) % modulus;
        EXPECT_EQ(c264_checksum(payload.data(), payload.size(), modulus), value);
    }
}
}  // namespace
