#include <QClipboard>
#include <QContextMenuEvent>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QInputMethodEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScrollBar>
#include <algorithm>

#include "activex/UI common/PanelIcons.h"
#include "model/settings/Language.h"
#include "platform/qt/Keys.h"
#include "platform/qt/MessagePump.h"
#include "tests/panels/tree_dlg_support.h"
#include "tests/support/test_places.h"

using testing::ElementsAre;
using testing::IsEmpty;

// What the tree looks like, and the edit of a name in it.

namespace
{

constexpr int ROW = 26;

QColor Shown(CTreeCtrlEx& tree, int x, int y)
{
    return tree.viewport()->grab().toImage().pixelColor(x, y);
}

TEST_F(TreeDlgTest, RowsAreWhiteAndPaleInTurnAndTheSelectedOneBlue)
{
    AddStation();
    ShowDialog();
    const int right = Tree().viewport()->width() - 3;
    EXPECT_EQ(Shown(Tree(), right, ROW / 2), QColor(0xFF, 0xFF, 0xFF));
    EXPECT_EQ(Shown(Tree(), right, ROW + ROW / 2), QColor(0xF2, 0xF2, 0xF2));
    EXPECT_EQ(Shown(Tree(), right, 2 * ROW + ROW / 2), QColor(0xFF, 0xFF, 0xFF));
    Select({0, 0});
    EXPECT_EQ(Shown(Tree(), right, ROW + ROW / 2), QColor(0x4A, 0xB0, 0xF2));
    EXPECT_EQ(Shown(Tree(), 1, ROW + ROW / 2), QColor(0x4A, 0xB0, 0xF2)) << "over the whole width";
}

TEST_F(TreeDlgTest, RowsKeepTheirColoursInTheTreeAfterALogon)
{
    AddStation();
    ShowDialog();
    m_Dlg->RefillTree();
    EXPECT_EQ(Shown(Tree(), 190, ROW / 2), QColor(0xFF, 0xFF, 0xFF));
    EXPECT_EQ(Shown(Tree(), 100, 5 * ROW), QColor(0x26, 0x29, 0x2E)) << "beneath the rows the ground shows";
}

TEST_F(TreeDlgTest, ShadesCountFromTheTopRowThatIsSeen)
{
    for (int i = 0; i < 40; ++i)
        CNodeModel::GetInstance()->GetRoot()->Add(new CTestStation, nullptr);
    ShowDialog();
    for (const int top : {0, 1, 2, 7}) {
        Tree().verticalScrollBar()->setValue(top);
        EXPECT_EQ(Tree().indexAt({50, 1}).row(), top);
        EXPECT_EQ(Shown(Tree(), 150, ROW / 2), QColor(0xFF, 0xFF, 0xFF)) << top;
        EXPECT_EQ(Shown(Tree(), 150, ROW + ROW / 2), QColor(0xF2, 0xF2, 0xF2)) << top;
    }
}

TEST_F(TreeDlgTest, FoldersHaveTrianglesThatPointRightWhenCollapsedAndDownWhenExpanded)
{
    AddStation();
    ShowDialog();
    const QColor line(0x76, 0x76, 0x76);
    const int label = Tree().GetLabelRect(Item({0})).left();
    const int middle = Tree().visualRect(Item({0})).center().y();
    EXPECT_EQ(Shown(Tree(), label - 14, middle - 2), line);
    EXPECT_EQ(Shown(Tree(), label - 6, middle - 2), line);
    EXPECT_EQ(Shown(Tree(), label - 10, middle + 2), line);
    EXPECT_NE(Shown(Tree(), label - 10, middle + 3), line);
    EXPECT_NE(Shown(Tree(), label - 15, middle - 2), line);
    EXPECT_NE(Shown(Tree(), label - 5, middle - 2), line);
    EXPECT_NE(Shown(Tree(), label - 12, middle + 4), line);
    Tree().setExpanded(Item({0}), false);
    EXPECT_EQ(Shown(Tree(), label - 12, middle - 4), line);
    EXPECT_EQ(Shown(Tree(), label - 12, middle + 4), line);
    EXPECT_EQ(Shown(Tree(), label - 8, middle), line);
    EXPECT_NE(Shown(Tree(), label - 7, middle), line);
    EXPECT_NE(Shown(Tree(), label - 6, middle - 2), line);
}

TEST_F(TreeDlgTest, NodeWithoutChildrenAndWithoutAParentHasATriangleToo)
{
    auto* const station = new CTestStation;
    station->SetName("empty");
    CNodeModel::GetInstance()->GetRoot()->Add(station, nullptr);
    ShowDialog();
    const int label = Tree().GetLabelRect(Item({0})).left();
    const int middle = Tree().visualRect(Item({0})).center().y();
    bool found = false;
    for (int x = label - 14; x < label - 5; ++x)
        found = found || Shown(Tree(), x, middle) == QColor(0x76, 0x76, 0x76);
    EXPECT_TRUE(found);
}

TEST_F(TreeDlgTest, EachStatusHasAnIconOfItsOwnLeftOfTheLabel)
{
    AddStation();
    ShowDialog();
    const QModelIndex item = Item({0, 0, 0});
    auto* const device = static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("a"));
    const QRect row = Tree().visualRect(item);
    const QRect icon(Tree().GetLabelRect(item).left(), row.center().y() - 12, 24, 24);
    std::vector<QImage> icons;
    for (const int status : {-1, 0, 1, 2}) {
        device->SetStatus(status);
        m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
        icons.push_back(Tree().viewport()->grab(icon).toImage());
    }
    for (std::size_t i = 0; i < icons.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_NE(icons[i], icons[j]) << i << " " << j;
    }
}

