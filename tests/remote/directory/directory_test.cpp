#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "platform/os/paths.h"
#include "remote/directory/DirectoryLookup.h"
#include "remote/p2p/Endpoints.h"
#include "tests/remote/directory/directory_support.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/support/test_folder.h"

namespace
{

/// Endpoints at which nobody listens: a port that is taken, so that nobody else begins to.
class CNobody
{
  public:
    CNobody()
    {
        sockaddr_in address = MakeAddress("127.0.0.1", 0);
        socklen_t size = sizeof address;
        bind(m_iReserved, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(m_iReserved, reinterpret_cast<sockaddr*>(&address), &size);
        m_Endpoints.directoryPort = ntohs(address.sin_port);
    }
    ~CNobody() { close(m_iReserved); }
    CNobody(const CNobody&) = delete;
    CNobody& operator=(const CNobody&) = delete;

    Endpoints m_Endpoints;

  private:
    const int m_iReserved = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

/// What a directory does that breaks the connection off instead of answering.
void Reset(int connection, const std::string&)
{
    const linger hard{1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
}

struct Channels {
    bool connected = false;
    std::int32_t netID = -7;
    std::int32_t count = -8;
};

Channels AskChannels(const Endpoints& endpoints, const std::string& address)
{
    Channels result;
    result.connected = LookUpChannels(endpoints, address, result.netID, result.count);
    return result;
}

TEST(DirectoryAddress, QuestionIsBareTextWithoutTerminator)
{
    CScriptedDirectory directory("10.1.2.3");
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "my.device"), "10.1.2.3");
    EXPECT_EQ(directory.Question(), "getip?domainname=my.device");
}

TEST(DirectoryAddress, ReplyIsTakenAsItStands)
{
    CScriptedDirectory directory(" no address at all\r\n");
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "x"), " no address at all\r\n");
}

TEST(DirectoryAddress, NoConnectionGivesTheStoredAddress)
{
    const CNobody nobody;
    EXPECT_EQ(LookUpAddress(nobody.m_Endpoints, "192.168.0.9"), "192.168.0.9");
}

TEST(DirectoryAddress, UnknownHostGivesTheStoredAddress)
{
    Endpoints endpoints;
    endpoints.host = "no such host.";
    EXPECT_EQ(LookUpAddress(endpoints, "192.168.0.9"), "192.168.0.9");
}

TEST(DirectoryAddress, FAloneAndFailedGiveTheStoredAddress)
{
    CScriptedDirectory f("f");
    EXPECT_EQ(LookUpAddress(f.m_Endpoints, "1.2.3.4"), "1.2.3.4");
    CScriptedDirectory failed("failed");
    EXPECT_EQ(LookUpAddress(failed.m_Endpoints, "1.2.3.4"), "1.2.3.4");
}

TEST(DirectoryAddress, CapitalFIsNoRefusal)
{
    CScriptedDirectory directory("Fine");
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "1.2.3.4"), "Fine");
}

TEST(DirectoryAddress, DirectoryThatClosesWithoutAReplyGivesTheStoredAddress)
{
    CScriptedDirectory directory("");
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "1.2.3.4"), "1.2.3.4");
}

TEST(DirectoryAddress, DirectoryThatResetsTheConnectionGivesTheStoredAddress)
{
    CScriptedDirectory directory(Reset);
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "1.2.3.4"), "1.2.3.4");
}

TEST(DirectoryAddress, DirectoryThatStaysSilentEndsAsAFailedRead)
{
    std::atomic<bool> release{false};
    CScriptedDirectory directory([&](int, const std::string&) { WaitUntil([&] { return release.load(); }); });
    directory.m_Endpoints.replyTimeoutMs = 50;
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "1.2.3.4"), "1.2.3.4");
    release = true;
}

TEST(DirectoryAddress, HalfAReplyIsNotLoopedOver)
{
    std::atomic<bool> taken{false};
    CScriptedDirectory directory([&](int connection, const std::string&) {
        send(connection, "10.1.", 5, MSG_NOSIGNAL);
        WaitUntil([&] { return taken.load(); });
        send(connection, "2.3", 3, MSG_NOSIGNAL);
    });
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "x"), "10.1.");
    taken = true;
}

