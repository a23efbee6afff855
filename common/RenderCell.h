#pragma once

#include <QImage>
#include <QWidget>

#include "common/WindowPlace.h"
#include "platform/qt/WindowHandle.h"
#include "render/device/WindowLease.h"

/// One cell window of the wall: the picture of an empty cell until a stream draws into it. A native window,
/// lent to the renderer from when the X server knows it until it goes; while a stream draws the toolkit never
/// paints over it, but for what the window has lost. Panels' thread only.
///
/// A click is sent to the grid as a message (RenderWnd.h) and then the grid gets the keyboard.
class CRenderCell : public QWidget
{
    Q_OBJECT

  public:
    CRenderCell(QWidget* grid, HWND gridWindow);
    /// Takes the empty picture of all its grid's cells down, and asks the host's message loop to end, as the
    /// cell's window procedure always did.
    ~CRenderCell() override;

    HWND Handle() const { return m_Handle.Get(); }

    /// The cell window that was clicked last, process-wide; Null before the first click.
    static HWND GetLastClicked();

    /// Where it stands in the grid, and stays; a floating one is left alone from then on.
    void Put(const QRect& place) { m_Place.Put(place); }

    /// None: while a stream draws the window is the renderer's, and until then it is painted in the toolkit's
    /// memory.
    QPaintEngine* paintEngine() const override { return nullptr; }

    void setVisible(bool visible) override;

  protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    LRESULT WindowProc(std::uint32_t message);
    void Click(std::uint32_t message, LPARAM button);
    void LendWindow();
    void LosePicture(const QRegion& part);

    const HWND m_hGrid;
    CWindowHandle m_Handle;
    CWindowLease m_Lease{m_Handle.Get()};
    CWindowPlace m_Place{*this};
};
