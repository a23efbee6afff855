// The thread that owns the windows answers what is sent to them while it waits for a silent peer.

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/os/threads.h"
#include "platform/windows/windows.h"
#include "remote/ptz/RemotePtz.h"
#include "remote/tcp/TextCommand.h"
#include "render/CellPool.h"
#include "tests/remote/directory/directory_support.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/remote/tcp/tcp_support.h"

namespace
{

constexpr std::uint32_t MESSAGE = 0x7EA;

class CWindow
{
  public:
    CWindow() : m_hWindow(RegisterWindow([](std::uint32_t, WPARAM, LPARAM) -> LRESULT { return 1; })) {}
    ~CWindow() { UnregisterWindow(m_hWindow); }
    CWindow(const CWindow&) = delete;
    CWindow& operator=(const CWindow&) = delete;

    /// Sends it a message, as a link thread that tells of a change; whether it was answered.
    bool Answers() const { return SendMessageA(m_hWindow, MESSAGE, 0, 0) == 1; }

  private:
    const HWND m_hWindow;
};

/// A machine that takes no further connection until it hears of an answer, or has waited for it in vain.
class CSilentMachine
{
  public:
    CSilentMachine(std::uint16_t port, const CWindow& window)
    {
        m_hListen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        setsockopt(m_hListen, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(0x7F800001 + static_cast<std::uint32_t>(::getpid()) % 0x3FFFF0);
        m_strAddress = inet_ntoa(address.sin_addr);
        char silent[32];
        std::snprintf(silent, sizeof silent, "%08X:%04X", address.sin_addr.s_addr, port);
        m_strTableAddress = silent;
        m_hFirst = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const auto* const name = reinterpret_cast<const sockaddr*>(&address);
        if (::bind(m_hListen, name, sizeof address) != 0 || ::listen(m_hListen, 0) != 0 ||
            ::connect(m_hFirst, name, sizeof address) != 0)
            ADD_FAILURE() << "no port to be had on loopback";
        m_Teller = std::thread([this, &window] {
            m_bCalled = WaitUntil([this] { return HasCaller(); });
            m_bAnswered = window.Answers();
        });
        m_Ender = std::thread([this] {
            WaitUntil([this] { return m_bAnswered.load(); });
            m_bAnsweredInTime = m_bAnswered && HasCaller();
            ::close(m_hListen);
        });
    }
    ~CSilentMachine() { ::close(m_hFirst); }
    CSilentMachine(const CSilentMachine&) = delete;
    CSilentMachine& operator=(const CSilentMachine&) = delete;

    const std::string& Address() const { return m_strAddress; }
    /// Whether the window answered while a caller waited. The call is over.
    bool WasAnsweredMeanwhile()
    {
        m_Ender.join();
        // A message that nobody took while the call lasted is taken here.
        while (!m_bAnswered)
            SleepServing(1);
        m_Teller.join();
        return m_bCalled && m_bAnsweredInTime;
    }

  private:
    /// Whether a connection is being made: the kernel's table has a line for each, with state 2.
    bool HasCaller() const
    {
        std::ifstream table("/proc/net/tcp");
        for (std::string line; std::getline(table, line);) {
            std::istringstream fields(line);
            std::string number, local, remote, state;
            fields >> number >> local >> remote >> state;
            if (remote == m_strTableAddress && state == "02") return true;
        }
        return false;
    }

    SOCKET m_hListen = -1;
    SOCKET m_hFirst = -1;  // takes the only place
    std::string m_strAddress;
    std::string m_strTableAddress;
    std::atomic<bool> m_bCalled = false;
    std::atomic<bool> m_bAnswered = false;
    std::atomic<bool> m_bAnsweredInTime = false;
    std::thread m_Teller;
    std::thread m_Ender;
};

class TcpServing : public CTcpTest
{
};

TEST_F(TcpServing, WhileTheDirectoryIsAskedForADevice)
{
    const CWindow window;
    std::atomic<bool> answered = false;
    CScriptedDirectory directory([&](int connection, const std::string&) {
        answered = window.Answers();
        send(connection, "failed", 6, MSG_NOSIGNAL);
    });
    m_Folder.Write("config/system.ini", "[System]\r\nDirectoryServer=127.0.0.1\r\nDirectoryPort=" +
                                            std::to_string(directory.m_Endpoints.directoryPort) + "\r\n");
    const auto device = MakeDevice();
    device->Open();
    EXPECT_TRUE(answered);
    EXPECT_TRUE(m_Peer.AcceptAndReply());
    EXPECT_EQ(directory.Question(), "getip?domainname=" + m_Peer.Address());
    device->Close();
}

TEST_F(TcpServing, WhileADeviceIsCalled)
{
    const CWindow window;
    CSilentMachine machine(DATA_PORT, window);
    const auto device = MakeDevice();
    device->m_strNetAddress = machine.Address();
    device->Open();
    EXPECT_TRUE(machine.WasAnsweredMeanwhile());
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    device->Close();
}

/// Leaves nothing of itself to be used afterwards.
class CVanishingRemote final : public CTcpRemote
{
  public:
    CVanishingRemote() : CTcpRemote(MODE_LIVE_MPEG4, -1) {}
    static void operator delete(void* memory, std::size_t bytes)
    {
        std::memset(memory, 0xDD, bytes);
        ::operator delete(memory);
    }
};

TEST_F(TcpServing, ADestructionWhileTheDeviceIsCalled)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    auto device = std::make_unique<CVanishingRemote>();
    const HWND window = RegisterWindow([&](std::uint32_t, WPARAM, LPARAM) -> LRESULT {
        device.reset();
        return 1;
    });
    CScriptedDirectory directory([&](int connection, const std::string&) {
        SendMessageA(window, MESSAGE, 0, 0);
        send(connection, "failed", 6, MSG_NOSIGNAL);
    });
    m_Folder.Write("config/system.ini", "[System]\r\nDirectoryServer=127.0.0.1\r\nDirectoryPort=" +
                                            std::to_string(directory.m_Endpoints.directoryPort) + "\r\n");
    device->m_strNetAddress = m_Peer.Address();
    device->SetRenderWnd(TakeFreeCell());
    device->Open();
    EXPECT_EQ(device, nullptr);
    EXPECT_TRUE(m_Peer.Accept().empty()) << "the connection is closed and brought no request";
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    UnregisterWindow(window);
    RemoveAllCells();
}

TEST_F(TcpServing, WhileACameraIsSteered)
{
    const CWindow window;
    CSilentMachine machine(CONTROL_PORT, window);
    CRemotePtz ptz(machine.Address(), 0);
    EXPECT_EQ(ptz.LeftStart(), 0);
    EXPECT_TRUE(machine.WasAnsweredMeanwhile());
}

}  // namespace