TEST(DirectoryAddress, ReplyOf1024BytesIsTakenWholeAndMoreIsCut)
{
    CScriptedDirectory exact(std::string(1024, '1'));
    EXPECT_EQ(LookUpAddress(exact.m_Endpoints, "x"), std::string(1024, '1'));
    CScriptedDirectory longer(std::string(3000, '2'));
    EXPECT_EQ(LookUpAddress(longer.m_Endpoints, "x"), std::string(1024, '2'));
}

TEST(DirectoryAddress, ReplyEndsAtItsFirstZeroByte)
{
    CScriptedDirectory directory(std::string("10.1.2.3\0rest", 13));
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, "x"), "10.1.2.3");
    CScriptedDirectory zero(std::string("\0", 1));
    EXPECT_EQ(LookUpAddress(zero.m_Endpoints, "1.2.3.4"), "1.2.3.4");
}

TEST(DirectoryAddress, LongNameIsAskedWhole)
{
    CScriptedDirectory directory("f");
    const std::string name(3000, 'n');
    EXPECT_EQ(LookUpAddress(directory.m_Endpoints, name), name);
    EXPECT_EQ(directory.Question(), "getip?domainname=" + name);
}

TEST(DirectoryChannels, QuestionIsBareTextAndNetIdIsTheTextEntered)
{
    CScriptedDirectory directory("10.1.2.3:16:whatever");
    const auto result = AskChannels(directory.m_Endpoints, "4711");
    EXPECT_TRUE(result.connected);
    EXPECT_EQ(result.netID, 4711);
    EXPECT_EQ(result.count, 16);
    EXPECT_EQ(directory.Question(), "getip2?domainname=4711");
}

TEST(DirectoryChannels, NoConnectionIsFalseAndChangesNothing)
{
    const CNobody nobody;
    const auto result = AskChannels(nobody.m_Endpoints, "4711");
    EXPECT_FALSE(result.connected);
    EXPECT_EQ(result.netID, -7);
    EXPECT_EQ(result.count, -8);
}

TEST(DirectoryChannels, ReplyOf1024BytesDoesNoHarm)
{
    CScriptedDirectory directory(std::string(1024, '9'));
    const auto result = AskChannels(directory.m_Endpoints, "5");
    EXPECT_TRUE(result.connected);
    EXPECT_EQ(result.count, 0);
}

TEST(DirectoryChannels, DirectoryThatClosesWithoutAReplyCountsAsNoColon)
{
    CScriptedDirectory directory("");
    const auto result = AskChannels(directory.m_Endpoints, "5");
    EXPECT_TRUE(result.connected);
    EXPECT_EQ(result.netID, 5);
    EXPECT_EQ(result.count, 0);
}

TEST(DirectoryChannels, DirectoryThatResetsTheConnectionCountsAsNoColon)
{
    CScriptedDirectory directory(Reset);
    const auto result = AskChannels(directory.m_Endpoints, "5");
    EXPECT_TRUE(result.connected);
    EXPECT_EQ(result.netID, 5);
    EXPECT_EQ(result.count, 0);
}

TEST(DirectoryChannels, DirectoryThatStaysSilentCountsAsNoColon)
{
    std::atomic<bool> release{false};
    CScriptedDirectory directory([&](int, const std::string&) { WaitUntil([&] { return release.load(); }); });
    directory.m_Endpoints.replyTimeoutMs = 50;
    const auto result = AskChannels(directory.m_Endpoints, "5");
    release = true;
    EXPECT_TRUE(result.connected);
    EXPECT_EQ(result.netID, 5);
    EXPECT_EQ(result.count, 0);
}

TEST(DirectoryChannels, HalfAReplyIsNotLoopedOver)
{
    std::atomic<bool> taken{false};
    CScriptedDirectory directory([&](int connection, const std::string&) {
        send(connection, "1.2.3.4:1", 9, MSG_NOSIGNAL);
        WaitUntil([&] { return taken.load(); });
        send(connection, "6:x", 3, MSG_NOSIGNAL);
    });
    const auto result = AskChannels(directory.m_Endpoints, "5");
    taken = true;
    EXPECT_TRUE(result.connected);
    EXPECT_EQ(result.count, 0);  // no colon ended the field
}

struct ReplyCase {
    const char* name;
    const char* reply;
    const char* entered;
    std::int32_t netID;
    std::int32_t count;
};

