#include <gmock/gmock.h>

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QTest>
#include <QWidget>
#include <QWindow>

#include "activex/ActiveXApp.h"
#include "activex/ActiveXCtrl.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "model/NodeModel.h"
#include "model/settings/SystemSettings.h"
#include "platform/qt/Keys.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "render/device/WindowLease.h"
#include "tests/activex/home_support.h"
#include "tests/common/server_windows_support.h"
#include "tests/support/box_catcher.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"
#include "tests/support/test_places.h"

using testing::ElementsAre;

namespace
{

class ControlTest : public testing::Test
{
  protected:
    ~ControlTest() override
    {
        m_pDispatch.Reset();
        QCoreApplication::removePostedEvents(qApp, QEvent::Quit);
    }
    template <typename Control = CActiveXCtrl>
    Control& Create()
    {
        auto* const made = new Control;
        m_pDispatch = CComPtr<IDispatch>(made);
        made->Release();
        return *made;
    }

    CTestHome m_Home;
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CModelState m_Model;
    const CRenderState m_Render{m_pAdapter};
    QWidget m_Container;
    CComPtr<IDispatch> m_pDispatch;
};

TEST_F(ControlTest, ChangedPropertyMarksTheControlModifiedAndIsNotSaved)
{
    CActiveXCtrl& control = Create();
    EXPECT_FALSE(control.IsModified());
    control.Invoke(DISPID_InputParameter, EDispatch::PropertyPut, {"x"}, nullptr);
    EXPECT_TRUE(control.IsModified());
    PropertySet saved;
    control.DoPropExchange(saved);
    EXPECT_EQ(saved.version, 0x10000U);
}

class CSite : public CUnknown<IControlSite>
{
  public:
    explicit CSite(HRESULT container) : m_Container(container) {}
    HRESULT GetContainer(IUnknown** container) override
    {
        ++m_iAsked;
        *container = SUCCEEDED(m_Container) ? this : nullptr;
        if (*container != nullptr) AddRef();
        return m_Container;
    }
    HRESULT OnInPlaceActive(bool active) override
    {
        m_Active.push_back(active);
        return S_OK;
    }
    const HRESULT m_Container;
    int m_iAsked = 0;
    std::vector<bool> m_Active;
};

TEST_F(ControlTest, ContainerIsAskedForAndReleasedAndItsFailureDoesNotMatter)
{
    for (const HRESULT answer : {S_OK, E_FAIL}) {
        CActiveXCtrl& control = Create();
        CSite site(answer);
        control.SetClientSite(&site);
        EXPECT_EQ(control.CreateControlWindow(&m_Container), S_OK);
        EXPECT_EQ(site.m_iAsked, 1);
        EXPECT_TRUE(control.IsUIActive());
        EXPECT_THAT(site.m_Active, ElementsAre(true));
        control.DestroyControlWindow();
        EXPECT_THAT(site.m_Active, ElementsAre(true, false));
        control.SetClientSite(nullptr);
        EXPECT_EQ(site.AddRef(), 2U) << "no reference was kept";
    }
}

TEST_F(ControlTest, ContainerIsToldOfEveryEndWhoeverTakesTheWindowDown)
{
    CActiveXCtrl& control = Create();
    CSite site(S_OK);
    control.SetClientSite(&site);
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    control.DestroyControlWindow();
    auto* const next = new QWidget;
    ASSERT_EQ(control.CreateControlWindow(next), S_OK);
    delete next;
    EXPECT_THAT(site.m_Active, ElementsAre(true, false, true, false));
    EXPECT_EQ(control.GetControlWindow(), nullptr);
    control.SetClientSite(nullptr);
}

// Says something at its end, as a link does that fails while it is closed.
class CTalkingRender final : public CRender
{
  public:
    ~CTalkingRender() override { MessageBoxA(HWND::Null, "the last word", "", MB_OK); }
    std::int32_t DisplayClient(const CodecFrame*, CSurface*, HWND) override { return -1; }
    CSurface* CreateSurface(std::int32_t, std::int32_t) override { return nullptr; }
    void DestroySurface(CSurface*) override {}
    std::int32_t SaveSnapshot(std::string, CSurface*) override { return 0; }
};

TEST_F(ControlTest, NoMessageBoxComesUpWhileItsWindowGoes)
{
    SetRenderFactory([] { return std::make_unique<CTalkingRender>(); });
    const CBoxCatcher boxes;
    CActiveXCtrl& control = Create();
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    control.DestroyControlWindow();
    EXPECT_THAT(boxes.m_Texts, testing::IsEmpty());
    MessageBoxA(HWND::Null, "afterwards", "", MB_OK);
}

TEST_F(ControlTest, MessagesGoToTheSinkOfAContainerWithoutAUser)
{
    struct CSink final : IMessageSink {
        void OnMessage(const std::string& caption, const std::string& text) override
        {
            messages.push_back(caption + "/" + text);
        }
        std::vector<std::string> messages;
    } sink;
    const CBoxCatcher boxes;
    CActiveXCtrl& control = Create();
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    CComPtr<IControlMessages> messages;
    ASSERT_EQ(messages.Query(static_cast<IDispatch&>(control)), S_OK);
    messages->SetMessageSink(&sink);
    EXPECT_EQ(MessageBoxA(control.Handle(), "text", "caption", MB_OK), IDOK);
    EXPECT_THAT(sink.messages, ElementsAre("caption/text"));
    EXPECT_THAT(boxes.m_Texts, testing::IsEmpty());
    messages->SetMessageSink(nullptr);
    MessageBoxA(control.Handle(), "a box again", "", MB_OK);
    EXPECT_THAT(boxes.m_Texts, ElementsAre("a box again"));
    EXPECT_EQ(sink.messages.size(), 1U);
}

TEST_F(ControlTest, PanelStandsWithTheWindowAndFollowsItsSize)
{
    CActiveXCtrl& control = Create();
    EXPECT_EQ(control.GetPanel().Widget(), nullptr);
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    ASSERT_NE(control.GetPanel().Widget(), nullptr);
    control.SetBounds(0, 0, 640, 480);
    m_Container.show();
    QApplication::processEvents();
    EXPECT_EQ(control.GetPanel().Widget()->size(), QSize(640, 480));
    control.DestroyControlWindow();
    EXPECT_EQ(control.GetPanel().Widget(), nullptr);
}

TEST_F(ControlTest, DrawingWithoutADeviceContextNeitherPaintsNorMovesThePanel)
{
    CActiveXCtrl& control = Create();
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    const QRect before = control.GetPanel().Widget()->geometry();
    control.Draw(nullptr, 0, 0, 300, 200);
    EXPECT_EQ(control.GetPanel().Widget()->geometry(), before);
    QImage picture(300, 200, QImage::Format_RGB32);
    QPainter painter(&picture);
    control.Draw(&painter, 0, 0, 300, 200);
    EXPECT_EQ(control.GetPanel().Widget()->geometry(), QRect(0, 0, 300, 200));
}

TEST_F(ControlTest, AClickOnAPanelActivatesAControlThatTheContainersOwnControlHadTakenOverFrom)
{
    CActiveXCtrl& control = Create();
    CSite site(S_OK);
    control.SetClientSite(&site);
    QLineEdit other(&m_Container);
    other.setFocusPolicy(Qt::ClickFocus);  // the first one to have the keyboard is in the panel
    other.move(0, 610);
    m_Container.resize(800, 640);
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    control.SetBounds(0, 0, 800, 600);
    m_Container.show();
    m_Container.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    EXPECT_TRUE(control.IsUIActive());
    other.setFocus();
    EXPECT_FALSE(control.IsUIActive());
    auto* const panel = control.GetPanel().Widget();
    QTest::mouseClick(panel, Qt::LeftButton, {}, QPoint(790, 5));
    EXPECT_TRUE(control.IsUIActive());
    EXPECT_THAT(site.m_Active, ElementsAre(true, true));
    QTest::mouseClick(panel, Qt::LeftButton, {}, QPoint(790, 5));
    EXPECT_THAT(site.m_Active, ElementsAre(true, true)) << "an active one has nothing to do";
    other.setFocus();
    EXPECT_FALSE(control.IsUIActive());
    // A field keeps the press for itself.
    QTest::mouseClick(panel->findChild<QLineEdit*>(), Qt::LeftButton);
    EXPECT_TRUE(control.IsUIActive());
    EXPECT_THAT(site.m_Active, ElementsAre(true, true, true));
    control.DestroyControlWindow();
    control.SetClientSite(nullptr);
}

TEST_F(ControlTest, AContainerThatMerelyGoesToTheBackLeavesItActive)
{
    CActiveXCtrl& control = Create();
    m_Container.resize(800, 600);
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    m_Container.show();
    m_Container.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_Container));
    QWidget front;
    QLineEdit field(&front);
    front.show();
    front.activateWindow();
    field.setFocus();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&front));
    ASSERT_TRUE(field.hasFocus());
    EXPECT_TRUE(control.IsUIActive());
}