TEST_F(TreeDlgTest, IconIsDrawnTwentySixPixelsLeftOfTheLabel)
{
    AddStation();
    ShowDialog();
    const QModelIndex item = Item({0, 0, 0});
    const QRect cell = Tree().visualRect(item);
    const QRect row(0, cell.top(), Tree().viewport()->width(), cell.height());
    auto* const device = static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("a"));
    const auto shown = [&](int status) {
        device->SetStatus(status);
        m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
        return Tree().viewport()->grab(row).toImage().convertToFormat(QImage::Format_RGB32);
    };
    QImage wanted = shown(-1);  // of no icon
    QPainter painter(&wanted);
    const int label = cell.left() + 3;
    MakeDeviceIcon(STATUS_RECORDING).paint(&painter, QRect(label - 26, ROW / 2 - 1 - 12, 24, 24));
    painter.end();
    EXPECT_EQ(shown(STATUS_RECORDING), wanted);
}

TEST_F(TreeDlgTest, NameIsDrawnInTheMiddleOfItsRowInTheColourOfTheTree)
{
    AddStation();
    ShowDialog();
    Tree().setCurrentIndex({});
    for (const QColor& ink : {QColor(0x32, 0x32, 0x32), QColor(0x9B, 0x9B, 0x9B)}) {
        const QRect label = Tree().GetLabelRect(Item({0}));
        const QImage shown = Tree().viewport()->grab(label).toImage();
        int first = shown.height();
        int last = -1;
        int darkest = 0xFF;
        for (int y = 0; y < shown.height(); ++y) {
            for (int x = 0; x < shown.width(); ++x) {
                if (shown.pixelColor(x, y) == QColor(Qt::white)) continue;
                first = std::min(first, y);
                last = y;
                darkest = std::min(darkest, shown.pixelColor(x, y).red());
            }
        }
        EXPECT_GE(last - first, 6) << "1001";
        EXPECT_NEAR(first + last, ROW - 1, 4);
        EXPECT_GE(darkest, ink.red());
        EXPECT_LT(darkest, ink.red() + 0x28);
        m_Dlg->RefillTree();
        Tree().setCurrentIndex({});
    }
}

