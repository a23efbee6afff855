#include "platform/os/socket_calls.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include "platform/os/Socket.h"
#include "tests/support/thread_state.h"

namespace
{

TEST(Sockets, StartsAreCountedAndVersionZeroIsRefused)
{
    EXPECT_EQ(WSACleanup(), SOCKET_ERROR);
    EXPECT_EQ(WSAStartup(0), WSAVERNOTSUPPORTED);
    EXPECT_EQ(WSACleanup(), SOCKET_ERROR);
    EXPECT_EQ(WSAStartup(0x202), 0);
    EXPECT_EQ(WSAStartup(0x101), 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(WSACleanup(), SOCKET_ERROR);
}

// A socket of the loopback at a port of its own.
SOCKET Bind(int type, sockaddr_in& address)
{
    const SOCKET socket = ::socket(AF_INET, type, 0);
    address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ADD_FAILURE() << "no port";
    }
    return socket;
}

class CListener
{
  public:
    CListener() : m_hSocket(Bind(SOCK_STREAM, m_Address)) { EXPECT_EQ(::listen(m_hSocket, 5), 0); }
    ~CListener() { closesocket(m_hSocket); }
    CListener(const CListener&) = delete;
    CListener& operator=(const CListener&) = delete;

    std::uint16_t Port() const { return ntohs(m_Address.sin_port); }
    SOCKET Accept() const { return ::accept(m_hSocket, nullptr, nullptr); }

  private:
    sockaddr_in m_Address = {};
    SOCKET m_hSocket;
};

// Runs the blocking call on a thread of its own and ends it once it sleeps there.
void EndUnder(SOCKET socket, const std::function<ssize_t()>& call, ssize_t expected)
{
    std::atomic<pid_t> thread = 0;
    std::atomic<ssize_t> result = 7;
    std::thread blocked([&] {
        thread = ::gettid();
        result = call();
    });
    AwaitSleep(thread);
    EndBlockedCalls(socket);
    blocked.join();
    EXPECT_EQ(result, expected);
    EXPECT_EQ(closesocket(socket), 0);
}

TEST(Sockets, EndBlockedCallsEndsAReceiveOfDatagrams)
{
    sockaddr_in address = {};
    const SOCKET socket = Bind(SOCK_DGRAM, address);
    std::array<char, 16> buffer{};
    EndUnder(
        socket, [&] { return ::recvfrom(socket, buffer.data(), buffer.size(), 0, nullptr, nullptr); }, 0);
}

TEST(Sockets, EndBlockedCallsEndsAReceiveOfAStream)
{
    const CListener listener;
    CSocket client;
    ASSERT_TRUE(client.Create());
    ASSERT_TRUE(client.Connect("127.0.0.1", listener.Port()));
    const SOCKET peer = listener.Accept();
    std::array<char, 16> buffer{};
    EndUnder(
        peer, [&] { return ::recv(peer, buffer.data(), buffer.size(), 0); }, 0);
}

TEST(Sockets, EndBlockedCallsEndsAAccept)
{
    sockaddr_in address = {};
    const SOCKET socket = Bind(SOCK_STREAM, address);
    ASSERT_EQ(::listen(socket, 1), 0);
    EndUnder(
        socket, [&] { return ::accept(socket, nullptr, nullptr); }, SOCKET_ERROR);
}

TEST(Sockets, EndBlockedCallsEndsASelect)
{
    sockaddr_in address = {};
    const SOCKET socket = Bind(SOCK_DGRAM, address);
    EndUnder(
        socket,
        [&] {
            fd_set readable;
            FD_ZERO(&readable);
            FD_SET(socket, &readable);
            return ::select(socket + 1, &readable, nullptr, nullptr, nullptr);
        },
        1);
}

TEST(Sockets, ClosingNoSocketFails)
{
    EXPECT_EQ(closesocket(INVALID_SOCKET), SOCKET_ERROR);
}

TEST(Socket, SendsAndReceives)
{
    const CListener listener;
    CSocket client;
    EXPECT_EQ(client.GetHandle(), INVALID_SOCKET);
    ASSERT_TRUE(client.Create());
    EXPECT_FALSE(client.Create()) << "there is one already";
    ASSERT_TRUE(client.Connect("localhost", listener.Port()));
    const SOCKET peer = listener.Accept();
    EXPECT_EQ(client.Send("LeftStart:3", 11), 11);
    std::array<char, 32> buffer{};
    EXPECT_EQ(::recv(peer, buffer.data(), 11, MSG_WAITALL), 11);
    EXPECT_EQ(std::string(buffer.data()), "LeftStart:3");
    EXPECT_EQ(::send(peer, "ok", 2, SOCKET_SEND_FLAGS), 2);
    EXPECT_EQ(client.Receive(buffer.data(), 2), 2);
    closesocket(peer);
    EXPECT_EQ(client.Receive(buffer.data(), 2), 0) << "the peer has closed";
    client.Close();
    client.Close();
    EXPECT_EQ(client.GetHandle(), INVALID_SOCKET);
    EXPECT_TRUE(client.Create()) << "a closed one may be made again";
}

TEST(Socket, AClosedConnectionIsAnErrorAndNoSignal)
{
    const CListener listener;
    CSocket client;
    ASSERT_TRUE(client.Create());
    ASSERT_TRUE(client.Connect("127.0.0.1", listener.Port()));
    closesocket(listener.Accept());
    std::array<char, 4096> data{};
    int sent = 0;
    while (sent >= 0)
        sent = client.Send(data.data(), static_cast<int>(data.size()));
    EXPECT_EQ(sent, SOCKET_ERROR);
}

TEST(Socket, ConnectionToNobodyFails)
{
    std::uint16_t port = 0;
    {
        const CListener gone;
        port = gone.Port();
    }
    CSocket client;
    EXPECT_FALSE(client.Connect("127.0.0.1", port)) << "not created";
    ASSERT_TRUE(client.Create());
    EXPECT_FALSE(client.Connect("127.0.0.1", port));
    EXPECT_FALSE(client.Connect("no such name.invalid", port));
    EXPECT_FALSE(client.Connect("", 0));
}

TEST(Socket, WithoutOneNothingGoes)
{
    CSocket client;
    char c = 0;
    EXPECT_EQ(client.Send(&c, 1), SOCKET_ERROR);
    EXPECT_EQ(client.Receive(&c, 1), SOCKET_ERROR);
    ASSERT_TRUE(client.Create());
    EXPECT_EQ(client.Send(&c, -1), SOCKET_ERROR);
    EXPECT_EQ(client.Receive(&c, -1), SOCKET_ERROR);
}

}  // namespace
