#include <gtest/gtest.h>
#include <sched.h>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include <atomic>
#include <cstdio>

#include "model/archive/ObjectFactory.h"
#include "model/archive/XMLInputArchive.h"
#include "model/archive/XMLOutputArchive.h"
#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "platform/windows/windows.h"
#include "remote/RemoteClasses.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"
#include "tests/remote/directory/directory_support.h"
#include "tests/remote/udp/udp_support.h"
#include "tests/support/model_state.h"
#include "tests/support/test_folder.h"

namespace
{

/// A module directory of the test's own, with a language in it.
class UdpStationTest : public testing::Test
{
  protected:
    UdpStationTest()
    {
        WriteConfig("system.ini", "[System]\nLanguage=eng\n");
        WriteConfig("eng.ini", "[String]\nIDS_Card=Channels\nIDS_RemoteDevice=Channel %d\n");
    }

    void WriteConfig(const std::string& name, const std::string& text) const
    {
        m_Folder.Write("config/" + name, text);
    }

    /// A station whose directory gives `reply`, connected under `address`.
    std::unique_ptr<CUdpRemoteStation> Connected(const std::string& reply, const std::string& address)
    {
        CScriptedDirectory directory(reply);
        auto station = std::make_unique<CUdpRemoteStation>(directory.m_Endpoints, m_Machine.Options());
        EXPECT_TRUE(station->Connect(address, 10060, 10061));
        EXPECT_EQ(directory.Question(), "getip2?domainname=" + address);
        return station;
    }

