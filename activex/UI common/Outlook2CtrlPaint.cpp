#include <QPainter>

#include "activex/UI common/Outlook2Ctrl.h"
#include "skin/SkinPaint.h"

using namespace panel_color;

// How the side bar is laid out and painted. Widget painting goes through the toolkit's off-screen picture, so
// nothing flickers; children are moved by the layout, before the paint that would show them.

namespace
{

constexpr int TEXT_MARGIN = 8;
constexpr int ICON_SIZE = 16;
constexpr int LINE_INDENT = 12;

QBrush Vertical(const QRect& place, Color top, Color bottom)
{
    return ToBrush({top, bottom}, place);
}

}  // namespace

void COutlook2Ctrl::SetDefaultColors()
{
    m_Colors = {GROUND, GROUND, GROUND, GROUND, GROUND, GROUND};
}

QRect COutlook2Ctrl::GetPageRect() const
{
    const int buttons = GetFolderCount() * (FOLDER_HEIGHT + FOLDER_GAP);
    return {0, TITLE_HEIGHT, width() - RESIZE_BAND, std::max(height() - TITLE_HEIGHT - buttons, 0)};
}

void COutlook2Ctrl::ClearRects()
{
    for (const auto& folder : m_Folders) {
        folder->m_Rect = {};
        for (const auto& item : folder->m_Items) {
            item->m_Rect = {};
            for (const auto& line : item->m_SubItems)
                line->m_Rect = {};
        }
    }
}

// From the bottom upward, the last folder lowest: each keeps its place on the screen.
void COutlook2Ctrl::LayOutFolders()
{
    int top = height();
    for (auto folder = m_Folders.rbegin(); folder != m_Folders.rend(); ++folder) {
        top -= FOLDER_HEIGHT;
        (*folder)->m_Rect = QRect(0, top, width() - RESIZE_BAND, FOLDER_HEIGHT);
        top -= FOLDER_GAP;
    }
}

// Gives every record of the selected page its rectangle and moves the children to theirs; what lies below the
// page's end gets none.
void COutlook2Ctrl::PlaceChildren()
{
    ClearRects();
    if (width() < COLLAPSED_BELOW) {
        HideChildren();
        return;
    }
    LayOutFolders();
    if (m_iSelected < 0) return;
    const QRect page = GetPageRect();
    int top = page.top();
    bool first = true;
    for (const auto& item : m_Folders[static_cast<std::size_t>(m_iSelected)]->m_Items) {
        if (!first) top += ITEM_GAP;
        first = false;
        if (top > page.bottom()) return;
        const int head = item->m_strName.isEmpty() ? SEPARATOR_STEP : ITEM_HEIGHT;
        item->m_Rect = QRect(page.left(), top, page.width(), head) & page;
        top += head;
        for (const auto& line : item->m_SubItems) {
            const int left = page.bottom() + 1 - top;
            if (left <= 0) return;
            int high = SUBITEM_HEIGHT;
            if (line->m_pChild != nullptr) high = line->m_iChildHeight < 0 ? left : line->m_iChildHeight;
            line->m_Rect = QRect(page.left(), top, page.width(), high) & page;
            if (line->m_pChild != nullptr) {
                PlaceChild(*line->m_pChild, QRect(page.left(), top, page.width(), high), left);
            }
            top += high;
        }
    }
}

// A child keeps its height; of one that is taller than the rest of the page only that rest is seen.
void COutlook2Ctrl::PlaceChild(QWidget& child, const QRect& place, int rest)
{
    child.setGeometry(place);
    if (place.height() > rest)
        child.setMask(QRect(0, 0, place.width(), rest));
    else
        child.clearMask();
    child.show();
}

void COutlook2Ctrl::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setLayoutDirection(layoutDirection());  // it begins with the host's
    if (width() < COLLAPSED_BELOW) {
        ClearRects();
        painter.fillRect(rect(), ToQColor(m_Colors.window));
        return;
    }
    if (!IsSliding()) PlaceChildren();
    painter.fillRect(rect(), ToQColor(m_Colors.face));
    DrawTitle(painter);
    for (int i = 0; i < GetFolderCount(); ++i) {
        const bool hot = m_Hot.kind == EHit::Folder && m_Hot.folder == i;
        DrawFolder(painter, *m_Folders[static_cast<std::size_t>(i)], i == m_iSelected, hot);
    }
    const QRect page = GetPageRect();
    painter.save();
    painter.setClipRect(page);
    if (IsSliding()) {
        painter.drawPixmap(page.topLeft(), m_OldPage);
        painter.drawPixmap(page.left(), page.top() + m_iSlideTop, m_NewPage);
    } else {
        DrawPage(painter, page);
    }
    painter.restore();

    const QRect band(width() - RESIZE_BAND, 0, RESIZE_BAND, height());
    painter.fillRect(band, ToQColor(PLAIN_BOTTOM));
}

void COutlook2Ctrl::DrawTitle(QPainter& painter)
{
    const QRect band(0, 0, width() - RESIZE_BAND, TITLE_HEIGHT);
    painter.fillRect(band, Vertical(band, PLAIN_TOP, m_Colors.title));
    painter.setFont(m_TitleFont);
    painter.setPen(ToQColor(INK));
    const QRect place = band.adjusted(TEXT_MARGIN, 0, -TEXT_MARGIN, 0);
    painter.drawText(place, Qt::AlignVCenter | Qt::TextSingleLine,
                     QFontMetrics(m_TitleFont).elidedText(m_strTitle, Qt::ElideRight, place.width()));
}

