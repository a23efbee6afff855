#include "tests/panels/tree_dlg_support.h"

// Two panels of one process show the same tree; each is told of what the other deletes.

namespace
{

class TwoPanelsTest : public TreeDlgTest
{
  protected:
    void SetUp() override
    {
        AddStation();
        ShowDialog();
        m_OtherParent.resize(220, 500);
        ASSERT_TRUE(m_Other.Create(&m_OtherParent));
        m_OtherParent.show();
    }
    QAbstractItemModel& OtherNodes() { return *m_Other.GetTree()->model(); }
    QModelIndex OtherChannel(int number)
    {
        return OtherNodes().index(number, 0, OtherNodes().index(0, 0, OtherNodes().index(0, 0)));
    }
    void RefreshBoth()
    {
        m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
        m_Other.RefreshIcons(m_Other.GetRootItem());
        m_pParent->grab();
        m_OtherParent.grab();
    }

    QWidget m_OtherParent;
    CTreeDlg m_Other;
};

TEST_F(TwoPanelsTest, StationThatOnePanelDeletesGoesFromTheOtherToo)
{
    m_Other.GetTree()->setCurrentIndex(OtherChannel(1));
    Select({0});
    Command(TREE_COMMAND_DELETE);
    EXPECT_EQ(OtherNodes().rowCount(), 0);
    EXPECT_EQ(m_Other.NodeOf(m_Other.GetTree()->currentIndex()), nullptr);
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), CNodeModel::GetInstance()->GetRoot());
    RefreshBoth();
    for (const int command :
         {TREE_COMMAND_OPEN, TREE_COMMAND_CLOSE, TREE_COMMAND_OPEN_ALL, TREE_COMMAND_DELETE})
        SendMessageA(m_Other.Handle(), WM_COMMAND, static_cast<WPARAM>(command), 0);
}

TEST_F(TwoPanelsTest, WhatIsLeftStaysShownSelectedAndOpened)
{
    m_Other.GetTree()->setCurrentIndex(OtherChannel(1));
    CNode* const left = m_Other.NodeOf(OtherChannel(1));
    delete CNodeModel::GetInstance()->FindByName("a");
    ASSERT_EQ(OtherNodes().rowCount(OtherNodes().index(0, 0, OtherNodes().index(0, 0))), 1);
    EXPECT_EQ(OtherChannel(0).data().toString(), "b");
    EXPECT_EQ(m_Other.NodeOf(m_Other.GetTree()->currentIndex()), left);
    EXPECT_TRUE(m_Other.GetTree()->isExpanded(OtherNodes().index(0, 0)));
    RefreshBoth();
    SendMessageA(m_Other.Handle(), WM_COMMAND, TREE_COMMAND_OPEN, 0);
    EXPECT_EQ(TreeCalls().back(), "open b 0");
}

// The rows beside a deleted one that the toolkit selects in its place aren't the user's choice.
TEST_F(TwoPanelsTest, PanelThatLosesItsSelectedRowChangesNothingInTheModel)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    m_Other.GetTree()->setCurrentIndex(OtherChannel(0));
    ASSERT_EQ(model->GetCurrent(), model->FindByName("a"));
    model->SetCurrent(model->GetRoot());
    delete model->FindByName("a");
    EXPECT_EQ(model->GetCurrent(), model->GetRoot());
}

TEST_F(TwoPanelsTest, NameThatIsBeingEditedWhileItsNodeGoesIsGivenUp)
{
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    edit->setText("new");
    CNodeModel::GetInstance()->DeleteRoot();
    QApplication::sendPostedEvents();
    EXPECT_FALSE(Tree().IsEditing());
    EXPECT_EQ(Nodes().rowCount(), 0);
    RefreshBoth();
}

TEST_F(TwoPanelsTest, TreeThatGoesWithTheRootLeavesBothPanelsEmpty)
{
    CNodeModel::DestroyInstance();
    EXPECT_EQ(Nodes().rowCount(), 0);
    EXPECT_EQ(OtherNodes().rowCount(), 0);
    RefreshBoth();
}

TEST_F(TwoPanelsTest, PanelsGoInEitherOrder)
{
    for (const bool first : {true, false}) {
        if (first)
            m_Other.DestroyWindow();
        else
            m_Dlg->DestroyWindow();
        delete CNodeModel::GetInstance()->FindByName(first ? "a" : "b");
        RefreshBoth();
    }
}

}  // namespace
