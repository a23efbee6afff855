// The datagrams byte for byte, as a client writes and reads them.

#include "recorder/protocol/Wire.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace
{

using namespace recorder;
using testing::ElementsAre;
using testing::SizeIs;

PeerRecord Record()
{
    return {"1001", {{0xC0A80107, 40000}, {0x0A000001, 0x1234}}, {0x7F000001, 4567}};
}

TEST(WireTest, RecordLiesAsTheClientReadsIt)
{
    const Bytes bytes = MakeMessage(EMessage::Login, Record());
    ASSERT_THAT(bytes, SizeIs(96));
    Bytes expected(96);
    const auto put = [&](size_t at, std::initializer_list<uint8_t> values) {
        std::copy(values.begin(), values.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
    };
    put(0, {0x65, 0, 0, 0});                          // type
    put(4, {'1', '0', '0', '1'});                     // name
    put(4 + 36, {192, 168, 1, 7, 0x40, 0x9C, 0, 0});  // address in network order, port as the machine holds it
    put(4 + 44, {10, 0, 0, 1, 0x34, 0x12, 0, 0});
    put(4 + 76, {2});                               // how many of them
    put(4 + 80, {127, 0, 0, 1, 0xD7, 0x11, 0, 0});  // where it was last heard
    EXPECT_EQ(bytes, expected);
}

TEST(WireTest, WhatIsWrittenIsReadBack)
{
    const Bytes body = {1, 2, 3};
    const Bytes bytes = MakeMessage(EMessage::Data, Record(), body);
    const auto message = ParseMessage(bytes);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->type, EMessage::Data);
    EXPECT_EQ(message->record, Record());
    EXPECT_THAT(message->body, ElementsAre(1, 2, 3));
}

TEST(WireTest, NamesAreCutAtThirtyTwoCharacters)
{
    PeerRecord record;
    record.name = std::string(40, 'x');
    const Bytes bytes = MakeMessage(EMessage::Login, record);
    EXPECT_EQ(ParseMessage(bytes)->record.name, std::string(32, 'x'));
    EXPECT_EQ(bytes[4 + 32], 0);
}

struct RefusedRow {
    const char* name;
    size_t bytes;                                 // of the datagram
    std::vector<std::pair<size_t, uint8_t>> set;  // bytes changed in a good one
    EWireFault expected;
};

class WireRefusalTest : public testing::TestWithParam<RefusedRow>
{
};

TEST_P(WireRefusalTest, TellsWhy)
{
    const RefusedRow& row = GetParam();
    Bytes bytes = MakeMessage(EMessage::Ping, Record());
    for (const auto& [at, value] : row.set)
        bytes[at] = value;
    bytes.resize(row.bytes);
    EWireFault why = EWireFault::None;
    EXPECT_EQ(ParseMessage(bytes, &why).has_value(), row.expected == EWireFault::None);
    EXPECT_EQ(why, row.expected) << WireFaultText(why);
}

std::vector<std::pair<size_t, uint8_t>> NameWithoutEnd()
{
    std::vector<std::pair<size_t, uint8_t>> set;
    for (size_t i = 0; i < NAME_BYTES; ++i)
        set.emplace_back(4 + i, 'a');
    return set;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WireRefusalTest,
    testing::Values(RefusedRow{"Empty", 0, {}, EWireFault::TooShort},
                    RefusedRow{"NinetyFiveBytes", 95, {}, EWireFault::TooShort},
                    RefusedRow{"NinetySixBytes", 96, {}, EWireFault::None},
                    RefusedRow{"TypeBelowLogin", 96, {{0, 0x64}}, EWireFault::UnknownType},
                    RefusedRow{"TypeAboveDataAck", 96, {{0, 0x70}}, EWireFault::UnknownType},
                    RefusedRow{"TypeWithHighByte", 96, {{3, 1}}, EWireFault::UnknownType},
                    RefusedRow{"NameWithoutEnd", 96, NameWithoutEnd(), EWireFault::UnterminatedName},
                    RefusedRow{"FourAddresses", 96, {{4 + 76, 4}}, EWireFault::None},
                    RefusedRow{"FiveAddresses", 96, {{4 + 76, 5}}, EWireFault::TooManyAddresses},
                    RefusedRow{
                        "TwoHundredFiftyFiveAddresses", 96, {{4 + 76, 255}}, EWireFault::TooManyAddresses}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WireTest, WantedNameMustEnd)
{
    Bytes body(NAME_BYTES, 'z');
    EXPECT_FALSE(WantedName(body));
    body[4] = 0;  // what follows the terminator has no meaning
    EXPECT_EQ(WantedName(body), "zzzz");
    EXPECT_FALSE(WantedName(std::span(body).first(NAME_BYTES - 1)));
}

TEST(WireTest, NamesAreComparedWithoutCase)
{
    EXPECT_TRUE(SameName("ABC", "abc"));
    EXPECT_FALSE(SameName("abc", "abcd"));
    EXPECT_FALSE(SameName("ab{", "AB["));  // letters only
}

TEST(WireTest, HeaderWordOfTheLastChannel)
{
    EXPECT_EQ(PackHeader({true, 63, 8}), 0x7F000008U);
    EXPECT_EQ(UnpackHeader(0x7F000008), (HeaderWord{true, 63, 8}));
    EXPECT_EQ(UnpackHeader(0xFF000008), (HeaderWord{true, 63, 8})) << "the highest bit is spare";
    EXPECT_EQ(UnpackHeader(0x03FFFFFF), (HeaderWord{false, 3, 0xFFFFFF}));
}

TEST(WireTest, RequestIsReadAndAnsweredByteForByte)
{
    const Bytes request = {0x08, 0, 0, 0x45, 5, 0, 0, 0};
    EXPECT_EQ(ParseStreamRequest(request), 5);
    EXPECT_THAT(MakeStreamReply(5, 704, 576), ElementsAre(0x08, 0, 0, 0x45, 0xC0, 0x02, 0x40, 0x02));
}

TEST(WireTest, WhatIsNoRequestIsRefused)
{
    EXPECT_FALSE(ParseStreamRequest(Bytes{0x08, 0, 0, 0x45, 5, 0, 0})) << "too short";
    EXPECT_FALSE(ParseStreamRequest(Bytes{0x08, 0, 0, 0x45, 5, 0, 0, 0, 0})) << "too long";
    EXPECT_FALSE(ParseStreamRequest(Bytes{0x08, 0, 0, 0x05, 5, 0, 0, 0})) << "other direction";
    EXPECT_FALSE(ParseStreamRequest(Bytes{0x09, 0, 0, 0x45, 5, 0, 0, 0})) << "other length";
    EXPECT_FALSE(ParseStreamRequest(Bytes{0x08, 0, 0, 0x45, 6, 0, 0, 0})) << "two different channels";
    EXPECT_FALSE(ParseStreamRequest(Bytes{0x08, 0, 0, 0x45, 5, 1, 0, 0})) << "two different channels";
}

TEST(WireTest, VideoMessageIsHeaderAndPicture)
{
    EXPECT_THAT(MakeVideoMessage(1, Bytes{9, 8}), ElementsAre(6, 0, 0, 0x41, 9, 8));
}

}  // namespace
