#include "recorder/protocol/Rendezvous.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "tests/recorder/datagram_support.h"

namespace
{

using namespace recorder;
using testing::SizeIs;

class RendezvousTest : public testing::Test
{
  protected:
    void Login(const Endpoint& from, const std::string& name, TimeUs now = 0)
    {
        m_Rendezvous.OnDatagram(now, from, recorder::From(name, EMessage::Login));
    }
    void Say(const Endpoint& from, const std::string& name, EMessage type, const Bytes& body = {},
             TimeUs now = 0)
    {
        m_Rendezvous.OnDatagram(now, from, recorder::From(name, type, body));
    }

    CSink m_Sink;
    Rendezvous m_Rendezvous{m_Sink};
};

TEST_F(RendezvousTest, LoginIsAcknowledgedWithTheRecordAsSeen)
{
    PeerRecord record{"alice", {{0xC0A80005, 9}}, {}};
    m_Rendezvous.OnDatagram(0, ALICE, MakeMessage(EMessage::Login, record));
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].to, ALICE);
    record.p2p = ALICE;
    EXPECT_EQ(sent[0].bytes, MakeMessage(EMessage::LoginAck, record));
}

TEST_F(RendezvousTest, ListHoldsTheOthersAndEnds)
{
    Login(ALICE, "alice");
    Login(BOB, "bob");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(2));
    EXPECT_EQ(Parsed(sent[0]).type, EMessage::UserEntry);
    EXPECT_EQ(Parsed(sent[0]).record.name, "bob");
    EXPECT_EQ(Parsed(sent[0]).record.p2p, BOB);
    EXPECT_EQ(Parsed(sent[1]).type, EMessage::UserEnd);
    EXPECT_THAT(sent[1].bytes, SizeIs(96));
}

TEST_F(RendezvousTest, LongListIsSentWithPauses)
{
    Login(ALICE, "alice");
    for (uint16_t i = 0; i < 100; ++i)
        Login({0x7F000002U + i, 1000}, "user" + std::to_string(i));
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    EXPECT_THAT(m_Sink.Take(), SizeIs(32)) << "as many as go at once";
    std::set<std::string> names;
    size_t ends = 0;
    TimeUs now = 0;
    for (int i = 0; i < 10; ++i) {
        now = m_Rendezvous.OnTimer(now);
        for (const auto& sent : m_Sink.Take())
            if (Parsed(sent).type == EMessage::UserEntry)
                EXPECT_TRUE(names.insert(Parsed(sent).record.name).second);
            else if (Parsed(sent).type == EMessage::UserEnd)
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
    EXPECT_EQ(sent[0].to, BOB);
    EXPECT_EQ(Parsed(sent[0]).type, EMessage::Punch);
    EXPECT_EQ(Parsed(sent[0]).record.name, "alice");
    EXPECT_EQ(Parsed(sent[0]).record.p2p, ALICE);
    EXPECT_THAT(sent[0].bytes, SizeIs(96));
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
    Say(BOB, "bob", EMessage::Punch);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
    EXPECT_EQ(m_Rendezvous.Counts().unknownWanted, 4U);
    EXPECT_EQ(m_Rendezvous.Users(), 1U) << "a punch that names nobody is no login";
}

TEST_F(RendezvousTest, StrangersGetNoList)
{
    Login(BOB, "bob");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
    EXPECT_EQ(m_Rendezvous.Counts().strangers, 1U);
}

TEST_F(RendezvousTest, PunchOfWhoLoggedInBeforeTheRendezvousWasRestartedIsTakenAsALogin)
{
    Login(BOB, "1001");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::Punch, Wanted("1001"));
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(2));
    EXPECT_EQ(sent[0].to, ALICE);
    EXPECT_EQ(Parsed(sent[0]).type, EMessage::LoginAck);
    EXPECT_EQ(sent[1].to, BOB);
    EXPECT_EQ(Parsed(sent[1]).type, EMessage::Punch);
    EXPECT_EQ(Parsed(sent[1]).record.p2p, ALICE);
    EXPECT_EQ(m_Rendezvous.Users(), 2U);
    EXPECT_EQ(m_Rendezvous.Counts().punchLogins, 1U);
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
    EXPECT_EQ(m_Rendezvous.Counts().logouts, 1U);
}

