#include "recorder/protocol/DeviceLink.h"

#include <gmock/gmock.h>

#include "tests/recorder/datagram_support.h"

namespace
{

using namespace recorder;
using testing::SizeIs;

class DeviceLinkTest : public testing::Test
{
  protected:
    static DeviceLink::Setup LinkSetup()
    {
        DeviceLink::Setup setup;
        setup.name = "1001";
        setup.localAddresses = {{0x7F000001, 40000}};
        setup.rendezvous = SERVER;
        setup.clients = 4;
        return setup;
    }
    void Say(const Endpoint& from, EMessage type, const Bytes& body = {}, TimeUs now = 0)
    {
        m_Link.OnDatagram(now, from, recorder::From("4242", type, body));
    }
    // A request whose reply is acknowledged.
    void Watch(const Endpoint& from, int channel, TimeUs now = 0)
    {
        Say(from, EMessage::Data, Request(channel), now);
        m_Link.OnTimer(now);
        Say(from, EMessage::DataAck, {}, now);
    }
    // The stream's data in all that was sent to one endpoint.
    static Bytes DataTo(const Endpoint& to, const std::vector<CSink::Sent>& all)
    {
        Bytes data;
        for (const auto& sent : all)
            if (sent.to == to && Parsed(sent).type == EMessage::Data)
                data.insert(data.end(), sent.bytes.begin() + MESSAGE_BYTES, sent.bytes.end());
        return data;
    }
    PeerRecord Own() const { return {"1001", {{0x7F000001, 40000}}, {}}; }

    CSink m_Sink;
    CFakeChannels m_Channels;
    DeviceLink m_Link{LinkSetup(), m_Channels, m_Sink};
};

TEST_F(DeviceLinkTest, RegistersUnderItsNetIdUntilItIsAcknowledged)
{
    EXPECT_EQ(m_Link.OnTimer(0), DeviceLink::LOGIN_EVERY);
    auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].to, SERVER);
    EXPECT_EQ(sent[0].bytes, MakeMessage(EMessage::Login, Own()));
    m_Link.OnTimer(DeviceLink::LOGIN_EVERY);
    EXPECT_THAT(m_Sink.Take(), SizeIs(1)) << "again, as no answer came";

    PeerRecord seen = Own();
    seen.p2p = BOB;
    m_Link.OnDatagram(SECOND, SERVER, MakeMessage(EMessage::LoginAck, seen));
    EXPECT_TRUE(m_Link.Registered());
    EXPECT_EQ(m_Link.OnTimer(2 * SECOND), SECOND + DeviceLink::LOGIN_AGAIN_AFTER);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
    Say(ALICE, EMessage::Ping);
    EXPECT_EQ(m_Sink.Take().at(0).bytes, MakeMessage(EMessage::Pong, seen)) << "it tells where it was seen";
}

TEST_F(DeviceLinkTest, AcknowledgementOfAStrangerDoesNotRegister)
{
    m_Link.OnDatagram(0, ALICE, MakeMessage(EMessage::LoginAck, Own()));
    EXPECT_FALSE(m_Link.Registered());
}

TEST_F(DeviceLinkTest, PunchOfAPeerIsAnsweredToItsSource)
{
    Say(ALICE, EMessage::Punch);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].to, ALICE);
    EXPECT_EQ(sent[0].bytes, MakeMessage(EMessage::PunchAck, Own()));
}

TEST_F(DeviceLinkTest, PunchOfTheRendezvousIsAnsweredWhereThePeerWasSeenAndNowhereElse)
{
    const PeerRecord peer{"4242", {{0x08080808, 53}, {0xC0A80001, 7}}, BOB};
    m_Link.OnDatagram(0, SERVER, MakeMessage(EMessage::Punch, peer));
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1)) << "local addresses are only the peer's own word";
    EXPECT_EQ(sent[0].to, BOB);
    EXPECT_EQ(Parsed(sent[0]).type, EMessage::PunchAck);
}

TEST_F(DeviceLinkTest, ProbeIsAcknowledged)
{
    Say(ALICE, EMessage::Data);
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1));
    EXPECT_EQ(sent[0].bytes, MakeMessage(EMessage::DataAck, Own()));
    EXPECT_EQ(m_Link.Counts().probes, 1U);
}

