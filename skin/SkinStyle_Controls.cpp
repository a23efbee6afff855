#include "skin/SkinStyle.h"

#include <QPainter>
#include <QStyleOption>
#include <QWidget>
#include <algorithm>

#include "skin/SkinPaint.h"

// How the single controls are drawn.

namespace
{
constexpr int ICON_GAP = 6;  // between a button's icon and its text
}

void CSkinStyle::DrawIndicator(const QStyleOption& option, QPainter& painter, PrimitiveElement kind) const
{
    const bool round = kind == PE_IndicatorRadioButton;
    Element box = *m_pTheme->FindElement("CheckBox");
    if (round) box.radius = option.rect.height() / 2;
    // A tick is the state, not a look of its own: a ticked box keeps the look of the state it is in otherwise.
    QStyleOption unticked = option;
    unticked.state &= ~State_On;
    Look look = box.LookOf(StateOf(unticked));
    // In a list it stands on a ground like its own.
    if (kind == PE_IndicatorItemViewItemCheck)
        look.border = m_pTheme->FindElement("Tree")->LookOf(EState::Normal).mark;
    const QRectF area = option.rect;
    DrawFace(option, painter, box, look);
    const QRectF inside = area.adjusted(3, 3, -3, -3);
    if (option.state & State_NoChange) {
        painter.fillRect(inside.adjusted(1, inside.height() / 2 - 1, -1, 1 - inside.height() / 2),
                         ToQColor(look.mark));
    } else if (option.state & State_On && round) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(ToQColor(look.mark));
        painter.drawEllipse(inside.adjusted(1, 1, -1, -1));
        painter.restore();
    } else if (option.state & State_On) {
        if (const Icon* tick = IconOf(box))
            PaintIcon(painter, inside.adjusted(-1, -1, 1, 1), *tick, ToQColor(look.mark));
    }
}

void CSkinStyle::DrawRow(const QStyleOption& option, QPainter& painter, const QWidget* widget) const
{
    const Element& tree = ElementOf(widget, "Tree");
    const bool selected = option.state & State_Selected;
    const bool hot = option.state & State_MouseOver && option.state & State_Enabled;
    if (selected || hot) {
        const Look& look = tree.LookOf(selected ? EState::Checked : EState::Hover);
        painter.fillRect(option.rect, ToBrush(look.fill, option.rect));
        return;
    }
    const auto* item = qstyleoption_cast<const QStyleOptionViewItem*>(&option);
    if (item && item->backgroundBrush.style() != Qt::NoBrush)
        painter.fillRect(option.rect, item->backgroundBrush);
}

void CSkinStyle::DrawPushButton(const QStyleOptionButton& option, QPainter& painter,
                                const QWidget* widget) const
{
    DrawButtonFace(option, painter, ElementOf(widget, "Button"), option.text, option.icon);
}

void CSkinStyle::DrawButtonFace(const QStyleOption& option, QPainter& painter, const Element& element,
                                const QString& text, const QIcon& icon) const
{
    const Look& look = element.LookOf(StateOf(option));
    const QRectF area = option.rect;
    DrawFace(option, painter, element, look);
    const QRectF inside = area.adjusted(element.padX, element.padY, -element.padX, -element.padY);
    const Icon* own = IconOf(element);
    const qreal side = own || !icon.isNull() ? std::min(inside.height(), inside.width()) : 0;
    const int room = static_cast<int>(inside.width() - side);
    const QString shown = option.fontMetrics.elidedText(text, Qt::ElideRight, room, Qt::TextShowMnemonic);
    const qreal textWidth = shown.isEmpty() ? 0 : option.fontMetrics.size(Qt::TextShowMnemonic, shown).width();
    const qreal gap = side > 0 && textWidth > 0 ? std::min<qreal>(ICON_GAP, room - textWidth) : 0;
    QRectF place(inside.left() + (inside.width() - side - gap - textWidth) / 2, inside.top(), side,
                 inside.height());
    if (own) {
        PaintIcon(painter, place, *own, ToQColor(look.mark));
    } else if (side > 0) {
        icon.paint(&painter, place.toRect());
    }
    if (shown.isEmpty()) return;
    place = QRectF(place.right() + gap, inside.top(), textWidth + 1, inside.height());
    painter.setPen(ToQColor(look.text));
    painter.setLayoutDirection(option.direction);  // it begins with the application's
    painter.drawText(place, Qt::AlignCenter | Qt::TextShowMnemonic | Qt::TextDontClip, shown);
}

