#include <gtest/gtest.h>

#include <semaphore>
#include <thread>
#include <vector>

#include "remote/p2p/DatagramReader.h"
#include "remote/p2p/MyP2P.h"
#include "tests/remote/p2p/p2p_support.h"

namespace
{

constexpr const char* SERVER_HOST = "127.0.0.1";
constexpr const char* PEER_HOST = "127.0.0.2";

TEST(P2PThreads, StopEndsEveryWaitAtOnceWithASilentServer)
{
    CScriptedPeer server(SERVER_HOST);
    CMyP2P client({server.Port(), &SystemClock()});
    ASSERT_TRUE(client.Init(0));
    std::thread login([&] { EXPECT_FALSE(client.Login("a", SERVER_HOST)); });
    ASSERT_TRUE(server.WaitFor(P2PMSG_LOGIN));
    client.Stop();
    login.join();
    EXPECT_EQ(server.CountOf(P2PMSG_LOGIN), 1U);
}

TEST(P2PThreads, CancelEndsOneConnectAndNoOther)
{
    CScriptedPeer peer(PEER_HOST);
    PEER_RECORD record = MakeRecord("peer");
    record.m_AddressCount = 1;
    record.m_Addresses[0] = PEER_ADDRESS::From(peer.Address());
    CScriptedPeer server(SERVER_HOST, ServerOf({record}));
    CMyP2P client({server.Port(), &SystemClock()});
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    ASSERT_TRUE(client.GetUserList());
    P2PCancel cancel{false};
    std::atomic<bool> otherEnded{false};
    std::thread one([&] { EXPECT_FALSE(client.ConnectPeer("peer", &cancel)); });
    std::thread other([&] {
        EXPECT_FALSE(client.ConnectPeer("peer"));
        otherEnded = true;
    });
    ASSERT_TRUE(peer.WaitFor(P2PMSG_PUNCH, 2));
    cancel = true;
    one.join();
    EXPECT_FALSE(otherEnded);
    client.Stop();
    other.join();
}

TEST(P2PThreads, ManyThreadsConnectAndSendWhileDataArrivesAndTheClientStops)
{
    CScriptedPeer peer(PEER_HOST, [](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        if (TypeOf(datagram) == P2PMSG_PUNCH) self.Send(MakeMessage(P2PMSG_PUNCH_ACK, "peer"), from);
        if (TypeOf(datagram) != P2PMSG_DATA) return;
        self.Send(MakeMessage(P2PMSG_DATA_ACK, "peer"), from);
        self.Send(MakeMessage(P2PMSG_DATA, "peer", Bytes(100, 1)), from);
        self.Send(MakeMessage(P2PMSG_LOGIN_ACK, "a"), from);
        self.Send(MakeMessage(P2PMSG_USER_ENTRY, "user" + std::to_string(datagram.size())), from);
    });
    PEER_RECORD record = MakeRecord("peer");
    record.m_AddressCount = 1;
    record.m_Addresses[0] = PEER_ADDRESS::From(peer.Address());
    CScriptedPeer server(SERVER_HOST, ServerOf({record}));
    CFastClock clock(100);
    CMyP2P client({server.Port(), &clock});
    ASSERT_TRUE(client.Init(0));
    ASSERT_TRUE(client.Login("a", SERVER_HOST));
    ASSERT_TRUE(client.GetUserList());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            for (std::size_t round = 0; round < 10; ++round) {
                client.ConnectPeer("peer");
                client.SendTo("peer", Bytes(1 + i * 10 + round));
                client.SendReliable("peer", Bytes(50));
            }
        });
    ASSERT_TRUE(WaitUntil([&] { return client.Front() != nullptr; }));
    client.Stop();
    for (auto& thread : threads)
        thread.join();
    while (client.Front() != nullptr)
        client.Pop();
}

TEST(P2PThreads, ClientsComeAndGoWhileDatagramsPourIn)
{
    CScriptedPeer flood(PEER_HOST);
    for (int i = 0; i < 50; ++i) {
        CMyP2P client;
        ASSERT_TRUE(client.Init(0));
        const auto to = MakeAddress("127.0.0.1", client.GetLocalPort());
        for (int n = 0; n < 20; ++n)
            flood.Send(MakeMessage(P2PMSG_DATA, "peer", Bytes(1024, 1)), to);
    }
}

/// Keeps its receiving thread in the first datagram with data until it is let go.
class CHeldClient final : public CMyP2P
{
  public:
    ~CHeldClient() override { Stop(); }

    std::binary_semaphore m_Inside{0};
    std::binary_semaphore m_Go{0};

  protected:
    void OnRecv(const char* /*name*/, std::span<const std::uint8_t> /*data*/) override
    {
        m_Inside.release();
        m_Go.acquire();
    }
};

TEST(P2PThreads, AnswersToAsManyDatagramsAsOneReadTakesDoNotWaitForMore)
{
    CScriptedPeer peer(PEER_HOST);
    CHeldClient client;
    ASSERT_TRUE(client.Init(0));
    const auto to = MakeAddress("127.0.0.1", client.GetLocalPort());
    peer.Send(MakeMessage(P2PMSG_DATA, "peer", Bytes{1}), to);
    client.m_Inside.acquire();
    for (std::size_t i = 0; i < CDatagramReader::PIECES; ++i)
        peer.Send(MakeMessage(P2PMSG_PING, "peer"), to);
    client.m_Go.release();
    EXPECT_TRUE(peer.WaitFor(P2PMSG_PONG, CDatagramReader::PIECES));
}

}  // namespace
