#include <gmock/gmock.h>

#include <QTest>

#include "activex/UI common/Outlook2Ctrl.h"
#include "platform/files/profile.h"
#include "tests/activex/main_dialog_support.h"

namespace
{

TEST_F(MainDialogTest, SideBarKeepsItsStoredWidthAsFarAsItsPlaceGoes)
{
    const struct {
        const char* stored;
        int width;
    } rows[] = {{"150", 150}, {"200", 200}, {"900", 200}, {"-7", 4}, {"3", 4}};
    for (const auto& row : rows) {
        WritePrivateProfileStringA("Settings", "OutbarSize", row.stored, GetApplicationProfilePath().c_str());
        Start();
        EXPECT_EQ(m_Panel->GetSideBar()->width(), row.width) << row.stored;
        EXPECT_EQ(m_Panel->GetLogon().Widget()->isVisible(), row.width > 4) << row.stored;
        if (row.width > 4) {
            EXPECT_EQ(m_Panel->GetSideBar()->GetLayoutSize().width(), row.width) << row.stored;
        }
        m_Panel.reset();
    }
}

TEST_F(MainDialogTest, DragBeyondItsPlaceStoresTheWidthThatIsShown)
{
    Start();
    COutlook2Ctrl* const bar = m_Panel->GetSideBar();
    QTest::mousePress(bar, Qt::LeftButton, {}, {198, 100});
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {460, 100});
    EXPECT_EQ(bar->width(), 200);
    EXPECT_EQ(bar->GetLayoutSize().width(), 200);
    m_Panel.reset();
    EXPECT_EQ(GetPrivateProfileIntA("Settings", "OutbarSize", 0, GetApplicationProfilePath().c_str()), 200);
}

TEST_F(MainDialogTest, CollapsedSideBarIsDraggedBackAndItsPageComesWithIt)
{
    WritePrivateProfileStringA("Settings", "OutbarSize", "3", GetApplicationProfilePath().c_str());
    Start();
    COutlook2Ctrl* const bar = m_Panel->GetSideBar();
    EXPECT_FALSE(m_Panel->GetLogon().Widget()->isVisible());
    QTest::mousePress(bar, Qt::LeftButton, {}, {2, 100});
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {170, 100});
    EXPECT_EQ(bar->width(), 172);
    EXPECT_TRUE(m_Panel->GetLogon().Widget()->isVisible());
    EXPECT_EQ(m_Panel->GetLogon().Widget()->width(), 168);
}

TEST_F(MainDialogTest, CollapsedSideBarComesBackByKeyboardToo)
{
    WritePrivateProfileStringA("Settings", "OutbarSize", "3", GetApplicationProfilePath().c_str());
    Start();
    COutlook2Ctrl* const bar = m_Panel->GetSideBar();
    m_Container.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    bar->setFocus();
    for (int i = 0; i < 30; ++i)
        QTest::keyClick(bar, Qt::Key_Right);
    EXPECT_EQ(bar->width(), 200) << "as far as its place goes";
    EXPECT_TRUE(m_Panel->GetLogon().Widget()->isVisible());
    QTest::keyClick(bar, Qt::Key_Left);
    EXPECT_EQ(bar->width(), 190);
}

}  // namespace