void CSkinStyle::DrawMenuItem(const QStyleOptionMenuItem& option, QPainter& painter, const QWidget*) const
{
    const Element& menu = *m_pTheme->FindElement("Menu");
    const QRectF area = option.rect;
    const Look& ground = menu.LookOf(EState::Normal);
    painter.fillRect(area, ToBrush(ground.fill, area));
    if (option.menuItemType == QStyleOptionMenuItem::Separator) {
        QColor line = ToQColor(ground.text);
        line.setAlpha(60);
        painter.fillRect(QRectF(area.left() + menu.padX, area.center().y(), area.width() - 2 * menu.padX, 1),
                         line);
        return;
    }
    const bool enabled = option.state & State_Enabled;
    const bool hot = enabled && option.state & State_Selected;
    const Look& look = menu.LookOf(!enabled ? EState::Disabled : hot ? EState::Hover : EState::Normal);
    if (hot) {
        Element row = menu;
        row.border = 0;
        PaintBox(painter, area.adjusted(2, 0, -2, 0), row, look);
    }
    QRectF place = area.adjusted(menu.padX / 2.0, 0, -menu.padX, 0);
    const QRectF mark(place.left(), place.top(), MENU_MARK_WIDTH, place.height());
    if (option.checkType != QStyleOptionMenuItem::NotCheckable && option.checked) {
        const Icon* tick = IconOf(*m_pTheme->FindElement("CheckBox"));
        const QColor color = ToQColor(hot || !enabled ? look.mark : menu.LookOf(EState::Checked).mark);
        if (tick) PaintIcon(painter, mark.adjusted(2, 0, -2, 0), *tick, color);
    } else if (!option.icon.isNull()) {
        option.icon.paint(&painter, mark.toRect(), Qt::AlignCenter, enabled ? QIcon::Normal : QIcon::Disabled);
    }
    place.setLeft(mark.right() + 4);
    if (option.menuItemType == QStyleOptionMenuItem::SubMenu) {
        const QRectF arrow(place.right() - MENU_ARROW_WIDTH + 4, place.top(), MENU_ARROW_WIDTH, place.height());
        PaintArrow(painter, arrow, EArrow::Right, ToQColor(look.mark));
    }
    const QStringList parts = option.text.split(QLatin1Char('\t'));  // the shortcut follows the tab
    painter.setFont(option.font);
    painter.setPen(ToQColor(look.text));
    painter.setLayoutDirection(option.direction);
    painter.drawText(place, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextShowMnemonic | Qt::TextSingleLine,
                     parts[0]);
    if (parts.size() > 1)
        painter.drawText(place, Qt::AlignVCenter | Qt::AlignRight | Qt::TextSingleLine, parts[1]);
}

void CSkinStyle::DrawCombo(const QStyleOptionComboBox& option, QPainter& painter, const QWidget* widget) const
{
    const Element& combo = ElementOf(widget, "Combo");
    QStyleOption closed = option;
    closed.state &= ~(State_On | State_Sunken);  // an open list is no look of its own
    const Look& look = combo.LookOf(StateOf(closed));
    DrawFace(option, painter, combo, look);
    const QRectF arrow = subControlRect(CC_ComboBox, &option, SC_ComboBoxArrow, widget);
    if (const Icon* icon = IconOf(combo)) {
        PaintIcon(painter, QRectF(arrow.center() - QPointF(6, 6), QSizeF(12, 12)), *icon, ToQColor(look.mark));
    } else {
        PaintArrow(painter, arrow, EArrow::Down, ToQColor(look.mark));
    }
}

void CSkinStyle::DrawSpinBox(const QStyleOptionSpinBox& option, QPainter& painter, const QWidget* widget) const
{
    const Element& edit = ElementOf(widget, "Edit");
    const EState state = option.state & State_Enabled ? EState::Normal : EState::Disabled;
    const Look& look = edit.LookOf(state);
    DrawFace(option, painter, edit, look);
    if (option.buttonSymbols == QAbstractSpinBox::NoButtons) return;
    for (const SubControl part : {SC_SpinBoxUp, SC_SpinBoxDown}) {
        const bool up = part == SC_SpinBoxUp;
        const bool can =
            option.stepEnabled & (up ? QAbstractSpinBox::StepUpEnabled : QAbstractSpinBox::StepDownEnabled);
        const bool hot = option.activeSubControls == part;
        const Look& arrow = !can ? m_pTheme->FindElement("Menu")->LookOf(EState::Disabled) : look;
        const QColor color = ToQColor(can && hot ? edit.LookOf(EState::Checked).fill.top : arrow.mark);
        PaintArrow(painter, subControlRect(CC_SpinBox, &option, part, widget), up ? EArrow::Up : EArrow::Down,
                   color);
    }
}