struct KeyRow {
    std::uint32_t message;
    WPARAM key;
    EPreTranslate result;
};

// Writes down what is sent to the control's own window.
class CWatchedControl final : public CActiveXCtrl
{
  public:
    std::vector<std::pair<std::uint32_t, WPARAM>> m_Sent;

  protected:
    LRESULT WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam) override
    {
        m_Sent.emplace_back(message, wParam);
        return CActiveXCtrl::WindowProc(message, wParam, lParam);
    }
};

TEST_F(ControlTest, KeysAreRoutedByTheTableAndMessage9LikeThemAsIntended)
{
    auto& control = Create<CWatchedControl>();
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    std::vector<KeyRow> rows;
    for (const std::uint32_t message : {WM_KEYDOWN, WM_KEYUP, std::uint32_t{9}}) {
        rows.push_back({message, VK_RETURN, EPreTranslate::Handled});
        for (WPARAM key = 0x23; key <= 0x28; ++key)
            rows.push_back({message, key, EPreTranslate::Handled});
        for (const WPARAM other : {WPARAM{0x22}, WPARAM{0x29}, WPARAM{0x1B}, WPARAM{'A'}})
            rows.push_back({message, other, EPreTranslate::PassOn});
    }
    rows.push_back({WM_CHAR, VK_RETURN, EPreTranslate::PassOn});
    rows.push_back({WM_CHAR, 'a', EPreTranslate::PassOn});
    rows.push_back({WM_SYSKEYDOWN, VK_RETURN, EPreTranslate::PassOn});
    rows.push_back({WM_UNICHAR, VK_RETURN, EPreTranslate::PassOn});
    rows.push_back({WM_LBUTTONDOWN, 0, EPreTranslate::PassOn});
    for (const KeyRow& row : rows) {
        MSG message;
        message.message = row.message;
        message.wParam = row.key;
        control.m_Sent.clear();
        EXPECT_EQ(control.PreTranslate(message), row.result) << std::hex << row.message << " " << row.key;
        const bool sent = row.result == EPreTranslate::Handled || row.message == WM_CHAR;
        EXPECT_EQ(control.m_Sent.size(), sent ? 1U : 0U) << std::hex << row.message << " " << row.key;
        for (const auto& [number, key] : control.m_Sent) {
            EXPECT_EQ(number, row.message);
            EXPECT_EQ(key, row.key);
        }
    }
}

