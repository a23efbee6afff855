#include <gtest/gtest.h>

#include <random>

#include "remote/p2p/MessageAssembler.h"
#include "remote/p2p/MessageRouter.h"
#include "remote/p2p/P2PWire.h"
#include "remote/udp/LatePictures.h"
#include "remote/udp/StreamReply.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/support/mpeg4_streams.h"

namespace
{

using EResult = CMessageAssembler::EResult;

/// A message of `bytes` bytes, its header included, filled with `fill`.
Bytes Message(int channel, int direction, std::uint32_t bytes, std::uint8_t fill)
{
    Bytes message(std::max<std::uint32_t>(bytes, 4), fill);
    WriteLittle32(message.data(), static_cast<std::uint32_t>(direction) << 30 |
                                      static_cast<std::uint32_t>(channel) << 24 | bytes);
    return message;
}

TEST(UdpReply, WidthAndHeightFollowTheHeaderWord)
{
    const auto reply = ReadStreamReply(Bytes{12, 0, 0, 0x41, 0x60, 0x01, 0x20, 0x01, 9, 9});
    EXPECT_EQ(reply.width, 352);
    EXPECT_EQ(reply.height, 288);
    const auto largest = ReadStreamReply(Bytes(8, 0xFF));
    EXPECT_EQ(largest.width, 65535);
    EXPECT_EQ(largest.height, 65535);
    const auto cut = ReadStreamReply(Bytes{8, 0, 0, 0, 7});
    EXPECT_EQ(cut.width, 7);
    EXPECT_EQ(cut.height, 0);
    EXPECT_EQ(ReadStreamReply({}).width, 0);
}

class UdpAssemblerTest : public testing::Test
{
  protected:
    /// Feeds the message in pieces of 1024 bytes; the result of the last.
    EResult FeedCut(const Bytes& message)
    {
        EResult result = EResult::More;
        for (std::size_t at = 0; at < message.size(); at += 1024)
            result = m_Assembler.Feed(
                std::span(message).subspan(at, std::min<std::size_t>(1024, message.size() - at)));
        return result;
    }
    Bytes Assembled() const { return {m_Assembler.GetMessage().begin(), m_Assembler.GetMessage().end()}; }