TEST_F(TreeDlgTest, ClickOnATriangleExpandsAndCollapses)
{
    AddStation();
    ShowDialog();
    const QPoint triangle(Tree().GetLabelRect(Item({0})).left() - 10,
                          Tree().visualRect(Item({0})).center().y());
    QTest::mouseClick(Tree().viewport(), Qt::LeftButton, {}, triangle);
    EXPECT_FALSE(Tree().isExpanded(Item({0})));
    QTest::mouseClick(Tree().viewport(), Qt::LeftButton, {}, triangle);
    EXPECT_TRUE(Tree().isExpanded(Item({0})));
}

TEST_F(TreeDlgTest, QuickSecondClickOnATriangleCountsToo)
{
    AddStation();
    ShowDialog();
    QWidget* const view = Tree().viewport();
    const QPoint triangle(Tree().GetLabelRect(Item({0})).left() - 10,
                          Tree().visualRect(Item({0})).center().y());
    for (const bool selected : {false, true}) {
        if (selected) QTest::mouseClick(view, Qt::LeftButton, {}, Tree().GetLabelRect(Item({0})).center());
        QTest::mouseClick(view, Qt::LeftButton, {}, triangle);
        // As the server's second press comes to the view; the test library's has one more before it.
        QMouseEvent second(QEvent::MouseButtonDblClick, triangle, view->mapToGlobal(triangle), Qt::LeftButton,
                           Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view, &second);
        QTest::mouseRelease(view, Qt::LeftButton, {}, triangle);
        EXPECT_TRUE(Tree().isExpanded(Item({0}))) << selected;
    }
}

TEST_F(TreeDlgTest, RowThatIsCollapsedOverTheSelectedOneIsSelectedInstead)
{
    AddStation();
    ShowDialog();
    Select({0, 0, 1});
    Tree().collapse(Item({0}));
    EXPECT_EQ(Tree().currentIndex(), Item({0}));
    EXPECT_TRUE(Tree().selectionModel()->isSelected(Item({0})));
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), m_Dlg->NodeOf(Item({0})));
    Tree().expandAll();
    Select({0});
    Tree().collapse(Item({0, 0}));
    EXPECT_EQ(Tree().currentIndex(), Item({0})) << "it is still seen";
    AddStation();
    m_Dlg->ReloadTree();
    Select({1, 0, 0});
    Tree().collapse(Item({0}));
    EXPECT_EQ(Tree().currentIndex(), Item({1, 0, 0})) << "beneath another one";
}

TEST_F(TreeDlgTest, NameOfMoreThanFifteenCharactersCantBeTyped)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    edit->selectAll();
    QTest::keyClicks(edit, "a name that is far too long");
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(Text({0}), "a name that is ");
    EXPECT_NE(CNodeModel::GetInstance()->FindByName("a name that is "), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_Notices.empty(); }));
    EXPECT_THAT(m_Notices, ElementsAre(std::pair(TREE_NOTICE_CHANGED, 0)));
}

// A net id may be longer.
TEST_F(TreeDlgTest, LongerNameStaysWhenItsEditEndsWithoutAChange)
{
    QLineEdit* const edit = EditLongerName();
    ASSERT_NE(edit, nullptr);
    EXPECT_EQ(edit->text().toStdString(), "recorder.example.net");
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(Text({0}), "recorder.example.net");
    EXPECT_NE(CNodeModel::GetInstance()->FindByName("recorder.example.net"), nullptr);
}

TEST_F(TreeDlgTest, LongerNameIsOnlyShortenedUntilItIsWithinTheLimit)
{
    QLineEdit* const edit = EditLongerName();
    ASSERT_NE(edit, nullptr);
    QTest::keyClick(edit, Qt::Key_End);
    QTest::keyClick(edit, 'x');
    EXPECT_EQ(edit->text().toStdString(), "recorder.example.net");
    edit->setCursorPosition(9);
    QTest::keyClick(edit, Qt::Key_Backspace);
    EXPECT_EQ(edit->text().toStdString(), "recorderexample.net") << "anywhere";
    QTest::keyClick(edit, '.');
    EXPECT_EQ(edit->text().toStdString(), "recorder.example.net");
    QTest::keyClick(edit, Qt::Key_End);
    for (int i = 0; i < 4; ++i)
        QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClick(edit, 'x');
    EXPECT_EQ(edit->text().toStdString(), "recorder.example");
    for (int i = 0; i < 2; ++i)
        QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, "xyz");
    QTest::keyClick(edit, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return Text({0}) == "recorder.exampx"; })) << Text({0});
}

