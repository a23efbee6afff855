// How often the client asks and how long it waits, over a network without sockets: nothing here takes time.

#include <gtest/gtest.h>

#include <string>

#include "tests/remote/p2p/p2p_support.h"

namespace
{

const sockaddr_in SERVER = MakeAddress("10.0.0.1", RENDEZVOUS_PORT);
const sockaddr_in PEER = MakeAddress("10.0.0.2", 5000);

void NoNetwork(CScriptedClient&, const Bytes&, const sockaddr_in&) {}

/// A server that acknowledges logins and lists "peer", whose one local address is PEER.
void ServeList(CScriptedClient& self, const Bytes& datagram)
{
    if (TypeOf(datagram) == P2PMSG_LOGIN) self.Arrive(MakeMessage(P2PMSG_LOGIN_ACK, "a"), SERVER);
    if (TypeOf(datagram) != P2PMSG_GET_USERS) return;
    PEER_RECORD peer = MakeRecord("peer");
    peer.m_AddressCount = 1;
    peer.m_Addresses[0] = PEER_ADDRESS::From(PEER);
    self.Arrive(MakeP2PMessage(P2PMSG_USER_ENTRY, peer), SERVER);
    self.Arrive(MakeMessage(P2PMSG_USER_END, ""), SERVER);
}

bool IsToPeer(const sockaddr_in& to)
{
    return PEER_ADDRESS::From(to) == PEER_ADDRESS::From(PEER);
}

/// Opens the client and brings it to where peers can be reached. Nothing is waited for on the way.
void Register(CScriptedClient& client)
{
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", "10.0.0.1"));
    ASSERT_TRUE(client.GetUserList());
    ASSERT_EQ(client.WaitedMs(), 0U);
}

TEST(P2PWaits, ServerThatNeverAcknowledgesCostsFiveTriesOfThreeSeconds)
{
    CScriptedClient client(NoNetwork);
    ASSERT_TRUE(client.Init(0));
    EXPECT_FALSE(client.Login("a", "10.0.0.1"));
    EXPECT_EQ(client.WaitedMs(), 15000U);
    EXPECT_EQ(client.CountSent(P2PMSG_LOGIN, SERVER), 5U);
}

TEST(P2PWaits, LoginIsRepeatedUntilItIsAcknowledged)
{
    int logins = 0;
    CScriptedClient client([&](CScriptedClient& self, const Bytes& datagram, const sockaddr_in&) {
        if (TypeOf(datagram) == P2PMSG_LOGIN && ++logins == 3)
            self.Arrive(MakeMessage(P2PMSG_LOGIN_ACK, "a"), SERVER);
    });
    ASSERT_TRUE(client.Init(0));
    EXPECT_TRUE(client.Login("a", "10.0.0.1"));
    EXPECT_EQ(client.WaitedMs(), 6000U);
    EXPECT_EQ(logins, 3);
}

TEST(P2PWaits, AcknowledgementOfTheLoginIsLookedForEvery30Milliseconds)
{
    CScriptedClient* self = nullptr;
    CScriptedClient client(NoNetwork, [&] {
        if (self->WaitedMs() == 100) self->Arrive(MakeMessage(P2PMSG_LOGIN_ACK, "a"), SERVER);
    });
    self = &client;
    ASSERT_TRUE(client.Init(0));
    EXPECT_TRUE(client.Login("a", "10.0.0.1"));
    EXPECT_EQ(client.WaitedMs(), 120U);
    EXPECT_EQ(client.CountSent(P2PMSG_LOGIN), 1U);
}

TEST(P2PWaits, UserListWithoutAnEndIsAskedForFiveTimesOfThreeSeconds)
{
    CScriptedClient client([](CScriptedClient& self, const Bytes& datagram, const sockaddr_in&) {
        if (TypeOf(datagram) == P2PMSG_LOGIN) self.Arrive(MakeMessage(P2PMSG_LOGIN_ACK, "a"), SERVER);
    });
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", "10.0.0.1"));
    EXPECT_FALSE(client.GetUserList());
    EXPECT_EQ(client.WaitedMs(), 15000U);
    EXPECT_EQ(client.CountSent(P2PMSG_GET_USERS, SERVER), 5U);
}

TEST(P2PWaits, ListThatStillGrowsGetsAFurtherSliceInsteadOfANewQuestion)
{
    // One user comes with each question, before the client looks for the first time. The first slice of each
    // attempt grows the list, so a second one follows.
    int users = 0;
    CScriptedClient client([&](CScriptedClient& self, const Bytes& datagram, const sockaddr_in&) {
        if (TypeOf(datagram) == P2PMSG_LOGIN) self.Arrive(MakeMessage(P2PMSG_LOGIN_ACK, "a"), SERVER);
        if (TypeOf(datagram) == P2PMSG_GET_USERS)
            self.Arrive(MakeMessage(P2PMSG_USER_ENTRY, "user" + std::to_string(users++)), SERVER);
    });
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", "10.0.0.1"));
    EXPECT_FALSE(client.GetUserList());
    EXPECT_EQ(client.WaitedMs(), 30000U);
    EXPECT_EQ(client.CountSent(P2PMSG_GET_USERS), 5U);
    EXPECT_EQ(client.GetUserCount(), 5U);
}

TEST(P2PWaits, ListThatGrowsSlowlyIsNeverAskedForAgain)
{
    // A user each 2.9 s: every slice of 3 s sees one, until the end comes in the ninth.
    int users = 0;
    CScriptedClient* self = nullptr;
    CScriptedClient client(
        [](CScriptedClient& asked, const Bytes& datagram, const sockaddr_in&) {
            if (TypeOf(datagram) == P2PMSG_LOGIN) asked.Arrive(MakeMessage(P2PMSG_LOGIN_ACK, "a"), SERVER);
        },
        [&] {
            if (self->WaitedMs() % 2900 != 0) return;
            self->Arrive(MakeMessage(P2PMSG_USER_ENTRY, "user" + std::to_string(users++)), SERVER);
            if (users == 9) self->Arrive(MakeMessage(P2PMSG_USER_END, ""), SERVER);
        });
    self = &client;
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", "10.0.0.1"));
    EXPECT_TRUE(client.GetUserList());
    EXPECT_EQ(client.CountSent(P2PMSG_GET_USERS), 1U);
    EXPECT_EQ(client.GetUserCount(), 9U);
    EXPECT_EQ(client.WaitedMs(), 26100U);  // 9 x 2900, and a look each 300
}

TEST(P2PWaits, ConnectToASilentPeerTakesFiveAttempts)
{
    CScriptedClient client(
        [](CScriptedClient& self, const Bytes& datagram, const sockaddr_in&) { ServeList(self, datagram); });
    Register(client);
    EXPECT_FALSE(client.ConnectPeer("peer"));
    EXPECT_EQ(client.WaitedMs(), 15000U);  // no probe is sent while no address is known
    EXPECT_EQ(client.CountSent(P2PMSG_PUNCH, PEER), 5U);
    EXPECT_EQ(client.CountSent(P2PMSG_PUNCH, SERVER), 5U);
    EXPECT_EQ(client.CountSent(P2PMSG_DATA), 0U);
}

TEST(P2PWaits, UnacknowledgedProbeForgetsTheAddressAndPunchesAgain)
{
    // Punches are answered, data never.
    CScriptedClient client([](CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to) {
        ServeList(self, datagram);
        if (TypeOf(datagram) == P2PMSG_PUNCH && IsToPeer(to))
            self.Arrive(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), PEER);
    });
    Register(client);
    EXPECT_FALSE(client.ConnectPeer("peer"));
    EXPECT_EQ(client.WaitedMs(), 12000U);  // four probes of 3 s: the first attempt has no address yet
    EXPECT_EQ(client.CountSent(P2PMSG_PUNCH, PEER), 5U);
    EXPECT_EQ(client.CountSent(P2PMSG_DATA, PEER), 4U);
}

