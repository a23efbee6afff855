#include <gmock/gmock.h>

#include <QTest>

#include "activex/UI common/TreeCtrlEx.h"
#include "common/RenderWnd.h"
#include "model/settings/GlobalSetting.h"
#include "tests/activex/main_dialog_support.h"
#include "tests/support/box_catcher.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

TEST_F(MainDialogTest, CommandsBelowTheCountSelectThatArrangement)
{
    CMainDialog& panel = Start();
    const int layouts = panel.GetGrid()->GetLayoutCount();
    for (int i = 1; i < layouts; ++i) {
        Layout(i);
        EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), i);
    }
}

TEST_F(MainDialogTest, CommandsAfterTheArrangementsTurnThePages)
{
    CMainDialog& panel = Start();
    LoggedOn(4);
    const CGridState& state = panel.GetGrid()->GetState();
    const int first = panel.GetGrid()->GetLayoutCount();
    const int last = state.GetLastPage();
    const std::pair<int, int> steps[] = {{3, 1}, {3, 2}, {1, 1}, {0, 0}, {1, last}, {3, 0}, {4, last}, {0, 0}};
    for (const auto& [step, page] : steps) {
        Layout(first + step);
        EXPECT_EQ(state.GetPage(), page) << step;
    }
}

TEST_F(MainDialogTest, PageCycleTwiceStartsTheTimerAndStopsIt)
{
    CMainDialog& panel = Start();
    const int cycle = panel.GetGrid()->GetLayoutCount() + 2;
    for (int i = 0; i < 2; ++i) {
        Layout(cycle);
        EXPECT_TRUE(panel.IsCycling());
        EXPECT_TRUE(panel.GetGrid()->IsCycling());
        Layout(cycle);
        EXPECT_FALSE(panel.IsCycling());
        EXPECT_FALSE(panel.GetGrid()->IsCycling());
    }
}

TEST_F(MainDialogTest, CycleTurnsThePageByItself)
{
    CMainDialog& panel = Start();
    LoggedOn(4);
    CNodeModel::GetInstance()->GetGlobalSetting()->m_iCycleInterval = 0;  // as often as the loop comes round
    Layout(panel.GetGrid()->GetLayoutCount() + 2);
    EXPECT_TRUE(QTest::qWaitFor([&] { return panel.GetGrid()->GetState().GetPage() == 2; }));
}

TEST_F(MainDialogTest, OtherCommandsOfTheRangeDoNothing)
{
    CMainDialog& panel = Start();
    LoggedOn(4);
    const int first = panel.GetGrid()->GetLayoutCount();
    const int layout = panel.GetGrid()->GetState().GetLayout();
    for (const int beyond : {first + 5, first + 6, 1000})
        Layout(beyond);
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), layout);
    EXPECT_EQ(panel.GetGrid()->GetState().GetPage(), 0);
    EXPECT_FALSE(panel.GetGrid()->IsCycling());
}

// oddity: cycle-flag-turns. The panel's own flag turns although the locked grid starts no timer.
TEST_F(MainDialogTest, LockedGridIgnoresPageActionsAndRefusesArrangementsWithAMessage)
{
    CBoxCatcher boxes;
    CMainDialog& panel = Start();
    LoggedOn(4);
    panel.GetGrid()->Lock();
    const int first = panel.GetGrid()->GetLayoutCount();
    for (const int step : {0, 1, 2, 3, 4})
        Layout(first + step);
    EXPECT_EQ(panel.GetGrid()->GetState().GetPage(), 0);
    EXPECT_FALSE(panel.GetGrid()->IsCycling());
    EXPECT_TRUE(panel.IsCycling());
    EXPECT_THAT(boxes.m_Texts, IsEmpty());
    const int layout = panel.GetGrid()->GetState().GetLayout();
    Layout(1);
    EXPECT_THAT(boxes.m_Texts, ElementsAre("The screen is locked. Please unlock it first."));
    EXPECT_EQ(panel.GetGrid()->GetState().GetLayout(), layout);
}

// Before the grid is arranged, which is refused here.
TEST_F(MainDialogTest, StationIsInTheTreeWhileTheRefusalOfALockedGridStands)
{
    CMainDialog& panel = Start();
    AddStation("gate", "c");
    panel.GetGrid()->Lock();
    const QAbstractItemModel& nodes = *panel.GetTree().GetTree()->model();
    int rows = -1;
    QTimer looking;
    QObject::connect(&looking, &QTimer::timeout, [&] {
        auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) return;
        rows = nodes.rowCount();
        box->accept();
    });
    looking.start(5);
    LoggedOn(1);
    EXPECT_EQ(rows, 1);
}

TEST_F(MainDialogTest, PanelMayGoWhileTheRefusalOfItsLockedGridStandsAfterALogon)
{
    CMainDialog& panel = Start();
    panel.GetGrid()->Lock();
    QTimer going;
    QObject::connect(&going, &QTimer::timeout, [&] {
        if (qobject_cast<QMessageBox*>(QApplication::activeModalWidget()) != nullptr) panel.DestroyWindow();
    });
    going.start(5);
    LoggedOn(4);
    EXPECT_EQ(panel.Widget(), nullptr);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

}  // namespace
