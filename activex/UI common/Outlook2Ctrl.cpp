#include "activex/UI common/Outlook2Ctrl.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include "platform/files/profile.h"
#include "platform/qt/PanelsThread.h"

namespace
{

constexpr const char* PROFILE_SECTION = "Settings";
constexpr const char* PROFILE_KEY = "OutbarSize";
constexpr int KEY_STEP = 10;  // pixels that a key moves the right edge
constexpr int SLIDE_PAUSE_MS = 30;
constexpr int SLIDE_STEPS = 8;
constexpr int SLIDE_START_BELOW = 10;
constexpr int TRACKER_LEFT = 5;

int LastIfNegative(int index, std::size_t count)
{
    return index < 0 ? static_cast<int>(count) - 1 : index;
}

bool IsIndex(int index, std::size_t count)
{
    return index >= 0 && static_cast<std::size_t>(index) < count;
}

/// The band that follows the mouse while the edge is dragged: inverts what is beneath it, whose it may be.
class CTracker final : public QWidget
{
  public:
    explicit CTracker(QWidget* parent) : QWidget(parent) { setAttribute(Qt::WA_TransparentForMouseEvents); }

  protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setCompositionMode(QPainter::RasterOp_NotDestination);
        painter.fillRect(rect(), Qt::black);
    }
};

// In the order of Tab. One page shows at a time, so the order of the pages themselves is nobody's matter.
void PutBehindBar(QWidget& bar, QWidget& page)
{
    std::vector<QWidget*> order = {&bar, &page};
    for (QWidget* next = page.nextInFocusChain(); next != &page; next = next->nextInFocusChain())
        if (page.isAncestorOf(next)) order.push_back(next);
    std::erase_if(order, [](const QWidget* widget) {
        return widget->focusPolicy() == Qt::NoFocus || widget->focusProxy() != nullptr;
    });
    for (std::size_t i = 1; i < order.size(); ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);
}

}  // namespace

COutlook2Ctrl::COutlook2Ctrl(QWidget* parent, HWND owner)
    : QWidget(parent),
      m_hOwner(owner),
      m_iWidth(GetPrivateProfileIntA(PROFILE_SECTION, PROFILE_KEY, DEFAULT_WIDTH,
                                     GetApplicationProfilePath().c_str()))
{
    COutlook2Ctrl::SetDefaultColors();
    m_PlainFont = QApplication::font();
    m_HotFont = m_PlainFont;
    m_HotFont.setUnderline(true);
    m_TitleFont = m_PlainFont;
    m_TitleFont.setPixelSize(20);
    m_TitleFont.setWeight(QFont::DemiBold);
    setMouseTracking(true);
    setFocusPolicy(Qt::TabFocus);  // by a click the toolkit would give it what a page has no use for
    setMinimumWidth(RESIZE_BAND);  // a collapsed bar keeps the band by which it is dragged back
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_SlideTimer.setInterval(SLIDE_PAUSE_MS);
    connect(&m_SlideTimer, &QTimer::timeout, this, &COutlook2Ctrl::Slide);
    if (QAbstractEventDispatcher* const loop = QAbstractEventDispatcher::instance())
        connect(loop, &QAbstractEventDispatcher::aboutToBlock, this, &COutlook2Ctrl::UpdateLines);
}

COutlook2Ctrl::~COutlook2Ctrl()
{
    delete m_pTracker;
    WritePrivateProfileStringA(PROFILE_SECTION, PROFILE_KEY, std::to_string(m_iWidth).c_str(),
                               GetApplicationProfilePath().c_str());
}

int COutlook2Ctrl::AddFolder(const QString& name, const QIcon& icon, QWidget* child)
{
    ASSERT_PANELS_THREAD();
    auto folder = std::make_unique<COL2Folder>();
    folder->m_strName = name;
    folder->m_Icon = icon;
    m_Folders.push_back(std::move(folder));
    const int index = static_cast<int>(m_Folders.size()) - 1;
    if (child != nullptr) {
        AddItem(index, {});  // the band on top has the name already
        AddSubItem(index, -1, child);
    }
    if (m_iSelected < 0) SelectFolder(index, EAnimation::Off);
    update();
    return index;
}