TEST_F(ControlTest, ItsWindowAnswersReflectedCommandsWithNothing)
{
    constexpr std::uint32_t OCM_COMMAND = 0x2111;
    auto& control = Create<CWatchedControl>();
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    EXPECT_EQ(SendMessageA(control.Handle(), OCM_COMMAND, 6018, 0), 0);
    EXPECT_THAT(control.m_Sent, ElementsAre(testing::Pair(OCM_COMMAND, 6018U)));
    EXPECT_EQ(static_cast<QWidget*>(control.GetControlWindow())->objectName(), "STATIC");
}

TEST_F(ControlTest, ItsDispatchInterfaceIsFoundByItsOwnIdentifierAndItsEventsBearTheirs)
{
    CActiveXCtrl& control = Create();
    CComPtr<IDispatch> dispatch;
    ASSERT_EQ(dispatch.Receive([&](void** object) { return control.QueryInterface(DIID_DActiveX, object); }),
              S_OK);
    EXPECT_EQ(dispatch.Get(), m_pDispatch.Get());
    EXPECT_EQ(control.GetEventInterface(), DIID_DActiveXEvents);
    void* events = nullptr;
    EXPECT_EQ(control.QueryInterface(DIID_DActiveXEvents, &events), E_NOINTERFACE) << "the host's to have";
}