    Bytes m_Buffer = Bytes(MESSAGE_LIMIT_BYTES);
    CMessageAssembler m_Assembler{m_Buffer};
};

TEST(UdpHeader, Channel63AndLength8Is7F000008InTheRequestForm)
{
    EXPECT_EQ(MakeMessageHeader(63, 8), 0x7F000008U);
    EXPECT_EQ(MakeMessageHeader(0, 8), 0x40000008U);
}

TEST(UdpHeader, FieldsAreReadFromTheirBits)
{
    const auto all = ReadMessageHeader(Bytes{0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(all.channel, 63);
    EXPECT_EQ(all.direction, 1);
    EXPECT_EQ(all.length, 0xFFFFFFU);
    const auto spare = ReadMessageHeader(Bytes{0x01, 0x02, 0x03, 0x85});
    EXPECT_EQ(spare.channel, 5);
    EXPECT_EQ(spare.direction, 0);  // bit 31 is spare
    EXPECT_EQ(spare.length, 0x030201U);
    EXPECT_EQ(ReadMessageHeader(Bytes{7}).length, 7U);  // bytes that are missing count as zero
    EXPECT_EQ(ReadMessageHeader({}).length, 0U);
}

TEST_F(UdpAssemblerTest, MessageInOneDatagramIsComplete)
{
    const Bytes message = Message(3, 1, 8, 9);
    EXPECT_EQ(FeedCut(message), EResult::Complete);
    EXPECT_EQ(Assembled(), message);
}

TEST_F(UdpAssemblerTest, MessagesOfManyDatagramsFollowEachOther)
{
    for (const std::uint32_t size : {1024U, 1025U, 2048U, 50000U, MESSAGE_LIMIT_BYTES}) {
        const Bytes message = Message(3, 1, size, static_cast<std::uint8_t>(size));
        EXPECT_EQ(FeedCut(message), EResult::Complete) << size;
        EXPECT_EQ(Assembled(), message) << size;
    }
}

TEST_F(UdpAssemblerTest, LengthOf0And3GivesTheDatagramAsItIs)
{
    for (const std::uint32_t length : {0U, 3U}) {
        Bytes datagram = Message(3, 1, 100, 9);
        WriteLittle32(datagram.data(), 0x43000000 + length);
        EXPECT_EQ(m_Assembler.Feed(datagram), EResult::Complete);
        EXPECT_EQ(Assembled(), datagram);
    }
}

TEST_F(UdpAssemblerTest, BytesThatAHeaderLacksCountAsZero)
{
    EXPECT_EQ(m_Assembler.Feed(Bytes{0}), EResult::Complete);
    EXPECT_EQ(Assembled(), Bytes{0});
    EXPECT_EQ(m_Assembler.Feed(Bytes{3}), EResult::More);
    EXPECT_EQ(m_Assembler.Feed(Bytes{1, 2}), EResult::Complete);
    EXPECT_EQ(Assembled(), (Bytes{3, 1, 2}));
}

TEST_F(UdpAssemblerTest, MessageThatOvershootsItsLengthStaysWhole)
{
    Bytes datagram = Message(3, 1, 100, 9);
    WriteLittle32(datagram.data(), 0x43000000 + 20);
    EXPECT_EQ(m_Assembler.Feed(datagram), EResult::Complete);
    EXPECT_EQ(m_Assembler.GetMessage().size(), 100U);
}

TEST_F(UdpAssemblerTest, LostDatagramTakesItsBytesFromTheNextMessage)
{
    const Bytes first = Message(3, 1, 3000, 1);
    EXPECT_EQ(m_Assembler.Feed(std::span(first).first(1024)), EResult::More);
    EXPECT_EQ(m_Assembler.Feed(std::span(first).subspan(2048)), EResult::More);  // the middle is lost
    const Bytes second = Message(3, 1, 2000, 2);
    EXPECT_EQ(m_Assembler.Feed(std::span(second).first(1024)), EResult::Complete);
    EXPECT_EQ(m_Assembler.GetMessage().size(), 1024U + 952U + 1024U);
    // What is left of the second message stands in the place of a header: 0x02020202.
    EXPECT_EQ(m_Assembler.Feed(std::span(second).subspan(1024)), EResult::Dropped);
    EXPECT_EQ(FeedCut(Message(3, 1, 8, 3)), EResult::Complete);
}

TEST_F(UdpAssemblerTest, StreamComesBackIntoStepWhicheverDatagramIsLost)
{
    std::mt19937 random(3);
    std::vector<Bytes> datagrams;
    Bytes last;
    for (int i = 0; i < 60; ++i) {
        last = Message(3, 1, 8 + random() % 8000, 0);
        for (std::size_t k = 4; k < last.size(); ++k)
            last[k] = static_cast<std::uint8_t>(random());
        for (std::size_t at = 0; at < last.size(); at += 1024)
            datagrams.emplace_back(
                last.begin() + static_cast<std::ptrdiff_t>(at),
                last.begin() + static_cast<std::ptrdiff_t>(std::min(at + 1024, last.size())));
    }
    for (std::size_t lost = 0; lost < 40; ++lost) {
        Bytes buffer(MESSAGE_LIMIT_BYTES);
        CMessageAssembler assembler(buffer);
        EResult result = EResult::More;
        for (std::size_t i = 0; i < datagrams.size(); ++i)
            if (i != lost) result = assembler.Feed(datagrams[i]);
        ASSERT_EQ(result, EResult::Complete) << "datagram " << lost;
        EXPECT_EQ(Bytes(assembler.GetMessage().begin(), assembler.GetMessage().end()), last)
            << "datagram " << lost;
    }
}

TEST_F(UdpAssemblerTest, MessageOf101376BytesFits)
{
    EXPECT_EQ(MESSAGE_LIMIT_BYTES, 101376U);
    EXPECT_EQ(FeedCut(Message(3, 1, 101376, 1)), EResult::Complete);
    EXPECT_EQ(FeedCut(Message(3, 1, 101377, 1)), EResult::Dropped);
}

TEST_F(UdpAssemblerTest, LongestMessageFitsAndALongerOneIsDropped)
{
    EXPECT_EQ(FeedCut(Message(3, 1, MESSAGE_LIMIT_BYTES, 1)), EResult::Complete);
    EXPECT_EQ(FeedCut(Message(3, 1, MESSAGE_LIMIT_BYTES + 1, 1)), EResult::Dropped);
    EXPECT_EQ(FeedCut(Message(3, 1, 8, 3)), EResult::Complete);  // and the next one is met at its header
}

TEST_F(UdpAssemblerTest, MessageOf150000BytesIsDroppedWholeAndTheNextOneIsReadFromItsHeader)
{
    EXPECT_EQ(FeedCut(Message(3, 1, 150000, 1)), EResult::Dropped);
    const Bytes next = Message(4, 1, 5000, 2);
    EXPECT_EQ(FeedCut(next), EResult::Complete);
    EXPECT_EQ(Assembled(), next);
}

TEST_F(UdpAssemblerTest, LengthOf16MillionCostsTheMessageThatItStandsInAndNoMore)
{
    Bytes garbage(1024, 0x55);
    WriteLittle32(garbage.data(), 0x43000000 + 16000000);
    EXPECT_EQ(m_Assembler.Feed(garbage), EResult::More);
    EXPECT_EQ(m_Assembler.Feed(Bytes(1024, 0x55)), EResult::More);
    EXPECT_EQ(m_Assembler.Feed(Bytes(300, 0x55)),
              EResult::Dropped);  // the datagram that its sender did not fill
    EXPECT_EQ(FeedCut(Message(3, 1, 2000, 3)), EResult::Complete);
}

TEST_F(UdpAssemblerTest, OvershootBeyondTheBufferIsDropped)
{
    const Bytes message = Message(3, 1, MESSAGE_LIMIT_BYTES, 1);
    for (std::size_t i = 0; i < 98; ++i)
        EXPECT_EQ(m_Assembler.Feed(std::span(message).subspan(i * 1024, 1024)), EResult::More);
    EXPECT_EQ(m_Assembler.Feed(Bytes(60000, 2)), EResult::Dropped);
    EXPECT_EQ(FeedCut(Message(3, 1, 8, 3)), EResult::Complete);
}

TEST_F(UdpAssemblerTest, MessageLongerThanASmallBufferIsCountedThroughAndDropped)
{
    Bytes small(1024);
    CMessageAssembler assembler(small);
    const Bytes message = Message(3, 1, 5000, 1);
    for (std::size_t at = 0; at < 4096; at += 1024)
        EXPECT_EQ(assembler.Feed(std::span(message).subspan(at, 1024)), EResult::More);
    EXPECT_EQ(assembler.Feed(std::span(message).subspan(4096)), EResult::Dropped);
    EXPECT_EQ(assembler.Feed(Message(3, 1, 1024, 2)), EResult::Complete);
    EXPECT_EQ(assembler.GetMessage().size(), 1024U);
}

TEST_F(UdpAssemblerTest, RandomDatagramsDoNoHarm)
{
    std::mt19937 random(42);
    for (int i = 0; i < 20000; ++i) {
        Bytes datagram(1 + random() % (i % 100 == 0 ? 65439 : 1024));
        for (std::size_t k = 0; k < std::min<std::size_t>(datagram.size(), 64); ++k)
            datagram[k] = static_cast<std::uint8_t>(random());
        if (m_Assembler.Feed(datagram) == EResult::Complete) {
            ASSERT_LE(m_Assembler.GetMessage().size(), m_Buffer.size());
        }
    }
}

class UdpRouterTest : public testing::Test
{
  protected:
    void Feed(const Bytes& message, const char* sender = "peer")
    {
        for (std::size_t at = 0; at < message.size(); at += 1024)
            FeedPiece(std::span(message).subspan(at, std::min<std::size_t>(1024, message.size() - at)), sender);
    }
    /// One datagram, from 10.0.0.2 and a port.
    void FeedPiece(std::span<const std::uint8_t> piece, const char* sender = "peer", std::uint16_t port = 5000)
    {
        m_Router.Feed(sender, piece, MakeAddress("10.0.0.2", port), m_dwTick);
    }
    std::optional<CMessageRouter::Message> Take(int channel)
    {
        return m_Router.Receive(channel, [] { return true; });
    }

    CLinkCounters m_Counters;
    CMessageRouter m_Router{m_Counters};
    std::uint32_t m_dwTick = 0;
};

TEST_F(UdpRouterTest, StrangersDatagramInTheMiddleOfAMessageChangesNothingOfIt)
{
    m_Router.OpenChannel(3);
    const Bytes message = Message(3, 1, 3000, 1);
    FeedPiece(std::span(message).first(1024));
    FeedPiece(Bytes(500, 0x55), "peer", 5001);  // another port, under the same name
    FeedPiece(Message(3, 1, 2000, 9), "stranger", 5002);
    FeedPiece(std::span(message).subspan(1024, 1024));
    m_dwTick = 77;
    FeedPiece(std::span(message).subspan(2048));
    const auto first = Take(3);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->data, Message(3, 1, 2000, 9));  // one that stands by itself is delivered
    const auto second = Take(3);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->data, message);
    EXPECT_EQ(second->tick, 77U);
}

TEST_F(UdpRouterTest, ManyStrangersDoNotDriveOutWhoHasBroughtMessages)
{
    m_Router.OpenChannel(3);
    Feed(Message(3, 1, 100, 1));
    const Bytes message = Message(3, 1, 3000, 2);
    FeedPiece(std::span(message).first(1024));
    for (std::uint16_t i = 0; i < 500; ++i)
        FeedPiece(Bytes(1024, 0x55), "peer", static_cast<std::uint16_t>(6000 + i));
    FeedPiece(std::span(message).subspan(1024, 1024));
    FeedPiece(std::span(message).subspan(2048));
    EXPECT_EQ(Take(3)->data, Message(3, 1, 100, 1));
    EXPECT_EQ(Take(3)->data, message);
}

TEST_F(UdpRouterTest, ManyStrangersShareAPlaceSoThatAFirstMessageIsFinished)
{
    m_Router.OpenChannel(3);
    const Bytes message = Message(3, 1, 2000, 2);
    FeedPiece(std::span(message).first(1024));
    for (std::uint16_t i = 0; i < 500; ++i)
        FeedPiece(Bytes(1024, 0x55), "peer", static_cast<std::uint16_t>(6000 + i));
    FeedPiece(std::span(message).subspan(1024));
    const auto taken = Take(3);
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->data, message);
}

