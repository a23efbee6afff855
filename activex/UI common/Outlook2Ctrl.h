#pragma once

#include <QPixmap>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "activex/UI common/OutlookRecords.h"
#include "platform/windows/windows.h"
#include "skin/theme/PanelColors.h"

/// The side bar: a stack of folder buttons at the bottom, the selected folder's page above them, its name in a
/// band on top. A page holds lines that fire commands and child windows. The right edge is dragged to resize
/// the bar; the width is kept in the application profile. Panels' thread only.
///
/// By keyboard: up and down select a folder, Ctrl with a digit selects it by its number, left and right move
/// the right edge, Tab goes into the page.
class COutlook2Ctrl : public QWidget
{
    Q_OBJECT

  public:
    static constexpr int DEFAULT_WIDTH = 200;
    static constexpr int FOLDER_HEIGHT = 24;
    static constexpr int FOLDER_GAP = 1;
    static constexpr int ITEM_HEIGHT = 24;
    static constexpr int SUBITEM_HEIGHT = 17;
    static constexpr int TITLE_HEIGHT = 35;
    static constexpr int RESIZE_BAND = 4;
    static constexpr int ITEM_GAP = 7;
    static constexpr int SEPARATOR_HEIGHT = 3;
    static constexpr int SEPARATOR_STEP = 8;
    static constexpr int COLLAPSED_BELOW = 5;
    static constexpr int LAYOUT_HEIGHT = 32767;

    /// Where a point lies. Only what the last paint drew can be hit.
    enum class EHit { None = 0, Folder = 1, Item = 2, SubItem = 4 };
    struct Hit {
        EHit kind = EHit::None;
        int folder = -1;
        int item = -1;
        int subItem = -1;
    };

    enum class EAnimation { Off, On };

    /// `owner` gets the lines' commands as WM_COMMAND.
    explicit COutlook2Ctrl(QWidget* parent = nullptr, HWND owner = HWND::Null);
    /// Writes the width to the profile.
    ~COutlook2Ctrl() override;

    /// Adds a folder; `child`, when given, fills its page, else it has no item. Returns its index.
    int AddFolder(const QString& name, const QIcon& icon, QWidget* child = nullptr);
    /// Adds an item to a folder; a negative index means the last folder. Returns its index, -1 for no such
    /// folder.
    int AddItem(int folder, const QString& name);
    /// Adds a line; negative indexes mean the last. Returns its index, -1 for no such place.
    int AddSubItem(int folder, int item, const QString& text, const QIcon& icon, ELineStyle style,
                   std::uint32_t command);
    /// Adds a child window as a line, `height` pixels high (-1: all that is left); negative indexes mean the
    /// last.
    int AddSubItem(int folder, int item, QWidget* child, int height = -1);

    /// Selects a folder; the same or an unknown one changes nothing. With the animation the new page slides in.
    void SelectFolder(int index, EAnimation animation);
    int GetSelectedFolder() const { return m_iSelected; }
    int GetFolderCount() const { return static_cast<int>(m_Folders.size()); }
    const COL2Folder& GetFolder(int index) const { return *m_Folders.at(static_cast<std::size_t>(index)); }
    bool IsSliding() const { return m_SlideTimer.isActive(); }

    /// The stored width by LAYOUT_HEIGHT: what the owner's layout asks for.
    QSize GetLayoutSize() const { return {m_iWidth, LAYOUT_HEIGHT}; }
    /// What the owner's layout has room for: the stored width stays within it.
    void SetWidthLimit(int limit);
    Hit HitTest(const QPoint& point) const;

    /// Asks the owner for the state of every line of the selected folder but those of style Fire; a line
    /// whose state changed is repainted. The bar calls it itself when the event loop has nothing to do.
    void UpdateLines();
    /// Answers for the state of a line; without it every line is enabled.
    void SetUpdateHandler(std::function<void(COL2CCmdUI&)> handler) { m_UpdateHandler = std::move(handler); }

  signals:
    /// The width was dragged; the owner lays out again.
    void LayoutRequested();
    void FolderSelected(int index);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;
    bool eventFilter(QObject* page, QEvent* event) override;

    // In this order a derived bar may change how it looks.
    virtual void DrawFolder(QPainter& painter, const COL2Folder& folder, bool selected, bool hot);
    virtual void DrawItem(QPainter& painter, const COL2Item& item);
    virtual void DrawSubItem(QPainter& painter, const COL2SubItem& line, bool hot);
    virtual void SetDefaultColors();
    virtual void OnFolderChanged() {}
    virtual void OnWidthChanged() {}

  private:
    void ClearRects();
    void DrawTitle(QPainter& painter);
    void LayOutFolders();
    void DrawPage(QPainter& painter, const QRect& page);
    void DrawSeparator(QPainter& painter, const QRect& place);
    void PlaceChildren();
    void PlaceChild(QWidget& child, const QRect& place, int rest);
    void HideChildren();
    void SetStoredWidth(int width);
    void PlaceTracker(int x);
    bool TakeArrow(int key);
    void Click(const QPoint& point);
    std::uint32_t AskState(COL2SubItem& line);
    void Fire(const COL2SubItem& line);
    QPixmap GrabPage();
    void Slide();
    void EndSlide();
    void SetHot(const Hit& hit);
    COL2Item* FindItem(int folder, int item);
    COL2SubItem* FindLine(const Hit& hit);
    QRect GetPageRect() const;

    HWND m_hOwner;
    int m_iWidth;
    int m_iWidthLimit = std::numeric_limits<int>::max();
    QPointer<QWidget> m_pTracker;  // while the edge is dragged
    int m_iDragOffset = 0;
    Hit m_Hot;
    struct Colors {
        Color face, window, page, title, header, line;
    } m_Colors;
    std::vector<std::unique_ptr<COL2Folder>> m_Folders;
    int m_iSelected = -1;
    QString m_strTitle;
    QFont m_PlainFont, m_HotFont, m_TitleFont;
    std::function<void(COL2CCmdUI&)> m_UpdateHandler;

    QTimer m_SlideTimer{this};
    QPixmap m_OldPage, m_NewPage;
    int m_iSlideTop = 0;
};
