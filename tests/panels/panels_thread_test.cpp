// What belongs to the panels' thread ends a checked build when another thread calls it. Each row is a call that
// does no harm in a release, where nothing is checked.

#include <gtest/gtest.h>

#include <QMenu>
#include <QWidget>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "activex/UI common/BoxTexts.h"
#include "activex/UI common/LogonRemoteDlg.h"
#include "activex/UI common/NodeTreeModel.h"
#include "activex/UI common/Outlook2Ctrl.h"
#include "activex/UI common/TreeCtrlEx.h"
#include "activex/UI common/TreeDlg.h"
#include "common/HistoryCombo.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "platform/qt/HandlersAtWork.h"
#include "platform/qt/Menu.h"
#include "platform/qt/MessageBoxes.h"
#include "platform/qt/MessagePump.h"
#include "platform/qt/ProcessEnd.h"
#include "platform/qt/QtPlatform.h"
#include "platform/qt/ServingWait.h"
#include "platform/qt/WindowHandle.h"
#include "skin/Skin.h"

namespace
{

// Made on the panels' thread, called on the other.
struct Objects {
    QWidget widget;
    CMenu menu;
    CHistoryCombo combo;
    COutlook2Ctrl bar{nullptr, HWND::Null};
    CTreeCtrlEx tree{nullptr};
    CNodeTreeModel rows;
    CRenderWnd grid;
    CRenderCell cell{&widget, HWND::Null};
    CTreeDlg treePanel;
    CLogonRemoteDlg logonPanel{nullptr};
    std::unique_ptr<CWindowHandle> handle = std::make_unique<CWindowHandle>(widget);
    std::unique_ptr<CStandingBox> standingBox = std::make_unique<CStandingBox>([] {});
    std::unique_ptr<CUnwaitedMessageBoxes> unwaited = std::make_unique<CUnwaitedMessageBoxes>();
    std::unique_ptr<CNoMessageBoxes> noBoxes = std::make_unique<CNoMessageBoxes>();
};

struct ThreadRow {
    const char* name;
    void (*call)(Objects& objects);
};

class PanelsThreadDeathTest : public testing::TestWithParam<ThreadRow>
{
};

TEST_P(PanelsThreadDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    Objects objects;
    EXPECT_DEBUG_DEATH(std::thread([&objects] { GetParam().call(objects); }).join(),
                       "called on a foreign thread");
}

std::string NameOf(const testing::TestParamInfo<ThreadRow>& info)
{
    return info.param.name;
}

// Without the check these do no harm.
INSTANTIATE_TEST_SUITE_P(
    Calls, PanelsThreadDeathTest,
    testing::Values(
        ThreadRow{"WindowHandle", [](Objects& objects) { const CWindowHandle handle(objects.widget); }},
        ThreadRow{"WindowOf", [](Objects& objects) { WindowOf(&objects.widget); }},
        ThreadRow{"StopQtPlatform", [](Objects&) { StopQtPlatform(); }},
        ThreadRow{"WidgetOf", [](Objects&) { WidgetOf(HWND::Null); }},
        ThreadRow{"GridFloats", [](Objects& objects) { objects.grid.SetFloat(false); }},
        ThreadRow{"DialogDecorator", [](Objects&) { SetDialogDecorator({}); }},
        ThreadRow{"DecorateDialog", [](Objects& objects) { DecorateDialog(objects.widget); }},
        ThreadRow{"ButtonTexts", [](Objects&) { SetButtonTexts({}); }},
        ThreadRow{"ButtonText", [](Objects&) { GetButtonText(0); }},
        ThreadRow{"MessageTeller", [](Objects&) { SetMessageTeller({}); }},
        ThreadRow{"UnwaitedBoxes", [](Objects&) { const CUnwaitedMessageBoxes unwaited; }},
        ThreadRow{"StandingBox", [](Objects&) { const CStandingBox box([] {}); }},
        ThreadRow{"NoMessageBoxes", [](Objects&) { const CNoMessageBoxes none; }},
        ThreadRow{"UnwaitedBoxesEnd", [](Objects& objects) { objects.unwaited.reset(); }},
        ThreadRow{"StandingBoxEnd", [](Objects& objects) { objects.standingBox.reset(); }},
        ThreadRow{"NoMessageBoxesEnd", [](Objects& objects) { objects.noBoxes.reset(); }},
        ThreadRow{"TellMessage", [](Objects&) { TellMessage("", ""); }},
        ThreadRow{"Hook", [](Objects&) { UnhookWindowsHookEx(SetWindowsHookExA({})); }},
        ThreadRow{"Unhook", [](Objects&) { UnhookWindowsHookEx({}); }},
        ThreadRow{"NextHook",
                  [](Objects&) {
                      MSG message{};
                      CallNextHookEx(0, 0, message);
                  }},
        ThreadRow{"PreTranslator", [](Objects& objects) { SetPreTranslator(objects.widget, nullptr); }},
        ThreadRow{"SkinDialog", [](Objects&) { SkinDialog(nullptr, "a"); }},
        ThreadRow{"SkinRenderWindow", [](Objects&) { SkinRenderWindow(nullptr, "a"); }},
        ThreadRow{"SkinControl", [](Objects&) { SkinControl(nullptr, "a"); }},
        ThreadRow{"SkinPopupMenu", [](Objects&) { SkinPopupMenu(nullptr); }},
        ThreadRow{"SkinIcon", [](Objects&) { SkinIcon("a"); }},
        ThreadRow{"StopSkin", [](Objects&) { StopSkin(); }},
        ThreadRow{"SaveHistory", [](Objects& objects) { objects.combo.SaveHistory(false); }},
        ThreadRow{"LastClicked", [](Objects&) { CRenderCell::GetLastClicked(); }},
        ThreadRow{"TreeNode", [](Objects& objects) { objects.rows.NodeOf({}); }},
        ThreadRow{"TreeReload", [](Objects& objects) { objects.treePanel.ReloadTree(); }},
        ThreadRow{"TreeRefill", [](Objects& objects) { objects.treePanel.RefillTree(); }},
        ThreadRow{"TreePanelIcons", [](Objects& objects) { objects.treePanel.RefreshIcons({}); }},
        ThreadRow{"TreeRootItem", [](Objects& objects) { objects.treePanel.GetRootItem(); }},
        ThreadRow{"TreePanelNode", [](Objects& objects) { objects.treePanel.NodeOf({}); }},
        ThreadRow{"LogonFocus", [](Objects& objects) { objects.logonPanel.TakeFocus(); }},
        ThreadRow{"HandlerAtWork", [](Objects&) { const CHandlerAtWork handler; }},
        ThreadRow{"AfterHandlers", [](Objects&) { AfterHandlers([] {}); }},
        ThreadRow{"BoxButton", [](Objects&) { GetBoxButtonText(0); }}),
    NameOf);

#ifndef NDEBUG
// These would: a release doesn't call them.
INSTANTIATE_TEST_SUITE_P(
    CheckedCalls, PanelsThreadDeathTest,
    testing::Values(
        ThreadRow{"MenuTrack", [](Objects& objects) { objects.menu.Track(HWND::Null, {}); }},
        ThreadRow{"ServingWait", [](Objects&) { const CServingWait wait; }},
        ThreadRow{"PreTranslate",
                  [](Objects& objects) {
                      MSG message{};
                      message.target = &objects.widget;
                      WalkPreTranslateTree(message);
                  }},
        ThreadRow{"TreeColors", [](Objects& objects) { objects.tree.SetTreeColors({}, {}); }},
        ThreadRow{"CopyHistory", [](Objects& objects) { objects.combo.CopyTo(objects.combo); }},
        ThreadRow{"LoadHistory", [](Objects& objects) { objects.combo.LoadHistory(QStringList(), false); }},
        ThreadRow{"BarLine", [](Objects& objects) { objects.bar.AddSubItem(-5, 0, nullptr, 0); }},
        ThreadRow{"BarSelect",
                  [](Objects& objects) { objects.bar.SelectFolder(0, COutlook2Ctrl::EAnimation::Off); }},
        ThreadRow{"LabelRect", [](Objects& objects) { objects.tree.GetLabelRect({}); }},
        ThreadRow{"MenuItem", [](Objects& objects) { objects.menu.AppendItem(1, "a"); }},
        ThreadRow{"MenuSeparator", [](Objects& objects) { objects.menu.AppendSeparator(); }},
        ThreadRow{"WatchProcessEnd", [](Objects&) { WatchProcessEnd(); }},
        ThreadRow{"ClearHistory", [](Objects& objects) { objects.combo.ClearHistory(); }},
        ThreadRow{"MaxHistory", [](Objects& objects) { objects.combo.SetMaxHistory(3); }},
        ThreadRow{"GridInit", [](Objects& objects) { objects.grid.Init(nullptr, {}, 1); }},
        ThreadRow{"GridButtons", [](Objects& objects) { objects.grid.CreateButtons(); }},
        ThreadRow{
            "HandleEnd",
            [](Objects& objects) { const std::unique_ptr<CWindowHandle> handle = std::move(objects.handle); }},
        ThreadRow{"StopCycle", [](Objects& objects) { objects.grid.StopCycle(); }},
        ThreadRow{"Layout", [](Objects& objects) { objects.grid.SetLayout(-2); }},
        ThreadRow{"TreeFill", [](Objects& objects) { objects.rows.Fill(nullptr); }},
        ThreadRow{"BarItem", [](Objects& objects) { objects.bar.AddItem(-5, "a"); }},
        ThreadRow{"BarUpdate", [](Objects& objects) { objects.bar.UpdateLines(); }},
        ThreadRow{"CellPlace", [](Objects& objects) { objects.cell.Put({}); }},
        ThreadRow{"CellVisible", [](Objects& objects) { objects.cell.setVisible(false); }},
        ThreadRow{"Cycle", [](Objects& objects) { objects.grid.StartCycle(); }},
        ThreadRow{"LayoutForCount", [](Objects& objects) { objects.grid.SetLayoutForCount(4); }},
        ThreadRow{"Page", [](Objects& objects) { objects.grid.NextPage(); }},
        ThreadRow{"BarFolder", [](Objects& objects) { objects.bar.AddFolder({}, {}, nullptr); }},
        ThreadRow{"BarWidth", [](Objects& objects) { objects.bar.SetWidthLimit(9); }},
        ThreadRow{"AddString", [](Objects& objects) { objects.combo.AddString({}); }},
        ThreadRow{"TreeIcons", [](Objects& objects) { objects.rows.RefreshIcons({}); }}),
    NameOf);

#endif

}  // namespace
