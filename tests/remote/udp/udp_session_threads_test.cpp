#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "remote/p2p/P2PSession.h"
#include "tests/remote/udp/udp_support.h"

namespace
{

class UdpStartTest : public testing::Test
{
  protected:
    CDebugText m_Debug;
};

TEST_F(UdpStartTest, FullSuccessConnects)
{
    CScriptedMachine machine("7");
    CP2PSession session(machine.Options());
    EXPECT_FALSE(session.IsConnected());
    session.Start("12345");
    EXPECT_TRUE(session.IsConnected());
    EXPECT_EQ(m_Debug.Text(), "");
    ASSERT_TRUE(machine.Server().WaitFor(P2PMSG_LOGIN));
    EXPECT_EQ(NameOf(machine.Server().GetReceived()[0]), "12345");
}

TEST_F(UdpStartTest, SecondStartFailsAtTheSocket)
{
    CScriptedMachine machine("7");
    CP2PSession session(machine.Options());
    session.Start("12345");
    session.Start("12345");
    EXPECT_EQ(m_Debug.Text(), "P2P Init() failed \n");
    EXPECT_TRUE(session.IsConnected());
}

TEST_F(UdpStartTest, ServerThatNeverAcknowledgesFailsTheLogin)
{
    CScriptedPeer server("127.0.0.1");
    CStepClock clock;
    SessionOptions options;
    options.p2p = {server.Port(), &clock};
    CP2PSession session(options);
    session.Start("12345");
    EXPECT_FALSE(session.IsConnected());
    EXPECT_EQ(m_Debug.Text(), "P2P Login() failed \n");
}

TEST_F(UdpStartTest, ListThatNeverEndsFailsTheStart)
{
    CScriptedPeer server("127.0.0.1", [](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        if (TypeOf(datagram) == P2PMSG_LOGIN) self.Send(MakeMessage(P2PMSG_LOGIN_ACK, "12345"), from);
    });
    CP2PSession* started = nullptr;
    CStepClock clock([&] { WaitUntil([&] { return started->IsLoggedIn(); }); });
    SessionOptions options;
    options.p2p = {server.Port(), &clock};
    CP2PSession session(options);
    started = &session;
    session.Start("12345");
    EXPECT_FALSE(session.IsConnected());
    EXPECT_EQ(m_Debug.Text(), "P2P GetUserList() failed \n");
}

/// A session that has punched a path to the machine "7".
class UdpSessionTest : public testing::Test
{
  protected:
    explicit UdpSessionTest(bool shared = false) : m_Session(m_Machine.Options(shared))
    {
        m_Session.Start("12345");
        EXPECT_TRUE(m_Session.IsConnected());
        EXPECT_TRUE(m_Session.ConnectPeer("7"));
    }

    std::vector<std::size_t> DataSizes()
    {
        std::vector<std::size_t> sizes;
        for (const Bytes& datagram : m_Machine.Peer().GetReceived())
            if (TypeOf(datagram) == P2PMSG_DATA && datagram.size() > P2P_HEADER_BYTES)
                sizes.push_back(datagram.size() - P2P_HEADER_BYTES);
        return sizes;
    }

    Bytes Receive(int channel, int direction = 1, std::size_t capacity = MESSAGE_LIMIT_BYTES)
    {
        Bytes buffer(capacity);
        const auto count = m_Session.ReceiveChannel(m_szName, buffer, channel, direction);
        buffer.resize(static_cast<std::size_t>(std::max(count, 0)));
        return buffer;
    }

    CScriptedMachine m_Machine{"7"};
    CP2PSession m_Session;
    char m_szName[P2P_NAME_BYTES] = {};
};

TEST_F(UdpSessionTest, MessageOf1024BytesGoesAsOneDatagramAndOneOf1025AsTwo)
{
    m_Session.SendMessage("7", Bytes(1024));
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_DATA, 2));  // the first is the probe
    EXPECT_EQ(DataSizes(), (std::vector<std::size_t>{1024}));
    m_Session.SendMessage("7", Bytes(1025));
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_DATA, 4));
    EXPECT_EQ(DataSizes(), (std::vector<std::size_t>{1024, 1024, 1}));
}

TEST_F(UdpSessionTest, SendEndsWhereNothingCanBeSent)
{
    m_Session.SendMessage("nobody", Bytes(5000));
    m_Session.SendMessage("7", Bytes(1));
    ASSERT_TRUE(m_Machine.Peer().WaitFor(P2PMSG_DATA, 2));
    EXPECT_EQ(DataSizes(), (std::vector<std::size_t>{1}));
}

TEST_F(UdpSessionTest, WithoutTheConnectedFlagTheFirstDatagramGoesAlone)
{
    CP2PSession session(m_Machine.Options());
    ASSERT_TRUE(session.Init(0));
    ASSERT_TRUE(session.Login("12345", "127.0.0.1"));
    ASSERT_TRUE(session.GetUserList());
    ASSERT_TRUE(session.ConnectPeer("7"));
    ASSERT_FALSE(session.IsConnected());
    session.SendMessage("7", Bytes(3000));
    session.SendMessage("7", Bytes(1));  // what had gone before it would be there before it
    ASSERT_TRUE(WaitUntil([&] { return !DataSizes().empty() && DataSizes().back() == 1; }));
    EXPECT_EQ(DataSizes(), (std::vector<std::size_t>{1024, 1}));
}