TEST(KeyPicture, IsOneWhoseFirstVopIsIntra)
{
    EXPECT_TRUE(IsKeyPicture(Bytes{0, 0, 1, 0xB6, 0x3F}));
    EXPECT_FALSE(IsKeyPicture(Bytes{0, 0, 1, 0xB6, 0x40}));
    EXPECT_FALSE(IsKeyPicture(Bytes{0, 0, 1, 0xB6, 0x80}));
    EXPECT_TRUE(IsKeyPicture(Bytes{0, 0, 1, 0x20, 9, 0, 0, 0, 1, 0xB6, 0}));  // after other headers
    EXPECT_FALSE(IsKeyPicture(Bytes{0, 0, 1, 0xB6}));
    const Bytes more{0, 0, 1, 0xB6, 0x3F};
    EXPECT_FALSE(IsKeyPicture(std::span(more).first(4))) << "what lies behind the payload isn't looked at";
    EXPECT_FALSE(IsKeyPicture(Bytes{0, 0, 1, 0x20}));
    EXPECT_FALSE(IsKeyPicture({}));
    const auto stream = EncodeMpeg4({});
    EXPECT_TRUE(IsKeyPicture(stream[0]));
    EXPECT_FALSE(IsKeyPicture(stream[1]));
}

TEST(LatePictures, AreSkippedUpToTheNextKeyPictureThatIsYoung)
{
    const Bytes key{0, 0, 1, 0xB6, 0x3F};
    const Bytes delta{0, 0, 1, 0xB6, 0x40};
    CLatePictures late;
    EXPECT_FALSE(late.IsSkipped(delta, OLDEST_MS));
    EXPECT_TRUE(late.IsSkipped(delta, OLDEST_MS + 1));
    EXPECT_TRUE(late.IsSkipped(delta, 0)) << "what it refers to was skipped";
    EXPECT_TRUE(late.IsSkipped(key, OLDEST_MS + 1));
    EXPECT_TRUE(late.IsSkipped(delta, 0));
    EXPECT_FALSE(late.IsSkipped(key, OLDEST_MS));
    EXPECT_FALSE(late.IsSkipped(delta, 0));
}