TEST_F(RendezvousTest, UsersArePingedAndForgottenWhenTheyAreSilent)
{
    Login(ALICE, "alice", 0);
    Login(BOB, "bob", 0);
    Say(ALICE, "alice", EMessage::GetUsers);
    m_Sink.Take();
    std::map<Endpoint, int> pings;
    for (TimeUs now = 0; now <= 70 * SECOND; now += SECOND) {
        m_Rendezvous.OnTimer(now);
        for (const auto& sent : m_Sink.Take()) {
            ASSERT_EQ(Parsed(sent).type, EMessage::Ping);
            ++pings[sent.to];
            if (sent.to == BOB) Say(BOB, "bob", EMessage::Pong, {}, now);
        }
    }
    EXPECT_EQ(pings[ALICE], 3) << "the first one soon, then each twenty seconds";
    EXPECT_EQ(pings[BOB], 4);
    EXPECT_EQ(m_Rendezvous.Users(), 1U) << "the one that answers stays";
    EXPECT_EQ(m_Rendezvous.Counts().forgotten, 1U);
}

TEST_F(RendezvousTest, PingIsAnswered)
{
    Say(ALICE, "alice", EMessage::Ping);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(Parsed(sent[0]).type, EMessage::Pong);
}

// A login whose sender is made up is never followed by anything.
TEST_F(RendezvousTest, WhoOnlyLogsInIsPingedOnceAndForgottenSoon)
{
    Login(ALICE, "alice", 0);
    EXPECT_THAT(m_Sink.Take(), SizeIs(1));
    for (TimeUs now = 0; now < 15 * SECOND; now += SECOND)
        m_Rendezvous.OnTimer(now);
    EXPECT_THAT(m_Sink.Take(), SizeIs(1));
    EXPECT_EQ(m_Rendezvous.Users(), 1U);
    m_Rendezvous.OnTimer(15 * SECOND);
    EXPECT_EQ(m_Rendezvous.Users(), 0U);
}

TEST_F(RendezvousTest, MadeUpLoginsDoNotLockANewClientOut)
{
    m_Rendezvous.Reserve("1001", BOB);
    Login(BOB, "1001");
    for (uint32_t i = 0; i < 1500; ++i)
        Login({0x0A000000 + i, 1000}, "u" + std::to_string(i), i);
    EXPECT_EQ(m_Rendezvous.Users(), 1024U);
    m_Sink.Take();
    Login(ALICE, "alice", 2000);
    Say(ALICE, "alice", EMessage::GetUsers, {}, 2000);
    for (uint32_t i = 0; i < 1500; ++i)
        Login({0x0B000000 + i, 1000}, "v" + std::to_string(i), 3000 + i);
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::Punch, Wanted("1001"), 5000);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1)) << "alice is known still, and so is the recorder";
    EXPECT_EQ(sent[0].to, BOB);
    EXPECT_EQ(m_Rendezvous.Users(), 1024U);
}

TEST_F(RendezvousTest, EntryOfTheReservedNameStandsLastInAList)
{
    // A client keeps all of a list's last entry, and of those in a long list before it no more than their
    // start.
    m_Rendezvous.Reserve("1001", BOB);
    Login(ALICE, "alice");
    for (uint16_t i = 0; i < 150; ++i)
        Login({0x7F000100U + i, 1000}, "user" + std::to_string(i));
    Login(BOB, "1001");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    std::vector<std::string> names;
    for (TimeUs now = 0; now < SECOND / 10; now += MILLISECOND) {
        m_Rendezvous.OnTimer(now);
        for (const auto& sent : m_Sink.Take())
            names.push_back(Parsed(sent).type == EMessage::UserEntry ? Parsed(sent).record.name : "end");
    }
    ASSERT_THAT(names, SizeIs(152));
    EXPECT_EQ(names[150], "1001");
    EXPECT_EQ(names[151], "end");
    // The one who has it asks for a list without its own entry.
    Say(BOB, "1001", EMessage::GetUsers);
    EXPECT_EQ(Parsed(m_Sink.Take().front()).record.name, "user149");
}

TEST_F(RendezvousTest, MadeUpLoginsOfOneAddressTakeOnlyItsOwnShare)
{
    Login({0x0A000001, 1}, "elsewhere");
    for (uint16_t i = 0; i < 1500; ++i)
        Login({0x7F000001, static_cast<uint16_t>(1000 + i)}, "u" + std::to_string(i), i + 1);
    EXPECT_EQ(m_Rendezvous.Users(), 33U);
    m_Sink.Take();
    Login(ALICE, "alice", 2000);
    EXPECT_THAT(m_Sink.Take(), SizeIs(1)) << "the same address gets in all the same";
    EXPECT_EQ(m_Rendezvous.Users(), 33U);
    Say({0x0A000001, 1}, "elsewhere", EMessage::GetUsers, {}, 2001);
    EXPECT_THAT(m_Sink.Take(), SizeIs(33)) << "no other address made room";
}

