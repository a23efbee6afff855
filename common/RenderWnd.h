#pragma once

#include <QPointer>
#include <QPushButton>
#include <QWidget>
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "common/GridState.h"
#include "common/WindowPlace.h"
#include "model/layout/LayoutRecords.h"
#include "platform/os/threads.h"
#include "platform/qt/WindowHandle.h"

class CMenu;
class CRender;
class CRenderCell;
class IDevice;

// Messages that the grid's window answers.
inline constexpr std::uint32_t GRID_MESSAGE_SELECT = 0x402;        // cell window, button
inline constexpr std::uint32_t GRID_MESSAGE_DOUBLE_CLICK = 0x403;  // cell window
inline constexpr std::uint32_t GRID_MESSAGE_FULL_SCREEN = 0x405;
inline constexpr std::uint32_t GRID_MESSAGE_FOCUS = 0x7;    // takes the keyboard
inline constexpr std::uint32_t GRID_MESSAGE_TIMER = 0x113;  // timer; only the cycle's own turns the page
inline constexpr LPARAM GRID_BUTTON_LEFT = 0;
inline constexpr LPARAM GRID_BUTTON_RIGHT = 1;
/// Posted to the grid's parent after each selection.
inline constexpr std::uint32_t GRID_NOTICE_SELECTED = 0x1389;

// Commands of the grid.
inline constexpr std::int32_t GRID_COMMAND_BASE = 6000;  // to 6012: that arrangement; buttons add their slot
inline constexpr std::int32_t GRID_COMMAND_LAST_LAYOUT = 6012;
inline constexpr std::int32_t GRID_COMMAND_FIRST_PAGE = 6021;
inline constexpr std::int32_t GRID_COMMAND_PREV_PAGE = 6022;
inline constexpr std::int32_t GRID_COMMAND_NEXT_PAGE = 6024;
inline constexpr std::int32_t GRID_COMMAND_LAST_PAGE = 6025;
inline constexpr std::int32_t GRID_COMMAND_FULL_SCREEN = 7000;
inline constexpr std::int32_t GRID_COMMAND_SNAPSHOT = 7001;

/// The video wall: a child window that holds a fixed set of cell windows and places them by an arrangement,
/// page by page. Streams are drawn straight into the cells by link threads, so it never touches pixels: it
/// decides where the cells are, which of them has the focus, and what a click on one means. It owns the
/// renderer, which it shares with the grid of another control in the process. Panels' thread only.
///
/// By keyboard: the arrow keys move the focus over the page, Return is a double click, the menu key opens the
/// menu, Escape goes in and out of full screen.
class CRenderWnd : public QWidget
{
    Q_OBJECT

  public:
    static constexpr std::size_t BUTTONS = 27;
    static constexpr WPARAM CYCLE_TIMER = 0x401;

    CRenderWnd();
    /// Frees the cells and releases the renderer; link threads that still hold it keep it until they are
    /// done.
    ~CRenderWnd() override;

    /// Builds the grid in `parent` from a copy of the record. `mode` is 1, 2 or 3: it chooses the record's
    /// scale (the second one for 2) and what full screen does (3: the grid leaves its parent). False when there
    /// is no renderer or its Init fails; the user has seen why.
    bool Init(QWidget* parent, const XRenderWnd& record, std::int32_t mode);

    /// Index above 0: that arrangement. -1: the record's default one. 0 or less: full screen on or off. While
    /// locked only a message. 1 always.
    std::int32_t SetLayout(std::int32_t index);
    /// The first arrangement with at least `cells` cells, 4 at the fewest, or the last one.
    void SetLayoutForCount(std::int32_t cells);

    /// Steps over the pages; ignored while locked.
    void NextPage();
    void PrevPage();
    void FirstPage();
    void LastPage();
    /// Turns the page every m_iCycleInterval seconds; ignored while locked.
    void StartCycle();
    void StopCycle();

    /// With `floating` the used cells become windows of their own on top of the others; the unused ones have no
    /// size either way.
    void SetFloat(bool floating);

    std::int32_t GetLayoutCount() const { return m_State.GetLayoutCount(); }
    /// The grid's rectangle in its parent, scaled.
    RECT GetGridRect() const { return m_Rect; }
    void Lock() { m_bLocked = true; }
    void Unlock() { m_bLocked = false; }

    /// Builds the strip of buttons that the record's windows describe, each once; nothing asks for it at
    /// present.
    void CreateButtons();

    const CGridState& GetState() const { return m_State; }
    bool IsFullScreenOn() const { return m_bFullScreen; }
    bool IsCycling() const { return m_iTimer != 0; }
    HWND Handle() const { return m_pHandle != nullptr ? m_pHandle->Get() : HWND::Null; }
    CRenderCell* GetCell(std::size_t index) const { return m_Cells.at(index); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    LRESULT WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam);
    void OnCommand(std::int32_t id);
    void OnSelect(HWND cell, LPARAM button, const QPoint& menuPlace);
    void OnDoubleClick(HWND cell);
    void ShowMenu(const QPoint& place);
    void CopyRecord(const XRenderWnd& record);
    void CreateCells();
    bool TakeRender();
    std::vector<QWidget*> GetSiblings() const;
    float GetScaleX() const { return m_bFullScreen ? m_CellScaleX : 1.0F; }
    float GetScaleY() const { return m_bFullScreen ? m_CellScaleY : 1.0F; }
    void ToggleFullScreen();
    void EnterFullScreen();
    void LeaveFullScreen();
    bool IsAroundContainer(const QObject* watched) const;
    void SetCellFloating(CRenderCell& cell, bool floating);
    void PlaceCells();
    void Redraw();
    bool RefuseWhileLocked();
    void Step(void (CGridState::*step)());
    void MoveFocus(int dx, int dy);
    CRenderCell* GetFocusedCell() const;
    HWND FocusedCell() const;

    std::array<QPointer<QPushButton>, BUTTONS> m_Buttons;
    XRenderWnd m_Record;
    CGridState m_State;
    float m_WindowScaleX = 1.0F;
    float m_WindowScaleY = 1.0F;
    float m_CellScaleX = 1.0F;  // of the cells in full screen
    float m_CellScaleY = 1.0F;
    bool m_bFullScreen = false;
    bool m_bLocked = false;
    bool m_bFloating = false;
    std::int32_t m_iMode = 3;
    RECT m_Rect;
    CWindowPlace m_Place{*this};
    CCriticalSection m_csPage;  // guards page changes; a leaf lock
    std::shared_ptr<CRender> m_pRender;
    bool m_bUsesRender = false;         // counted among the grids that share it
    std::vector<CRenderCell*> m_Cells;  // children of this window
    std::unique_ptr<CWindowHandle> m_pHandle;
    int m_iTimer = 0;

    // what full screen puts back
    QPointer<QWidget> m_pParent;
    QPointer<QWidget> m_pSavedOuter;  // whose placement and state are saved; the parent may have left it
    Qt::WindowFlags m_SavedFlags;
    QPointer<QWidget> m_pSavedBefore;  // whom Tab leaves for the wall
    QRect m_SavedPlacement;
    Qt::WindowStates m_SavedState;
    QPointer<QObject> m_pClosing;  // a window around that is closed, or was asked to
};

/// The last device of the tree whose GetParam(0x37) is this window; null for none. Channels over P2P answer 0
/// to that parameter, so they are never found.
IDevice* FindDeviceByWnd(HWND window);