TEST_F(UdpRouterTest, HandsEachMessageToTheChannelThatItNames)
{
    m_Router.OpenChannel(0);
    m_Router.OpenChannel(63);
    Feed(Message(63, 1, 3000, 1));
    Feed(Message(0, 1, 100, 2), "other");
    Feed(Message(63, 1, 200, 3));
    EXPECT_EQ(Take(63)->data, Message(63, 1, 3000, 1));
    EXPECT_EQ(Take(63)->data, Message(63, 1, 200, 3));
    EXPECT_FALSE(Take(63));
    const auto message = Take(0);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->data, Message(0, 1, 100, 2));
    EXPECT_STREQ(message->name, "other");
}

TEST_F(UdpRouterTest, MessagesForChannelsThatAreNotOpenAreThrownAway)
{
    Feed(Message(5, 1, 100, 1));
    m_Router.OpenChannel(5);
    EXPECT_FALSE(Take(5));
    EXPECT_EQ(m_Counters.foreign, 1U);
    Feed(Message(5, 1, 100, 2));
    m_Router.CloseChannel(5);
    m_Router.OpenChannel(5);
    EXPECT_FALSE(Take(5));  // nothing stale is left behind
}

TEST_F(UdpRouterTest, ChannelsThatNoHeaderCanNameReceiveNothing)
{
    for (const int channel : {-1, 64, 1000}) {
        m_Router.OpenChannel(channel);
        EXPECT_FALSE(Take(channel));
        m_Router.CloseChannel(channel);
    }
}

