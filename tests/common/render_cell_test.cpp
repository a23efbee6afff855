#include <QImage>
#include <QMenu>
#include <fstream>
#include <set>

#include "common/BitmapFile.h"
#include "inc/OutputDebugString.h"
#include "model/NodeModel.h"
#include "platform/os/paths.h"
#include "remote/Remote.h"
#include "tests/common/render_wnd_support.h"
#include "tests/support/test_variable.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What cells show, and what clicks and keys on them mean.

namespace
{

// A picture in four colours, each a quarter of 352 by 288; `size` adds white above and to the right.
void SavePicture(const QString& path, const QSize& size = {352, 288})
{
    QImage picture(size, QImage::Format_RGB888);
    picture.fill(Qt::white);
    const int top = size.height() - 288;
    for (int y = 0; y < 288; ++y) {
        for (int x = 0; x < 352; ++x)
            picture.setPixelColor(x, top + y,
                                  y < 144 ? (x < 176 ? Qt::red : Qt::green) : (x < 176 ? Qt::blue : Qt::black));
    }
    ASSERT_TRUE(picture.save(path, "BMP"));
}

std::set<QRgb> ColoursOf(const QImage& picture)
{
    std::set<QRgb> colours;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            colours.insert(picture.pixel(x, y));
    }
    return colours;
}

TEST_F(RenderWndTest, EmptyCellShowsTheWholePictureWithoutSmoothing)
{
    SavePicture(m_Home.filePath("dvr.bmp"));
    const QImage shown = Grid().GetCell(0)->grab().toImage();
    EXPECT_EQ(shown.size(), QSize(396, 296));
    EXPECT_EQ(shown.pixelColor(0, 0), Qt::red);
    EXPECT_EQ(shown.pixelColor(395, 0), Qt::green);
    EXPECT_EQ(shown.pixelColor(0, 295), Qt::blue);
    EXPECT_EQ(shown.pixelColor(395, 295), Qt::black);
    EXPECT_EQ(ColoursOf(shown).size(), 4U);
}

TEST_F(RenderWndTest, OfALargerPictureTheLowerLeftPartIsShown)
{
    SavePicture(m_Home.filePath("dvr.bmp"), {400, 400});
    const QImage shown = Grid().GetCell(0)->grab().toImage();
    EXPECT_EQ(shown.pixelColor(0, 0), Qt::red);
    EXPECT_EQ(shown.pixelColor(395, 295), Qt::black);
    EXPECT_EQ(ColoursOf(shown).size(), 4U);
}

// Else what the window showed in its former place would stay there.
TEST_F(RenderWndTest, OfASmallerPictureTheRestIsTheCellsGround)
{
    QImage picture(100, 100, QImage::Format_RGB888);
    picture.fill(Qt::yellow);
    ASSERT_TRUE(picture.save(m_Home.filePath("dvr.bmp"), "BMP"));
    const QImage shown = Grid().GetCell(0)->grab().toImage();
    EXPECT_THAT(ColoursOf(shown), ElementsAre(qRgb(1, 2, 3), qRgb(255, 255, 0)));
    EXPECT_EQ(shown.pixelColor(0, 295), Qt::yellow);
    EXPECT_EQ(shown.pixelColor(395, 0), QColor(1, 2, 3));
}

TEST_F(RenderWndTest, MissingOrBadPictureLeavesCellsInTheirGround)
{
    EXPECT_THAT(ColoursOf(Grid().GetCell(0)->grab().toImage()), ElementsAre(qRgb(1, 2, 3)));
    m_Grid.reset();
    std::ofstream(m_Home.filePath("dvr.bmp").toStdString()) << "BMno size that fits";
    EXPECT_THAT(ColoursOf(Grid().GetCell(0)->grab().toImage()), ElementsAre(qRgb(1, 2, 3)));
}