/// A client whose peer acknowledges punches and probes as long as the two flags say so, and what else arrives
/// at a time of the client's clock.
class P2PLooksTest : public testing::Test
{
  protected:
    P2PLooksTest()
        : m_Client(
              [this](CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to) {
                  if (TypeOf(datagram) == P2PMSG_GET_USERS && !m_bListEnds) return;
                  ServeList(self, datagram);
                  if (TypeOf(datagram) == P2PMSG_PUNCH && IsToPeer(to) && m_bPunches)
                      self.Arrive(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), PEER);
                  if (TypeOf(datagram) == P2PMSG_DATA && m_bProbes)
                      self.Arrive(MakeMessage(P2PMSG_DATA_ACK, "peer"), PEER);
              },
              [this] {
                  if (m_Client.WaitedMs() == 100 && !m_Late.empty()) m_Client.Arrive(m_Late, PEER);
              })
    {
    }

    bool m_bListEnds = true;
    bool m_bPunches = true;
    bool m_bProbes = true;
    Bytes m_Late;  // arrives after 100 ms
    CScriptedClient m_Client;
};

TEST_F(P2PLooksTest, EndOfTheListIsLookedForEvery300Milliseconds)
{
    ASSERT_TRUE(m_Client.Init(0));
    ASSERT_TRUE(m_Client.Login("a", "10.0.0.1"));
    m_bListEnds = false;
    m_Late = MakeMessage(P2PMSG_USER_END, "");
    EXPECT_TRUE(m_Client.GetUserList());
    EXPECT_EQ(m_Client.WaitedMs(), 300U);
}

TEST_F(P2PLooksTest, AcknowledgementOfAProbeIsLookedForEvery300Milliseconds)
{
    Register(m_Client);
    m_bProbes = false;
    m_Late = MakeMessage(P2PMSG_DATA_ACK, "peer");
    EXPECT_TRUE(m_Client.ConnectPeer("peer"));
    EXPECT_EQ(m_Client.WaitedMs(), 300U);
}