class DirectoryReply : public testing::TestWithParam<ReplyCase>
{
};

TEST_P(DirectoryReply, IsReadSo)
{
    std::int32_t netId = -7;
    std::int32_t count = -8;
    ParseChannelReply(GetParam().reply, GetParam().entered, netId, count);
    EXPECT_EQ(netId, GetParam().netID);
    EXPECT_EQ(count, GetParam().count);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DirectoryReply,
    testing::Values(ReplyCase{"ThreeFields", "1.2.3.4:16:x", "4711", 4711, 16},
                    ReplyCase{"SixteenWhateverTheFirstAndTheThirdHold", "99:16:77:5", "3", 3, 16},
                    ReplyCase{"ColonAtTheStartSkipsAll", ":16:x", "4711", -7, -8},
                    ReplyCase{"NoColon", "16", "4711", 4711, 0}, ReplyCase{"Empty", "", "4711", 4711, 0},
                    ReplyCase{"OneColonOnly", "a:16", "4711", 4711, 0},
                    ReplyCase{"SecondFieldEmpty", "a::16", "4711", 4711, 0},
                    ReplyCase{"BeginsWithFHasNoSpecialMeaning", "failed:4:x", "4711", 4711, 4},
                    ReplyCase{"EnteredTextIsNoNumber", "a:2:b", "my.device", 0, 2},
                    ReplyCase{"EnteredNumberWithRest", "a:2:b", " 12ab", 12, 2},
                    ReplyCase{"NumbersAreDecimalWhateverTheyBeginWith", "a:016:b", "0123", 123, 16},
                    ReplyCase{"HexadecimalIsNoNumber", "a:0x10:b", "0x20", 0, 0},
                    ReplyCase{"CountIsNoNumber", "a:x:b", "1", 1, 0},
                    ReplyCase{"CountTooLargeForTheMachine", "a:99999999999999999999:b", "1", 1, 2147483647},
                    ReplyCase{"NegativeCount", "a:-3:b", "1", 1, -3}),
    [](const auto& row) { return std::string(row.param.name); });

class DirectoryEndpoints : public testing::Test
{
  protected:
    DirectoryEndpoints() { SetModuleDirectory(m_Folder.System()); }
    ~DirectoryEndpoints() override { SetModuleDirectory(""); }
    void WriteIni(const std::string& text) const { m_Folder.Write("config/system.ini", text); }

    CTestFolder m_Folder;
};

TEST_F(DirectoryEndpoints, AreThisMachineAndTheSystemsPortsByDefault)
{
    const auto endpoints = ReadEndpoints();
    EXPECT_EQ(endpoints.host, "127.0.0.1");
    EXPECT_EQ(endpoints.directoryPort, 6800);
    EXPECT_EQ(endpoints.rendezvousPort, 4567);
    WriteIni("[System]\nDirectoryServer=\nDirectoryPort=0\nRendezvousPort=70000\n");
    const auto odd = ReadEndpoints();
    EXPECT_EQ(odd.host, "127.0.0.1");
    EXPECT_EQ(odd.directoryPort, 6800);
    EXPECT_EQ(odd.rendezvousPort, 4567);
}

TEST_F(DirectoryEndpoints, ComeFromTheSettings)
{
    WriteIni("[System]\nDirectoryServer=directory.example\nDirectoryPort=16800\nRendezvousPort=14567\n");
    const auto endpoints = ReadEndpoints();
    EXPECT_EQ(endpoints.host, "directory.example");
    EXPECT_EQ(endpoints.directoryPort, 16800);
    EXPECT_EQ(endpoints.rendezvousPort, 14567);
}

TEST_F(DirectoryEndpoints, HostMayBeANameOrAnAddress)
{
    in_addr address{};
    ASSERT_TRUE(ResolveHost("127.0.0.3", address));
    EXPECT_EQ(address.s_addr, MakeAddress("127.0.0.3", 0).sin_addr.s_addr);
    ASSERT_TRUE(ResolveHost("localhost", address));
    EXPECT_EQ(address.s_addr, MakeAddress("127.0.0.1", 0).sin_addr.s_addr);
    EXPECT_FALSE(ResolveHost("no such host.", address));
}

}  // namespace