TEST_F(DeviceLinkTest, PingIsAnsweredWithPong)
{
    Say(ALICE, EMessage::Ping);
    EXPECT_EQ(m_Sink.Take().at(0).bytes, MakeMessage(EMessage::Pong, Own()));
}

TEST_F(DeviceLinkTest, RequestIsAcknowledgedAndRepliedWithTheSize)
{
    Say(ALICE, EMessage::Data, Request(3));
    m_Link.OnTimer(MILLISECOND);
    const auto sent = m_Sink.Take();
    EXPECT_EQ(Parsed(sent.at(0)).type, EMessage::DataAck);
    EXPECT_EQ(DataTo(ALICE, sent), (Bytes{8, 0, 0, 0x43, 0xC0, 0x02, 0x40, 0x02}));
    EXPECT_FALSE(m_Channels.m_Watched[3]) << "nothing is encoded for a sender that may be made up";
    Say(ALICE, EMessage::DataAck);
    EXPECT_TRUE(m_Channels.m_Watched[3]);
    EXPECT_EQ(m_Channels.m_KeysWanted[3], 1);
}

TEST_F(DeviceLinkTest, AcknowledgementBeforeAnyReplyProvesNothing)
{
    Say(ALICE, EMessage::Data, Request(3));
    Say(ALICE, EMessage::DataAck);
    EXPECT_FALSE(m_Channels.m_Watched[3]);
    m_Link.OnTimer(MILLISECOND);
    Say(ALICE, EMessage::DataAck);
    EXPECT_TRUE(m_Channels.m_Watched[3]);
}

TEST_F(DeviceLinkTest, StreamBeginsWithAKeyPicture)
{
    Watch(ALICE, 0);
    m_Link.OnTimer(MILLISECOND);
    m_Sink.Take();
    m_Link.OnMessage(2 * MILLISECOND, 0, false, Message(0, 50));
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "it could not be decoded";
    m_Link.OnMessage(3 * MILLISECOND, 0, true, Message(0, 60));
    EXPECT_EQ(DataTo(ALICE, m_Sink.Take()), *Message(0, 60));
    m_Link.OnMessage(4 * MILLISECOND, 0, false, Message(0, 70));
    EXPECT_EQ(DataTo(ALICE, m_Sink.Take()), *Message(0, 70));
    m_Link.OnMessage(5 * MILLISECOND, 1, true, Message(1, 70));
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "nobody asked for that channel";
}

TEST_F(DeviceLinkTest, EachClientGetsWhatItAskedFor)
{
    Watch(ALICE, 0);
    Watch(ALICE, 1);
    Watch(BOB, 1);
    m_Link.OnTimer(MILLISECOND);
    m_Sink.Take();
    m_Link.OnMessage(2 * MILLISECOND, 0, true, Message(0, 50));
    m_Link.OnMessage(2 * MILLISECOND, 1, true, Message(1, 60));
    const auto sent = m_Sink.Take();
    Bytes both = *Message(0, 50);
    const Bytes second = *Message(1, 60);
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(DataTo(ALICE, sent), both);
    EXPECT_EQ(DataTo(BOB, sent), second);
}

TEST_F(DeviceLinkTest, SecondRequestStartsTheChannelAgainWithItsReplyFirst)
{
    Watch(ALICE, 0);
    m_Link.OnMessage(0, 0, true, Message(0, 60 * 1024));  // most of it still waits for its turn
    m_Link.OnMessage(0, 0, false, Message(0, 500));
    Say(ALICE, EMessage::Data, Request(0));
    m_Sink.Take();
    Bytes rest;
    for (TimeUs now = MILLISECOND; now < 30 * MILLISECOND; now += MILLISECOND) {
        m_Link.OnTimer(now);
        for (int i = 0; i < 64; ++i)
            Say(ALICE, EMessage::DataAck, {}, now);
        const Bytes data = DataTo(ALICE, m_Sink.Take());
        rest.insert(rest.end(), data.begin(), data.end());
    }
    const Bytes reply = MakeStreamReply(0, 704, 576);
    ASSERT_GE(rest.size(), reply.size());
    EXPECT_TRUE(std::equal(reply.rbegin(), reply.rend(), rest.rbegin()))
        << "the picture that waited is taken back";
    EXPECT_EQ(m_Link.Clients().at(0).streams.at(0).pictures, 1U) << "and isn't told as sent";
}

