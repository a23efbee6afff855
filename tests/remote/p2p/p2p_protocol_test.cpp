#include "remote/p2p/P2PProtocol.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <utility>

#include "tests/remote/p2p/p2p_support.h"

namespace
{

class CRecordingOutput final : public IP2POutput
{
  public:
    void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to) override
    {
        if (m_OnSend) m_OnSend();
        m_Sent.emplace_back(Bytes(datagram.begin(), datagram.end()), PEER_ADDRESS::From(to));
    }
    void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& /*from*/) override
    {
        m_Delivered.emplace_back(name, Bytes(data.begin(), data.end()));
    }

    std::function<void()> m_OnSend;  // called before each datagram is noted
    std::vector<std::pair<Bytes, PEER_ADDRESS>> m_Sent;
    std::vector<std::pair<std::string, Bytes>> m_Delivered;
};

class P2PProtocolTest : public testing::Test
{
  protected:
    P2PProtocolTest()
    {
        m_Protocol.SetServerAddress(m_Server.sin_addr.s_addr);
        m_Protocol.SetLocalName("own");
    }

    void Receive(const Bytes& datagram, const sockaddr_in& from)
    {
        m_Protocol.HandleDatagram(datagram, from, m_Output);
    }

    void ExpectOneAnswer(std::uint32_t type, const sockaddr_in& to)
    {
        ASSERT_EQ(m_Output.m_Sent.size(), 1U);
        EXPECT_EQ(TypeOf(m_Output.m_Sent[0].first), type);
        EXPECT_EQ(m_Output.m_Sent[0].first.size(), 96U);
        EXPECT_EQ(NameOf(m_Output.m_Sent[0].first), "own");
        EXPECT_EQ(m_Output.m_Sent[0].second, PEER_ADDRESS::From(to));
    }

    PEER_ADDRESS HeardAddress(std::string_view name) const
    {
        const auto user = m_Protocol.FindUser(name);
        return user ? user->m_P2PAddress : PEER_ADDRESS{};
    }

    const sockaddr_in m_Server = MakeAddress("10.0.0.1", 4567);
    const sockaddr_in m_Peer = MakeAddress("10.0.0.2", 5000);
    const sockaddr_in m_Elsewhere = MakeAddress("10.0.0.3", 6000);
    CP2PProtocol m_Protocol;
    CRecordingOutput m_Output;
};

TEST_F(P2PProtocolTest, LoginAckOverwritesTheLocalRecordAndLogsIn)
{
    PEER_RECORD seen = MakeRecord("renamed");
    seen.m_P2PAddress = {5, 6, 0};
    seen.m_ulReserved = 0x12345678;
    EXPECT_FALSE(m_Protocol.IsLoggedIn());
    Receive(MakeP2PMessage(P2PMSG_LOGIN_ACK, seen), m_Server);
    EXPECT_TRUE(m_Protocol.IsLoggedIn());
    EXPECT_EQ(m_Protocol.GetLocalRecord().Name(), "renamed");
    EXPECT_EQ(m_Protocol.GetLocalRecord().m_P2PAddress, (PEER_ADDRESS{5, 6, 0}));
    EXPECT_EQ(m_Protocol.GetLocalRecord().m_ulReserved, 0x12345678U);
    EXPECT_TRUE(m_Output.m_Sent.empty());
}

TEST_F(P2PProtocolTest, ControlBytesInANameAreEscapedOnTheTerminal)
{
    Receive(MakeMessage(P2PMSG_USER_ENTRY, "a\x1B[2J"), m_Server);
    testing::internal::CaptureStdout();
    Receive(MakeMessage(P2PMSG_PUNCH_ACK, "a\x1B[2J"), m_Peer);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " Set P2P address for a\\x1B[2J -> 10.0.0.2:5000 \n");
}

TEST_F(P2PProtocolTest, UserEntryIsListedWithoutItsP2PAddress)
{
    PEER_RECORD user = MakeRecord("abc");
    user.m_P2PAddress = {5, 6, 0};
    user.m_AddressCount = 1;
    user.m_Addresses[0] = {7, 8, 0};
    Receive(MakeP2PMessage(P2PMSG_USER_ENTRY, user, Bytes{1, 2, 3}), m_Server);
    const auto listed = m_Protocol.FindUser("abc");
    ASSERT_TRUE(listed);
    EXPECT_FALSE(listed->m_P2PAddress.IsKnown());
    EXPECT_EQ(listed->Addresses()[0], (PEER_ADDRESS{7, 8, 0}));
}

