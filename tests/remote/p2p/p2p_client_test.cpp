#include "remote/p2p/P2PClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>

#include "remote/p2p/MyP2P.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/support/allocation_count.h"

namespace
{

constexpr const char* SERVER_HOST = "127.0.0.1";
constexpr const char* PEER_HOST = "127.0.0.2";  // not the server's address, which is how peers are told from it

PEER_RECORD Listed(std::string_view name, const CScriptedPeer& peer)
{
    PEER_RECORD record = MakeRecord(name);
    record.m_AddressCount = 1;
    record.m_Addresses[0] = PEER_ADDRESS::From(peer.Address());
    return record;
}

/// A peer that answers punches and acknowledges data.
void FriendlyPeer(CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from)
{
    if (TypeOf(datagram) == P2PMSG_PUNCH) self.Send(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), from);
    if (TypeOf(datagram) == P2PMSG_DATA) self.Send(MakeMessage(P2PMSG_DATA_ACK, "peer"), from);
}

class P2PClientTest : public testing::Test
{
  protected:
    static P2POptions Options(const CScriptedPeer& server, IClock& clock) { return {server.Port(), &clock}; }

    CFastClock m_Clock{10};
};

TEST_F(P2PClientTest, InitOpensASocketOnceAndTellsItsPort)
{
    CMyP2P client;
    EXPECT_EQ(client.GetLocalPort(), 0);
    ASSERT_TRUE(client.Init(0));
    EXPECT_NE(client.GetLocalPort(), 0);
    EXPECT_FALSE(client.Init(0));
}

TEST_F(P2PClientTest, InitOnATakenPortFailsAndMayBeTriedAgain)
{
    CMyP2P first;
    ASSERT_TRUE(first.Init(0));
    CMyP2P second;
    EXPECT_FALSE(second.Init(first.GetLocalPort()));
    EXPECT_TRUE(second.Init(0));
}

TEST_F(P2PClientTest, InitWithoutMemoryFailsAndMayBeTriedAgain)
{
    CMyP2P client;
    {
        const CAllocationLimit limit(1 << 18);
        EXPECT_FALSE(client.Init(0));
        EXPECT_EQ(client.GetLocalPort(), 0);
    }
    EXPECT_TRUE(client.Init(0));
}

TEST_F(P2PClientTest, LoginSendsNameAndLocalAddressesWithTheOwnPort)
{
    CScriptedPeer server(SERVER_HOST, ServerOf({}));
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("4711", SERVER_HOST));
    EXPECT_TRUE(client.IsLoggedIn());
    ASSERT_TRUE(server.WaitFor(P2PMSG_LOGIN));
    P2PMessage message;
    const Bytes login = server.GetReceived()[0];
    EXPECT_EQ(login.size(), 96U);
    ASSERT_TRUE(ReadP2PMessage(login, message));
    EXPECT_EQ(message.record.Name(), "4711");
    // Those of the own name, in their order, and no more than four.
    auto own = GetHostAddresses(GetHostName());
    own.resize(std::min<std::size_t>(own.size(), 4));
    ASSERT_FALSE(own.empty());
    const auto told = message.record.Addresses();
    ASSERT_EQ(told.size(), own.size());
    for (std::size_t i = 0; i < own.size(); ++i) {
        EXPECT_EQ(told[i].address, own[i].s_addr);
        EXPECT_NE(told[i].address, htonl(INADDR_ANY));
        EXPECT_EQ(told[i].port, client.GetLocalPort());
    }
}

TEST_F(P2PClientTest, NameOf32CharactersIsAcceptedAndOneOf33Refused)
{
    CScriptedPeer server(SERVER_HOST, ServerOf({}));
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    EXPECT_FALSE(client.Login(std::string(33, 'n'), SERVER_HOST));
    EXPECT_EQ(m_Clock.WaitedMs(), 0U);
    EXPECT_TRUE(client.Login(std::string(32, 'n'), SERVER_HOST));
}