TEST_F(ControlTest, IsClassicUnlessTheContainerAsksBeforeTheWindowIsMade)
{
    CActiveXCtrl& control = Create();
    CComPtr<IControlProfile> profile;
    ASSERT_EQ(profile.Query(static_cast<IDispatch&>(control)), S_OK);
    EXPECT_EQ(GetProfile(), EProfile::Classic);
    EXPECT_EQ(profile->SetProfile("other"), E_INVALIDARG);
    EXPECT_EQ(profile->SetProfile("operator"), S_OK);
    EXPECT_EQ(GetProfile(), EProfile::Operator);
    EXPECT_EQ(profile->SetProfile("classic"), S_OK);
    EXPECT_EQ(GetProfile(), EProfile::Classic);
    ASSERT_EQ(control.CreateControlWindow(&m_Container), S_OK);
    EXPECT_EQ(profile->SetProfile("operator"), E_FAIL);
    EXPECT_EQ(GetProfile(), EProfile::Classic);
}

TEST_F(ControlTest, AFaultOfTheStartUpEndsAtTheControl)
{
    ASSERT_TRUE(QFile::remove(m_Home.File("config/main_layout_800x600.xml")));
    CActiveXCtrl& control = Create();
    EXPECT_EQ(control.CreateControlWindow(&m_Container), E_FAIL);
    EXPECT_EQ(control.GetControlWindow(), nullptr);
    EXPECT_TRUE(m_Container.children().isEmpty());
    QFile::copy(QString::fromStdString(SourcePath("config/main_layout_800x600.xml")),
                m_Home.File("config/main_layout_800x600.xml"));
    EXPECT_EQ(control.CreateControlWindow(&m_Container), S_OK) << "and it may be tried again";
}

TEST_F(ControlTest, TheContainerGetsNoKeyOfTheControl)
{
    struct CContainer : QWidget {
        void keyPressEvent(QKeyEvent* event) override { keys.push_back(event->key()); }
        std::vector<int> keys;
    } container;
    CActiveXCtrl& control = Create();
    ASSERT_EQ(control.CreateControlWindow(&container), S_OK);
    auto* const window = static_cast<QWidget*>(control.GetControlWindow());
    for (const Qt::Key key :
         {Qt::Key_Return, Qt::Key_End, Qt::Key_Home, Qt::Key_Left, Qt::Key_Up, Qt::Key_Right, Qt::Key_Down}) {
        QTest::keyClick(window, key);
        QTest::keyClick(control.GetPanel().Widget(), key);
    }
    EXPECT_THAT(container.keys, testing::IsEmpty());
    QTest::keyClick(window, Qt::Key_PageUp);
    EXPECT_THAT(container.keys, ElementsAre(Qt::Key_PageUp)) << "others are the container's";
    control.DestroyControlWindow();
}

// What is typed into the fields has the colours of the theme.
TEST_F(ControlTest, TheContainersStyleSheetsLeaveTheColoursOfItsFields)
{
    CComPtr<IClassFactory> factory;
    ASSERT_EQ(factory.Receive(
                  [](void** made) { return GetClassObject(CLSID_ActiveXCtrl, IClassFactory::IID, made); }),
              S_OK);
    const auto colours = [&factory](const char* application, const char* window) {
        qApp->setStyleSheet(application);
        QWidget container;
        container.setStyleSheet(window);
        CComPtr<IControlWindow> control;
        EXPECT_EQ(control.Create(*factory), S_OK);
        EXPECT_EQ(control->CreateControlWindow(&container), S_OK);
        container.show();
        std::vector<QRgb> found;
        for (const QLineEdit* const field : container.findChildren<QLineEdit*>()) {
            for (const auto role : {QPalette::Text, QPalette::Base, QPalette::Highlight})
                found.push_back(field->palette().color(role).rgb());
        }
        control->DestroyControlWindow();
        qApp->setStyleSheet({});
        return found;
    };
    const auto plain = colours("", "");
    EXPECT_GE(plain.size(), 15U);
    EXPECT_EQ(colours("#other { color: red; }", ""), plain);
    EXPECT_EQ(colours("", "#other { color: red; }"), plain);
}

