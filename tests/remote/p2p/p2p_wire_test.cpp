#include "remote/p2p/P2PWire.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/remote/p2p/p2p_support.h"

namespace
{

TEST(P2PWire, HeaderIsWrittenByteForByte)
{
    PEER_RECORD record = MakeRecord("4711");
    record.m_Addresses[0] = {inet_addr("10.1.2.3"), 0x1234, 0};
    record.m_Addresses[1] = {inet_addr("192.168.7.9"), 0xABCD, 0};
    record.m_AddressCount = 2;
    record.m_P2PAddress = {inet_addr("1.2.3.4"), 0x5678, 0};

    Bytes expected(96, 0);
    expected[0] = 0x6E;                    // type, little-endian
    std::memcpy(&expected[4], "4711", 4);  // record at 0: name, 33 bytes, then 3 of padding
    const Bytes first{10, 1,    2,
                      3,  0x34, 0x12};  // record at 36: network order, then the port as the machine holds it
    const Bytes second{192, 168, 7, 9, 0xCD, 0xAB};  // record at 44
    std::ranges::copy(first, expected.begin() + 40);
    std::ranges::copy(second, expected.begin() + 48);
    expected[80] = 2;                           // record at 76: count, then 3 of padding
    const Bytes heard{1, 2, 3, 4, 0x78, 0x56};  // record at 80
    std::ranges::copy(heard, expected.begin() + 84);

    EXPECT_EQ(MakeP2PMessage(P2PMSG_DATA, record), expected);
}

TEST(P2PWire, BodyFollowsTheHeader)
{
    const Bytes body{1, 2, 3};
    const Bytes message = MakeP2PMessage(P2PMSG_DATA, MakeRecord("a"), body);
    ASSERT_EQ(message.size(), 99U);
    EXPECT_TRUE(std::equal(body.begin(), body.end(), message.begin() + 96));
}

TEST(P2PWire, ReadGivesBackWhatWasWritten)
{
    PEER_RECORD record = MakeRecord(std::string(32, 'n'));
    for (std::uint16_t i = 0; i < 4; ++i)
        record.m_Addresses[i] = {0x01020304U + i, static_cast<std::uint16_t>(1000 + i), 0};
    record.m_AddressCount = 4;
    record.m_P2PAddress = {7, 8, 0};
    P2PMessage message;
    const Bytes written = MakeP2PMessage(P2PMSG_PING, record, Bytes{9});
    ASSERT_TRUE(ReadP2PMessage(written, message));
    EXPECT_EQ(message.type, P2PMSG_PING);
    EXPECT_EQ(std::memcmp(&message.record, &record, sizeof record), 0);
    ASSERT_EQ(message.body.size(), 1U);
    EXPECT_EQ(message.body[0], 9);
}

TEST(P2PWire, DatagramBelow96BytesIsRefused)
{
    P2PMessage message;
    for (std::size_t size = 0; size < 96; ++size)
        EXPECT_FALSE(ReadP2PMessage(Bytes(size, 0x6A), message)) << size;
    EXPECT_TRUE(ReadP2PMessage(Bytes(96, 0x6A), message));
}

TEST(P2PWire, NameWithoutTerminatorIsCutTo32Characters)
{
    Bytes datagram(96, 0);
    std::fill_n(datagram.begin() + 4, 33, 'x');
    P2PMessage message;
    ASSERT_TRUE(ReadP2PMessage(datagram, message));
    EXPECT_EQ(message.record.Name(), std::string(32, 'x'));
}

TEST(P2PWire, AddressCountOf255CountsAsFour)
{
    Bytes datagram(96, 0);
    datagram[4 + 76] = 255;
    P2PMessage message;
    ASSERT_TRUE(ReadP2PMessage(datagram, message));
    EXPECT_EQ(message.record.Addresses().size(), 4U);
}

TEST(P2PWire, RecordIsCarriedWholeWithPaddingReservedWordAndWhatFollowsTheName)
{
    Bytes datagram(96);
    for (std::size_t i = 0; i < datagram.size(); ++i)
        datagram[i] = static_cast<std::uint8_t>(200 - i);
    WriteLittle32(datagram.data(), P2PMSG_LOGIN);
    std::memcpy(&datagram[4], "ab\0cd", 5);
    datagram[4 + 32] = 0;  // the name's last byte
    datagram[4 + 76] = 3;  // the address count
    P2PMessage message;
    ASSERT_TRUE(ReadP2PMessage(datagram, message));
    EXPECT_EQ(message.record.Name(), "ab");
    EXPECT_EQ(MakeP2PMessage(P2PMSG_LOGIN, message.record), datagram);
}

TEST(P2PWire, NamesAreOneUserWithoutRegardToCase)
{
    EXPECT_TRUE(IsSamePeer("ABC", "abc"));
    EXPECT_TRUE(IsSamePeer("", ""));
    EXPECT_FALSE(IsSamePeer("abc", "abcd"));
    EXPECT_FALSE(IsSamePeer("a[", "a{"));  // 32 apart, but no letters
}

}  // namespace