TEST_F(UdpRouterTest, ChannelThatIsOpenedAgainHasAnEmptyInboxWithAllItsRoom)
{
    m_Router.OpenChannel(1);
    const Bytes message = Message(1, 1, 100000, 1);
    while (m_Counters.dropped == 0)
        Feed(message);
    m_Router.CloseChannel(1);
    m_Router.OpenChannel(1);
    EXPECT_FALSE(Take(1));
    Feed(message);
    EXPECT_TRUE(Take(1));
    EXPECT_EQ(m_Counters.dropped, 1U);
}

TEST_F(UdpRouterTest, ChannelThatIsOpenedTwiceReceivesUntilItIsClosedTwice)
{
    m_Router.OpenChannel(1);
    m_Router.OpenChannel(1);
    Feed(Message(1, 1, 100, 1));
    m_Router.CloseChannel(1);
    EXPECT_TRUE(Take(1));
    Feed(Message(1, 1, 100, 2));
    EXPECT_TRUE(Take(1));
    m_Router.CloseChannel(1);
    Feed(Message(1, 1, 100, 3));
    EXPECT_FALSE(Take(1));
    EXPECT_EQ(m_Counters.foreign, 1U);
}

TEST_F(UdpRouterTest, FullInboxLosesWhatComesThenAndCountsIt)
{
    m_Router.OpenChannel(1);
    m_Router.OpenChannel(2);
    const Bytes message = Message(1, 1, 100000, 1);
    const std::size_t fit = CMessageRouter::INBOX_LIMIT_BYTES / message.size();
    for (std::size_t i = 0; i < fit + 3; ++i)
        Feed(message);
    EXPECT_EQ(m_Counters.dropped, 3U);
    Feed(Message(2, 1, 100, 1));
    EXPECT_TRUE(Take(2));
    EXPECT_TRUE(Take(1));
    Feed(message);
    EXPECT_EQ(m_Counters.dropped, 3U);
}

// A million messages of a header alone would take a hundred megabytes for their records.
TEST_F(UdpRouterTest, FullInboxCountsTheRecordOfEachMessageToo)
{
    m_Router.OpenChannel(1);
    const Bytes message = Message(1, 1, MESSAGE_HEADER_BYTES, 1);
    const std::size_t fit = CMessageRouter::INBOX_LIMIT_BYTES / (message.size() + 128);
    for (std::size_t i = 0; i < fit + 3; ++i)
        Feed(message);
    EXPECT_EQ(m_Counters.dropped, 3U);
    EXPECT_TRUE(Take(1));
    Feed(message);
    EXPECT_EQ(m_Counters.dropped, 3U);
}

}  // namespace