int COutlook2Ctrl::AddItem(int folder, const QString& name)
{
    ASSERT_PANELS_THREAD();
    folder = LastIfNegative(folder, m_Folders.size());
    if (!IsIndex(folder, m_Folders.size())) return -1;
    auto item = std::make_unique<COL2Item>();
    item->m_strName = name;
    auto& items = m_Folders[static_cast<std::size_t>(folder)]->m_Items;
    items.push_back(std::move(item));
    update();
    return static_cast<int>(items.size()) - 1;
}

COL2Item* COutlook2Ctrl::FindItem(int folder, int item)
{
    folder = LastIfNegative(folder, m_Folders.size());
    if (!IsIndex(folder, m_Folders.size())) return nullptr;
    const auto& items = m_Folders[static_cast<std::size_t>(folder)]->m_Items;
    item = LastIfNegative(item, items.size());
    return IsIndex(item, items.size()) ? items[static_cast<std::size_t>(item)].get() : nullptr;
}

int COutlook2Ctrl::AddSubItem(int folder, int item, const QString& text, const QIcon& icon, ELineStyle style,
                              std::uint32_t command)
{
    ASSERT_PANELS_THREAD();
    COL2Item* const place = FindItem(folder, item);
    if (place == nullptr) return -1;
    auto line = std::make_unique<COL2SubItem>();
    line->m_strText = text;
    line->m_Icon = icon;
    line->m_Style = style;
    line->m_dwCommand = command;
    place->m_SubItems.push_back(std::move(line));
    update();
    return static_cast<int>(place->m_SubItems.size()) - 1;
}

int COutlook2Ctrl::AddSubItem(int folder, int item, QWidget* child, int height)
{
    ASSERT_PANELS_THREAD();
    COL2Item* const place = FindItem(folder, item);
    if (place == nullptr || child == nullptr) return -1;
    auto line = std::make_unique<COL2SubItem>();
    line->m_pChild = child;
    line->m_iChildHeight = height;
    child->setParent(this);
    child->installEventFilter(this);
    child->hide();
    PutBehindBar(*this, *child);
    place->m_SubItems.push_back(std::move(line));
    update();
    return static_cast<int>(place->m_SubItems.size()) - 1;
}

COL2SubItem* COutlook2Ctrl::FindLine(const Hit& hit)
{
    if (hit.kind != EHit::SubItem) return nullptr;
    COL2Item* const item = FindItem(hit.folder, hit.item);
    const bool known = item != nullptr && IsIndex(hit.subItem, item->m_SubItems.size());
    return known ? item->m_SubItems[static_cast<std::size_t>(hit.subItem)].get() : nullptr;
}

COutlook2Ctrl::Hit COutlook2Ctrl::HitTest(const QPoint& point) const
{
    for (int f = 0; f < GetFolderCount(); ++f) {
        const COL2Folder& folder = *m_Folders[static_cast<std::size_t>(f)];
        if (folder.m_Rect.contains(point)) return {EHit::Folder, f, -1, -1};
        for (std::size_t i = 0; i < folder.m_Items.size(); ++i) {
            const COL2Item& item = *folder.m_Items[i];
            if (item.m_Rect.contains(point)) return {EHit::Item, f, static_cast<int>(i), -1};
            for (std::size_t s = 0; s < item.m_SubItems.size(); ++s) {
                if (item.m_SubItems[s]->m_Rect.contains(point))
                    return {EHit::SubItem, f, static_cast<int>(i), static_cast<int>(s)};
            }
        }
    }
    return {};
}