TEST_F(RendezvousTest, WhoWasHeardAgainStaysWhenRoomIsMade)
{
    Login(ALICE, "alice", 0);
    Say(ALICE, "alice", EMessage::GetUsers, {}, 1);
    Login(ALICE, "alice", 2);  // its acknowledgement was late
    for (uint16_t i = 0; i < 100; ++i)
        Login({ALICE.address, static_cast<uint16_t>(1000 + i)}, "u", 100 + i);
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers, {}, 300);
    EXPECT_THAT(m_Sink.Take(), SizeIs(32)) << "31 others and the end";
}

TEST_F(RendezvousTest, HolderOfTheReservedNameMakesRoomForNobody)
{
    m_Rendezvous.Reserve("gate", BOB);
    Login(BOB, "gate", 0);
    for (uint16_t i = 0; i < 100; ++i) {
        const Endpoint from{BOB.address, static_cast<uint16_t>(1000 + i)};
        Login(from, "u", 100 + i);
        Say(from, "u", EMessage::Ping, {}, 100 + i);  // heard again, later than the holder
    }
    Login(ALICE, "alice", 300);
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::Punch, Wanted("gate"), 301);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].to, BOB);
}

// Its device logs in again every thirty seconds; whatever it says meanwhile may be lost.
TEST_F(RendezvousTest, HolderOfTheReservedNameIsNotForgottenBetweenItsLogins)
{
    m_Rendezvous.Reserve("gate", BOB);
    Login(BOB, "gate", 0);
    m_Rendezvous.OnTimer(30 * SECOND);
    EXPECT_EQ(m_Rendezvous.Users(), 1U);
}

TEST_F(RendezvousTest, TheReservedNameCanNotBeTaken)
{
    m_Rendezvous.Reserve("gate", BOB);
    Login(BOB, "gate");
    Login(ALICE, "GATE");
    EXPECT_EQ(m_Rendezvous.Users(), 1U);
    EXPECT_EQ(m_Rendezvous.Counts().refusedLogins, 1U);
    m_Sink.Take();
    const Endpoint third = {0x7F000001, 50003};
    Say(third, "gate", EMessage::Punch, Wanted("gate"));
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "nor by a punch that is taken as a login";
    Login(third, "carol");
    m_Sink.Take();
    Say(third, "carol", EMessage::Punch, Wanted("gate"));
    EXPECT_EQ(m_Sink.Take().at(0).to, BOB);
}

TEST_F(RendezvousTest, EntriesOfListsArePacedForEachAddress)
{
    for (uint32_t i = 0; i < 1000; ++i)
        Login({0x0A000000 + i, 1000}, "u" + std::to_string(i));
    Login(ALICE, "alice");
    Login(BOB, "bob");
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers);
    Say(BOB, "bob", EMessage::GetUsers);
    size_t bytes = 0;
    size_t ends = 0;
    for (TimeUs now = 0; now < 10 * SECOND; now += MILLISECOND) {
        m_Rendezvous.OnTimer(now);
        for (const auto& sent : m_Sink.Take()) {
            bytes += now < 2 * SECOND ? sent.bytes.size() : 0;
            ends += Parsed(sent).type == EMessage::UserEnd ? 1 : 0;
        }
    }
    EXPECT_EQ(bytes, 2 * 256 * MESSAGE_BYTES) << "in two seconds, both lists together";
    EXPECT_EQ(ends, 2U) << "and both come to their end";
}

