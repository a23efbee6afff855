#include "recorder/protocol/Rendezvous.h"

#include <gmock/gmock.h>

#include <set>

#include "tests/recorder/recorder_support.h"

namespace
{

using namespace recorder;
using testing::SizeIs;

class RendezvousTest : public testing::Test
{
  protected:
    void Login(const XEndpoint& from, const std::string& name, TimeUs now = 0)
    {
        m_Rendezvous.OnDatagram(now, from, recorder::From(name, EMessage::Login));
    }
    void Say(const XEndpoint& from, const std::string& name, EMessage type, const Bytes& body = {},
             TimeUs now = 0)
    {
        m_Rendezvous.OnDatagram(now, from, recorder::From(name, type, body));
    }

    CSink m_Sink;
    CRendezvous m_Rendezvous{m_Sink};
};

TEST_F(RendezvousTest, LoginIsAcknowledgedWithTheRecordAsSeen)
{
    XPeerRecord record{"alice", {{0xC0A80005, 9}}, {}};
    m_Rendezvous.OnDatagram(0, ALICE, MakeMessage(EMessage::Login, record));
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].m_To, ALICE);
    record.m_P2p = ALICE;
    EXPECT_EQ(sent[0].m_Bytes, MakeMessage(EMessage::LoginAck, record));
}

TEST_F(RendezvousTest, ListHoldsTheOthersAndEnds)
{
    Login(ALICE, "alice");
    Login(BOB, "bob");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(2));
    EXPECT_EQ(Parsed(sent[0]).m_Type, EMessage::UserEntry);
    EXPECT_EQ(Parsed(sent[0]).m_Record.m_strName, "bob");
    EXPECT_EQ(Parsed(sent[0]).m_Record.m_P2p, BOB);
    EXPECT_EQ(Parsed(sent[1]).m_Type, EMessage::UserEnd);
    EXPECT_THAT(sent[1].m_Bytes, SizeIs(96));
}

TEST_F(RendezvousTest, LongListIsSentWithPauses)
{
    Login(ALICE, "alice");
    for (uint16_t i = 0; i < 100; ++i)
        Login({0x7F000002, static_cast<uint16_t>(1000 + i)}, "user" + std::to_string(i));
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    EXPECT_THAT(m_Sink.Take(), SizeIs(32)) << "as many as go at once";
    std::set<std::string> names;
    size_t ends = 0;
    TimeUs now = 0;
    for (int i = 0; i < 10; ++i) {
        now = m_Rendezvous.OnTimer(now);
        for (const auto& sent : m_Sink.Take())
            if (Parsed(sent).m_Type == EMessage::UserEntry)
                EXPECT_TRUE(names.insert(Parsed(sent).m_Record.m_strName).second);
            else if (Parsed(sent).m_Type == EMessage::UserEnd)
                ++ends;
        if (ends > 0) break;
    }
    EXPECT_THAT(names, SizeIs(68));
    EXPECT_EQ(ends, 1U);
}

TEST_F(RendezvousTest, PunchTellsThePeerWhoWantsIt)
{
    Login(ALICE, "alice");
    Login(BOB, "1001");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::Punch, Wanted("1001"));
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].m_To, BOB);
    EXPECT_EQ(Parsed(sent[0]).m_Type, EMessage::Punch);
    EXPECT_EQ(Parsed(sent[0]).m_Record.m_strName, "alice");
    EXPECT_EQ(Parsed(sent[0]).m_Record.m_P2p, ALICE);
    EXPECT_THAT(sent[0].m_Bytes, SizeIs(96));
}

TEST_F(RendezvousTest, PunchFindsThePeerWithoutRegardToCase)
{
    Login(ALICE, "alice");
    Login(BOB, "GATE");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::Punch, Wanted("gate"));
    EXPECT_THAT(m_Sink.Take(), SizeIs(1));
}

