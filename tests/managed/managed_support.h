#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <functional>
#include <memory>
#include <optional>

#include "activex/ActiveXCtrl.h"
#include "common/RenderCell.h"
#include "common/RenderWnd.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"
#include "tests/support/render_state.h"
#include "tests/support/test_variable.h"
#include "tests/support/virtual_display.h"
#include "tests/support/window_manager.h"

inline const QRect SCREEN(0, 0, CVirtualDisplay::WIDTH, CVirtualDisplay::HEIGHT);

inline constexpr int TIME_LIMIT_MS = 60000;

/// Serves events until `condition` holds; false after a minute.
bool Until(const std::function<bool()>& condition);

/// The widget's X window; 0 for none. The widget itself isn't told when the toolkit makes it anew.
WId IdOf(const QWidget& widget);
/// As the server has it, without a frame; empty for a widget that isn't shown.
QRect PlaceOnScreen(const QWidget& widget);

/// A container's widget of 800 by 600 with a control in it, whose wall shows four cells. The widget stands when
/// it is made; Place tells where the wall has to be from then on.
class CEmbedded
{
  public:
    explicit CEmbedded(QWidget& frame);

    CRenderWnd& Wall() const { return *m_pControl->GetPanel().GetGrid(); }
    HWND PanelWindow() const { return m_pControl->GetPanel().Handle(); }
    QWidget& Frame() const { return m_Frame; }
    void End() { m_pWindow.Reset(); }

    QRect WallOnScreen() const { return PlaceOnScreen(Wall()); }
    QRect CellOnScreen(std::size_t cell) const { return PlaceOnScreen(*Wall().GetCell(cell)); }

  private:
    QWidget& m_Frame;
    CActiveXCtrl* m_pControl;  // m_pWindow's
    CComPtr<IControlWindow> m_pWindow;
};

/// Controls under the window manager, whose cells show a picture of one colour, and a user in front, who acts
/// by mouse and keyboard. What the steps wait for is a condition; they answer false when it doesn't come about.
class ManagedTest : public testing::Test
{
  protected:
    ManagedTest();
    ~ManagedTest() override;

    /// Shows the window at that place and waits until it is there and active.
    bool Show(QWidget& window, const QPoint& place = {150, 120});
    /// Whether the wall covers the screen, and nothing covers it.
    bool IsFull(const CEmbedded& embedded) const;
    /// Whether the wall stands in its frame again, at its place there and with its cells painted.
    bool IsBack(const CEmbedded& embedded) const;
    bool ComesFull(const CEmbedded& embedded)
    {
        return Until([&] { return IsFull(embedded); });
    }
    bool ComesBack(const CEmbedded& embedded)
    {
        return Until([&] { return IsBack(embedded); });
    }
    bool ComesToHaveKeyboard(const CEmbedded& embedded);
    /// Escape, once the keyboard is the wall's.
    bool PressEscape(const CEmbedded& embedded);
    /// However late the second click comes.
    void DoubleClick(const QPoint& place);
    /// Right click on a cell and a click on the entry of that text.
    bool Choose(const CEmbedded& embedded, const char* entry);
    /// Returns when the window manager and this program have served each other's messages.
    void Settle() const;
    bool ShowsPicture(const QRect& area) const;

    CTestHome m_Home;
    const CModelState m_Model;
    const CTestVariable m_Locale{"LC_ALL", "C"};
    std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
    const CRenderState m_Render{m_pAdapter};
    CScreen m_Screen{qgetenv("DISPLAY").toStdString()};
    CWindowManager& m_Manager = CWindowManager::Get();
};

/// A container with a control in it, on the screen.
class EmbeddedTest : public ManagedTest
{
  protected:
    EmbeddedTest() { m_Container.resize(800, 600); }
    void SetUp() override
    {
        m_Embedded.emplace(m_Container);
        ASSERT_TRUE(Show(m_Container));
        m_Embedded->Wall().setFocus();
        ASSERT_TRUE(ComesBack(*m_Embedded));
    }
    /// By the keyboard.
    bool EnterFullScreen() { return PressEscape(*m_Embedded) && ComesFull(*m_Embedded); }
    bool LeaveFullScreen() { return PressEscape(*m_Embedded) && ComesBack(*m_Embedded); }

    QWidget m_Container;
    std::optional<CEmbedded> m_Embedded;
};