TEST_F(P2PClientTest, SecondLoginIsRefusedUntilLogout)
{
    CScriptedPeer server(SERVER_HOST, ServerOf({}));
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    EXPECT_FALSE(client.Login("a", SERVER_HOST));
    client.Logout();
    EXPECT_TRUE(server.WaitFor(P2PMSG_LOGOUT));
    EXPECT_TRUE(client.Login("a", SERVER_HOST));
}

TEST_F(P2PClientTest, LoginAtAHostThatDoesNotResolveFailsAtOnce)
{
    CMyP2P client({4567, &m_Clock});
    ASSERT_TRUE(client.Init(0));
    EXPECT_FALSE(client.Login("a", "no such host."));
    EXPECT_EQ(m_Clock.WaitedMs(), 0U);
}

TEST_F(P2PClientTest, UserListArrivesAndIsEmptiedBeforeTheNextOne)
{
    const auto before = ServerOf({MakeRecord("one"), MakeRecord("two"), MakeRecord("ONE")});
    const auto after = ServerOf({MakeRecord("two"), MakeRecord("three")});
    std::atomic<bool> changed{false};
    CScriptedPeer server(SERVER_HOST, [&](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        (changed ? after : before)(self, datagram, from);
    });
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    EXPECT_TRUE(client.GetUserList());
    EXPECT_EQ(client.GetUserCount(), 2U);
    changed = true;
    EXPECT_TRUE(client.GetUserList());
    EXPECT_EQ(client.GetUserCount(), 2U) << "who has gone is still listed";
}

TEST_F(P2PClientTest, ConnectPunchesThenProvesThePathByAnAcknowledgedProbe)
{
    CScriptedPeer peer(PEER_HOST, FriendlyPeer);
    CScriptedPeer server(SERVER_HOST, ServerOf({Listed("peer", peer)}));
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    ASSERT_TRUE(client.GetUserList());
    sockaddr_in address{};
    EXPECT_FALSE(client.Resolve("peer", address));
    EXPECT_TRUE(client.ConnectPeer("PEER"));
    ASSERT_TRUE(client.Resolve("peer", address));
    EXPECT_EQ(PEER_ADDRESS::From(address), PEER_ADDRESS::From(peer.Address()));
    const auto received = peer.GetReceived();
    ASSERT_GE(received.size(), 1U);
    EXPECT_EQ(received[0].size(), 96U);
    EXPECT_EQ(TypeOf(received[0]), P2PMSG_PUNCH);
    ASSERT_TRUE(peer.WaitFor(P2PMSG_DATA));
    EXPECT_EQ(peer.GetReceived().back().size(), 96U);

    // The server is told whom the client wants: 96 bytes and the peer's name in 33.
    ASSERT_TRUE(server.WaitFor(P2PMSG_PUNCH));
    const Bytes wanted = server.GetReceived().back();
    ASSERT_EQ(wanted.size(), 129U);
    EXPECT_STREQ(reinterpret_cast<const char*>(wanted.data() + 96), "PEER");
}

TEST_F(P2PClientTest, ConnectByAPeerThatTheServerMakesPunch)
{
    // The peer can't be reached at its local address; the server tells it of the client and it punches from
    // outside.
    CScriptedPeer peer(PEER_HOST, [](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        if (TypeOf(datagram) == P2PMSG_DATA) self.Send(MakeMessage(P2PMSG_DATA_ACK, "peer"), from);
    });
    const auto list = ServerOf({MakeRecord("peer")});
    CScriptedPeer server(SERVER_HOST, [&](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        list(self, datagram, from);
        if (TypeOf(datagram) == P2PMSG_PUNCH) peer.Send(MakeMessage(P2PMSG_PUNCH, "peer"), from);
    });
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    ASSERT_TRUE(client.GetUserList());
    EXPECT_TRUE(client.ConnectPeer("peer"));
    EXPECT_TRUE(peer.WaitFor(P2PMSG_PUNCH_ACK));
}