TEST_F(RenderWndTest, BitmapFileIsTakenOnlyWhole)
{
    const std::string path = SystemPath(m_Home.filePath("dvr.bmp").toStdString());
    EXPECT_EQ(LoadBitmapFile(path), nullptr) << "missing";
    SavePicture(m_Home.filePath("dvr.bmp"));
    const auto whole = LoadBitmapFile(path);
    ASSERT_NE(whole, nullptr);
    QFile file(m_Home.filePath("dvr.bmp"));
    ASSERT_TRUE(file.resize(static_cast<qint64>(whole->bytes.size()) - 1));
    EXPECT_EQ(LoadBitmapFile(path), nullptr) << "cut";
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("MB garbage that is long enough");
    file.close();
    EXPECT_EQ(LoadBitmapFile(path), nullptr);
    EXPECT_TRUE(Grid().GetCell(0)->grab().toImage().pixelColor(5, 5).isValid());
}

TEST_F(RenderWndTest, MissingOrBadPictureHasOneLineInTheLogForAllCells)
{
    std::vector<std::string> lines;
    const CDebugListener former = SetDebugListener([&lines](std::string_view text) {
        if (text.find("dvr.bmp") != std::string_view::npos) lines.emplace_back(text);
    });
    SavePicture(m_Home.filePath("dvr.bmp"));
    Grid();
    EXPECT_THAT(lines, IsEmpty());
    m_Grid.reset();
    // The size fits, and it is no picture all the same.
    std::ofstream(m_Home.filePath("dvr.bmp").toStdString())
        << std::string("BM\x10\0\0\0", 6) << std::string(10, 'x');
    EXPECT_NE(LoadBitmapFile(SystemPath(m_Home.filePath("dvr.bmp").toStdString())), nullptr);
    Grid();
    SetDebugListener(former);
    EXPECT_THAT(lines, ElementsAre(AllOf(HasSubstr(" Warning "), HasSubstr("(CRenderCell::LoadPicture, "))));
}

// oddity: picture-goes-with-any-cell. The picture is loaded once for all cells, and goes with whichever goes
// first.
TEST_F(RenderWndTest, PictureIsLoadedByTheFirstCellAndGoesWithAnyCell)
{
    SavePicture(m_Home.filePath("dvr.bmp"));
    CRenderWnd& grid = Grid();
    QImage white(352, 288, QImage::Format_RGB888);
    white.fill(Qt::white);
    ASSERT_TRUE(white.save(m_Home.filePath("dvr.bmp"), "BMP"));
    auto another = std::make_unique<CRenderCell>(&grid, grid.Handle());
    EXPECT_EQ(ColoursOf(grid.GetCell(0)->grab().toImage()).size(), 4U);
    another.reset();
    EXPECT_THAT(ColoursOf(grid.GetCell(0)->grab().toImage()), ElementsAre(qRgb(1, 2, 3)));
}

class CQuitCatcher : public QObject
{
  public:
    CQuitCatcher() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched != qApp || event->type() != QEvent::Quit) return false;
        m_bAsked = true;
        return true;
    }
    bool m_bAsked = false;
};

TEST_F(RenderWndTest, CellEndQuitsWhateverOtherWindowsThereAre)
{
    Grid();
    CQuitCatcher quit;
    QCoreApplication::sendPostedEvents(qApp, QEvent::Quit);
    EXPECT_FALSE(quit.m_bAsked);
    m_Grid.reset();
    QCoreApplication::sendPostedEvents(qApp, QEvent::Quit);
    EXPECT_TRUE(quit.m_bAsked);
}

TEST_F(RenderWndTest, OutlinesAndGroundAreDrawnInTheirColours)
{
    XRenderWnd record = MakeGridRecord({3});  // the lower right quarter stays free
    m_Grid.emplace();
    ASSERT_TRUE(m_Grid->Init(m_pParent.get(), record, 3));
    m_Grid->SetLayout(2);
    const QImage shown = m_Grid->grab().toImage();
    for (const int x : {198, 199, 200, 201})
        EXPECT_EQ(shown.pixelColor(x, 75), QColor(0x32, 0x32, 0x32)) << x;
    EXPECT_EQ(shown.pixelColor(300, 225), QColor(0x26, 0x29, 0x2E));
}

TEST_F(RenderWndTest, FocusFrameInvertsTheOutlineAndGoesWithTheFocus)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    const QColor outline(0x32, 0x32, 0x32);
    EXPECT_EQ(grid.grab().toImage().pixelColor(200, 75), outline);
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    // Neither bit or both bits of the pen's 0x7F in red: the outline's 0x32 becomes 0xB2, the others their
    // complement.
    EXPECT_EQ(grid.grab().toImage().pixelColor(200, 75), QColor(0xB2, 0xCD, 0xCD));
    QTest::mouseClick(grid.GetCell(2), Qt::LeftButton);
    EXPECT_EQ(grid.grab().toImage().pixelColor(200, 75), outline);
    EXPECT_EQ(grid.grab().toImage().pixelColor(200, 225), QColor(0xB2, 0xCD, 0xCD));
}