TEST_F(UdpSessionTest, WithoutTheConnectedFlagNothingIsReceived)
{
    CP2PSession session(m_Machine.Options());
    Bytes buffer(1024);
    char name[P2P_NAME_BYTES];
    EXPECT_EQ(session.ReceiveMessage(name, buffer), 0);
    EXPECT_EQ(session.ReceiveChannel(name, buffer, 1, 1), 0);
    EXPECT_FALSE(session.IsReceiveLockTaken());
}

TEST_F(UdpSessionTest, ReceivesAMessageOfManyDatagramsWithItsSender)
{
    const Bytes message = MakeUdpMessage(2, 1, Bytes(5000, 7));
    m_Machine.SendMessage(message);
    EXPECT_EQ(Receive(2), message);
    EXPECT_STREQ(m_szName, "7");
}

TEST_F(UdpSessionTest, ReplyWithDirection0OnTheRightChannelIsSkipped)
{
    m_Machine.SendMessage(MakeUdpMessage(2, 0, Bytes(10, 1)));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(10, 2)));
    EXPECT_EQ(Receive(2), MakeUdpMessage(2, 1, Bytes(10, 2)));
    EXPECT_EQ(m_Session.GetCounters().foreign, 1U);
}

TEST_F(UdpSessionTest, MessageForAnotherChannelIsThrownAway)
{
    m_Machine.SendMessage(MakeUdpMessage(3, 1, Bytes(2000, 1)));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(10, 2)));
    EXPECT_EQ(Receive(2), MakeUdpMessage(2, 1, Bytes(10, 2)));
}

TEST_F(UdpSessionTest, MessageAboveTheLimitIsDroppedAndCounted)
{
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(MESSAGE_LIMIT_BYTES - 3, 1)));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(MESSAGE_LIMIT_BYTES - 4, 2)));
    EXPECT_EQ(Receive(2).size(), MESSAGE_LIMIT_BYTES);
    EXPECT_EQ(m_Session.GetCounters().dropped, 1U);
}

TEST_F(UdpSessionTest, MessageThatDoesNotFitASmallBufferIsDroppedAndCounted)
{
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(5000, 1)));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(4, 2)));
    EXPECT_EQ(Receive(2, 1, 1024), MakeUdpMessage(2, 1, Bytes(4, 2)));
    EXPECT_EQ(m_Session.GetCounters().dropped, 1U);
}

TEST_F(UdpSessionTest, LostDatagramIsMadeUpFromTheNextMessage)
{
    const Bytes first = MakeUdpMessage(2, 1, Bytes(2044, 1));  // two datagrams of 1024
    m_Machine.SendMessage(Bytes(first.begin(), first.begin() + 1024));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(1020, 2)));
    const Bytes received = Receive(2);
    ASSERT_EQ(received.size(), 2048U);
    EXPECT_EQ(received[1023], 1);
    EXPECT_EQ(received[2047], 2);
}

TEST_F(UdpSessionTest, ShutdownEndsAWaitForAMessage)
{
    auto waiting = std::async(std::launch::async, [&] { return Receive(2); });
    m_Session.Shutdown();
    EXPECT_TRUE(waiting.get().empty());
    EXPECT_FALSE(m_Session.IsConnected());
}

TEST_F(UdpSessionTest, ShutdownInsideAMessageGivesWhatWasThere)
{
    const Bytes message = MakeUdpMessage(2, 1, Bytes(5000, 1));
    auto waiting = std::async(std::launch::async, [&] { return Receive(2); });
    m_Machine.SendMessage(Bytes(message.begin(), message.begin() + 1024));
    ASSERT_TRUE(WaitUntil([&] { return m_Session.Front() == nullptr; }));
    m_Session.Shutdown();
    EXPECT_EQ(waiting.get().size(), 1024U);
}

TEST_F(UdpSessionTest, CancelEndsOnlyTheWaitThatItBelongsTo)
{
    P2PCancel cancel{false};
    auto cancelled = std::async(std::launch::async, [&] {
        Bytes buffer(1024);
        char name[P2P_NAME_BYTES];
        const auto count = m_Session.ReceiveChannel(name, buffer, 2, 1, &cancel);
        m_Session.ReleaseReceiveLock();
        return count;
    });
    ASSERT_TRUE(WaitUntil([&] { return m_Session.IsReceiveLockTaken(); }));
    auto other = std::async(std::launch::async, [&] { return Receive(3); });
    cancel = true;
    m_Session.WakeAll();
    EXPECT_EQ(cancelled.get(), 0);
    const Bytes message = MakeUdpMessage(3, 1, Bytes(10, 3));
    m_Machine.SendMessage(message);
    EXPECT_EQ(other.get(), message);
}

