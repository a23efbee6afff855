#include "remote/p2p/DatagramReader.h"

#include <gtest/gtest.h>

#include <netinet/udp.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/os/socket_calls.h"
#include "tests/remote/loopback_support.h"
#include "tests/remote/p2p/p2p_support.h"

namespace
{

using EWait = CDatagramReader::EWait;
using Texts = std::vector<std::string>;

constexpr std::size_t LIMIT = 65535;

// Sends texts.
class CTextSocket : public CLoopbackSocket
{
  public:
    void Send(const std::string& text, const CTextSocket& to) const
    {
        ASSERT_EQ(sendto(m_hSocket, text.data(), text.size(), SOCKET_SEND_FLAGS,
                         reinterpret_cast<const sockaddr*>(&to.m_Address), sizeof to.m_Address),
                  static_cast<ssize_t>(text.size()));
    }

    // The text in pieces of so many bytes, with one call; the network code cuts it.
    void SendInPieces(const std::string& text, int bytes, const CTextSocket& to) const
    {
        ASSERT_EQ(setsockopt(m_hSocket, SOL_UDP, UDP_SEGMENT, &bytes, sizeof bytes), 0);
        Send(text, to);
        const int none = 0;
        ASSERT_EQ(setsockopt(m_hSocket, SOL_UDP, UDP_SEGMENT, &none, sizeof none), 0);
    }
};

class DatagramReaderTest : public testing::Test
{
  protected:
    // What is left of the last Read; the ports of the senders go to m_Ports.
    Texts TakeAll(CDatagramReader& reader)
    {
        Texts texts;
        std::span<const std::uint8_t> datagram;
        sockaddr_in from{};
        while (reader.Next(datagram, from)) {
            texts.emplace_back(datagram.begin(), datagram.end());
            m_Ports.push_back(from.sin_port);
        }
        return texts;
    }
    Texts TakeAll() { return TakeAll(m_Reader); }

    // As many as were sent, however many reads that takes.
    Texts TakeAtLeast(std::size_t count)
    {
        Texts texts;
        while (texts.size() < count && m_Reader.Read(EWait::ForOne))
            for (auto& text : TakeAll())
                texts.push_back(std::move(text));
        return texts;
    }

    const CTextSocket m_Own;
    const CTextSocket m_Peer;
    const CTextSocket m_Other;
    CDatagramReader m_Reader{m_Own.m_hSocket, LIMIT};
    std::vector<in_port_t> m_Ports;
};

TEST_F(DatagramReaderTest, NothingIsThereBeforeTheFirstRead)
{
    EXPECT_EQ(TakeAll(), Texts{});
    EXPECT_FALSE(m_Reader.IsMoreLikely());
}

TEST_F(DatagramReaderTest, WhatIsThereIsReadWithOneCallInOrder)
{
    for (const char* const text : {"a", "bb", "c"})
        m_Peer.Send(text, m_Own);
    ASSERT_TRUE(m_Reader.Read(EWait::ForOne));
    EXPECT_EQ(TakeAll(), (Texts{"a", "bb", "c"}));
    EXPECT_FALSE(m_Reader.IsMoreLikely());
}

TEST_F(DatagramReaderTest, ReadThatDoesNotWaitFailsWhenNothingIsThere)
{
    m_Peer.Send("a", m_Own);
    ASSERT_TRUE(m_Reader.Read(EWait::No));
    EXPECT_FALSE(m_Reader.Read(EWait::No));
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(TakeAll(), Texts{}) << "what was read before is gone";
}

TEST_F(DatagramReaderTest, BurstArrivesAsItsPiecesInOrderWithItsSource)
{
    m_Peer.SendInPieces("aaabbbccc", 3, m_Own);
    ASSERT_TRUE(m_Reader.Read(EWait::ForOne));
    EXPECT_EQ(TakeAll(), (Texts{"aaa", "bbb", "ccc"}));
    EXPECT_EQ(m_Ports, std::vector<in_port_t>(3, m_Peer.m_Address.sin_port));
}

TEST_F(DatagramReaderTest, ArrivalIsWhenTheNetworkCodeGotIt)
{
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_REALTIME, &time);
        return std::pair(time.tv_sec, time.tv_nsec);
    };
    EXPECT_EQ(m_Reader.GetArrival().tv_sec, 0);
    // The machine begins to stamp soon after the first socket has asked for it; until then it tells the time of
    // the reading.
    EXPECT_TRUE(WaitUntil([&] {
        const auto before = now();
        m_Peer.SendInPieces("abcdef", 2, m_Own);
        const auto sent = now();
        EXPECT_EQ(TakeAtLeast(3), Texts({"ab", "cd", "ef"}));
        const auto arrival = std::pair(m_Reader.GetArrival().tv_sec, m_Reader.GetArrival().tv_nsec);
        EXPECT_LE(before, arrival);
        return arrival <= sent;
    }));
}

TEST_F(DatagramReaderTest, EachOfTheDatagramsOfOneCallHasItsOwnArrival)
{
    for (const char* const text : {"a", "bb"})
        m_Peer.Send(text, m_Own);
    ASSERT_TRUE(m_Reader.Read(EWait::ForOne));
    std::span<const std::uint8_t> datagram;
    sockaddr_in from{};
    ASSERT_TRUE(m_Reader.Next(datagram, from));
    const timespec first = m_Reader.GetArrival();
    ASSERT_TRUE(m_Reader.Next(datagram, from)) << "both came with one call";
    const timespec second = m_Reader.GetArrival();
    EXPECT_LT(std::pair(first.tv_sec, first.tv_nsec), std::pair(second.tv_sec, second.tv_nsec));
}