void COutlook2Ctrl::DrawFolder(QPainter& painter, const COL2Folder& folder, bool selected, bool hot)
{
    const QRect& place = folder.m_Rect;
    const bool lit = selected || hot;
    painter.fillRect(place,
                     lit ? Vertical(place, LIT_TOP, LIT_BOTTOM) : Vertical(place, PLAIN_TOP, PLAIN_BOTTOM));
    const QRect icon(place.left() + TEXT_MARGIN, place.center().y() - ICON_SIZE / 2 + 1, ICON_SIZE, ICON_SIZE);
    folder.m_Icon.paint(&painter, icon, Qt::AlignCenter, lit ? QIcon::Selected : QIcon::Normal);
    painter.setFont(hot && !selected ? m_HotFont : m_PlainFont);
    painter.setPen(ToQColor(lit ? LIT_INK : INK));
    // A little above the middle: towards the bottom a lit button is too dark for its ink.
    const QRect text = place.adjusted(2 * TEXT_MARGIN + ICON_SIZE, 0, -TEXT_MARGIN, -4);
    painter.drawText(text, Qt::AlignVCenter | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(folder.m_strName, Qt::ElideRight, text.width()));
    if (selected && hasFocus()) PaintFocus(painter, place, LIT_INK);
}

void COutlook2Ctrl::DrawPage(QPainter& painter, const QRect& page)
{
    painter.fillRect(page, ToQColor(m_Colors.page));
    if (m_iSelected < 0) return;
    const auto& items = m_Folders[static_cast<std::size_t>(m_iSelected)]->m_Items;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i]->m_Rect.isEmpty()) return;
        if (items[i]->m_strName.isEmpty())
            DrawSeparator(painter, items[i]->m_Rect);
        else
            DrawItem(painter, *items[i]);
        for (std::size_t s = 0; s < items[i]->m_SubItems.size(); ++s) {
            const COL2SubItem& line = *items[i]->m_SubItems[s];
            const bool hot = m_Hot.kind == EHit::SubItem && m_Hot.item == static_cast<int>(i) &&
                             m_Hot.subItem == static_cast<int>(s);
            if (line.m_pChild == nullptr && !line.m_Rect.isEmpty()) DrawSubItem(painter, line, hot);
        }
    }
}

void COutlook2Ctrl::DrawSeparator(QPainter& painter, const QRect& place)
{
    const int top = place.top() + (SEPARATOR_STEP - SEPARATOR_HEIGHT) / 2;
    painter.fillRect(QRect(place.left(), top, place.width(), SEPARATOR_HEIGHT), ToQColor(PLAIN_BOTTOM));
}

void COutlook2Ctrl::DrawItem(QPainter& painter, const COL2Item& item)
{
    painter.fillRect(item.m_Rect, Vertical(item.m_Rect, PLAIN_TOP, m_Colors.header));
    painter.setFont(m_PlainFont);
    painter.setPen(ToQColor(INK));
    painter.drawText(item.m_Rect.adjusted(TEXT_MARGIN, 0, 0, 0), Qt::AlignVCenter | Qt::TextSingleLine,
                     item.m_strName);
}

void COutlook2Ctrl::DrawSubItem(QPainter& painter, const COL2SubItem& line, bool hot)
{
    const bool on = (line.m_dwState & OL2_STATE_ON) != 0;
    if (on) painter.fillRect(line.m_Rect, ToQColor(m_Colors.face));
    const QRect mark(line.m_Rect.left() + LINE_INDENT, line.m_Rect.top() + 1, ICON_SIZE,
                     line.m_Rect.height() - 2);
    if (line.m_Style == ELineStyle::Check) {
        const QRect box(mark.left() + 2, mark.center().y() - 5, 11, 11);
        painter.setPen(ToQColor(INK));
        painter.setBrush(ToQColor(CHECK_BOX));
        painter.drawRect(box);
        if (on) painter.fillRect(box.adjusted(3, 3, -2, -2), ToQColor(CHECK_MARK));
    } else {
        line.m_Icon.paint(&painter, mark);
    }
    painter.setFont(hot ? m_HotFont : m_PlainFont);
    painter.setPen(ToQColor(INK));
    painter.drawText(line.m_Rect.adjusted(LINE_INDENT + ICON_SIZE + TEXT_MARGIN, 0, 0, 0),
                     Qt::AlignVCenter | Qt::TextSingleLine, line.m_strText);
}

QPixmap COutlook2Ctrl::GrabPage()
{
    const QRect page = GetPageRect();
    QPixmap picture(page.size() * devicePixelRatioF());
    picture.setDevicePixelRatio(devicePixelRatioF());
    picture.fill(ToQColor(m_Colors.page));
    QPainter painter(&picture);
    painter.setLayoutDirection(layoutDirection());
    painter.translate(-page.topLeft());
    DrawPage(painter, page);
    painter.end();
    if (m_iSelected < 0) return picture;
    for (const auto& item : m_Folders[static_cast<std::size_t>(m_iSelected)]->m_Items) {
        for (const auto& line : item->m_SubItems) {
            if (line->m_pChild != nullptr && !line->m_Rect.isEmpty())
                line->m_pChild->render(&picture, line->m_Rect.topLeft() - page.topLeft());
        }
    }
    return picture;
}