TEST_F(P2PProtocolTest, SecondUserEntryOfAKnownNameInAnyCaseChangesNothing)
{
    PEER_RECORD user = MakeRecord("abc");
    user.m_AddressCount = 1;
    Receive(MakeP2PMessage(P2PMSG_USER_ENTRY, user), m_Server);
    user.SetName("ABC");
    user.m_AddressCount = 2;
    Receive(MakeP2PMessage(P2PMSG_USER_ENTRY, user), m_Server);
    EXPECT_EQ(m_Protocol.GetUserCount(), 1U);
    EXPECT_EQ(m_Protocol.FindUser("abc")->m_AddressCount, 1);
    EXPECT_EQ(m_Protocol.FindUser("abc")->Name(), "abc");
}

TEST_F(P2PProtocolTest, UserEndCompletesTheListUntilItIsRestarted)
{
    Receive(MakeMessage(P2PMSG_USER_ENTRY, "abc"), m_Server);
    EXPECT_FALSE(m_Protocol.IsListComplete());
    Receive(MakeMessage(P2PMSG_USER_END, ""), m_Server);
    EXPECT_TRUE(m_Protocol.IsListComplete());
    m_Protocol.RestartUserList();
    EXPECT_FALSE(m_Protocol.IsListComplete());
    EXPECT_EQ(m_Protocol.GetUserCount(), 0U);
}

TEST_F(P2PProtocolTest, PingOf96BytesIsAnsweredAndOneOf95Dropped)
{
    Bytes ping = MakeMessage(P2PMSG_PING, "abc");
    Receive(ping, m_Peer);
    ExpectOneAnswer(P2PMSG_PONG, m_Peer);
    ping.pop_back();
    Receive(ping, m_Peer);
    EXPECT_EQ(m_Output.m_Sent.size(), 1U);
    EXPECT_EQ(m_Protocol.GetDroppedDatagrams(), 1U);
}

TEST_F(P2PProtocolTest, PongIsIgnored)
{
    Receive(MakeMessage(P2PMSG_PONG, "abc"), m_Peer);
    EXPECT_TRUE(m_Output.m_Sent.empty());
    EXPECT_EQ(m_Protocol.GetUserCount(), 0U);
}

TEST_F(P2PProtocolTest, PunchFromTheServerIsAnsweredFromTheReceivedRecordAlone)
{
    PEER_RECORD wanting = MakeRecord("stranger");
    wanting.m_AddressCount = 2;
    wanting.m_Addresses[0] = PEER_ADDRESS::From(m_Peer);
    wanting.m_Addresses[1] = PEER_ADDRESS::From(m_Elsewhere);
    sockaddr_in otherPort = m_Server;
    otherPort.sin_port = htons(9);  // the server is told by its address alone
    Receive(MakeP2PMessage(P2PMSG_PUNCH, wanting), otherPort);
    ASSERT_EQ(m_Output.m_Sent.size(), 2U);
    EXPECT_EQ(TypeOf(m_Output.m_Sent[0].first), P2PMSG_PUNCH_ACK);
    EXPECT_EQ(m_Output.m_Sent[0].second, PEER_ADDRESS::From(m_Peer));
    EXPECT_EQ(m_Output.m_Sent[1].second, PEER_ADDRESS::From(m_Elsewhere));
    EXPECT_EQ(m_Protocol.GetUserCount(), 0U);
}

TEST_F(P2PProtocolTest, PunchFromTheServerWithAnAddressCountOf255IsAnsweredFourTimes)
{
    Bytes punch = MakeMessage(P2PMSG_PUNCH, "stranger");
    punch[4 + 76] = 255;
    Receive(punch, m_Server);
    EXPECT_EQ(m_Output.m_Sent.size(), 4U);
}

TEST_F(P2PProtocolTest, PunchFromAnUnlistedPeerAddsItWithItsSource)
{
    Receive(MakeMessage(P2PMSG_PUNCH, "abc"), m_Peer);
    EXPECT_EQ(HeardAddress("abc"), PEER_ADDRESS::From(m_Peer));
    ExpectOneAnswer(P2PMSG_PUNCH_ACK, m_Peer);
}

TEST_F(P2PProtocolTest, UnlistedPeerThatNamesItsP2PAddressKeepsIt)
{
    PEER_RECORD record = MakeRecord("abc");
    record.m_P2PAddress = PEER_ADDRESS::From(m_Elsewhere);
    Receive(MakeP2PMessage(P2PMSG_PUNCH_ACK, record), m_Peer);
    EXPECT_EQ(HeardAddress("abc"), PEER_ADDRESS::From(m_Elsewhere));
    EXPECT_TRUE(m_Output.m_Sent.empty());
}