TEST_F(P2PClientTest, ConnectNeedsALoginAListedPeerAndAShortName)
{
    CScriptedPeer server(SERVER_HOST, ServerOf({}));
    CMyP2P client(Options(server, m_Clock));
    ASSERT_TRUE(client.Init(0));
    EXPECT_FALSE(client.ConnectPeer("peer"));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    const auto before = m_Clock.WaitedMs();
    EXPECT_FALSE(client.ConnectPeer("peer"));
    EXPECT_FALSE(client.ConnectPeer(std::string(33, 'p')));
    EXPECT_EQ(m_Clock.WaitedMs(), before);
}

class P2PConnectedTest : public P2PClientTest
{
  protected:
    P2PConnectedTest()
    {
        EXPECT_TRUE(m_Client.Init(0));
        EXPECT_TRUE(m_Client.Login("a", SERVER_HOST));
        EXPECT_TRUE(m_Client.GetUserList());
        EXPECT_TRUE(m_Client.ConnectPeer("peer"));
    }

    sockaddr_in ClientAddress() const { return MakeAddress("127.0.0.1", m_Client.GetLocalPort()); }

    /// Waits for the oldest packet and takes it.
    std::pair<std::string, Bytes> Take()
    {
        const Packet* packet = nullptr;
        EXPECT_TRUE(WaitUntil([&] { return (packet = m_Client.Front()) != nullptr; }));
        if (packet == nullptr) return {};
        std::pair<std::string, Bytes> result(packet->m_szName,
                                             Bytes(packet->Data().begin(), packet->Data().end()));
        m_Client.Pop();
        return result;
    }

    CScriptedPeer m_Peer{PEER_HOST, FriendlyPeer};
    CScriptedPeer m_Server{SERVER_HOST, ServerOf({Listed("peer", m_Peer), MakeRecord("far")})};
    CMyP2P m_Client{Options(m_Server, m_Clock)};
};

TEST_F(P2PConnectedTest, SendToSendsOneDatagramWithTheDataAfterTheRecord)
{
    EXPECT_EQ(m_Client.SendTo("Peer", Bytes{7, 8, 9}), 3);
    ASSERT_TRUE(m_Peer.WaitFor(P2PMSG_DATA, 2));
    const Bytes datagram = m_Peer.GetReceived().back();
    ASSERT_EQ(datagram.size(), 99U);
    EXPECT_EQ(NameOf(datagram), "a");
    EXPECT_EQ(Bytes(datagram.begin() + 96, datagram.end()), (Bytes{7, 8, 9}));
}

TEST_F(P2PConnectedTest, SendToRefusesUnknownPeersLongNamesAndTooMuchData)
{
    EXPECT_EQ(m_Client.SendTo("nobody", Bytes{1}), 0);
    EXPECT_EQ(m_Client.SendTo("far", Bytes{1}), 0);  // listed, but not heard yet
    EXPECT_EQ(m_Client.SendTo(std::string(33, 'p'), Bytes{1}), 0);
    EXPECT_EQ(m_Client.SendTo("peer", Bytes(65440)), 0);
    EXPECT_EQ(m_Client.SendTo("peer", Bytes(1024)), 1024);
    m_Client.Logout();
    EXPECT_EQ(m_Client.SendTo("peer", Bytes{1}), 0);
}

TEST_F(P2PConnectedTest, SendReliableCarriesLessThan929Bytes)
{
    EXPECT_FALSE(m_Client.SendReliable("peer", Bytes(929)));
    EXPECT_TRUE(m_Client.SendReliable("peer", Bytes(928, 5)));
    ASSERT_TRUE(m_Peer.WaitFor(P2PMSG_DATA, 2));
    EXPECT_EQ(m_Peer.GetReceived().back().size(), 96U + 928U);
}