TEST_F(DeviceLinkTest, PicturesThatAClientLeavesUnsentAreNotReportedAsSent)
{
    Watch(ALICE, 0);
    m_Link.OnMessage(0, 0, true, Message(0, 500));
    m_Link.OnMessage(0, 0, false, Message(0, 60 * 1024));  // most of it still waits for its turn
    m_Link.OnMessage(0, 0, false, Message(0, 500));
    Say(ALICE, EMessage::Logout);
    const auto stream = m_Link.FormerClients().at(0).streams.at(0);
    EXPECT_EQ(stream.pictures, 1U);
    EXPECT_EQ(stream.bytes, Message(0, 500)->size());
}

TEST_F(DeviceLinkTest, AClientTooFarBehindGoesOnWithAKeyPicture)
{
    Watch(ALICE, 0);
    m_Channels.m_KeysWanted.clear();
    m_Link.OnMessage(0, 0, true, Message(0, 90'000));
    for (int i = 0; i < 8; ++i)
        m_Link.OnMessage(0, 0, false, Message(0, 90'000));
    const auto stream = m_Link.Clients().at(0).streams.at(0);
    EXPECT_TRUE(stream.waitsForKey);
    EXPECT_EQ(m_Channels.m_KeysWanted[0], 1) << "asked once, then it waits";
    const uint64_t dropped = stream.dropped;
    EXPECT_GE(dropped, 9 - SendQueue::MAX_PER_CHANNEL - 1) << "those of that time too";
    m_Link.OnMessage(0, 0, false, Message(0, 500));
    EXPECT_EQ(m_Link.Clients().at(0).streams.at(0).dropped, dropped + 1);
    Watch(ALICE, 0);
    m_Link.OnMessage(0, 0, false, Message(0, 500));
    EXPECT_EQ(m_Link.Clients().at(0).streams.at(0).dropped, dropped + 1)
        << "a stream that begins anew waits as well";
}

TEST_F(DeviceLinkTest, AClientThatStoodStillGetsNoPicturesOfThatTime)
{
    Watch(ALICE, 0);
    m_Link.OnMessage(0, 0, true, Message(0, 60 * 1024));  // begun; the rest waits for acknowledgements
    for (TimeUs now = 40 * MILLISECOND; now < 160 * MILLISECOND; now += 40 * MILLISECOND)
        m_Link.OnMessage(now, 0, false, Message(0, 500, 0xAA));
    m_Channels.m_KeysWanted.clear();
    m_Sink.Take();
    for (TimeUs now = 6 * SECOND; now < 6100 * MILLISECOND; now += MILLISECOND) {
        m_Link.OnTimer(now);
        for (int i = 0; i < 64; ++i)
            Say(ALICE, EMessage::DataAck, {}, now);
    }
    const Bytes data = DataTo(ALICE, m_Sink.Take());
    EXPECT_FALSE(data.empty()) << "what was begun is finished";
    EXPECT_EQ(std::count(data.begin(), data.end(), 0xAA), 0);
    const auto stream = m_Link.Clients().at(0).streams.at(0);
    EXPECT_EQ(stream.dropped, 3U);
    EXPECT_EQ(stream.pictures, 1U) << "what was dropped isn't told as sent";
    EXPECT_EQ(stream.bytes, Message(0, 60 * 1024)->size());
    EXPECT_TRUE(stream.waitsForKey);
    EXPECT_EQ(m_Channels.m_KeysWanted[0], 1);
}

TEST_F(DeviceLinkTest, WhatIsNoRequestIsCountedAndNotAnswered)
{
    Say(ALICE, EMessage::Data, Bytes{1, 2, 3});
    Bytes wrong = Request(1);
    wrong[0] = 9;
    Say(ALICE, EMessage::Data, wrong);
    EXPECT_EQ(m_Link.Counts().badRequests, 2U);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
}

TEST_F(DeviceLinkTest, RequestForNoChannelOfOursIsAcknowledgedAndCounted)
{
    Say(ALICE, EMessage::Data, Request(4));  // there are four, from 0
    EXPECT_EQ(m_Link.Counts().badRequests, 1U);
    EXPECT_THAT(m_Sink.Take(), SizeIs(1));
    m_Link.OnTimer(MILLISECOND);
    EXPECT_EQ(DataTo(ALICE, m_Sink.Take()), Bytes());
}

TEST_F(DeviceLinkTest, AClientThatIsSilentIsDropped)
{
    m_Link.OnDatagram(0, SERVER, MakeMessage(EMessage::LoginAck, Own()));
    Watch(ALICE, 0);
    for (TimeUs now = MILLISECOND; now < 9 * SECOND; now += 40 * MILLISECOND)
        m_Link.OnMessage(now, 0, true, Message(0, 50));
    EXPECT_THAT(m_Link.Clients(), SizeIs(1));
    Say(ALICE, EMessage::DataAck, {}, 9 * SECOND);
    for (TimeUs now = 9 * SECOND; now < 20 * SECOND; now += 40 * MILLISECOND) {
        m_Link.OnMessage(now, 0, true, Message(0, 50));
        m_Link.OnTimer(now);
    }
    EXPECT_THAT(m_Link.Clients(), SizeIs(0));
    EXPECT_FALSE(m_Channels.m_Watched[0]) << "nobody looks any more";
    ASSERT_THAT(m_Link.FormerClients(), SizeIs(1));
    EXPECT_EQ(m_Link.FormerClients()[0].disconnectReason, EDisconnectReason::Silent);
    m_Sink.Take();
    m_Link.OnMessage(21 * SECOND, 0, true, Message(0, 50));
    EXPECT_THAT(m_Sink.Take(), SizeIs(0)) << "nothing goes to the dead";
}

// As a process that was stopped for a minute: one client's acknowledgement has come by then, the other's
// hasn't.
TEST_F(DeviceLinkTest, WhatCameWhileTheProcessStoodStillIsReadBeforeAClientIsTakenForSilent)
{
    Watch(ALICE, 0);
    Watch(BOB, 0);
    m_Link.OnMessage(MILLISECOND, 0, true, Message(0, 50));
    const TimeUs later = 60 * SECOND;
    const TimeUs due = m_Link.OnTimer(later);
    EXPECT_THAT(m_Link.Clients(), SizeIs(2)) << "neither was read yet";
    EXPECT_THAT(due, testing::AllOf(testing::Gt(later), testing::Le(later + SECOND)));
    Say(ALICE, EMessage::DataAck, {}, later);
    m_Link.OnTimer(due);
    ASSERT_THAT(m_Link.Clients(), SizeIs(1));
    EXPECT_EQ(m_Link.Clients()[0].endpoint, ALICE);
    EXPECT_EQ(m_Link.FormerClients().at(0).disconnectReason, EDisconnectReason::Silent);
    m_Link.OnMessage(due, 0, true, Message(0, 50));
    m_Link.OnTimer(2 * later);
    EXPECT_THAT(m_Link.Clients(), SizeIs(1)) << "nor was it read after a further stop";
}

TEST_F(DeviceLinkTest, AClientThatGetsNothingIsNotTakenForDead)
{
    Watch(ALICE, 0);
    m_Link.OnTimer(300 * SECOND);  // a source that has no pictures
    EXPECT_THAT(m_Link.Clients(), SizeIs(1));
}

TEST_F(DeviceLinkTest, AStreamWhoseAcknowledgementsAreAllLostGoesOnSlowlyForAClientThatIsHeard)
{
    Watch(ALICE, 0);
    uint64_t before = 0;
    for (TimeUs now = MILLISECOND; now < 30 * SECOND; now += 10 * MILLISECOND) {
        m_Link.OnMessage(now, 0, true, Message(0, 20'000));
        m_Link.OnTimer(now);
        if (now % SECOND != MILLISECOND) continue;
        Say(ALICE, EMessage::Ping, {}, now);
        ASSERT_THAT(m_Link.Clients(), SizeIs(1));
        ASSERT_GT(m_Link.Clients()[0].datagrams, before) << "after " << now << " us";
        before = m_Link.Clients()[0].datagrams;
    }
}

TEST_F(DeviceLinkTest, AcknowledgementsTooManyDoNotWidenTheWindow)
{
    Watch(ALICE, 0);
    for (int i = 0; i < 500; ++i)
        Say(ALICE, EMessage::DataAck, {}, MILLISECOND);
    for (TimeUs now = 2 * MILLISECOND; now < 40 * MILLISECOND; now += MILLISECOND)
        m_Link.OnMessage(now, 0, true, Message(0, 90'000));
    EXPECT_EQ(m_Link.Clients().at(0).datagrams, 1 + SendQueue::WINDOW);
}

TEST_F(DeviceLinkTest, LogoutEndsTheStreams)
{
    Watch(ALICE, 0);
    Watch(BOB, 0);
    Say(ALICE, EMessage::Logout);
    EXPECT_TRUE(m_Channels.m_Watched[0]) << "the other one still looks";
    Say(BOB, EMessage::Logout);
    EXPECT_FALSE(m_Channels.m_Watched[0]);
    EXPECT_THAT(m_Link.Clients(), SizeIs(0));
    EXPECT_EQ(m_Link.FormerClients().at(0).disconnectReason, EDisconnectReason::Logout);
}

TEST_F(DeviceLinkTest, NumberOfClientsIsBounded)
{
    for (uint16_t i = 0; i < 50; ++i)
        Say({0x7F000001, static_cast<uint16_t>(1000 + i)}, EMessage::Data, {}, i);
    EXPECT_THAT(m_Link.Clients(), SizeIs(4)) << "those that watch nothing make room";
    for (uint16_t i = 0; i < 50; ++i)
        Watch({0x7F000001, static_cast<uint16_t>(2000 + i)}, 0, 100 + i);
    EXPECT_THAT(m_Link.Clients(), SizeIs(4));
    EXPECT_EQ(m_Link.Counts().refusedClients, 46U) << "those that watch stay";
    for (int i = 0; i < 2000; ++i) {
        Say(ALICE, EMessage::Logout);
        Say({0x7F000001, 2000}, EMessage::Logout);
        Say({0x7F000001, 2000}, EMessage::Data);
    }
    EXPECT_EQ(m_Link.FormerClients().size(), DeviceLink::MAX_FORMER_CLIENTS);
}

TEST_F(DeviceLinkTest, WhatThoseGotThatAreNoLongerKeptIsKeptTogether)
{
    constexpr size_t EARLIER = 40;
    for (size_t i = 0; i < DeviceLink::MAX_FORMER_CLIENTS + EARLIER; ++i) {
        const Endpoint client{0x7F000001, static_cast<uint16_t>(1000 + i)};
        Watch(client, 0);
        m_Link.OnMessage(0, 0, true, Message(0, 100));
        m_Link.OnTimer(0);
        Say(client, EMessage::DataAck);
        Say(client, EMessage::Logout);
    }
    ASSERT_THAT(m_Link.FormerClients(), SizeIs(DeviceLink::MAX_FORMER_CLIENTS));
    const ClientCounts& one = m_Link.FormerClients()[0];
    const ClientCounts& earlier = m_Link.EarlierClients();
    EXPECT_EQ(one.acknowledged, 2U);
    EXPECT_EQ(earlier.requests, EARLIER);
    EXPECT_EQ(earlier.acknowledged, 2 * EARLIER);
    EXPECT_EQ(earlier.datagrams, EARLIER * one.datagrams);
    EXPECT_EQ(earlier.bytes, EARLIER * one.bytes);
    EXPECT_EQ(one.streams.at(0).pictures, 1U);
    EXPECT_EQ(earlier.streams.at(0).pictures, EARLIER);
    EXPECT_EQ(earlier.streams.at(0).bytes, EARLIER * one.streams.at(0).bytes);
}

TEST_F(DeviceLinkTest, ClientsOfOneAddressTakeOnlyItsShare)
{
    auto setup = LinkSetup();
    setup.clients = 64;
    setup.clientsPerAddress = 16;
    DeviceLink link(setup, m_Channels, m_Sink);
    const auto watch = [&](const Endpoint& from) {
        link.OnDatagram(0, from, recorder::From("4242", EMessage::Data, Request(0)));
        link.OnTimer(0);
        link.OnDatagram(0, from, recorder::From("4242", EMessage::DataAck));
    };
    for (uint16_t port = 1000; port < 1100; ++port)
        watch({0x7F000001, port});
    EXPECT_THAT(link.Clients(), SizeIs(16));
    watch({0x7F000002, 1});
    EXPECT_THAT(link.Clients(), SizeIs(17)) << "another address finds room";
}

TEST_F(DeviceLinkTest, RequestsOfMadeUpSendersDoNotLockAClientOut)
{
    for (uint32_t i = 0; i < 1500; ++i)
        Say({0x0A000000 + i, 1000}, EMessage::Data, Request(0), i);
    Watch(ALICE, 0, 2000);
    for (uint32_t i = 0; i < 1500; ++i)
        Say({0x0B000000 + i, 1000}, EMessage::Data, Request(0), 3000 + i);
    m_Sink.Take();
    m_Link.OnMessage(5000, 0, true, Message(0, 50));
    const auto sent = m_Sink.Take();
    ASSERT_THAT(sent, SizeIs(1)) << "those who never acknowledged a reply get no picture";
    EXPECT_EQ(sent[0].to, ALICE);
}

// Somebody asks in the name of a victim, which never speaks itself.
TEST_F(DeviceLinkTest, AVictimInWhoseNameOneRequestCameGetsAFewDatagramsOnly)
{
    m_Link.OnDatagram(0, SERVER, MakeMessage(EMessage::LoginAck, Own()));
    Say(ALICE, EMessage::Data, Request(0));
    std::vector<TimeUs> replies;
    size_t bytes = 0;
    for (TimeUs now = 0; now < 10 * SECOND; now += 10 * MILLISECOND) {
        if (now % (40 * MILLISECOND) == 0) m_Link.OnMessage(now, 0, true, Message(0, 20'000));
        m_Link.OnTimer(now);
        for (const auto& sent : m_Sink.Take()) {
            bytes += sent.bytes.size();
            if (Parsed(sent).type == EMessage::Data) replies.push_back(now);
        }
    }
    EXPECT_THAT(replies, testing::ElementsAre(0, SECOND, 2 * SECOND));
    EXPECT_EQ(bytes, MESSAGE_BYTES + 3 * (MESSAGE_BYTES + 8));
    ASSERT_THAT(m_Link.FormerClients(), SizeIs(1));
    EXPECT_EQ(m_Link.FormerClients()[0].disconnectReason, EDisconnectReason::Silent);
}

TEST_F(DeviceLinkTest, RequestsInTheNameOfAVictimAreAnsweredWithNoMoreThanTheyBring)
{
    m_Link.OnDatagram(0, SERVER, MakeMessage(EMessage::LoginAck, Own()));
    size_t asked = 0;
    size_t bytes = 0;
    for (TimeUs now = 0; now < 10 * SECOND; now += 10 * MILLISECOND) {
        const Bytes request =
            recorder::From("4242", EMessage::Data, Request(static_cast<int>(now / SECOND % 4)));
        m_Link.OnDatagram(now, ALICE, request);
        asked += request.size();
        m_Link.OnMessage(now, 0, true, Message(0, 20'000));
        m_Link.OnTimer(now);
        for (const auto& sent : m_Sink.Take())
            bytes += sent.bytes.size();
    }
    EXPECT_LE(bytes, asked);
}

// The proof can be made up too, blindly: what that brings is bounded.
TEST_F(DeviceLinkTest, AVictimInWhoseNameOneAcknowledgementCameGetsLessAndLess)
{
    Watch(ALICE, 0);
    size_t bytes = 0;
    for (TimeUs now = MILLISECOND; now < 12 * SECOND; now += MILLISECOND) {
        if (now % (40 * MILLISECOND) == 0) m_Link.OnMessage(now, 0, now % SECOND == 0, Message(0, 20'000));
        m_Link.OnTimer(now);
        for (const auto& sent : m_Sink.Take())
            bytes += sent.to == ALICE ? sent.bytes.size() : 0;
    }
    EXPECT_LE(bytes, 160'000U);
    EXPECT_THAT(m_Link.Clients(), SizeIs(0));
}

// What others that answer datagrams make of ours, when a request comes in their name.
TEST_F(DeviceLinkTest, AnotherRecorderAcknowledgesNoPictures)
{
    constexpr Endpoint OTHER = {0x7F000001, 50003};
    constexpr Endpoint OWN = {0x7F000001, 40000};
    DeviceLink::Setup setup = LinkSetup();
    setup.name = "1002";
    CSink sink;
    CFakeChannels channels;
    DeviceLink other(setup, channels, sink);
    Say(OTHER, EMessage::Data, Request(0));
    other.OnDatagram(0, OWN, recorder::From("4242", EMessage::Data, Request(0)));
    size_t bytes = 0;
    for (TimeUs now = 0; now < 20 * SECOND; now += 10 * MILLISECOND) {
        m_Link.OnMessage(now, 0, true, Message(0, 20'000));
        other.OnMessage(now, 0, true, Message(0, 20'000));
        m_Link.OnTimer(now);
        other.OnTimer(now);
        for (const auto& sent : m_Sink.Take()) {
            if (sent.to != OTHER) continue;
            bytes += sent.bytes.size();
            other.OnDatagram(now, OWN, sent.bytes);
        }
        for (const auto& sent : sink.Take())
            if (sent.to == OWN) m_Link.OnDatagram(now, OTHER, sent.bytes);
    }
    EXPECT_LE(bytes, 160'000U) << "as when one acknowledgement was made up";
    EXPECT_THAT(m_Link.Clients(), SizeIs(0));
    EXPECT_THAT(other.Clients(), SizeIs(0));
}

TEST_F(DeviceLinkTest, AnEchoOfOurOwnProvesNothing)
{
    Say(ALICE, EMessage::Data, Request(0));
    size_t bytes = 0;
    for (TimeUs now = 0; now < 10 * SECOND; now += 10 * MILLISECOND) {
        m_Link.OnMessage(now, 0, true, Message(0, 20'000));
        m_Link.OnTimer(now);
        for (const auto& sent : m_Sink.Take()) {
            if (sent.to != ALICE) continue;
            bytes += sent.bytes.size();
            m_Link.OnDatagram(now, ALICE, sent.bytes);
        }
    }
    EXPECT_EQ(bytes, MESSAGE_BYTES + 3 * (MESSAGE_BYTES + 8));
    EXPECT_THAT(m_Link.Clients(), SizeIs(0));
}

TEST_F(DeviceLinkTest, ARequestInTheNameOfAVictimKeepsNoChannelCoding)
{
    Watch(ALICE, 0);
    Say(BOB, EMessage::Data, Request(0));
    EXPECT_TRUE(m_Channels.m_Watched[0]);
    Say(ALICE, EMessage::Logout);
    EXPECT_FALSE(m_Channels.m_Watched[0]) << "nobody who is known to be there looks any more";
}

TEST_F(DeviceLinkTest, AReplyThatWasLostComesAgain)
{
    Say(ALICE, EMessage::Data, Request(0));
    Say(ALICE, EMessage::Data, Request(2));
    m_Link.OnTimer(0);
    m_Sink.Take();
    m_Link.OnTimer(SECOND);
    Bytes both = MakeStreamReply(0, 704, 576);
    const Bytes second = MakeStreamReply(2, 704, 576);
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(DataTo(ALICE, m_Sink.Take()), both);
    Say(ALICE, EMessage::DataAck, {}, SECOND);
    EXPECT_TRUE(m_Channels.m_Watched[0]);
    EXPECT_TRUE(m_Channels.m_Watched[2]);
    m_Link.OnTimer(4 * SECOND);
    EXPECT_THAT(m_Link.Clients(), SizeIs(1));
}

TEST_F(DeviceLinkTest, MalformedDatagramsGetNoAnswer)
{
    const Bytes good = recorder::From("4242", EMessage::Data, Request(0));
    for (size_t bytes = 0; bytes < MESSAGE_BYTES; ++bytes)
        m_Link.OnDatagram(0, ALICE, std::span(good).first(bytes));
    Bytes endless = good;
    std::fill_n(endless.begin() + 4, NAME_BYTES, uint8_t{'a'});
    m_Link.OnDatagram(0, ALICE, endless);
    EXPECT_THAT(m_Sink.Take(), SizeIs(0));
    EXPECT_EQ(m_Link.Counts().faults[static_cast<size_t>(EWireFault::TooShort)], 96U);
    EXPECT_EQ(m_Link.Counts().faults[static_cast<size_t>(EWireFault::UnterminatedName)], 1U);
}

TEST_F(DeviceLinkTest, AcknowledgementsAreCountedForTheReport)
{
    Watch(ALICE, 0);
    m_Link.OnMessage(0, 0, true, Message(0, 3000));
    m_Link.OnTimer(MILLISECOND);
    for (int i = 0; i < 3; ++i)
        Say(ALICE, EMessage::DataAck);
    const auto client = m_Link.Clients().at(0);
    EXPECT_EQ(client.name, "4242");
    EXPECT_EQ(client.datagrams, 4U);  // the reply and three pieces
    EXPECT_EQ(client.acknowledged, 4U);
    EXPECT_EQ(client.bytes, 3008U);
    EXPECT_EQ(client.streams.at(0).pictures, 1U);
    EXPECT_EQ(client.streams.at(0).bytes, 3000U);
}

}  // namespace