TEST_F(P2PProtocolTest, FirstSourceHeardWinsUntilItIsCleared)
{
    Receive(MakeMessage(P2PMSG_USER_ENTRY, "abc"), m_Server);
    testing::internal::CaptureStdout();
    Receive(MakeMessage(P2PMSG_PUNCH_ACK, "ABC"), m_Peer);
    Receive(MakeMessage(P2PMSG_PUNCH_ACK, "abc"), m_Elsewhere);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " Set P2P address for ABC -> 10.0.0.2:5000 \n");
    EXPECT_EQ(HeardAddress("abc"), PEER_ADDRESS::From(m_Peer));
    m_Protocol.ClearP2PAddress("aBC");
    EXPECT_FALSE(HeardAddress("abc").IsKnown());
    Receive(MakeMessage(P2PMSG_PUNCH, "abc"), m_Elsewhere);
    EXPECT_EQ(HeardAddress("abc"), PEER_ADDRESS::From(m_Elsewhere));
}

TEST_F(P2PProtocolTest, PunchIsNotedBeforeItIsAnswered)
{
    Receive(MakeMessage(P2PMSG_USER_ENTRY, "abc"), m_Server);
    bool known = false;
    m_Output.m_OnSend = [&] { known = HeardAddress("abc").IsKnown(); };
    Receive(MakeMessage(P2PMSG_PUNCH, "abc"), m_Peer);
    ExpectOneAnswer(P2PMSG_PUNCH_ACK, m_Peer);
    EXPECT_TRUE(known);
}

TEST_F(P2PProtocolTest, DataAreDeliveredBeforeTheyAreAcknowledged)
{
    std::size_t delivered = 0;
    m_Output.m_OnSend = [&] { delivered = m_Output.m_Delivered.size(); };
    Receive(MakeMessage(P2PMSG_DATA, "abc", Bytes{42}), m_Peer);
    ExpectOneAnswer(P2PMSG_DATA_ACK, m_Peer);
    EXPECT_EQ(delivered, 1U);
}

TEST_F(P2PProtocolTest, DataOf96BytesIsAProbeThatReachesNobodyButIsAcknowledged)
{
    Receive(MakeMessage(P2PMSG_DATA, "abc"), m_Peer);
    EXPECT_TRUE(m_Output.m_Delivered.empty());
    ExpectOneAnswer(P2PMSG_DATA_ACK, m_Peer);
}

TEST_F(P2PProtocolTest, DataIsDeliveredUnderTheRecordsNameAndAcknowledged)
{
    Receive(MakeMessage(P2PMSG_DATA, "abc", Bytes{42}), m_Peer);
    ASSERT_EQ(m_Output.m_Delivered.size(), 1U);
    EXPECT_EQ(m_Output.m_Delivered[0], std::make_pair(std::string("abc"), Bytes{42}));
    ExpectOneAnswer(P2PMSG_DATA_ACK, m_Peer);
}

TEST_F(P2PProtocolTest, DataAckSetsItsFlagUntilItIsCleared)
{
    Receive(MakeMessage(P2PMSG_DATA_ACK, "abc"), m_Peer);
    EXPECT_TRUE(m_Protocol.IsDataAcknowledged());
    m_Protocol.ClearDataAcknowledged();
    EXPECT_FALSE(m_Protocol.IsDataAcknowledged());
}

TEST_F(P2PProtocolTest, TypesOutside67To6FAreDropped)
{
    for (const std::uint32_t type : {0U, 0x64U, 0x65U, 0x66U, 0x70U, 0x6A00U, 0x1000006AU, 0xFFFFFFFFU}) {
        Receive(MakeMessage(type, "abc", Bytes{1}), m_Peer);
        EXPECT_TRUE(m_Output.m_Sent.empty()) << type;
        EXPECT_TRUE(m_Output.m_Delivered.empty()) << type;
    }
    EXPECT_EQ(m_Protocol.GetDroppedDatagrams(), 8U);
}

TEST_F(P2PProtocolTest, AnythingFrom0To65535BytesDoesNoHarm)
{
    std::mt19937 random(20261121);
    for (int round = 0; round < 3000; ++round) {
        Bytes datagram(round == 0 ? 65535 : random() % (round % 50 == 0 ? 65536 : 300));
        for (auto& byte : datagram)
            byte = static_cast<std::uint8_t>(random());
        // Half of them get a type that is handled.
        if (datagram.size() >= 4 && round % 2 == 0) WriteLittle32(datagram.data(), 0x64 + random() % 13);
        Receive(datagram, round % 3 == 0 ? m_Server : m_Peer);
    }
    Receive(MakeMessage(P2PMSG_DATA, "abc", Bytes{42}), m_Peer);
    EXPECT_EQ(m_Output.m_Delivered.back().second, Bytes{42});
}

}  // namespace
