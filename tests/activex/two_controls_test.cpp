#include <gmock/gmock.h>

#include <QApplication>
#include <algorithm>
#include <memory>

#include "activex/MainDialog.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/settings/Language.h"
#include "model/tree/Devices.h"
#include "platform/qt/QtPlatform.h"
#include "remote/Remote.h"
#include "remote/RemoteStation.h"
#include "render/CellPool.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"

// Two main panels in one process, as a host with two controls has them. Each panel's shut-down deletes the tree
// that they share.

namespace
{

class TwoControlsTest : public testing::TestWithParam<int>
{
  protected:
    TwoControlsTest()
    {
        StartQtPlatform();
        for (auto& panel : m_Panels) {
            panel = std::make_unique<CMainDialog>();
            EXPECT_TRUE(panel->Create(&m_Container));
        }
        m_Container.show();
        AddStation();
        for (auto& panel : m_Panels)
            SendMessageA(panel->Handle(), LOGON_MESSAGE_ADDED, 0, 2);
    }
    ~TwoControlsTest() override
    {
        for (auto& panel : m_Panels)
            panel.reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
        StopQtPlatform();
    }
    static void AddStation()
    {
        auto* const station = new CRemoteStation;
        station->SetName("gate");
        auto* const devices = new CDevices;
        devices->m_bVisible = true;
        devices->Add(new CRemote, nullptr);
        devices->Add(new CRemote, nullptr);
        station->Add(devices, nullptr);
        CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    }
    static int Rows(CMainDialog& panel) { return panel.GetTree().GetTree()->model()->rowCount(); }

    CTestHome m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CModelState m_Model;
    const CRenderState m_Render{m_pAdapter};
    QWidget m_Container;
    std::array<std::unique_ptr<CMainDialog>, 2> m_Panels;
};

TEST_P(TwoControlsTest, PanelThatStaysShowsWhatTheOtherHasLeftAndHearsOfDevices)
{
    CMainDialog& stays = *m_Panels[static_cast<std::size_t>(1 - GetParam())];
    ASSERT_EQ(Rows(stays), 1);
    m_Panels[static_cast<std::size_t>(GetParam())]->DestroyWindow();
    EXPECT_EQ(Rows(stays), 0);
    SendMessageA(stays.Handle(), MAIN_MESSAGE_DEVICE_CHANGED, 0, 0);
    stays.Widget()->grab();
    AddStation();
    SendMessageA(stays.Handle(), LOGON_MESSAGE_ADDED, 0, 2);
    EXPECT_EQ(Rows(stays), 1);
    stays.Update(CNodeModel::GetInstance()->GetRoot(), "");
    stays.DestroyWindow();
}

TEST_P(TwoControlsTest, StreamOfAPanelIsShownOnItsOwnWall)
{
    CMainDialog& panel = *m_Panels[static_cast<std::size_t>(GetParam())];
    const auto cells = static_cast<std::size_t>(panel.GetGrid()->GetState().GetCellCount());
    QTreeView& tree = *panel.GetTree().GetTree();
    const QModelIndex folder = tree.model()->index(0, 0, tree.model()->index(0, 0));
    for (int i = 0; i < 2; ++i) {
        tree.setCurrentIndex(tree.model()->index(i, 0, folder));
        SendMessageA(panel.GetTree().Handle(), WM_COMMAND, TREE_COMMAND_OPEN, 0);
        const auto* const remote = dynamic_cast<CRemote*>(panel.GetTree().NodeOf(tree.currentIndex()));
        ASSERT_NE(remote, nullptr);
        EXPECT_EQ(remote->GetRenderWnd(), panel.GetGrid()->GetCell(static_cast<std::size_t>(i))->Handle());
    }
    // A full wall takes no place on another one.
    SendMessageA(panel.GetTree().Handle(), WM_COMMAND, TREE_COMMAND_CLOSE_TREE, 0);
    while (TakeFreeCell(panel.GetGrid()->Handle()) != HWND::Null) {
    }
    EXPECT_EQ(std::ranges::count(GetCells(), true, &CRenderSub::m_bUsed), cells);
    SendMessageA(panel.GetTree().Handle(), WM_COMMAND, TREE_COMMAND_OPEN, 0);
    const auto* const remote = dynamic_cast<CRemote*>(panel.GetTree().NodeOf(tree.currentIndex()));
    EXPECT_EQ(remote->GetRenderWnd(), HWND::Null);
}

INSTANTIATE_TEST_SUITE_P(EitherOrder, TwoControlsTest, testing::Values(0, 1));

}  // namespace
