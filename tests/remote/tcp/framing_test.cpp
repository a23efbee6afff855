#include "remote/tcp/Framing.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "inc/OutputDebugString.h"
#include "tests/remote/tcp/socket_pair_support.h"
#include "tests/support/allocation_count.h"
#include "tests/support/interruption.h"

namespace
{

using namespace std::string_literals;

std::string Length(std::int32_t length)
{
    std::uint8_t bytes[4];
    SetFrameLength(bytes, length);
    return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}

class Framing : public testing::Test
{
  protected:
    Framing()
    {
        m_Former = SetDebugListener([this](std::string_view text) { m_strTold += text; });
    }
    ~Framing() override { SetDebugListener(m_Former); }

    std::int32_t Receive(std::size_t limit = 64)
    {
        m_Buffer.assign(limit, 0xEE);
        return RecvFrame(m_Sockets.m_hOurs, m_Buffer);
    }

    CSocketPair m_Sockets;
    std::vector<std::uint8_t> m_Buffer;
    std::string m_strTold;
    CDebugListener m_Former;
};

TEST_F(Framing, LengthIsLittleEndianAndSigned)
{
    std::uint8_t bytes[4];
    SetFrameLength(bytes, 0x01020304);
    EXPECT_EQ((std::array<std::uint8_t, 4>{bytes[0], bytes[1], bytes[2], bytes[3]}),
              (std::array<std::uint8_t, 4>{4, 3, 2, 1}));
    for (const std::int32_t length :
         {0, 1, 4, 65536, 262144, 0x7FFFFFFF, -1, static_cast<std::int32_t>(0x80000000)}) {
        SetFrameLength(bytes, length);
        EXPECT_EQ(GetFrameLength(bytes), length);
    }
}

TEST_F(Framing, CommandTravelsAsLengthAndTextWithoutTerminator)
{
    EXPECT_EQ(SendTextFrame(m_Sockets.m_hOurs, "LeftStart:3"), 15);
    EXPECT_EQ(m_Sockets.PeerReads(15), "\x0F\0\0\0LeftStart:3"s);
}

TEST_F(Framing, LengthOfFourIsAnEmptyBody)
{
    m_Sockets.PeerSends(Length(4));
    EXPECT_EQ(Receive(), 4);
    EXPECT_EQ(m_Buffer[4], 0xEE);
}

TEST_F(Framing, LengthOfZeroReadsAsFailure)
{
    m_Sockets.PeerSends(Length(0));
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(m_strTold, "");
}

class BodylessLength : public Framing, public testing::WithParamInterface<std::int32_t>
{
};

TEST_P(BodylessLength, IsReturnedAsItStandsAndReadsNoBody)
{
    m_Sockets.PeerSends(Length(GetParam()) + Length(8) + "next");
    EXPECT_EQ(Receive(), GetParam());
    EXPECT_EQ(m_Buffer[4], 0xEE);
    EXPECT_EQ(Receive(), 8);
    EXPECT_EQ(std::string(m_Buffer.begin() + 4, m_Buffer.begin() + 8), "next");
}

INSTANTIATE_TEST_SUITE_P(Lengths, BodylessLength, testing::Values(1, 2, 3, -1, -4, -2147483647 - 1));

TEST_F(Framing, FrameLongerThanTheBufferIsRefusedBeforeItsBody)
{
    m_Sockets.PeerSends(Length(65) + "body");
    EXPECT_EQ(Receive(64), 0);
    EXPECT_EQ(m_Buffer[4], 0xEE);
    EXPECT_NE(m_strTold.find("65 bytes"), std::string::npos) << m_strTold;
    m_Sockets.PeerSends(Length(0x7FFFFFFF));
    char rest[4];
    ASSERT_EQ(::recv(m_Sockets.m_hOurs, rest, 4, 0), 4);  // the refused body still stands in the stream
    EXPECT_EQ(Receive(64), 0);
}

TEST_F(Framing, FrameThatFillsTheBufferIsTaken)
{
    m_Sockets.PeerSends(Length(64) + std::string(60, 'x'));
    EXPECT_EQ(Receive(64), 64);
    EXPECT_EQ(m_Buffer[63], 'x');
}

TEST_F(Framing, FrameThatComesByteByByteIsWhole)
{
    std::thread sender([this] {
        for (const char c : Length(9) + "drops")
            m_Sockets.PeerSends(std::string_view(&c, 1));
    });
    EXPECT_EQ(Receive(), 9);
    sender.join();
    EXPECT_EQ(std::string(m_Buffer.begin() + 4, m_Buffer.begin() + 9), "drops");
}

TEST_F(Framing, SignalsInterruptNoFrameOnItsWayInOrOut)
{
    const CInterruption interruption;
    const std::string frame = Length(8) + "body";
    std::int32_t received = -1;
    std::thread receiving([&] { received = Receive(); });
    for (const char byte : frame) {
        CInterruption::Of(receiving);
        m_Sockets.PeerSends(std::string(1, byte));
    }
    receiving.join();
    EXPECT_EQ(received, 8);
    EXPECT_EQ(m_strTold, "");

    std::vector<std::uint8_t> large(1 << 20);  // more than the system takes in advance
    SetFrameLength(large.data(), static_cast<std::int32_t>(large.size()));
    std::int32_t sent = -1;
    std::thread sending([&] { sent = SendFrame(m_Sockets.m_hOurs, large.data()); });
    for (int i = 0; i < 10; ++i)
        CInterruption::Of(sending);
    std::vector<std::uint8_t> taken(large.size());
    EXPECT_EQ(::recv(m_Sockets.m_hPeer, taken.data(), taken.size(), MSG_WAITALL),
              static_cast<ssize_t>(large.size()));
    sending.join();
    EXPECT_EQ(sent, static_cast<std::int32_t>(large.size()));
}

TEST_F(Framing, PeerThatClosesBeforeTheLengthGivesTheFirstText)
{
    m_Sockets.PeerSends("\x09\0"s);
    m_Sockets.ClosePeer();
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(m_strTold, "recv return 0 ========================1111===========================");
}

TEST_F(Framing, PeerThatClosesBeforeTheBodyGivesTheSecondText)
{
    m_Sockets.PeerSends(Length(9) + "dro");
    m_Sockets.ClosePeer();
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(m_strTold, "recv return 0 =======================333=============================");
}

TEST_F(Framing, ReadThatFailsTellsItsResult)
{
    const timeval soon{0, 1000};
    setsockopt(m_Sockets.m_hOurs, SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(m_strTold, "recv return -1 ========================1111===========================");
    m_strTold.clear();
    m_Sockets.PeerSends(Length(9) + "dro");
    EXPECT_EQ(Receive(), 0);
    EXPECT_EQ(m_strTold, "recv return -1 =======================333=============================");
}

TEST_F(Framing, FrameOfNoLengthSendsNothing)
{
    for (const std::int32_t length : {0, -1, -2147483647 - 1}) {
        std::uint8_t frame[8] = {};
        SetFrameLength(frame, length);
        EXPECT_EQ(SendFrame(m_Sockets.m_hOurs, frame), 0);
        EXPECT_EQ(SendLinkFrame(m_Sockets.m_hOurs, frame), 0);
    }
    char byte = 0;
    EXPECT_EQ(::recv(m_Sockets.m_hPeer, &byte, 1, MSG_DONTWAIT), -1);
}

TEST_F(Framing, SendToAClosedPeerFails)
{
    m_Sockets.ClosePeer();
    std::uint8_t frame[8] = {8};
    EXPECT_EQ(SendFrame(m_Sockets.m_hOurs, frame), 0);
}

// link-partial-send: what the socket took before it failed is the link's answer, and 0 everybody else's.
TEST_F(Framing, PartialSendCountsForTheLinkAlone)
{
    std::vector<std::uint8_t> frame(8 << 20);
    SetFrameLength(frame.data(), static_cast<std::int32_t>(frame.size()));
    const timeval soon{0, 50000};
    setsockopt(m_Sockets.m_hOurs, SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof soon);
    const std::int32_t sent = SendLinkFrame(m_Sockets.m_hOurs, frame.data());
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, static_cast<std::int32_t>(frame.size()));

    CSocketPair other;
    setsockopt(other.m_hOurs, SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof soon);
    EXPECT_EQ(SendFrame(other.m_hOurs, frame.data()), 0);
}

TEST_F(Framing, TextComesBackWithoutItsLength)
{
    m_Sockets.PeerSends(Length(9) + "hello");
    std::string text = "before";
    EXPECT_EQ(RecvTextFrame(m_Sockets.m_hOurs, text), 9);
    EXPECT_EQ(text, "hello");
}

TEST_F(Framing, TextIsEmptyWithoutABody)
{
    for (const std::int32_t length : {1, 3, 4, -1}) {
        m_Sockets.PeerSends(Length(length));
        std::string text = "before";
        EXPECT_EQ(RecvTextFrame(m_Sockets.m_hOurs, text), length);
        EXPECT_EQ(text, "");
    }
}

TEST_F(Framing, LongestTextIsTakenAndALongerOneRefused)
{
    EXPECT_EQ(SHORT_FRAME_LIMIT, 65536);
    const std::string longForm(SHORT_FRAME_LIMIT - 4, 't');
    std::thread sender([&] { m_Sockets.PeerSends(Length(SHORT_FRAME_LIMIT) + longForm); });
    std::string text;
    EXPECT_EQ(RecvTextFrame(m_Sockets.m_hOurs, text), SHORT_FRAME_LIMIT);
    sender.join();
    EXPECT_EQ(text, longForm);

    text = "before";
    m_Sockets.PeerSends(Length(SHORT_FRAME_LIMIT + 1));
    EXPECT_EQ(RecvTextFrame(m_Sockets.m_hOurs, text), 0);
    EXPECT_EQ(text, "before");
}

TEST_F(Framing, BinaryGoesOutWithItsLength)
{
    const std::uint8_t data[] = {1, 0, 2};
    EXPECT_EQ(SendBinaryFrame(m_Sockets.m_hOurs, data), 7);
    EXPECT_EQ(m_Sockets.PeerReads(7), "\x07\0\0\0\x01\0\x02"s);
}

// binary-frame-copies-length: four bytes past the body are written too.
TEST_F(Framing, BinaryReceiveWritesAsManyBytesAsTheLengthSays)
{
    std::vector<std::uint8_t> out(SHORT_FRAME_LIMIT, 0xEE);
    m_Sockets.PeerSends(Length(7) + "\x01\0\x02"s);
    EXPECT_EQ(RecvBinaryFrame(m_Sockets.m_hOurs, std::span<std::uint8_t, SHORT_FRAME_LIMIT>(out)), 7);
    EXPECT_EQ(std::vector<std::uint8_t>(out.begin(), out.begin() + 8),
              (std::vector<std::uint8_t>{1, 0, 2, 0, 0, 0, 0, 0xEE}));
}

TEST_F(Framing, BinaryReceiveOfTheLongestFrameStaysInItsBuffers)
{
    std::thread sender(
        [&] { m_Sockets.PeerSends(Length(SHORT_FRAME_LIMIT) + std::string(SHORT_FRAME_LIMIT - 4, 'b')); });
    std::vector<std::uint8_t> out(SHORT_FRAME_LIMIT, 0xEE);
    EXPECT_EQ(RecvBinaryFrame(m_Sockets.m_hOurs, std::span<std::uint8_t, SHORT_FRAME_LIMIT>(out)),
              SHORT_FRAME_LIMIT);
    sender.join();
    EXPECT_EQ(out[SHORT_FRAME_LIMIT - 5], 'b');
    EXPECT_EQ(out[SHORT_FRAME_LIMIT - 4], 0);
    m_Sockets.PeerSends(Length(-5));
    EXPECT_EQ(RecvBinaryFrame(m_Sockets.m_hOurs, std::span<std::uint8_t, SHORT_FRAME_LIMIT>(out)), -5);
}

TEST_F(Framing, WithoutMemoryTheHelpersAnswer0AndLeaveTheSocketAlone)
{
    const std::string body(1000, 'x');
    const std::vector<std::uint8_t> data(body.size(), 1);
    const std::string waiting = Length(5) + "y";
    m_Sockets.PeerSends(waiting);
    std::string text = "before";
    std::vector<std::uint8_t> out(SHORT_FRAME_LIMIT, 0xEE);
    {
        const CAllocationLimit limit(body.size());
        EXPECT_EQ(SendTextFrame(m_Sockets.m_hOurs, body), 0);
        EXPECT_EQ(SendBinaryFrame(m_Sockets.m_hOurs, data), 0);
        EXPECT_EQ(RecvTextFrame(m_Sockets.m_hOurs, text), 0);
        EXPECT_EQ(RecvBinaryFrame(m_Sockets.m_hOurs, std::span<std::uint8_t, SHORT_FRAME_LIMIT>(out)), 0);
    }
    EXPECT_EQ(text, "before");
    EXPECT_EQ(out[0], 0xEE);
    EXPECT_EQ(RecvTextFrame(m_Sockets.m_hOurs, text), 5) << "what waited is still there";
    EXPECT_EQ(text, "y");
    EXPECT_EQ(SendTextFrame(m_Sockets.m_hOurs, "z"), 5);
    EXPECT_EQ(m_Sockets.PeerReads(5), Length(5) + "z") << "nothing was sent before it";
}

TEST_F(Framing, BufferBelowALengthFieldTakesNothing)
{
    m_Sockets.PeerSends(Length(4));
    EXPECT_EQ(Receive(3), 0);
}

}  // namespace