    CTestFolder m_Folder;
    const CModelState m_Model{m_Folder.System()};
    CScriptedMachine m_Machine{"4711"};
};

std::vector<CUdpRemote*> ChannelsOf(CFolder& folder)
{
    std::vector<CUdpRemote*> channels;
    const auto walk = folder.CreateIterator();
    for (; walk->HasNext(); walk->Next())
        channels.push_back(dynamic_cast<CUdpRemote*>(walk->CurrentItem()));
    return channels;
}

TEST_F(UdpStationTest, ConnectTakesNetIdAndChannelCountAndStartsTheSession)
{
    const auto station = Connected("1.2.3.4:16:x", "4711");
    EXPECT_EQ(station->m_iNetID, 4711);
    EXPECT_EQ(station->GetChannelCount(), 16);
    EXPECT_TRUE(station->GetSession()->IsConnected());
    ASSERT_TRUE(m_Machine.Server().WaitFor(P2PMSG_LOGIN));
    EXPECT_FALSE(NameOf(m_Machine.Server().GetReceived()[0]).empty());
}

TEST_F(UdpStationTest, SecondConnectKeepsTheSession)
{
    CScriptedDirectory directory("1.2.3.4:2:x");
    CUdpRemoteStation station(directory.m_Endpoints, m_Machine.Options());
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    const auto session = station.GetSession();
    ASSERT_NE(session, nullptr);
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    EXPECT_EQ(station.GetSession(), session);
    EXPECT_TRUE(session->IsConnected());
}

#if defined(__x86_64__) || defined(__i386__)
TEST_F(UdpStationTest, OwnNameIsTheSumOfWhatTheProcessorTells)
{
    // The processor tells of the core that asks: the thread stays on one.
    cpu_set_t former;
    ASSERT_EQ(sched_getaffinity(0, sizeof former, &former), 0);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    std::uint32_t registers[4] = {};
    __get_cpuid(1, &registers[0], &registers[1], &registers[2], &registers[3]);
    const auto station = Connected("1.2.3.4:1:x", "4711");
    EXPECT_EQ(sched_setaffinity(0, sizeof former, &former), 0);
    const std::uint32_t sum = registers[0] * 4096 + registers[1] * 256 + registers[2] * 16 + registers[3];
    char name[33];
    std::snprintf(name, sizeof name, "%ld", static_cast<long>(static_cast<std::int32_t>(sum)));
    ASSERT_TRUE(m_Machine.Server().WaitFor(P2PMSG_LOGIN));
    EXPECT_EQ(NameOf(m_Machine.Server().GetReceived()[0]), name);
}
#endif

TEST_F(UdpStationTest, ThreadThatOwnsWindowsAnswersWhileTheDirectoryIsAsked)
{
    constexpr std::uint32_t MESSAGE = 0x7EA;
    int served = 0;
    const HWND window = RegisterWindow([&](std::uint32_t, WPARAM, LPARAM) -> LRESULT { return ++served; });
    LRESULT answer = 0;
    {
        CScriptedDirectory directory([&](int connection, const std::string&) {
            answer = SendMessageA(window, MESSAGE, 0, 0);  // as a link thread that tells of a change
            send(connection, "a:16:b", 6, MSG_NOSIGNAL);
        });
        CUdpRemoteStation station(directory.m_Endpoints, m_Machine.Options());
        EXPECT_TRUE(station.Connect("4711", 10060, 10061));
        EXPECT_EQ(station.GetChannelCount(), 16);
    }
    EXPECT_EQ(answer, 1);
    UnregisterWindow(window);
}

TEST_F(UdpStationTest, ThreadThatOwnsWindowsAnswersWhileTheRendezvousIsAsked)
{
    constexpr std::uint32_t MESSAGE = 0x7EA;
    int served = 0;
    const HWND window = RegisterWindow([&](std::uint32_t, WPARAM, LPARAM) -> LRESULT { return ++served; });
    std::atomic<LRESULT> answer = 0;
    const auto acknowledge = ServerOf({});
    CScriptedDirectory directory("a:16:b");
    CScriptedPeer server("127.0.0.1", [&](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
        if (TypeOf(datagram) == P2PMSG_LOGIN && answer == 0)
            answer = SendMessageA(window, MESSAGE, 0, 0);  // as a link thread that tells of a change
        acknowledge(self, datagram, from);
    });
    SessionOptions options;
    options.p2p.serverPort = server.Port();
    CUdpRemoteStation station(directory.m_Endpoints, options);
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    EXPECT_EQ(answer, 1);
    EXPECT_TRUE(station.GetSession()->IsConnected());
    UnregisterWindow(window);
}

TEST_F(UdpStationTest, DisconnectLeavesTheSessionAsItIs)
{
    const auto station = Connected("1.2.3.4:16:x", "4711");
    EXPECT_TRUE(station->Disconnect());
    EXPECT_TRUE(station->GetSession()->IsConnected());
    EXPECT_EQ(station->GetChannelCount(), 16);
}

TEST_F(UdpStationTest, StationThatGoesEndsItsSessionForWhoeverHoldsIt)
{
    auto station = Connected("1.2.3.4:16:x", "4711");
    const auto session = station->GetSession();
    ASSERT_TRUE(session->IsConnected());
    station.reset();
    EXPECT_FALSE(session->IsConnected());
    EXPECT_FALSE(session->IsLoggedIn());
}

TEST_F(UdpStationTest, DirectoryThatIsDownFailsTheConnect)
{
    CUdpRemoteStation station({"127.0.0.1", 1}, m_Machine.Options());  // nobody listens on port 1
    EXPECT_FALSE(station.Connect("4711", 10060, 10061));
    EXPECT_EQ(station.GetSession(), nullptr);
}

TEST_F(UdpStationTest, SessionThatDoesNotStartLeavesTheConnectTrue)
{
    CScriptedDirectory directory("a:2:b");
    CScriptedPeer silent("127.0.0.1");
    CStepClock clock;
    SessionOptions options;
    options.p2p = {silent.Port(), &clock};
    CUdpRemoteStation station(directory.m_Endpoints, options);
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    EXPECT_FALSE(station.GetSession()->IsConnected());
    EXPECT_EQ(station.EnumDevices()->GetCount(), 2);
}

TEST_F(UdpStationTest, ServersComeFromTheSettings)
{
    CScriptedDirectory directory("a:3:b");
    WriteConfig("system.ini", "[System]\nLanguage=eng\nDirectoryServer=localhost\nDirectoryPort=" +
                                  std::to_string(directory.m_Endpoints.directoryPort) + "\nRendezvousPort=" +
                                  std::to_string(m_Machine.Server().Port()) + "\nSharedReceive=1\n");
    CUdpRemoteStation station;
    EXPECT_TRUE(station.Connect("4711", 10060, 10061));
    EXPECT_TRUE(station.GetSession()->IsConnected());
    EXPECT_TRUE(station.GetSession()->IsSharedReceive());
    EXPECT_EQ(station.GetChannelCount(), 3);
}

TEST_F(UdpStationTest, SharedReceivingIsOffByDefault)
{
    EXPECT_FALSE(ReadSessionOptions().sharedReceive);
    WriteConfig("system.ini", "[System]\nSharedReceive=0\n");
    EXPECT_FALSE(ReadSessionOptions().sharedReceive);
    WriteConfig("system.ini", "[System]\nSharedReceive=1\n");
    EXPECT_TRUE(ReadSessionOptions().sharedReceive);
}

TEST_F(UdpStationTest, AddressThatIsNoNumberGivesNetId0)
{
    const auto station = Connected("a:1:b", "my.machine");
    EXPECT_EQ(station->m_iNetID, 0);
    EXPECT_EQ(ChannelsOf(*station->EnumDevices())[0]->m_iNetID, 0);
}

TEST_F(UdpStationTest, ChannelsAreNamedNumberedAndCarryTheAccount)
{
    const auto station = Connected("a:3:b", "4711");
    EXPECT_TRUE(station->Logon("user", "secret"));
    const auto folder = station->EnumDevices();
    EXPECT_EQ(folder->GetName(), "Channels");
    EXPECT_TRUE(folder->m_bVisible);
    const auto channels = ChannelsOf(*folder);
    ASSERT_EQ(channels.size(), 3U);
    for (std::size_t i = 0; i < channels.size(); ++i) {
        ASSERT_NE(channels[i], nullptr);
        EXPECT_EQ(channels[i]->GetName(), "Channel " + std::to_string(i + 1));
        EXPECT_EQ(channels[i]->m_iDevID, static_cast<std::int32_t>(i));
        EXPECT_EQ(channels[i]->m_iNetID, 4711);
        EXPECT_EQ(channels[i]->m_szUsername, "user");
        EXPECT_EQ(channels[i]->m_szPassword, "secret");
        EXPECT_TRUE(channels[i]->m_bVisible);
    }
}

TEST_F(UdpStationTest, TextOfTheLanguageFileIsNoFormat)
{
    WriteConfig("eng.ini", "[String]\nIDS_RemoteDevice=100%s %n %02d %d\n");
    const auto station = Connected("a:1:b", "1");
    EXPECT_EQ(ChannelsOf(*station->EnumDevices())[0]->GetName(), "100%s %n 01 %d");
    WriteConfig("eng.ini", "[String]\nIDS_RemoteDevice=no number %\n");
    EXPECT_EQ(ChannelsOf(*station->EnumDevices())[0]->GetName(), "no number %");
}

TEST_F(UdpStationTest, ChannelCount0YieldsAnEmptyFolder)
{
    CUdpRemoteStation station;
    EXPECT_EQ(station.EnumDevices()->GetCount(), 0);
    EXPECT_EQ(Connected("no colon", "1")->EnumDevices()->GetCount(), 0);
    EXPECT_EQ(Connected("a:-5:b", "1")->EnumDevices()->GetCount(), 0);
}

TEST_F(UdpStationTest, AbsurdChannelCountIsBounded)
{
    EXPECT_EQ(Connected("a:2147483647:b", "1")->EnumDevices()->GetCount(), CUdpRemoteStation::CHANNEL_LIMIT);
}

TEST_F(UdpStationTest, LogonAndDisconnectSucceedAndSearchFindsNothing)
{
    CUdpRemoteStation station;
    EXPECT_TRUE(station.Logon("anybody", "anything"));
    EXPECT_TRUE(station.Disconnect());
    std::vector<XTimeSpan> found;
    EXPECT_TRUE(station.SearchRecord("query", found));
    EXPECT_TRUE(found.empty());
}

TEST(UdpMachineName, IsTheShiftedSumOfTheRegistersAsASignedDecimal)
{
    EXPECT_EQ(MachineName(1, 2, 3, 4), std::to_string((1 << 12) + (2 << 8) + (3 << 4) + 4));
    EXPECT_EQ(MachineName(0, 0, 0, 0xFFFFFFFF), "-1");
    EXPECT_EQ(MachineName(0x00100001, 0, 0, 0), "4096");  // what is shifted out is lost
    EXPECT_EQ(MachineName(0, 0x01020800, 0, 0), MachineName(0, 0x00020800, 0, 0)) << "on another core";
    EXPECT_LE(MachineName().size(), 32U);
    EXPECT_FALSE(MachineName().empty());
}

TEST(UdpChannel, ParametersAreNeitherStoredNorReadBackAsIntended)  // oddity: udp-params-store-nothing
{
    CUdpRemote channel;
    channel.SetRenderWnd(HWND{77});
    EXPECT_EQ(channel.GetParam(PARAM_RENDER_WND), 0);
    EXPECT_EQ(channel.SetParam(PARAM_RENDER_WND, 5), 0);
    EXPECT_EQ(channel.GetRenderWnd(), HWND{77});
    EXPECT_EQ(channel.SetParam(PARAM_AUTO_RECORD_TYPE, 5), 0);
    EXPECT_EQ(channel.m_iAutoRecordType, 0);
    EXPECT_EQ(channel.SetParam(99, 5), 0);
    EXPECT_EQ(channel.GetParam(99), 0);
}

TEST(UdpChannel, HasNoPanAndTilt)
{
    EXPECT_EQ(CUdpRemote().GetPtz(), nullptr);
    EXPECT_TRUE(CUdpRemote().CanRecord());
}

TEST(UdpClasses, ComeBackFromAnArchiveUnderTheirNames)
{
    RegisterRemoteClasses();
    CFolder written;
    auto* const station = new CUdpRemoteStation;
    station->m_iNetID = 4711;
    station->m_PrimitiveAddr = "4711";
    station->m_szPassWord = "station secret";
    ASSERT_TRUE(written.Add(station, nullptr));
    auto* const channel = new CUdpRemote;
    channel->m_iNetID = 4711;
    channel->m_iDevID = 5;
    channel->m_szUsername = "user";
    channel->m_szPassword = "secret";
    ASSERT_TRUE(station->Add(channel, nullptr));
    XMLOutputArchive output;
    output& Named("root", written);
    const std::string text = output.GetText();
    EXPECT_NE(text.find("<m_szUsername>user"), std::string::npos) << text;
    EXPECT_NE(text.find("<m_szPassword>secret"), std::string::npos) << text;

    CFolder read;
    XMLInputArchive input(text, "test");
    input& Named("root", read);
    const auto stations = read.CreateIterator();
    ASSERT_TRUE(stations->HasNext());
    auto* const readStation = dynamic_cast<CUdpRemoteStation*>(stations->CurrentItem());
    ASSERT_NE(readStation, nullptr);
    EXPECT_EQ(readStation->m_PrimitiveAddr, "4711");
    EXPECT_EQ(readStation->m_szPassWord, "station secret");
    EXPECT_EQ(readStation->m_iNetID, 4711);
    const auto channels = ChannelsOf(*readStation);
    ASSERT_EQ(channels.size(), 1U);
    ASSERT_NE(channels[0], nullptr);
    EXPECT_EQ(channels[0]->m_iDevID, 5);
    EXPECT_EQ(channels[0]->m_szUsername, "user");
    EXPECT_EQ(channels[0]->m_szPassword, "secret");
    channels[0]->SetCloseWait(10000);
    channels[0]->Open();  // without a session it ends by itself
    channels[0]->Close();
}

}  // namespace