void CSkinStyle::DrawSlider(const QStyleOptionSlider& option, QPainter& painter, const QWidget* widget) const
{
    const Element& element = ElementOf(widget, "Slider");
    QStyleOption over = option;
    const bool onHandle = option.activeSubControls & SC_SliderHandle;
    if (!onHandle) over.state &= ~(State_Sunken | State_MouseOver);
    const Look& look = element.LookOf(StateOf(over));
    const bool lying = option.orientation == Qt::Horizontal;
    constexpr qreal THICKNESS = 5;
    const QRectF groove = subControlRect(CC_Slider, &option, SC_SliderGroove, widget);
    const QRectF handle = subControlRect(CC_Slider, &option, SC_SliderHandle, widget);
    const QRectF bar =
        lying ? QRectF(groove.left(), groove.center().y() - THICKNESS / 2, groove.width(), THICKNESS)
              : QRectF(groove.center().x() - THICKNESS / 2, groove.top(), THICKNESS, groove.height());
    PaintBox(painter, bar, element, look);
    QRectF used = bar;
    if (lying) {
        option.upsideDown ? used.setLeft(handle.center().x()) : used.setRight(handle.center().x());
    } else {
        option.upsideDown ? used.setTop(handle.center().y()) : used.setBottom(handle.center().y());
    }
    if (option.state & State_Enabled) PaintBox(painter, used, element, element.LookOf(EState::Checked));

    Element thumb = element;
    thumb.radius = static_cast<int>(std::min(handle.width(), handle.height()) / 2);
    Look face = look;
    face.fill = {look.mark, look.mark};
    face.border = NO_COLOR;
    const QRectF round(handle.center() - QPointF(element.width / 2.0, element.height / 2.0),
                       QSizeF(element.width, element.height));
    PaintBox(painter, round, thumb, face);
    if (option.state & State_HasFocus) PaintRing(painter, QRectF(option.rect), element, look);
}

QRect CSkinStyle::ScrollBarRect(const QStyleOptionSlider& option, SubControl part, const QWidget* widget) const
{
    const QRect bar = option.rect;
    const bool lying = option.orientation == Qt::Horizontal;
    const int length = lying ? bar.width() : bar.height();
    const qint64 range = static_cast<qint64>(option.maximum) - option.minimum;
    int handle = length;
    if (range > 0) {
        const qint64 share =
            static_cast<qint64>(option.pageStep) * length / std::max<qint64>(1, range + option.pageStep);
        const int least = std::min(pixelMetric(PM_ScrollBarSliderMin, &option, widget), length);
        handle = static_cast<int>(std::clamp<qint64>(share, least, length));
    }
    const int begin = sliderPositionFromValue(option.minimum, option.maximum, option.sliderPosition,
                                              length - handle, option.upsideDown);
    const auto stretch = [&bar, lying](int from, int size) {
        return lying ? QRect(bar.left() + from, bar.top(), size, bar.height())
                     : QRect(bar.left(), bar.top() + from, bar.width(), size);
    };
    switch (part) {
        case SC_ScrollBarGroove:
            return bar;
        case SC_ScrollBarSlider:
            return stretch(begin, handle);
        case SC_ScrollBarSubPage:
            return stretch(0, begin);
        case SC_ScrollBarAddPage:
            return stretch(begin + handle, length - begin - handle);
        default:
            return {};  // no line buttons
    }
}

void CSkinStyle::DrawScrollBar(const QStyleOptionSlider& option, QPainter& painter, const QWidget* widget) const
{
    const Element& element = ElementOf(widget, "ScrollBar");
    QStyleOption over = option;
    if (!(option.activeSubControls & SC_ScrollBarSlider)) over.state &= ~(State_Sunken | State_MouseOver);
    over.state &= ~State_On;
    const Look& look = element.LookOf(StateOf(over));
    painter.fillRect(option.rect, ToBrush(look.fill, option.rect));
    if (option.maximum <= option.minimum) return;
    const QRectF handle = ScrollBarRect(option, SC_ScrollBarSlider, widget);
    Look face = look;
    face.fill = {look.mark, look.mark};
    PaintBox(painter, handle.adjusted(2, 2, -2, -2), element, face);
}