// The wall in full screen is a window of its own, which a modal window would keep the keyboard from.
TEST_F(ControlTest, FullScreenIsLeftByKeyboardInAModalWindowOfTheContainerToo)
{
    QDialog container;
    container.setModal(true);
    CActiveXCtrl& control = Create();
    ASSERT_EQ(control.CreateControlWindow(&container), S_OK);
    container.show();
    CRenderWnd& wall = *control.GetPanel().GetGrid();
    QTest::keyClick(&wall, Qt::Key_Escape);
    ASSERT_TRUE(wall.IsFullScreenOn());
    QTest::keyClick(wall.windowHandle(), Qt::Key_Escape);
    EXPECT_FALSE(wall.IsFullScreenOn());
    m_pDispatch.Reset();
}

// As a container does that makes its widgets first and lays them out then.
TEST_F(ControlTest, KeyboardStartsInTheNetIdInAWindowThatItIsPutIntoLaterToo)
{
    for (const bool ofItsOwn : {false, true}) {
        QWidget container;
        auto* const frame = new QWidget;
        auto* const field = new QLineEdit(&container);
        field->setFocusPolicy(ofItsOwn ? Qt::StrongFocus : Qt::NoFocus);
        CActiveXCtrl& control = Create();
        ASSERT_EQ(control.CreateControlWindow(frame), S_OK);
        frame->setParent(&container);
        if (ofItsOwn) field->setFocus();
        container.show();
        container.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&container));
        const QWidget* const address = control.GetPanel().GetLogon().GetDlgItem(CLogonRemoteDlg::ADDRESS);
        EXPECT_EQ(address->hasFocus(), !ofItsOwn);
        EXPECT_EQ(field->hasFocus(), ofItsOwn) << "the container has chosen";
        m_pDispatch.Reset();
    }
}

// The toolkit gives a window that is to stay on top, or no longer, a new X window, and those within go with the
// old.
TEST_F(ControlTest, ItsWindowsComeBackInAContainerThatGetsAnotherPlaceInTheStack)
{
    QWidget container;
    auto* const field = new QLineEdit(&container);
    auto* const frame = new QWidget(&container);
    CActiveXCtrl& control = Create();
    ASSERT_EQ(control.CreateControlWindow(frame), S_OK);
    container.show();
    field->setFocus();
    CRenderWnd& wall = *control.GetPanel().GetGrid();
    const CRenderCell& cell = *wall.GetCell(0);
    const CServerWindows server;
    const auto place = [&server](std::uintptr_t window) { return server.Get(window); };
    const Geometry ofWall = place(wall.winId());
    const Geometry ofCell = place(CWindowHold(cell.Handle()).GetWindow());
    ASSERT_GT(ofCell.width, 0);
    const auto toggle = [&container](bool onTop) {
        container.setWindowFlag(Qt::WindowStaysOnTopHint, onTop);
        container.show();
        QApplication::processEvents();
    };
    for (const bool onTop : {true, false}) {
        toggle(onTop);
        EXPECT_EQ(place(wall.windowHandle()->winId()), ofWall) << onTop;
        EXPECT_EQ(place(CWindowHold(cell.Handle()).GetWindow()), ofCell) << onTop;
        EXPECT_TRUE(cell.isVisible()) << onTop;
        EXPECT_EQ(container.focusWidget(), field) << onTop;
    }
    QTest::keyClick(&wall, Qt::Key_Escape);
    ASSERT_TRUE(wall.IsFullScreenOn());
    toggle(true);
    QTest::keyClick(&wall, Qt::Key_Escape);
    QApplication::processEvents();
    EXPECT_EQ(place(wall.windowHandle()->winId()), ofWall) << "after full screen";
    EXPECT_EQ(place(CWindowHold(cell.Handle()).GetWindow()), ofCell) << "after full screen";
    frame->hide();
    toggle(false);
    frame->show();
    QApplication::processEvents();
    EXPECT_EQ(place(wall.windowHandle()->winId()), ofWall) << "hidden meanwhile";
    m_pDispatch.Reset();
}

}  // namespace
