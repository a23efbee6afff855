// What an opening of a direct device asks, tells and gives back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "render/CellPool.h"
#include "tests/remote/directory/directory_support.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/remote/tcp/tcp_support.h"
#include "tests/support/thread_shortage.h"

namespace
{

using testing::ElementsAre;

class TcpOpening : public CTcpTest
{
};

TEST_F(TcpOpening, AsksTheDirectoryEachTimeAndCallsTheAddressThatItGives)
{
    std::atomic<int> asked = 0;
    CScriptedDirectory directory([&](int connection, const std::string&) {
        ++asked;
        send(connection, m_Peer.Address().data(), m_Peer.Address().size(), MSG_NOSIGNAL);
    });
    m_Folder.Write("config/system.ini", "[System]\r\nDirectoryServer=127.0.0.1\r\nDirectoryPort=" +
                                            std::to_string(directory.m_Endpoints.directoryPort) + "\r\n");
    const auto device = MakeDevice();
    device->m_strNetAddress = "the gate";
    for (int round = 1; round <= 2; ++round) {
        device->Open();
        EXPECT_FALSE(m_Peer.Accept().empty());
        m_Peer.HangUp();
        device->Close();
        EXPECT_EQ(asked, round);
    }
    EXPECT_EQ(directory.Question(), "getip?domainname=the gate");
    EXPECT_EQ(device->m_strNetAddress, "the gate") << "a lookup doesn't change it";
}

/// Notes the status that a device has when it tells of a change.
class CStatusNotes final : public CObserver
{
  public:
    CStatusNotes() { AttachObserver(this); }
    ~CStatusNotes() override { DetachObserver(this); }
    void Update(CNode* node, std::string /*message*/) override
    {
        m_Statuses.push_back(dynamic_cast<CDevice&>(*node).GetStatus());
    }
    std::vector<std::int32_t> m_Statuses;
};

TEST_F(TcpOpening, StatusIsSetBeforeItIsTold)
{
    const auto device = MakeDevice();
    const CStatusNotes notes;
    OpenAndReply(*device);
    device->Close();
    EXPECT_THAT(notes.m_Statuses, ElementsAre(STATUS_OPEN, STATUS_CLOSED));
}

TEST_F(TcpOpening, WithoutAThreadTheStatusIsOpenAndTheRestIsGivenBack)
{
    RemoveAllCells();
    AddCell(static_cast<HWND>(71));
    const auto device = MakeDevice();
    device->SetRenderWnd(TakeFreeCell());
    {
        const CThreadShortage shortage;
        device->Open();
    }
    EXPECT_EQ(device->GetStatus(), STATUS_OPEN);
    EXPECT_EQ(device->GetRenderWnd(), HWND::Null);
    EXPECT_FALSE(IsCellUsed(static_cast<HWND>(71)));
    EXPECT_TRUE(m_Peer.Accept().empty()) << "the connection is closed and brought no request";
    device->Close();
    OpenAndReply(*device);
    device->Close();
    RemoveAllCells();
}

TEST_F(TcpOpening, TimeToTheFirstPictureCountsAnew)
{
    const auto device = MakeDevice();
    const auto& counters = device->GetCounters();
    OpenAndReply(*device);
    m_Clock.Set(50);
    SendAndWait(0, 1);
    ASSERT_TRUE(WaitUntil([&] { return counters.firstPictureMs == 50; }));
    device->Close();
    device->Open();
    EXPECT_EQ(counters.firstPictureMs, -1);
    ASSERT_TRUE(m_Peer.AcceptAndReply());
    m_Clock.Set(80);
    SendAndWait(0, 1);
    EXPECT_TRUE(WaitUntil([&] { return counters.firstPictureMs == 30; }));
    device->Close();
}

}  // namespace