TEST_F(RendezvousTest, ListsForMadeUpSendersAreBoundedAndANewClientStillFindsTheRecorder)
{
    m_Rendezvous.Reserve("1001", BOB);
    Login(BOB, "1001");
    for (uint32_t i = 0; i < 900; ++i)
        Login({0x0A000000 + i, 1000}, "u" + std::to_string(i));
    m_Sink.Take();
    size_t entries = 0;
    const auto count = [&] {
        const auto sent = m_Sink.Take();
        entries += static_cast<size_t>(std::count_if(
            sent.begin(), sent.end(), [](const auto& one) { return Parsed(one).type == EMessage::UserEntry; }));
    };
    for (uint32_t i = 0; i < 900; ++i) {
        Say({0x0A000000 + i, 1000}, "u" + std::to_string(i), EMessage::GetUsers);
        m_Rendezvous.OnTimer(0);
        count();
    }
    for (TimeUs now = 0; now < SECOND; now += MILLISECOND) {
        m_Rendezvous.OnTimer(now);
        count();
    }
    EXPECT_LE(entries, 8192U + 900U) << "in a second, the recorder's own for each of them included";
    Login(ALICE, "alice", SECOND - 1);
    m_Sink.Take();
    Say(ALICE, "alice", EMessage::GetUsers, {}, SECOND - 1);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(2)) << "and at once";
    EXPECT_EQ(Parsed(sent[0]).record.name, "1001");
    EXPECT_EQ(Parsed(sent[1]).type, EMessage::UserEnd);
    Say(ALICE, "alice", EMessage::GetUsers, {}, 3 * SECOND);
    EXPECT_THAT(m_Sink.Take(), SizeIs(32)) << "later the list is whole again, in its pieces";
}

TEST_F(RendezvousTest, EntriesOfAnotherRendezvousAreNoQuestions)
{
    constexpr Endpoint HOLDER = {0x7F000001, 40001};
    m_Rendezvous.Reserve("1001", HOLDER);
    Login(HOLDER, "1001");
    Login(SERVER, "1002");  // which another rendezvous never sent
    Say(SERVER, "1002", EMessage::GetUsers);
    EXPECT_EQ(m_Rendezvous.Counts().lists, 1U);
    m_Sink.Take();
    constexpr Endpoint THIRD = {0x0A000001, SERVER.port};
    for (const auto& [name, at] : {std::pair("1002", BOB), std::pair("bob", BOB), std::pair("1003", THIRD)})
        m_Rendezvous.OnDatagram(0, SERVER, MakeMessage(EMessage::UserEntry, {name, {}, at}));
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "it would take the answers for questions in its turn";
    m_Rendezvous.OnDatagram(0, SERVER, MakeMessage(EMessage::GetUsers, {"1002", {}, SERVER}));
    EXPECT_THAT(m_Sink.Take(), SizeIs(2)) << "who asks tells the address that its login was answered with";
}

TEST_F(RendezvousTest, SharesOfAddressesAreForgottenAfterTheirSecond)
{
    Login(BOB, "bob");
    for (uint32_t i = 0; i < 100; ++i) {
        Login({0x0A000000 + i, 1000}, "u");
        Say({0x0A000000 + i, 1000}, "u", EMessage::GetUsers);
        Say({0x0A000000 + i, 1000}, "u", EMessage::Logout);
    }
    EXPECT_EQ(m_Rendezvous.Shares(), 100U);
    m_Rendezvous.OnTimer(SECOND);
    EXPECT_EQ(m_Rendezvous.Shares(), 0U);
}

TEST_F(RendezvousTest, WhoLeavesGetsNoMoreOfItsList)
{
    for (uint32_t i = 0; i < 100; ++i)
        Login({0x0A000000 + i, 1000}, "u" + std::to_string(i));
    const auto ask = [&](TimeUs now) {
        Login(ALICE, "alice", now);
        Say(ALICE, "alice", EMessage::GetUsers, {}, now);
        m_Sink.Take();
    };
    ask(0);
    Say(ALICE, "alice", EMessage::Logout);
    m_Rendezvous.OnTimer(SECOND);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "after a logout";
    ask(SECOND);
    for (uint16_t i = 0; i < 40; ++i) {
        const Endpoint from{ALICE.address, static_cast<uint16_t>(1000 + i)};
        Login(from, "n", SECOND + 1);
        Say(from, "n", EMessage::Pong, {}, SECOND + 2 + i);
    }
    m_Sink.Take();
    m_Rendezvous.OnTimer(2 * SECOND);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "after it made room";
    ask(3 * SECOND);
    m_Rendezvous.OnTimer(3 * SECOND + Rendezvous::Limits().forgetAfter);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "after it was forgotten";
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
    EXPECT_EQ(m_Rendezvous.Counts().faults[static_cast<size_t>(EWireFault::TooManyAddresses)], 1U);
    EXPECT_EQ(m_Rendezvous.Counts().faults[static_cast<size_t>(EWireFault::TooShort)], 1U);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
}

}  // namespace