void COutlook2Ctrl::SelectFolder(int index, EAnimation animation)
{
    ASSERT_PANELS_THREAD();
    if (index == m_iSelected || !IsIndex(index, m_Folders.size())) return;
    if (IsSliding()) EndSlide();
    const bool slides = animation == EAnimation::On && width() > RESIZE_BAND && isVisible();
    if (slides) m_OldPage = GrabPage();
    HideChildren();
    m_iSelected = index;
    m_Hot = {};
    m_strTitle = m_Folders[static_cast<std::size_t>(index)]->m_strName;
    setAccessibleName(m_strTitle);
    if (slides) {
        PlaceChildren();
        m_NewPage = GrabPage();
        HideChildren();
        m_iSlideTop = std::max(GetPageRect().height() - SLIDE_START_BELOW, 0);
        m_SlideTimer.start();
    } else {
        PlaceChildren();
    }
    OnFolderChanged();
    emit FolderSelected(index);
    update();
}

void COutlook2Ctrl::Slide()
{
    m_iSlideTop -= std::max(GetPageRect().height() / SLIDE_STEPS, 1);
    if (m_iSlideTop <= 0) EndSlide();
    update();
}

void COutlook2Ctrl::EndSlide()
{
    m_SlideTimer.stop();
    m_OldPage = {};
    m_NewPage = {};
    PlaceChildren();
}

void COutlook2Ctrl::HideChildren()
{
    // Else it would go to the next one in the order of the Tab key, which may be the container's.
    const QWidget* const keyboard = window()->focusWidget();
    if (keyboard != nullptr && isAncestorOf(keyboard)) setFocus(Qt::OtherFocusReason);
    for (const auto& folder : m_Folders) {
        for (const auto& item : folder->m_Items) {
            for (const auto& line : item->m_SubItems) {
                line->m_Rect = {};
                if (line->m_pChild != nullptr) line->m_pChild->hide();
            }
        }
    }
}

std::uint32_t COutlook2Ctrl::AskState(COL2SubItem& line)
{
    COL2CCmdUI update(line);
    if (m_UpdateHandler)
        m_UpdateHandler(update);
    else
        update.Enable(true);
    return update.m_dwState;
}

void COutlook2Ctrl::UpdateLines()
{
    ASSERT_PANELS_THREAD();
    if (!IsIndex(m_iSelected, m_Folders.size())) return;
    for (const auto& item : m_Folders[static_cast<std::size_t>(m_iSelected)]->m_Items) {
        for (const auto& line : item->m_SubItems) {
            if (line->m_pChild != nullptr || !line->IsUpdated()) continue;
            const std::uint32_t state = AskState(*line);
            if (state != line->m_dwState && !line->m_Rect.isEmpty()) update(line->m_Rect);
            line->m_dwState = state;
        }
    }
}

void COutlook2Ctrl::Fire(const COL2SubItem& line)
{
    SendMessageA(m_hOwner, WM_COMMAND, line.m_dwCommand & 0xFFFF, 0);
}

void COutlook2Ctrl::Click(const QPoint& point)
{
    const Hit hit = HitTest(point);
    if (hit.kind == EHit::Folder) {
        SelectFolder(hit.folder, EAnimation::On);
        return;
    }
    COL2SubItem* const line = FindLine(hit);
    if (line == nullptr || line->m_pChild != nullptr) return;
    const bool firesAtOnce = line->m_Style == ELineStyle::Fire || line->m_Style == ELineStyle::FireUpdated;
    if (!firesAtOnce) line->m_dwState = AskState(*line);
    update(line->m_Rect);
    if (firesAtOnce || (line->m_dwState & OL2_STATE_ON) == 0) Fire(*line);  // may change the bar
}

void COutlook2Ctrl::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return;
    delete m_pTracker;  // of a drag whose end never came
    const QPoint at = event->position().toPoint();
    if (at.x() >= width() - RESIZE_BAND) {
        m_iDragOffset = width() - at.x();
        // In the window around the bar, so that it goes beyond a bar that is to become wider.
        m_pTracker = new CTracker(parentWidget() != nullptr ? parentWidget() : this);
        PlaceTracker(at.x());
        m_pTracker->show();
        return;
    }
    if (childAt(at) != nullptr) return;  // one that the page has no use for
    setFocus(Qt::MouseFocusReason);
    Click(at);
}