// oddity: empty-look-keeps-lock
TEST_F(UdpSessionTest, WhoeverFoundTheQueueEmptyReceivesAloneAsIntended)
{
    std::promise<void> received;
    std::promise<void> end;
    std::thread holder([&] {
        Bytes buffer(1024);
        char name[P2P_NAME_BYTES];
        EXPECT_GT(m_Session.ReceiveChannel(name, buffer, 1, 1), 0);  // finds the queue empty first
        received.set_value();
        end.get_future().wait();
        m_Session.ReleaseReceiveLock();
    });
    ASSERT_TRUE(WaitUntil([&] { return m_Session.HasWaitingReader(); }));
    m_Machine.SendMessage(MakeUdpMessage(1, 1, Bytes(10, 1)));
    received.get_future().wait();

    // The queue has a message for channel 2, but the lock is still the first thread's.
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(10, 2)));
    auto blocked = std::async(std::launch::async, [&] { return Receive(2); });
    EXPECT_EQ(blocked.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_NE(m_Session.Front(), nullptr);
    end.set_value();
    EXPECT_EQ(blocked.get(), MakeUdpMessage(2, 1, Bytes(10, 2)));
    holder.join();
}

TEST_F(UdpSessionTest, WhoeverAlwaysFindsPacketsGivesTheLockBackWithEachMessage)
{
    m_Machine.SendMessage(MakeUdpMessage(1, 1, Bytes(10, 1)));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(10, 2)));
    EXPECT_EQ(Receive(1).size(), 14U);
    auto other = std::async(std::launch::async, [&] { return Receive(2); });
    EXPECT_EQ(other.get().size(), 14U);
}

class UdpSharedSessionTest : public UdpSessionTest
{
  protected:
    UdpSharedSessionTest() : UdpSessionTest(true) {}

    Bytes Take(int channel, const P2PCancel* cancel = nullptr)
    {
        auto message = m_Session.TakeMessage(channel, 1, cancel);
        return message ? std::move(message->data) : Bytes{};
    }
};

TEST_F(UdpSharedSessionTest, AllOpenChannelsReceiveAtOnce)
{
    constexpr int CHANNELS = 16;
    std::vector<std::future<Bytes>> waiting;
    for (int channel = 0; channel < CHANNELS; ++channel) {
        m_Session.OpenChannel(channel);
        waiting.push_back(std::async(std::launch::async, [this, channel] { return Take(channel); }));
    }
    for (int channel = CHANNELS - 1; channel >= 0; --channel)
        m_Machine.SendMessage(MakeUdpMessage(channel, 1, Bytes(3000, static_cast<std::uint8_t>(channel))));
    for (int channel = 0; channel < CHANNELS; ++channel)
        EXPECT_EQ(waiting[static_cast<std::size_t>(channel)].get(),
                  MakeUdpMessage(channel, 1, Bytes(3000, static_cast<std::uint8_t>(channel))));
}

TEST_F(UdpSharedSessionTest, WrongDirectionIsSkipped)
{
    m_Session.OpenChannel(2);
    m_Machine.SendMessage(MakeUdpMessage(2, 0, Bytes(10, 1)));
    m_Machine.SendMessage(MakeUdpMessage(2, 1, Bytes(4, 2)));
    const auto message = m_Session.TakeMessage(2, 1);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->data, MakeUdpMessage(2, 1, Bytes(4, 2)));
    EXPECT_STREQ(message->name, "7");
    EXPECT_EQ(m_Session.GetCounters().foreign, 1U);
}

TEST_F(UdpSharedSessionTest, DatagramOfAStrangerDoesNotPutAStreamOutOfStep)
{
    m_Session.OpenChannel(2);
    CScriptedPeer stranger("127.0.0.3");
    const Bytes message = MakeUdpMessage(2, 1, Bytes(3000, 5));
    m_Machine.SendMessage(Bytes(message.begin(), message.begin() + 2048));
    stranger.Send(MakeMessage(P2PMSG_DATA, "7", Bytes(1000, 0x55)),
                  MakeAddress("127.0.0.1", m_Session.GetLocalPort()));
    ASSERT_TRUE(stranger.WaitFor(P2PMSG_DATA_ACK));
    m_Machine.SendMessage(Bytes(message.begin() + 2048, message.end()));
    EXPECT_EQ(Take(2), message);
}

TEST_F(UdpSharedSessionTest, ShutdownCancelAndDeadlineEndWaits)
{
    m_Session.OpenChannel(1);
    m_Session.OpenChannel(2);
    P2PCancel cancel{false};
    auto cancelled = std::async(std::launch::async, [&] { return Take(1, &cancel); });
    auto other = std::async(std::launch::async, [&] { return Take(2); });
    cancel = true;
    m_Session.WakeAll();
    EXPECT_TRUE(cancelled.get().empty());
    EXPECT_FALSE(m_Session.TakeMessage(1, 1, nullptr, std::chrono::steady_clock::now()));
    m_Session.Shutdown();
    EXPECT_TRUE(other.get().empty());
}

}  // namespace