TEST_F(P2PConnectedTest, DataIsQueuedInOrderWithItsSender)
{
    for (std::uint8_t i = 1; i <= 3; ++i)
        m_Peer.Send(MakeMessage(P2PMSG_DATA, "peer" + std::to_string(i), Bytes(i, i)), ClientAddress());
    EXPECT_EQ(Take(), std::make_pair(std::string("peer1"), Bytes(1, 1)));
    EXPECT_EQ(Take(), std::make_pair(std::string("peer2"), Bytes(2, 2)));
    EXPECT_EQ(Take(), std::make_pair(std::string("peer3"), Bytes(3, 3)));
    EXPECT_EQ(m_Client.Front(), nullptr);
    m_Client.Pop();  // popping nothing is no harm
    EXPECT_TRUE(m_Peer.WaitFor(P2PMSG_DATA_ACK, 3));
}

TEST_F(P2PConnectedTest, LargestDatagramArrivesWhole)
{
    m_Peer.Send(MakeMessage(P2PMSG_DATA, "peer", Bytes(65507 - 96, 3)), ClientAddress());
    EXPECT_EQ(Take().second.size(), 65507U - 96U);
}

TEST_F(P2PConnectedTest, LogoutTellsTheServerAndEveryHeardPeerAndKeepsTheList)
{
    m_Client.Logout();
    EXPECT_TRUE(m_Server.WaitFor(P2PMSG_LOGOUT));
    EXPECT_TRUE(m_Peer.WaitFor(P2PMSG_LOGOUT));
    EXPECT_FALSE(m_Client.IsLoggedIn());
    EXPECT_EQ(m_Client.GetUserCount(), 2U);
}

TEST_F(P2PConnectedTest, StopLogsOutAndRefusesEverythingAfterwards)
{
    m_Client.Stop();
    EXPECT_TRUE(m_Server.WaitFor(P2PMSG_LOGOUT));
    EXPECT_TRUE(m_Peer.WaitFor(P2PMSG_LOGOUT));
    EXPECT_FALSE(m_Client.Init(0));
    EXPECT_FALSE(m_Client.Login("a", SERVER_HOST));
    m_Client.Stop();
}

TEST_F(P2PConnectedTest, GarbageDatagramsDoNotDisturbWhatFollows)
{
    std::mt19937 random(7);
    for (const std::size_t size : {0, 1, 3, 4, 95, 96, 97, 1120, 65507}) {
        Bytes garbage(size);
        for (auto& byte : garbage)
            byte = static_cast<std::uint8_t>(random() | 0x80);
        m_Peer.Send(garbage, ClientAddress());
    }
    m_Peer.Send(MakeMessage(P2PMSG_DATA, "peer", Bytes{42}), ClientAddress());
    EXPECT_EQ(Take().second, Bytes{42});
}

TEST_F(P2PConnectedTest, FullQueueLosesWhatComesThenAndCountsIt)
{
    const auto fill = [](std::size_t i) { return static_cast<std::uint8_t>(i % 251); };
    const auto message = [&](std::size_t i) { return MakeMessage(P2PMSG_DATA, "peer", Bytes(60000, fill(i))); };
    const std::size_t fit = CMyP2P::QUEUE_LIMIT_BYTES / (60000 + 128);
    for (std::size_t i = 0; i < fit + 5; ++i) {
        m_Peer.Send(message(i), ClientAddress());
        ASSERT_TRUE(m_Peer.WaitFor(P2PMSG_DATA_ACK, i + 1));  // one at a time, so that the socket loses none
    }
    EXPECT_EQ(m_Client.GetCounters().dropped, 5U);
    EXPECT_EQ(m_Client.GetCounters().datagrams, fit + 5);
    for (std::size_t i = 0; i < fit; ++i)
        ASSERT_EQ(Take().second.front(), fill(i)) << "what was queued stays, in its order";
    EXPECT_EQ(m_Client.Front(), nullptr);
    m_Peer.Send(message(0), ClientAddress());
    ASSERT_TRUE(m_Peer.WaitFor(P2PMSG_DATA_ACK, fit + 6));
    EXPECT_EQ(m_Client.GetCounters().dropped, 5U);
}

}  // namespace