void COutlook2Ctrl::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    if (m_pTracker != nullptr && (event->buttons() & Qt::LeftButton) != 0) {
        PlaceTracker(at.x());
        return;
    }
    delete m_pTracker;  // of a drag whose release a message box has had that came up meanwhile
    const bool onBand = at.x() >= width() - RESIZE_BAND;
    const Hit hit = onBand || childAt(at) != nullptr ? Hit{} : HitTest(at);
    const bool clickable = hit.kind == EHit::Folder || hit.kind == EHit::SubItem;
    setCursor(onBand ? Qt::SplitHCursor : clickable ? Qt::PointingHandCursor : Qt::ArrowCursor);
    if (hit.kind != EHit::Item) SetHot(hit);
}

void COutlook2Ctrl::mouseReleaseEvent(QMouseEvent* event)
{
    if (m_pTracker == nullptr) return;
    delete m_pTracker;
    SetStoredWidth(static_cast<int>(event->position().x()) + m_iDragOffset);
}

// From five pixels left of the mouse to where the edge would come.
void COutlook2Ctrl::PlaceTracker(int x)
{
    x = std::min(x, m_iWidthLimit - m_iDragOffset);
    const QPoint left(x - TRACKER_LEFT, 0);
    const QPoint place = m_pTracker->parentWidget() == this ? left : mapToParent(left);
    m_pTracker->setGeometry(QRect(place, QSize(TRACKER_LEFT + m_iDragOffset, height())));
    m_pTracker->raise();
}

void COutlook2Ctrl::SetWidthLimit(int limit)
{
    ASSERT_PANELS_THREAD();
    m_iWidthLimit = limit;
    m_iWidth = std::min(m_iWidth, limit);
}

void COutlook2Ctrl::SetStoredWidth(int width)
{
    m_iWidth = std::clamp(width, 0, std::max(m_iWidthLimit, 0));
    OnWidthChanged();
    update();
    emit LayoutRequested();
}

void COutlook2Ctrl::leaveEvent(QEvent*)
{
    SetHot({});
}

// The mouse doesn't leave the bar when it comes to a page, which would show the bar's pointer too.
bool COutlook2Ctrl::eventFilter(QObject* page, QEvent* event)
{
    if (event->type() == QEvent::Enter) {
        SetHot({});
        setCursor(Qt::ArrowCursor);
    }
    return QWidget::eventFilter(page, event);
}

void COutlook2Ctrl::SetHot(const Hit& hit)
{
    const bool same = hit.kind == m_Hot.kind && hit.folder == m_Hot.folder && hit.item == m_Hot.item &&
                      hit.subItem == m_Hot.subItem;
    if (same) return;
    m_Hot = hit;
    update();
}

void COutlook2Ctrl::keyPressEvent(QKeyEvent* event)
{
    const int key = event->key();
    const bool byNumber =
        (event->modifiers() & Qt::ControlModifier) != 0 && key >= Qt::Key_1 && key <= Qt::Key_9;
    if (byNumber)
        SelectFolder(key - Qt::Key_1, EAnimation::On);
    else if (!hasFocus() || !TakeArrow(key))  // an arrow may be one that a control of the page had no use for
        QWidget::keyPressEvent(event);
}

bool COutlook2Ctrl::TakeArrow(int key)
{
    switch (key) {
        case Qt::Key_Up:
            SelectFolder(m_iSelected - 1, EAnimation::On);
            return true;
        case Qt::Key_Down:
            SelectFolder(m_iSelected + 1, EAnimation::On);
            return true;
        case Qt::Key_Left:
            SetStoredWidth(width() - KEY_STEP);
            return true;
        case Qt::Key_Right:
            SetStoredWidth(width() + KEY_STEP);
            return true;
        default:
            return false;
    }
}

void COutlook2Ctrl::resizeEvent(QResizeEvent*)
{
    if (!IsSliding()) PlaceChildren();
}

bool COutlook2Ctrl::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto* const help = static_cast<QHelpEvent*>(event);
        const Hit hit = HitTest(help->pos());
        const QString text = hit.kind == EHit::Folder ? GetFolder(hit.folder).m_strName : QString();
        QToolTip::showText(help->globalPos(), text, this);
        return true;
    }
    return QWidget::event(event);
}