TEST_F(TreeDlgTest, LongerNameThatComesBackByUndoIsBoundedAsBefore)
{
    QLineEdit* const edit = EditLongerName();
    ASSERT_NE(edit, nullptr);
    QTest::keyClick(edit, Qt::Key_End);
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(edit, Qt::Key_Backspace);
    edit->undo();
    EXPECT_EQ(edit->text().toStdString(), "recorder.example.net");
    edit->setSelection(0, 1);
    QTest::keyClick(edit, 'x');
    EXPECT_EQ(edit->text().toStdString(), "recorder.example.net");
}

// A character beyond the first plane counts as two.
TEST_F(TreeDlgTest, CharacterThatTheLimitWouldHalveIsNotTyped)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    QTest::keyClicks(edit, "abcdefghijklmn");
    QInputMethodEvent event;
    event.setCommitString(QString::fromUtf8("𠮷"));
    QApplication::sendEvent(edit, &event);
    EXPECT_EQ(edit->text().toStdString(), "abcdefghijklmn");
    for (const int caret : {0, 2}) {
        edit->setCursorPosition(caret);
        QApplication::sendEvent(edit, &event);
        EXPECT_EQ(edit->text().toStdString(), "abcdefghijklmn");
        EXPECT_EQ(edit->cursorPosition(), caret);
    }
    QTest::keyClick(edit, Qt::Key_End);
    QTest::keyClick(edit, Qt::Key_Backspace);
    QApplication::sendEvent(edit, &event);
    EXPECT_EQ(edit->text().toStdString(), "abcdefghijklm𠮷");
    edit->setText("a");
    QApplication::clipboard()->setText(QString::fromUtf8("𠮷𠮷𠮷𠮷𠮷𠮷𠮷𠮷"));
    edit->selectAll();
    edit->paste();
    EXPECT_EQ(edit->text().toStdString(), "𠮷𠮷𠮷𠮷𠮷𠮷𠮷");
    EXPECT_EQ(edit->cursorPosition(), 14);
}

TEST_F(TreeDlgTest, TabEndsTheEditAndOpensNoOther)
{
    for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab}) {
        AddStation();
        AddStation();
        m_Dlg.reset();
        ShowDialog();
        QLineEdit* const edit = Edit({0});
        ASSERT_NE(edit, nullptr);
        edit->setText("new");
        QTest::keyClick(edit, key);
        EXPECT_FALSE(Tree().IsEditing());
        EXPECT_TRUE(Tree().hasFocus());
        EXPECT_EQ(Text({0}), "new");
        EXPECT_EQ(Tree().currentIndex(), Item({0}));
        CNodeModel::GetInstance()->DeleteRoot();
    }
}

// An edit of a row that is no station changes the text of the row alone.
TEST_F(TreeDlgTest, EditOfAFolderIsTheRowsAloneAsIntended)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0, 0});
    ASSERT_NE(edit, nullptr);
    edit->setText("new");
    QTest::keyClick(edit, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return Text({0, 0}) == "new"; }));
    EXPECT_NE(CNodeModel::GetInstance()->FindByName("card"), nullptr);
    m_Dlg->ReloadTree();
    EXPECT_EQ(Text({0, 0}), "card");
}

// A link may end by itself at any time.
TEST_F(TreeDlgTest, ChannelThatChangesItsStateLeavesWhatIsTypedForItsName)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0, 0, 0});
    ASSERT_NE(edit, nullptr);
    edit->setText("new");
    static_cast<CRemote*>(CNodeModel::GetInstance()->FindByName("a"))->SetStatus(STATUS_OPEN);
    m_Dlg->RefreshIcons(m_Dlg->GetRootItem());
    EXPECT_EQ(Icon({0, 0, 0}), STATUS_OPEN);
    EXPECT_EQ(edit->text(), "new");
    QTest::keyClick(edit, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return Text({0, 0, 0}) == "new"; }));
}