TEST_F(P2PLooksTest, AnswerToAPunchIsLookedForEvery300Milliseconds)
{
    Register(m_Client);
    m_bPunches = false;
    m_Late = MakeMessage(P2PMSG_PUNCH_ACK, "peer");
    EXPECT_TRUE(m_Client.ConnectPeer("peer"));
    EXPECT_EQ(m_Client.WaitedMs(), 300U);
}

TEST_F(P2PLooksTest, AcknowledgementOfAnEarlierProbeProvesNothing)
{
    Register(m_Client);
    ASSERT_TRUE(m_Client.ConnectPeer("peer"));
    m_bProbes = false;
    EXPECT_FALSE(m_Client.ConnectPeer("peer"));
}

TEST_F(P2PLooksTest, CancelEndsTheWaitForAProbesAcknowledgement)
{
    Register(m_Client);
    ASSERT_TRUE(m_Client.ConnectPeer("peer"));
    m_bProbes = false;
    const P2PCancel cancel{true};
    const auto before = m_Client.WaitedMs();
    EXPECT_FALSE(m_Client.ConnectPeer("peer", &cancel));
    EXPECT_EQ(m_Client.WaitedMs(), before);
}

TEST(P2PWaits, PeerThatHasMovedIsFoundAtItsNewAddress)
{
    // The first punch is answered from where the peer is no more, and data go unanswered there.
    const sockaddr_in moved = MakeAddress("10.0.0.3", 6000);
    int punches = 0;
    CScriptedClient client([&](CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to) {
        ServeList(self, datagram);
        if (TypeOf(datagram) == P2PMSG_PUNCH && IsToPeer(to))
            self.Arrive(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), ++punches == 1 ? PEER : moved);
        if (TypeOf(datagram) == P2PMSG_DATA && PEER_ADDRESS::From(to) == PEER_ADDRESS::From(moved))
            self.Arrive(MakeMessage(P2PMSG_DATA_ACK, "peer"), moved);
    });
    Register(client);
    EXPECT_TRUE(client.ConnectPeer("peer"));
    EXPECT_EQ(client.WaitedMs(), 3000U);
    EXPECT_EQ(client.CountSent(P2PMSG_DATA, moved), 1U);
}

TEST(P2PWaits, LostAcknowledgementOfAProbeCostsThreeSecondsAndAPunch)
{
    int probes = 0;
    CScriptedClient client([&](CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to) {
        ServeList(self, datagram);
        if (TypeOf(datagram) == P2PMSG_PUNCH && IsToPeer(to))
            self.Arrive(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), PEER);
        if (TypeOf(datagram) == P2PMSG_DATA && ++probes > 1)
            self.Arrive(MakeMessage(P2PMSG_DATA_ACK, "peer"), PEER);
    });
    Register(client);
    EXPECT_TRUE(client.ConnectPeer("peer"));
    EXPECT_EQ(client.WaitedMs(), 3000U);
    EXPECT_EQ(client.CountSent(P2PMSG_PUNCH, PEER), 2U);
    EXPECT_EQ(probes, 2);
}

TEST(P2PWaits, PathThatIsKnownIsProbedWithoutAPunch)
{
    CScriptedClient client([](CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to) {
        ServeList(self, datagram);
        if (TypeOf(datagram) == P2PMSG_PUNCH && IsToPeer(to))
            self.Arrive(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), PEER);
        if (TypeOf(datagram) == P2PMSG_DATA) self.Arrive(MakeMessage(P2PMSG_DATA_ACK, "peer"), PEER);
    });
    Register(client);
    EXPECT_TRUE(client.ConnectPeer("peer"));
    EXPECT_TRUE(client.ConnectPeer("peer"));
    EXPECT_EQ(client.CountSent(P2PMSG_PUNCH, PEER), 1U);
    EXPECT_EQ(client.CountSent(P2PMSG_DATA, PEER), 2U);
    EXPECT_EQ(client.WaitedMs(), 0U);
}

TEST(P2PWaits, ReliableDataTakesThePlaceOfTheProbe)
{
    CScriptedClient client([](CScriptedClient& self, const Bytes& datagram, const sockaddr_in& to) {
        ServeList(self, datagram);
        if (TypeOf(datagram) == P2PMSG_PUNCH && IsToPeer(to))
            self.Arrive(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), PEER);
        if (TypeOf(datagram) != P2PMSG_DATA) return;
        EXPECT_EQ(datagram.size(), 96U + 3U);
        self.Arrive(MakeMessage(P2PMSG_DATA_ACK, "peer"), PEER);
    });
    Register(client);
    EXPECT_TRUE(client.SendReliable("peer", Bytes{1, 2, 3}));
    EXPECT_EQ(client.CountSent(P2PMSG_DATA, PEER), 1U);
}

TEST(P2PWaits, PeerThatIsNotListedCostsNoWait)
{
    CScriptedClient client(
        [](CScriptedClient& self, const Bytes& datagram, const sockaddr_in&) { ServeList(self, datagram); });
    Register(client);
    EXPECT_FALSE(client.ConnectPeer("stranger"));
    EXPECT_FALSE(client.SendReliable("stranger", Bytes{1}));
    EXPECT_EQ(client.WaitedMs(), 0U);
}

}  // namespace
