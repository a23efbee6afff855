// The transport over real loopback sockets, with the context run by the test.

#include "recorder/server/UdpTransport.h"

#include <gmock/gmock.h>

#include <netinet/udp.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "recorder/server/SegmentedSocket.h"
#include "tests/recorder/datagram_support.h"

namespace
{

constexpr int WIDE = 65536;
int g_iWay = WIDE;  // bytes of the longest piece that a run may be cut into

}  // namespace

// Stands in for the system's own, which says of a run what it says where a link on the way takes no such
// pieces.
extern "C" ssize_t sendmsg(int socket, const msghdr* message, int flags)
{
    if (const cmsghdr* const header = CMSG_FIRSTHDR(message);
        header != nullptr && header->cmsg_level == SOL_UDP && header->cmsg_type == UDP_SEGMENT) {
        std::uint16_t segment = 0;
        std::memcpy(&segment, CMSG_DATA(header), sizeof segment);
        if (segment > g_iWay) {
            errno = EMSGSIZE;
            return -1;
        }
    }
    return syscall(SYS_sendmsg, socket, message, flags);
}

namespace
{

using namespace recorder;
using testing::ElementsAre;

constexpr Endpoint ANY_PORT = {0x7F000001, 0};

// A plain socket that gives up waiting after ten seconds.
class CPlain
{
  public:
    CPlain() : m_Socket(m_Context, ToAsio(ANY_PORT))
    {
        const timeval timeout{10, 0};
        setsockopt(m_Socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
    Endpoint Local() const { return FromAsio(m_Socket.local_endpoint()); }
    int Socket() { return m_Socket.native_handle(); }
    // The next datagram; "nothing" when none comes.
    std::string Receive(int flags = 0)
    {
        std::vector<char> bytes(70000);
        const ssize_t count = recv(m_Socket.native_handle(), bytes.data(), bytes.size(), flags);
        return count < 0 ? "nothing" : std::string(bytes.data(), static_cast<size_t>(count));
    }
    // The pieces in one call, cut by the network code.
    void SendTogether(const Endpoint& to, const std::vector<std::string>& pieces)
    {
        std::vector<Datagram> run;
        for (const auto& piece : pieces)
            run.push_back({to, Bytes(piece.begin(), piece.end())});
        ASSERT_EQ(SendRun(m_Socket.native_handle(), run), 0);
    }

  private:
    asio::io_context m_Context;
    asio::ip::udp::socket m_Socket;
};

class UdpTransportTest : public testing::Test
{
  protected:
    std::unique_ptr<UdpTransport> MakeTransport(const FaultRates& rates = {})
    {
        return std::make_unique<UdpTransport>(m_Context, ANY_PORT, rates, 1, std::set{ECarries::Video},
                                              [this](const Endpoint& from, std::span<const uint8_t> datagram) {
                                                  m_Senders.push_back(from);
                                                  m_Received.emplace_back(datagram.begin(), datagram.end());
                                              });
    }
    static void Send(UdpTransport& transport, const CPlain& to, const std::string& text)
    {
        transport.Send(to.Local(), Bytes(text.begin(), text.end()), ECarries::Video);
    }
    // Handlers until so many datagrams have been received, or ten seconds.
    void ReceiveUntil(size_t count)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (m_Received.size() < count && m_Context.run_one_until(end) > 0) {
        }
    }

    asio::io_context m_Context;
    std::vector<Endpoint> m_Senders;
    std::vector<std::string> m_Received;
    CPlain m_Plain;
    CPlain m_Other;
};

TEST_F(UdpTransportTest, WhatAHandlerSendsGoesOutWhenItHasEnded)
{
    const auto transport = MakeTransport();
    asio::post(m_Context, [&] {
        Send(*transport, m_Plain, "one");
        Send(*transport, m_Plain, "two");
        EXPECT_EQ(transport->Sent(), 0U);
        EXPECT_EQ(m_Plain.Receive(MSG_DONTWAIT), "nothing");
    });
    EXPECT_EQ(m_Context.run(), 2U) << "one flush for both";
    EXPECT_EQ(transport->Sent(), 2U);
    EXPECT_EQ(m_Plain.Receive(), "one");
    EXPECT_EQ(m_Plain.Receive(), "two");
}

TEST_F(UdpTransportTest, PiecesOfARunArriveAsSingleDatagramsInOrder)
{
    const auto transport = MakeTransport();
    std::vector<std::string> texts;
    for (int i = 0; i < 70; ++i)
        texts.push_back(std::string(1119, static_cast<char>('a' + i % 26)) + static_cast<char>(i));
    texts.emplace_back("short");
    texts.emplace_back("");
    texts.emplace_back("a longer one");
    for (const auto& text : texts)
        Send(*transport, m_Plain, text);
    m_Context.run();
    EXPECT_EQ(transport->Sent(), texts.size());
    EXPECT_EQ(transport->NotSent(), 0U);
    for (const auto& text : texts)
        ASSERT_EQ(m_Plain.Receive(), text);
}

TEST_F(UdpTransportTest, EachDatagramGoesToItsEndpoint)
{
    const auto transport = MakeTransport();
    Send(*transport, m_Plain, "a");
    Send(*transport, m_Other, "b");
    Send(*transport, m_Other, "c");
    Send(*transport, m_Plain, "d");
    m_Context.run();
    EXPECT_EQ(m_Plain.Receive(), "a");
    EXPECT_EQ(m_Plain.Receive(), "d");
    EXPECT_EQ(m_Other.Receive(), "b");
    EXPECT_EQ(m_Other.Receive(), "c");
}

// The number of the transport's socket, which is known by its port alone.
int SocketOf(const UdpTransport& transport)
{
    for (int number = 3; number < 1024; ++number) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        if (getsockname(number, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sin_family == AF_INET && ntohs(address.sin_port) == transport.Local().port)
            return number;
    }
    return -1;
}

TEST_F(UdpTransportTest, NetworkCodeThatDoesNotCutGetsThemOneByOne)
{
    const auto transport = MakeTransport();
    // Without checksums there is no segmentation; with them again, what is sent together would come so.
    JoinReceived(m_Plain.Socket());
    for (const int without : {1, 0}) {
        ASSERT_EQ(setsockopt(SocketOf(*transport), SOL_SOCKET, SO_NO_CHECK, &without, sizeof without), 0);
        for (const char* const text : {"one", "two", "x"})
            Send(*transport, m_Plain, text);
        m_Context.restart();
        m_Context.run();
        for (const char* const text : {"one", "two", "x"})
            EXPECT_EQ(m_Plain.Receive(), text);
    }
    EXPECT_EQ(transport->Sent(), 6U);
    EXPECT_EQ(transport->NotSent(), 0U);
}

TEST_F(UdpTransportTest, EachDatagramThatIsNotTakenIsCounted)
{
    const auto transport = MakeTransport();
    // Port 0 is nobody's.
    for (int i = 0; i < 3; ++i)
        transport->Send(ANY_PORT, Bytes(10), ECarries::Video);
    Send(*transport, m_Plain, "a");
    m_Context.run();
    EXPECT_EQ(transport->NotSent(), 3U);
    EXPECT_EQ(transport->Sent(), 1U);
    EXPECT_EQ(m_Plain.Receive(), "a");
}

// Whoever writes port 0 as the sender's into two datagrams gets as many answers.
TEST_F(UdpTransportTest, APlaceThatTakesNothingKeepsNoOthersApart)
{
    const auto transport = MakeTransport();
    JoinReceived(m_Plain.Socket());
    for (int i = 0; i < 2; ++i)
        transport->Send(ANY_PORT, Bytes(10), ECarries::Video);
    for (const char* const text : {"one", "two", "six"})
        Send(*transport, m_Plain, text);
    m_Context.run();
    EXPECT_EQ(m_Plain.Receive(), "onetwosix");
}

// As one client's way through a tunnel.
TEST_F(UdpTransportTest, AWayThatIsNarrowerThanADatagramKeepsNoOthersApart)
{
    const auto transport = MakeTransport();
    JoinReceived(m_Plain.Socket());
    const std::string wide(1000, 'x');
    g_iWay = 600;
    for (const auto& text : {wide, wide, std::string("x"), std::string("two"), std::string("six")})
        Send(*transport, m_Plain, text);
    m_Context.run();
    g_iWay = WIDE;
    for (const auto& text : {wide, wide, std::string("x"), std::string("twosix")})
        EXPECT_EQ(m_Plain.Receive(), text);
}

TEST_F(UdpTransportTest, DelayedDatagramsGoOutTogetherWhenTheyAreDue)
{
    FaultRates rates;
    rates.delay = 5 * MILLISECOND;
    const auto transport = MakeTransport(rates);
    const TimeUs begin = Now();
    for (const char* const text : {"a", "b", "c"})
        Send(*transport, m_Plain, text);
    EXPECT_EQ(m_Plain.Receive(MSG_DONTWAIT), "nothing");
    m_Context.run();
    EXPECT_GE(Now() - begin, rates.delay);
    EXPECT_EQ(transport->Sent(), 3U);
    for (const char* const text : {"a", "b", "c"})
        EXPECT_EQ(m_Plain.Receive(), text);
}

TEST_F(UdpTransportTest, ADelayedDatagramWaitsForNoLaterOne)
{
    FaultRates rates;
    rates.delay = 400 * MILLISECOND;
    TimeUs first = rates.delay;
    for (int attempt = 0; attempt < 3 && first >= rates.delay; ++attempt) {
        const auto transport = MakeTransport(rates);
        Send(*transport, m_Plain, "a");
        m_Context.restart();
        m_Context.run_for(std::chrono::milliseconds(200));
        const TimeUs begin = Now();
        Send(*transport, m_Plain, "b");
        m_Context.restart();
        while (transport->Sent() == 0 && m_Context.run_one() > 0) {
        }
        first = Now() - begin;
        m_Context.run();
        EXPECT_GE(Now() - begin, rates.delay);
        EXPECT_EQ(m_Plain.Receive(MSG_DONTWAIT), "a");
        EXPECT_EQ(m_Plain.Receive(MSG_DONTWAIT), "b");
    }
    EXPECT_LT(first, rates.delay);
}

TEST_F(UdpTransportTest, FlushAfterTheTransportsEndDoesNothing)
{
    auto transport = MakeTransport();
    Send(*transport, m_Plain, "a");
    transport.reset();
    EXPECT_EQ(m_Context.run(), 1U);
    EXPECT_EQ(m_Plain.Receive(MSG_DONTWAIT), "nothing");
}

TEST_F(UdpTransportTest, FlushAtOnceLeavesNothingForLater)
{
    const auto transport = MakeTransport();
    Send(*transport, m_Plain, "a");
    transport->Flush();
    EXPECT_EQ(m_Plain.Receive(), "a");
    m_Context.run();
    EXPECT_EQ(transport->Sent(), 1U);
    EXPECT_EQ(m_Plain.Receive(MSG_DONTWAIT), "nothing");
}

TEST_F(UdpTransportTest, WhatWasSentTogetherIsReceivedOneByOne)
{
    const auto transport = MakeTransport();
    transport->Start();
    m_Plain.SendTogether(transport->Local(), {"one", "two", "six", "4"});
    m_Other.SendTogether(transport->Local(), {"seven", "eight"});
    m_Plain.SendTogether(transport->Local(), {"longer than those"});
    ReceiveUntil(7);
    EXPECT_THAT(m_Received, ElementsAre("one", "two", "six", "4", "seven", "eight", "longer than those"));
    const Endpoint plain = m_Plain.Local();
    const Endpoint other = m_Other.Local();
    EXPECT_THAT(m_Senders, ElementsAre(plain, plain, plain, plain, other, other, plain));
}

TEST_F(UdpTransportTest, EmptyDatagramIsReceivedToo)
{
    const auto transport = MakeTransport();
    const auto sender = MakeTransport();
    transport->Start();
    for (const std::string& text : {std::string("a"), std::string(), std::string("b")})
        sender->Send(transport->Local(), Bytes(text.begin(), text.end()), ECarries::Video);
    ReceiveUntil(3);
    EXPECT_THAT(m_Received, ElementsAre("a", "", "b"));
}

TEST_F(UdpTransportTest, MoreThanOneTurnReadsIsReceived)
{
    const auto transport = MakeTransport();
    const auto sender = MakeTransport();
    transport->Start();
    std::vector<std::string> texts;
    for (int i = 0; i < 50; ++i) {
        texts.push_back(std::string(static_cast<size_t>(1 + i), 'x'));  // growing: none joins another
        sender->Send(transport->Local(), Bytes(texts.back().begin(), texts.back().end()), ECarries::Video);
    }
    ReceiveUntil(texts.size());
    EXPECT_EQ(m_Received, texts);
}

}  // namespace