TEST_F(DatagramReaderTest, LastPieceOfABurstMayBeShort)
{
    m_Peer.SendInPieces("aaabbbc", 3, m_Own);
    m_Peer.SendInPieces("dde", 2, m_Own);
    EXPECT_EQ(TakeAtLeast(5), (Texts{"aaa", "bbb", "c", "dd", "e"}));
}

TEST_F(DatagramReaderTest, LargestBurstArrivesWhole)
{
    std::string all;
    Texts texts;
    for (int i = 0; i < 58; ++i) {
        texts.push_back(std::string(1119, static_cast<char>('A' + i)) + "|");
        all += texts.back();
    }
    m_Peer.SendInPieces(all, 1120, m_Own);
    EXPECT_EQ(TakeAtLeast(texts.size()), texts);
}

TEST_F(DatagramReaderTest, SourcesAreToldApart)
{
    m_Peer.SendInPieces("aabb", 2, m_Own);
    m_Other.Send("c", m_Own);
    m_Peer.Send("d", m_Own);
    m_Other.SendInPieces("eef", 2, m_Own);
    EXPECT_EQ(TakeAtLeast(6), (Texts{"aa", "bb", "c", "d", "ee", "f"}));
    const auto peer = m_Peer.m_Address.sin_port;
    const auto other = m_Other.m_Address.sin_port;
    EXPECT_EQ(m_Ports, (std::vector<in_port_t>{peer, peer, other, peer, other, other}));
}

TEST_F(DatagramReaderTest, DatagramIsCutToTheLimitAndSoIsEachPiece)
{
    CDatagramReader reader(m_Own.m_hSocket, 4);
    m_Peer.Send("abcdef", m_Own);
    m_Peer.Send("abcd", m_Own);
    m_Peer.SendInPieces("ghijklmnopq", 5, m_Own);
    ASSERT_TRUE(reader.Read(EWait::ForOne));
    EXPECT_EQ(TakeAll(reader), (Texts{"abcd", "abcd", "ghij", "lmno", "q"}));
}

TEST_F(DatagramReaderTest, EmptyDatagramIsADatagramWithASource)
{
    m_Peer.Send("a", m_Own);
    m_Other.Send("", m_Own);
    m_Peer.Send("b", m_Own);
    EXPECT_EQ(TakeAtLeast(3), (Texts{"a", "", "b"}));
    EXPECT_EQ(m_Ports[1], m_Other.m_Address.sin_port);
}

TEST_F(DatagramReaderTest, MoreThanOneCallTakesIsReadOn)
{
    Texts texts;
    for (std::size_t i = 0; i < 2 * CDatagramReader::PIECES + 1; ++i) {
        texts.push_back(std::to_string(i));
        m_Peer.Send(texts.back(), m_Own);
    }
    ASSERT_TRUE(m_Reader.Read(EWait::ForOne));
    EXPECT_TRUE(m_Reader.IsMoreLikely());
    Texts taken = TakeAll();
    EXPECT_EQ(taken.size(), CDatagramReader::PIECES);
    while (m_Reader.Read(EWait::No))
        for (auto& text : TakeAll())
            taken.push_back(std::move(text));
    EXPECT_EQ(taken, texts);
}

TEST_F(DatagramReaderTest, ShutdownEndsAWaitingReadWithEmptyDatagrams)
{
    // The port of the last source must not stand there for what has none.
    m_Peer.Send("a", m_Own);
    ASSERT_TRUE(m_Reader.Read(EWait::ForOne));
    TakeAll();
    m_Ports.clear();
    bool read = false;
    std::thread reader([&] { read = m_Reader.Read(EWait::ForOne); });
    shutdown(m_Own.m_hSocket, SHUT_RDWR);
    reader.join();
    ASSERT_TRUE(read);
    const Texts texts = TakeAll();
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts, Texts(texts.size()));
    EXPECT_EQ(m_Ports, std::vector<in_port_t>(texts.size()));
}

TEST_F(DatagramReaderTest, InvalidSocketFailsAtOnceAndAgain)
{
    CDatagramReader reader(INVALID_SOCKET, LIMIT);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(reader.Read(EWait::ForOne));
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(TakeAll(reader), Texts{});
        EXPECT_FALSE(reader.IsMoreLikely());
    }
}

// What the network code tells beside 10 bytes.
std::size_t SegmentOf(int level, int type, int value)
{
    alignas(cmsghdr) std::uint8_t control[CMSG_SPACE(sizeof value)] = {};
    msghdr message{};
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = level;
    part->cmsg_type = type;
    part->cmsg_len = CMSG_LEN(sizeof value);
    std::memcpy(CMSG_DATA(part), &value, sizeof value);
    return ReadSegmentBytes(message, 10);
}

TEST(DatagramSegments, SizeIsReadWhereItIsGiven)
{
    EXPECT_EQ(SegmentOf(SOL_UDP, UDP_GRO, 1), 1U);
    EXPECT_EQ(SegmentOf(SOL_UDP, UDP_GRO, 9), 9U);
    EXPECT_EQ(SegmentOf(SOL_SOCKET, UDP_GRO, 4), 10U);
    EXPECT_EQ(SegmentOf(SOL_UDP, UDP_SEGMENT, 4), 10U);
    EXPECT_EQ(ReadSegmentBytes(msghdr{}, 10), 10U);
}

TEST(DatagramSegments, SizeThatMakesNoSenseCutsNothing)
{
    for (const int size : {0, -1, -1120, 10, 11, 1 << 30})
        EXPECT_EQ(SegmentOf(SOL_UDP, UDP_GRO, size), 10U) << size;
}

}  // namespace