TEST_F(TreeDlgTest, EmptyNameLeavesAllAsItWas)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    edit->clear();
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(Text({0}), "1001");
    EXPECT_THAT(m_Notices, IsEmpty());
}

TEST_F(TreeDlgTest, LeftPressInTheEditFieldItselfEndsTheEdit)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    edit->setText("new");
    QTest::mousePress(edit, Qt::LeftButton);
    EXPECT_FALSE(Tree().IsEditing());
    EXPECT_TRUE(m_Dlg->Widget()->hasFocus());
    EXPECT_EQ(Text({0}), "new");
}

TEST_F(TreeDlgTest, LeftPressElsewhereEndsTheEditToo)
{
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    edit->setText("new");
    QTest::mouseClick(m_Dlg->Widget(), Qt::LeftButton, {}, {50, 400});
    EXPECT_FALSE(Tree().IsEditing());
    EXPECT_EQ(Text({0}), "new");
}

// Keys come to the panels by the main panel's hook.
TEST_F(TreeDlgTest, ReturnEndsTheEditAndOpensNothing)
{
    CNodeModel::GetInstance()->GetRoot()->Add(new CTcpChannel, nullptr);
    ShowDialog();
    const HHOOK hook = SetWindowsHookExA([](int, WPARAM, MSG& message) {
        if (WalkPreTranslateTree(message) == EPreTranslate::Handled) message.message = WM_NULL;
        return LRESULT{0};
    });
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    edit->setText("new");
    QTest::keyClick(edit, Qt::Key_Return);
    UnhookWindowsHookEx(hook);
    EXPECT_FALSE(Tree().IsEditing());
    EXPECT_TRUE(m_Dlg->Widget()->hasFocus());
    EXPECT_EQ(Text({0}), "new");
    EXPECT_THAT(TreeCalls(), IsEmpty());
    QApplication::processEvents();
    EXPECT_THAT(m_Notices, IsEmpty()) << "only a station takes the name, and tells of it";
}

TEST_F(TreeDlgTest, MenuOfTheEditFieldIsUsedAndEndsNoEdit)
{
    AddStation();
    ShowDialog();
    QApplication::clipboard()->setText("Gate");
    const HHOOK hook = SetWindowsHookExA([](int, WPARAM, MSG& message) {
        if (WalkPreTranslateTree(message) == EPreTranslate::Handled) message.message = WM_NULL;
        return LRESULT{0};
    });
    const QPointer<QLineEdit> edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    for (const bool byKey : {false, true}) {
        edit->selectAll();
        QContextMenuEvent event(QContextMenuEvent::Keyboard, {}, edit->mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(edit, &event);
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        QAction* paste = nullptr;
        for (QAction* action : menu->actions())
            paste = action->text().contains("Paste") ? action : paste;
        ASSERT_NE(paste, nullptr);
        if (byKey) {
            menu->setActiveAction(paste);
            QTest::keyClick(menu, Qt::Key_Return);
        } else {
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(paste).center());
        }
        EXPECT_TRUE(Tree().IsEditing()) << byKey;
        ASSERT_NE(edit, nullptr);
        EXPECT_EQ(edit->text(), "Gate") << byKey;
        edit->setText("new");
    }
    UnhookWindowsHookEx(hook);
}

TEST_F(TreeDlgTest, MenuOfTheEditFieldIsInTheCurrentLanguage)
{
    QDir(m_Home.path()).mkdir("config");
    ASSERT_TRUE(
        QFile::copy(QString::fromStdString(SourcePath("config/chs.ini")), m_Home.filePath("config/chs.ini")));
    CLanguage::Reset();
    CLanguage::SetLanguage("chs");
    AddStation();
    ShowDialog();
    QLineEdit* const edit = Edit({0});
    ASSERT_NE(edit, nullptr);
    QContextMenuEvent event(QContextMenuEvent::Keyboard, {}, edit->mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(edit, &event);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->actions().constFirst()->text().toStdString(), "撤销\tCtrl+Z");
    CLanguage::Reset();
}

}  // namespace
