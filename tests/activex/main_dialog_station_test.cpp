#include <gmock/gmock.h>

#include <QTest>
#include <thread>

#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "render/CellPool.h"
#include "tests/activex/main_dialog_support.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

TEST_F(MainDialogTest, LogonWithTwoChannelsGivesTheArrangementForFour)
{
    CMainDialog& panel = Start();
    LoggedOn(2);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 4U);
}

TEST_F(MainDialogTest, LogonWithMoreChannelsThanAnyArrangementUsesTheLast)
{
    CMainDialog& panel = Start();
    LoggedOn(1000);
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), panel.GetGrid()->GetLayoutCount() - 1);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 36U);
    LoggedOn(5);
    EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 6U);
    for (const int odd : {0, -1, -2147483647}) {
        LoggedOn(odd);
        EXPECT_EQ(panel.GetGrid()->GetState().GetRects().size(), 4U) << odd;
    }
}

TEST_F(MainDialogTest, LogonShowsTheDeviceListFilledAnew)
{
    CMainDialog& panel = Start();
    AddStation("gate", "cc");
    const QAbstractItemModel& nodes = *panel.GetTree().GetTree()->model();
    EXPECT_EQ(nodes.rowCount(), 0);
    panel.GetGrid()->hide();
    LoggedOn(2);
    EXPECT_EQ(panel.GetSideBar()->GetSelectedFolder(), 1);
    EXPECT_FALSE(panel.GetSideBar()->IsSliding());
    ASSERT_EQ(nodes.rowCount(), 1);
    EXPECT_EQ(nodes.rowCount(nodes.index(0, 0, nodes.index(0, 0))), 2);
    EXPECT_EQ(panel.GetTree().GetTree()->GetGroundColor(), (Color{0x26, 0x29, 0x2E, 255}));
    EXPECT_TRUE(panel.GetGrid()->isVisible());
}

class ChangingDeviceTest : public MainDialogTest
{
  protected:
    void SetUp() override
    {
        Start();
        AddStation("gate", "c");
        LoggedOn(1);
        m_pDevice = CNodeModel::GetInstance()->FindByName("gate0");
        ASSERT_NE(m_pDevice, nullptr);
        static_cast<CRemote*>(m_pDevice)->SetStatus(STATUS_RECORDING);
    }
    int Icon()
    {
        const QAbstractItemModel& nodes = *m_Panel->GetTree().GetTree()->model();
        const QModelIndex device = nodes.index(0, 0, nodes.index(0, 0, nodes.index(0, 0)));
        return device.data(CNodeTreeModel::STATUS_ROLE).toInt();
    }
    CNode* m_pDevice = nullptr;
};

TEST_F(ChangingDeviceTest, UpdateRefreshesTheIconsBeforeItReturnsWhateverTheText)
{
    m_Panel->Update(m_pDevice, "any");
    EXPECT_EQ(Icon(), 2);
}

TEST_F(ChangingDeviceTest, UpdateWithANullNodeSendsNothing)
{
    m_Panel->Update(nullptr, "IDS_DeviceOpened");
    EXPECT_EQ(Icon(), 0);
}

TEST_F(ChangingDeviceTest, UpdateOfALinkThreadIsServedByThePanelsThread)
{
    std::atomic<bool> through{false};
    std::thread link([&] {
        m_Panel->Update(m_pDevice, "");
        through = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return through.load(); }));
    link.join();
    EXPECT_EQ(Icon(), 2);
}

TEST_F(ChangingDeviceTest, PanelIsTheObserverOfTheModel)
{
    Notify(m_pDevice, "");
    EXPECT_EQ(Icon(), 2);
}

TEST_F(MainDialogTest, ShutDownWithoutAStationDeletesTheRootAndNothingElse)
{
    Start();
    CNodeModel* const model = CNodeModel::GetInstance();
    auto* const leaf = new CToldRemote("alone", STATUS_CLOSED);
    model->GetRoot()->Add(leaf, nullptr);
    m_Panel->DestroyWindow();
    EXPECT_THAT(g_Calls, ElementsAre("deleted alone"));
    EXPECT_EQ(CNodeModel::GetInstance(), model) << "the model stays";
    EXPECT_EQ(model->GetRoot()->GetCount(), 0);
}

TEST_F(MainDialogTest, ShutDownLetsAllOpenDevicesGoThenClosesThemThenDeletesTheFirstStationThenTheRest)
{
    Start();
    AddStation("gate", "oc");
    AddStation("yard", "co");
    LoggedOn(4);
    m_Panel->DestroyWindow();
    EXPECT_THAT(g_Calls,
                ElementsAre("let go gate0", "let go yard1", "close gate0", "close yard1", "deleted gate0",
                            "deleted gate1", "deleted gate", "deleted yard", "deleted yard0", "deleted yard1"));
    EXPECT_EQ(m_Panel->GetGrid(), nullptr);
    EXPECT_THAT(GetCells(), IsEmpty());
}

TEST_F(MainDialogTest, PanelMayBeStartedAgain)
{
    Start();
    AddStation("gate", "o");
    Layout(m_Panel->GetGrid()->GetLayoutCount() + 2);  // the pages turn by themselves
    m_Panel->DestroyWindow();
    EXPECT_FALSE(m_Panel->DestroyWindow());
    g_Calls.clear();
    ASSERT_TRUE(m_Panel->Create(&m_Container));
    EXPECT_EQ(m_Panel->GetSideBar()->GetFolderCount(), 5);
    EXPECT_EQ(m_Panel->GetTree().GetTree()->model()->rowCount(), 0);
    EXPECT_EQ(m_Panel->GetGrid()->GetState().GetRects().size(), 8U);
    EXPECT_FALSE(m_Panel->IsCycling());
    Layout(m_Panel->GetGrid()->GetLayoutCount() + 2);
    EXPECT_TRUE(m_Panel->GetGrid()->IsCycling());
}

TEST_F(MainDialogTest, MessagesBeforeTheWindowStandsDoNothing)
{
    CMainDialog panel;
    CFolder node;
    panel.Update(&node, "");
    EXPECT_FALSE(panel.DestroyWindow());
    EXPECT_EQ(panel.GetGrid(), nullptr);
}

}  // namespace