TEST_F(RendezvousTest, PunchForNobodyIsCounted)
{
    Login(ALICE, "alice");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::Punch, Wanted("nobody"));
    Say(ALICE, "alice", EMessage::Punch, Bytes(NAME_BYTES, 'x'));  // a name without end
    Say(ALICE, "alice", EMessage::Punch);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
    EXPECT_EQ(m_Rendezvous.Counts().m_ulUnknownWanted, 3U);
}

TEST_F(RendezvousTest, StrangersGetNoListAndNoPunch)
{
    Login(BOB, "bob");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    Say(ALICE, "alice", EMessage::Punch, Wanted("bob"));
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
    EXPECT_EQ(m_Rendezvous.Counts().m_ulStrangers, 2U);
}

TEST_F(RendezvousTest, TwoProgramsOfOneNameDoNotPushEachOtherOut)
{
    Login(ALICE, "same");
    Login(BOB, "same");
    EXPECT_EQ(m_Rendezvous.Users(), 2U);
    Login(BOB, "same");
    EXPECT_EQ(m_Rendezvous.Users(), 2U) << "logging in again isn't a further user";
}

TEST_F(RendezvousTest, LogoutEndsAUser)
{
    Login(ALICE, "alice");
    Say(ALICE, "alice", EMessage::Logout);
    EXPECT_EQ(m_Rendezvous.Users(), 0U);
    EXPECT_EQ(m_Rendezvous.Counts().m_ulLogouts, 1U);
}

TEST_F(RendezvousTest, UsersArePingedAndForgottenWhenTheyAreSilent)
{
    Login(ALICE, "alice", 0);
    Login(BOB, "bob", 0);
    m_Sink.Take();
    std::map<XEndpoint, int> pings;
    for (TimeUs now = 0; now <= 70 * SECOND; now += SECOND) {
        m_Rendezvous.OnTimer(now);
        for (const auto& sent : m_Sink.Take()) {
            ASSERT_EQ(Parsed(sent).m_Type, EMessage::Ping);
            ++pings[sent.m_To];
            if (sent.m_To == BOB) Say(BOB, "bob", EMessage::Pong, {}, now);
        }
    }
    EXPECT_EQ(pings[ALICE], 3);
    EXPECT_EQ(pings[BOB], 3);
    EXPECT_EQ(m_Rendezvous.Users(), 1U) << "the one that answers stays";
    EXPECT_EQ(m_Rendezvous.Counts().m_ulForgotten, 1U);
}

TEST_F(RendezvousTest, PingIsAnswered)
{
    Say(ALICE, "alice", EMessage::Ping);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(Parsed(sent[0]).m_Type, EMessage::Pong);
}

TEST_F(RendezvousTest, NumberOfUsersIsBounded)
{
    for (uint32_t i = 0; i < 2000; ++i)
        Login({0x0A000000 + i, 1000}, "u" + std::to_string(i));
    EXPECT_EQ(m_Rendezvous.Users(), 1024U);
    EXPECT_EQ(m_Rendezvous.Counts().m_ulRefusedLogins, 976U);
    EXPECT_THAT(m_Sink.Take(), SizeIs(1024));
}

TEST_F(RendezvousTest, LoginWithoutNameIsRefused)
{
    Login(ALICE, "");
    EXPECT_EQ(m_Rendezvous.Users(), 0U);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
}

TEST_F(RendezvousTest, MalformedDatagramsAreCountedByKind)
{
    Bytes bytes = recorder::From("alice", EMessage::Login);
    bytes[4 + 76] = 255;
    m_Rendezvous.OnDatagram(0, ALICE, bytes);
    m_Rendezvous.OnDatagram(0, ALICE, std::span(bytes).first(95));
    EXPECT_EQ(m_Rendezvous.Counts().m_Faults[static_cast<size_t>(EWireFault::TooManyAddresses)], 1U);
    EXPECT_EQ(m_Rendezvous.Counts().m_Faults[static_cast<size_t>(EWireFault::TooShort)], 1U);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
}

}  // namespace
