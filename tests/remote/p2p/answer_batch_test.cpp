#include "remote/p2p/AnswerBatch.h"

#include <gtest/gtest.h>

#include <netinet/udp.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/remote/loopback_support.h"

namespace
{

class CPeerSocket : public CLoopbackSocket
{
  public:
    // The next datagram's text; "nothing" when none comes.
    std::string Receive(int flags = 0) const
    {
        char bytes[256];
        const ssize_t count = recv(m_hSocket, bytes, sizeof bytes, flags);
        return count < 0 ? "nothing" : std::string(bytes, static_cast<std::size_t>(count));
    }
};

// Gets what was sent with one call as it was sent.
class CJoiningSocket : public CPeerSocket
{
  public:
    CJoiningSocket()
    {
        const int on = 1;
        setsockopt(m_hSocket, SOL_UDP, UDP_GRO, &on, sizeof on);
    }
};

class CDataOutput final : public IP2POutput
{
  public:
    void SendDatagram(std::span<const std::uint8_t>, const sockaddr_in&) override { ADD_FAILURE(); }
    void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& /*from*/) override
    {
        m_Delivered.emplace_back(name + std::string(data.begin(), data.end()));
    }
    std::vector<std::string> m_Delivered;
};

class AnswerBatchTest : public testing::Test
{
  protected:
    void Send(const std::string& text, const sockaddr_in& to)
    {
        m_Batch.SendDatagram({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, to);
    }
    void Send(const std::string& text, const CPeerSocket& to) { Send(text, to.m_Address); }

    CDataOutput m_Output;
    const CPeerSocket m_Own;
    const CPeerSocket m_Peer;
    const CPeerSocket m_Other;
    CAnswerBatch m_Batch{m_Output, m_Own.m_hSocket};
};

TEST_F(AnswerBatchTest, NothingGoesOutBeforeTheFlush)
{
    Send("a", m_Peer);
    Send("b", m_Peer);
    EXPECT_EQ(m_Peer.Receive(MSG_DONTWAIT), "nothing");
    m_Batch.Flush();
    EXPECT_EQ(m_Peer.Receive(), "a");
    EXPECT_EQ(m_Peer.Receive(), "b");
    m_Batch.Flush();
    EXPECT_EQ(m_Peer.Receive(MSG_DONTWAIT), "nothing");
}

TEST_F(AnswerBatchTest, EachAnswerStaysADatagramOfItsOwnInOrder)
{
    const std::vector<std::string> texts{"one", "two", "six", "seven", "eight", "x", "y"};
    for (const auto& text : texts)
        Send(text, m_Peer);
    m_Batch.Flush();
    for (const auto& text : texts)
        EXPECT_EQ(m_Peer.Receive(), text);
}

TEST_F(AnswerBatchTest, EachAnswerGoesToItsAddress)
{
    Send("a", m_Peer);
    Send("b", m_Other);
    Send("c", m_Other);
    Send("d", m_Peer);
    m_Batch.Flush();
    EXPECT_EQ(m_Peer.Receive(), "a");
    EXPECT_EQ(m_Peer.Receive(), "d");
    EXPECT_EQ(m_Other.Receive(), "b");
    EXPECT_EQ(m_Other.Receive(), "c");
}

TEST_F(AnswerBatchTest, MoreThanOneCallTakesGoOutAsTheyCome)
{
    for (int i = 100; i < 250; ++i)
        Send(std::to_string(i), m_Peer);
    EXPECT_EQ(m_Peer.Receive(), "100");
    m_Batch.Flush();
    for (int i = 101; i < 250; ++i)
        EXPECT_EQ(m_Peer.Receive(), std::to_string(i));
}

TEST_F(AnswerBatchTest, NetworkCodeThatDoesNotCutGetsThemOneByOne)
{
    // Without checksums there is no segmentation.
    const int on = 1;
    ASSERT_EQ(setsockopt(m_Own.m_hSocket, SOL_SOCKET, SO_NO_CHECK, &on, sizeof on), 0);
    for (int turn = 0; turn < 2; ++turn) {
        for (const char* const text : {"a", "b", "c"})
            Send(text, m_Peer);
        m_Batch.Flush();
        for (const char* const text : {"a", "b", "c"})
            EXPECT_EQ(m_Peer.Receive(), text);
    }
}

TEST_F(AnswerBatchTest, AnswersOfOneSizeToOneAddressGoWithOneCall)
{
    const CJoiningSocket joining;
    for (const char* const text : {"one", "two", "six"})
        Send(text, joining);
    m_Batch.Flush();
    EXPECT_EQ(joining.Receive(), "onetwosix");
}

// Whoever writes port 0 as the sender's into two datagrams gets as many answers.
TEST_F(AnswerBatchTest, APlaceThatTakesNothingKeepsNoOthersApart)
{
    sockaddr_in nowhere = m_Peer.m_Address;
    nowhere.sin_port = 0;
    const CJoiningSocket joining;
    for (int i = 0; i < 2; ++i)
        Send("a", nowhere);
    for (const char* const text : {"one", "two", "six"})
        Send(text, joining);
    m_Batch.Flush();
    EXPECT_EQ(joining.Receive(), "onetwosix");
}

using AnswerBatchDeathTest = AnswerBatchTest;

TEST_F(AnswerBatchDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    Send("a", m_Peer);
    EXPECT_DEBUG_DEATH(std::thread([this] { Send("b", m_Peer); }).join(), "called on a foreign thread");
    EXPECT_DEBUG_DEATH(std::thread([this] { m_Batch.Flush(); }).join(), "called on a foreign thread");
}

TEST_F(AnswerBatchTest, DataPassesAtOnce)
{
    const std::uint8_t data[] = {'x', 'y'};
    m_Batch.DeliverData("peer ", data, sockaddr_in{});
    EXPECT_EQ(m_Output.m_Delivered, std::vector<std::string>{"peer xy"});
}

}  // namespace