TEST_F(RenderWndTest, EachClickPostsItsNoticeToTheParentTheRightOneToo)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::mouseClick(grid.GetCell(1), Qt::RightButton);
    Serve();
    EXPECT_THAT(m_Notices, ElementsAre(0x1389U));
    QApplication::activePopupWidget()->close();
}

// Between two cells lie four pixels of outline; the frame takes two of them.
TEST_F(RenderWndTest, FocusFrameIsTwoPixelsWideWithinAnOutlineOfFour)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    const QImage shown = grid.grab().toImage();
    std::vector<int> framed;
    for (const int x : {198, 199, 200, 201}) {
        if (shown.pixelColor(x, 75) == QColor(0xB2, 0xCD, 0xCD))
            framed.push_back(x);
        else
            EXPECT_EQ(shown.pixelColor(x, 75), QColor(0x32, 0x32, 0x32)) << x;
    }
    EXPECT_THAT(framed, ElementsAre(199, 200));
}

struct LanguageRow {
    const char* locale;
    const char* file;
};

class GridMenuTest : public RenderWndTest, public testing::WithParamInterface<LanguageRow>
{
  protected:
    GridMenuTest()
    {
        QDir(m_Home.path()).mkdir("config");
        for (const std::string name : {"chs", "cht", "eng"})
            std::ofstream(m_Home.filePath("config/").toStdString() + name + ".ini")
                << "[String]\nIDS_FullScreen=" << name << " in\nIDS_QuitFullScreen=" << name
                << " out\nIDS_Snapshot=" << name << " photo\n";
    }
    std::vector<std::string> MenuTexts(CRenderWnd& grid)
    {
        QTest::mouseClick(grid.GetCell(0), Qt::RightButton);
        std::vector<std::string> texts;
        if (auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            for (const QAction* action : menu->actions())
                texts.push_back(action->text().toStdString());
            menu->close();
        }
        return texts;
    }
    const CTestVariable m_Locale{"LC_ALL", GetParam().locale};
};

TEST_P(GridMenuTest, TextsAreOfTheSystemsLanguageAndOfTheState)
{
    CRenderWnd& grid = Grid();
    const std::string file = GetParam().file;
    EXPECT_THAT(MenuTexts(grid), ElementsAre(file + " in", file + " photo"));
    grid.SetLayout(0);
    EXPECT_THAT(MenuTexts(grid), ElementsAre(file + " out", file + " photo"));
    grid.SetLayout(0);
}

INSTANTIATE_TEST_SUITE_P(Locales, GridMenuTest,
                         testing::Values(LanguageRow{"zh_CN", "chs"}, LanguageRow{"zh_TW", "cht"},
                                         LanguageRow{"zh_HK", "cht"}, LanguageRow{"en_US", "eng"},
                                         LanguageRow{"de_DE", "eng"}));

// A device that wants to know whether its cell is shown alone, and takes snapshots.
class CWideDevice : public CRemote
{
  public:
    explicit CWideDevice(bool asks) : m_bAsks(asks) {}
    bool Slot23() override { return m_bAsks; }
    std::int32_t SetParam(std::int32_t id, std::int32_t value) override
    {
        if (id == 7) m_Told.push_back(value);
        return CRemote::SetParam(id, value);
    }
    void SnapShot() override { ++m_iSnapshots; }
    const bool m_bAsks;
    std::vector<std::int32_t> m_Told;
    int m_iSnapshots = 0;
};

TEST_F(RenderWndTest, DeviceThatAsksForItIsToldWhenItsCellIsAloneAndWhenNot)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    for (const bool asks : {true, false}) {
        auto* const device = new CWideDevice(asks);
        CNodeModel::GetInstance()->GetRoot()->Add(device, nullptr);
        const HWND window = TakeFreeCell();
        device->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(window));
        CRenderCell* const cell = grid.GetCell(asks ? 0 : 1);
        QTest::mouseClick(cell, Qt::LeftButton);
        QTest::mouseDClick(cell, Qt::LeftButton);
        QTest::mouseDClick(cell, Qt::LeftButton);
        EXPECT_EQ(device->m_Told, asks ? std::vector<std::int32_t>({1, 0}) : std::vector<std::int32_t>());
    }
}

// oddity: double-click-by-focus. Alone comes the cell with the focus.
TEST_F(RenderWndTest, DeviceThatIsToldIsThatOfTheCellThatTheDoubleClickIsSentFor)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    std::vector<CWideDevice*> devices;
    for (int i = 0; i < 2; ++i) {
        devices.push_back(new CWideDevice(true));
        CNodeModel::GetInstance()->GetRoot()->Add(devices.back(), nullptr);
        devices.back()->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(TakeFreeCell()));
    }
    QTest::mouseClick(grid.GetCell(1), Qt::LeftButton);
    SendMessageA(grid.Handle(), GRID_MESSAGE_DOUBLE_CLICK, static_cast<WPARAM>(grid.GetCell(0)->Handle()), 0);
    EXPECT_EQ(grid.GetState().GetPage(), 1);
    EXPECT_THAT(devices[0]->m_Told, ElementsAre(1));
    EXPECT_THAT(devices[1]->m_Told, testing::IsEmpty());
}

TEST_F(RenderWndTest, SnapshotCommandReachesTheDeviceInTheFocusedCell)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    auto* const device = new CWideDevice(false);
    CNodeModel::GetInstance()->GetRoot()->Add(device, nullptr);
    device->SetParam(PARAM_RENDER_WND, static_cast<std::int32_t>(TakeFreeCell()));
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_SNAPSHOT, 0);
    EXPECT_EQ(device->m_iSnapshots, 0) << "no cell has the focus";
    QTest::mouseClick(grid.GetCell(1), Qt::LeftButton);
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_SNAPSHOT, 0);
    EXPECT_EQ(device->m_iSnapshots, 0) << "another cell has it";
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    SendMessageA(grid.Handle(), WM_COMMAND, GRID_COMMAND_SNAPSHOT, 0);
    EXPECT_EQ(device->m_iSnapshots, 1);
}

TEST_F(RenderWndTest, ReturnIsADoubleClickAndTheMenuKeyOpensTheMenu)
{
    CRenderWnd& grid = Grid();
    grid.SetLayout(2);
    TakeFreeCell();
    QTest::keyClick(&grid, Qt::Key_Return);
    EXPECT_EQ(grid.GetState().GetLayout(), 2) << "no cell has the focus";
    QTest::keyClick(&grid, Qt::Key_Right);
    QTest::keyClick(&grid, Qt::Key_Menu);
    ASSERT_NE(QApplication::activePopupWidget(), nullptr);
    EXPECT_EQ(QApplication::activePopupWidget()->pos(),
              grid.GetCell(0)->mapToGlobal(grid.GetCell(0)->rect().center()))
        << "in the middle of its cell";
    QApplication::activePopupWidget()->close();
    QTest::keyClick(&grid, Qt::Key_Return);
    EXPECT_EQ(grid.GetState().GetLayout(), 1);
}

TEST_F(RenderWndTest, ClickOnACellGivesTheGridTheKeyboard)
{
    CRenderWnd& grid = Grid();
    m_pParent->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pParent.get()));
    m_pParent->setFocusPolicy(Qt::StrongFocus);
    m_pParent->setFocus();
    ASSERT_FALSE(grid.hasFocus());
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    EXPECT_TRUE(grid.hasFocus());
}

// The toolkit gives the keyboard to a clicked cell's parent by itself, but not out of another window.
TEST_F(RenderWndTest, ClickOnAFloatingCellGivesTheGridTheKeyboardToo)
{
    CRenderWnd& grid = Grid();
    TakeFreeCell();
    grid.SetFloat(true);
    m_pParent->setFocusPolicy(Qt::StrongFocus);
    m_pParent->setFocus();
    ASSERT_NE(m_pParent->focusWidget(), &grid);
    QTest::mouseClick(grid.GetCell(0), Qt::LeftButton);
    EXPECT_EQ(m_pParent->focusWidget(), &grid);
}

}  // namespace
