#include "skin/SkinStyle.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QCalendarWidget>
#include <QPainter>
#include <QStyleFactory>
#include <QStyleOption>
#include <QTextCharFormat>
#include <QToolButton>
#include <QWidget>
#include <utility>

#include "skin/SkinPaint.h"
#include "skin/VectorIcon.h"

namespace
{
constexpr char ELEMENT_PROPERTY[] = "_watchwall_skin_element";
constexpr int SEPARATOR_HEIGHT = 7;
}  // namespace

CSkinStyle::CSkinStyle(std::shared_ptr<const CTheme> theme)
    : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))), m_pTheme(std::move(theme))
{
}

void CSkinStyle::SetTheme(std::shared_ptr<const CTheme> theme)
{
    m_pTheme = std::move(theme);
}

void CSkinStyle::SetElement(QWidget& widget, const QString& name)
{
    widget.setProperty(ELEMENT_PROPERTY, name);
}

// The parser admits no theme that lacks an element of a kind, so that the fallback always stands.
const Element& CSkinStyle::ElementOf(const QWidget* widget, std::string_view fallback) const
{
    if (widget) {
        const QVariant name = widget->property(ELEMENT_PROPERTY);
        if (name.isValid()) {
            if (const Element* own = m_pTheme->FindElement(name.toString().toStdString())) return *own;
        }
    }
    return *m_pTheme->FindElement(fallback);
}

EState CSkinStyle::StateOf(const QStyleOption& option)
{
    if (!(option.state & State_Enabled)) return EState::Disabled;
    if (option.state & State_Sunken) return EState::Pressed;
    if (option.state & State_On) return EState::Checked;
    return option.state & State_MouseOver ? EState::Hover : EState::Normal;
}

void CSkinStyle::DrawFace(const QStyleOption& option, QPainter& painter, const Element& element,
                          const Look& look)
{
    PaintBox(painter, option.rect, element, look);
    if (option.state & State_HasFocus) PaintRing(painter, option.rect, element, look);
}

const Icon* CSkinStyle::IconOf(const Element& element) const
{
    return element.icon.empty() ? nullptr : m_pTheme->FindIcon(element.icon);
}

QPalette CSkinStyle::PaletteFor(const Element& element) const
{
    const Element& button = *m_pTheme->FindElement("Button");
    const Element& edit = *m_pTheme->FindElement("Edit");
    const Element& tree = *m_pTheme->FindElement("Tree");
    const Element& tip = *m_pTheme->FindElement("ToolTip");
    const Look& selected = edit.LookOf(EState::Checked);
    QPalette palette;
    const auto set = [&palette](QPalette::ColorRole role, Color normal, Color disabled) {
        palette.setColor(QPalette::Active, role, ToQColor(normal));
        palette.setColor(QPalette::Inactive, role, ToQColor(normal));
        palette.setColor(QPalette::Disabled, role, ToQColor(disabled));
    };
    const auto fills = [&set](QPalette::ColorRole role, const Element& from) {
        set(role, from.LookOf(EState::Normal).fill.top, from.LookOf(EState::Disabled).fill.top);
    };
    const auto texts = [&set](QPalette::ColorRole role, const Element& from) {
        set(role, from.LookOf(EState::Normal).text, from.LookOf(EState::Disabled).text);
    };
    const Color ground = element.LookOf(EState::Normal).fill.top;
    fills(QPalette::Window, element);
    texts(QPalette::WindowText, element);
    fills(QPalette::Base, edit);
    texts(QPalette::Text, edit);
    set(QPalette::AlternateBase, Blend({255, 255, 255, 10}, tree.LookOf(EState::Normal).fill.top),
        tree.LookOf(EState::Disabled).fill.top);
    fills(QPalette::Button, button);
    texts(QPalette::ButtonText, button);
    set(QPalette::Highlight, selected.fill.top, edit.LookOf(EState::Disabled).border);
    set(QPalette::HighlightedText, selected.text, edit.LookOf(EState::Disabled).text);
    fills(QPalette::ToolTipBase, tip);
    texts(QPalette::ToolTipText, tip);
    set(QPalette::PlaceholderText, tree.LookOf(EState::Normal).mark, edit.LookOf(EState::Disabled).text);
    set(QPalette::BrightText, {255, 255, 255, 255}, {255, 255, 255, 255});
    set(QPalette::Link, selected.fill.top, selected.fill.top);
    set(QPalette::Light, Blend({255, 255, 255, 70}, ground), Blend({255, 255, 255, 70}, ground));
    set(QPalette::Midlight, Blend({255, 255, 255, 35}, ground), Blend({255, 255, 255, 35}, ground));
    set(QPalette::Mid, Blend({0, 0, 0, 50}, ground), Blend({0, 0, 0, 50}, ground));
    set(QPalette::Dark, Blend({0, 0, 0, 90}, ground), Blend({0, 0, 0, 90}, ground));
    set(QPalette::Shadow, Blend({0, 0, 0, 150}, ground), Blend({0, 0, 0, 150}, ground));
    return palette;
}

void CSkinStyle::polish(QWidget* widget)
{
    QProxyStyle::polish(widget);
    if (qobject_cast<QAbstractButton*>(widget)) widget->setAttribute(Qt::WA_Hover);
    // Under a style sheet, the host's application may have one, no widget takes its colours from its window.
    if (widget->style() != this && !widget->isWindow()) {
        const QPalette window = PaletteFor(*m_pTheme->FindElement("DialogMain"));
        QPalette palette = widget->palette().resolve(window);
        palette.setResolveMask(window.resolveMask());
        widget->setPalette(palette);
    }
    if (widget->inherits("QTipLabel")) {
        widget->setPalette(PaletteFor(*m_pTheme->FindElement("ToolTip")));
    } else if (auto* calendar = qobject_cast<QCalendarWidget*>(widget)) {
        PolishCalendar(*calendar);
    }
}

// What the toolkit settles when a calendar is made and never asks the style for again.
void CSkinStyle::PolishCalendar(QCalendarWidget& calendar) const
{
    QTextCharFormat weekend;  // red by itself, which can't be read on a dark ground
    weekend.setForeground(ToQColor(ElementOf(&calendar, "Calendar").LookOf(EState::Normal).mark));
    calendar.setWeekdayTextFormat(Qt::Saturday, weekend);
    calendar.setWeekdayTextFormat(Qt::Sunday, weekend);
    Element bar = *m_pTheme->FindElement("Edit");  // the bar of the month is in the colours of a selected text
    bar.looks.fill(bar.LookOf(EState::Checked));
    for (const auto& [button, icon] :
         {std::pair{"qt_calendar_prevmonth", "ArrowLeft"}, {"qt_calendar_nextmonth", "ArrowRight"}}) {
        auto* const tool = calendar.findChild<QToolButton*>(QLatin1String(button));
        if (tool && m_pTheme->FindIcon(icon)) tool->setIcon(MakeVectorIcon(m_pTheme, icon, bar));
    }
}

void CSkinStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const
{
    const QRectF area = option->rect;
    switch (element) {
        case PE_FrameFocusRect: {
            const bool rows = qobject_cast<const QAbstractItemView*>(widget) != nullptr;
            const bool selected = rows && option->state & State_Selected;
            const Element& from = *m_pTheme->FindElement(rows ? "Tree" : "DialogMain");
            return PaintRing(*painter, area, from, from.LookOf(selected ? EState::Checked : EState::Normal));
        }
        case PE_IndicatorCheckBox:
        case PE_IndicatorItemViewItemCheck:
        case PE_IndicatorRadioButton:
            return DrawIndicator(*option, *painter, element);
        case PE_PanelLineEdit: {
            const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
            const Element& edit = ElementOf(widget, "Edit");
            if (frame && frame->lineWidth == 0) return;  // the field inside a combo or a spin box
            return DrawFace(*option, *painter, edit, edit.LookOf(StateOf(*option)));
        }
        case PE_FrameLineEdit:
            return;  // drawn with the panel
        case PE_PanelMenu: {
            const Element& menu = *m_pTheme->FindElement("Menu");
            painter->fillRect(area, ToBrush(menu.LookOf(EState::Normal).fill, area));
            return;
        }
        case PE_FrameMenu: {
            painter->setPen(ToQColor(m_pTheme->FindElement("Menu")->LookOf(EState::Normal).border));
            painter->setBrush(Qt::NoBrush);
            painter->drawRect(area.adjusted(0.5, 0.5, -0.5, -0.5));
            return;
        }
        case PE_PanelTipLabel: {
            Element tip = *m_pTheme->FindElement("ToolTip");
            tip.radius = 0;  // the window behind it is square
            return PaintBox(*painter, area, tip, tip.LookOf(EState::Normal));
        }
        case PE_PanelButtonCommand:
        case PE_PanelButtonTool: {
            const Element& button = ElementOf(widget, "Button");
            const EState state = StateOf(*option);
            if (option->state & State_AutoRaise && state == EState::Normal) return;
            return PaintBox(*painter, area, button, button.LookOf(state));
        }
        case PE_PanelItemViewRow:
        case PE_PanelItemViewItem:
            return DrawRow(*option, *painter, widget);
        case PE_IndicatorBranch:
            if (option->state & State_Children) {
                const Look& look = ElementOf(widget, "Tree").LookOf(EState::Normal);
                PaintArrow(*painter, area, option->state & State_Open ? EArrow::Down : EArrow::Right,
                           ToQColor(look.mark));
            }
            return;
        case PE_IndicatorArrowUp:
        case PE_IndicatorArrowDown:
        case PE_IndicatorArrowLeft:
        case PE_IndicatorArrowRight: {
            static constexpr std::pair<PrimitiveElement, EArrow> ARROWS[] = {
                {PE_IndicatorArrowUp, EArrow::Up},
                {PE_IndicatorArrowDown, EArrow::Down},
                {PE_IndicatorArrowLeft, EArrow::Left},
                {PE_IndicatorArrowRight, EArrow::Right}};
            for (const auto& [primitive, direction] : ARROWS) {
                if (primitive == element) {
                    PaintArrow(*painter, area, direction, option->palette.color(QPalette::ButtonText));
                }
            }
            return;
        }
        default:
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void CSkinStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                             const QWidget* widget) const
{
    if (const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
        button && element == CE_PushButton) {
        return DrawPushButton(*button, *painter, widget);
    }
    if (const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        item && element == CE_MenuItem) {
        return DrawMenuItem(*item, *painter, widget);
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}

void CSkinStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                    QPainter* painter, const QWidget* widget) const
{
    const auto* slider = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (slider && control == CC_Slider) return DrawSlider(*slider, *painter, widget);
    if (slider && control == CC_ScrollBar) return DrawScrollBar(*slider, *painter, widget);
    if (const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(option);
        combo && control == CC_ComboBox) {
        return DrawCombo(*combo, *painter, widget);
    }
    if (const auto* spin = qstyleoption_cast<const QStyleOptionSpinBox*>(option);
        spin && control == CC_SpinBox) {
        return DrawSpinBox(*spin, *painter, widget);
    }
    QProxyStyle::drawComplexControl(control, option, painter, widget);
}

QRect CSkinStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                 const QWidget* widget) const
{
    if (const auto* slider = qstyleoption_cast<const QStyleOptionSlider*>(option);
        slider && control == CC_ScrollBar) {
        return ScrollBarRect(*slider, part, widget);
    }
    return QProxyStyle::subControlRect(control, option, part, widget);
}

QSize CSkinStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                                   const QWidget* widget) const
{
    if (type == CT_PushButton) {
        const Element& element = ElementOf(widget, "Button");
        const int icon = IconOf(element) ? element.height - 2 * element.padY : 0;
        return QSize(size.width() + icon + 2 * element.padX, size.height() + 2 * element.padY)
            .expandedTo({element.width, element.height});
    }
    if (type == CT_ItemViewItem) {  // the frame of the focus comes between a row's edge and its text
        const QSize row = QProxyStyle::sizeFromContents(type, option, size, widget);
        return {row.width(), row.height() + 2 * ElementOf(widget, "Tree").padY};
    }
    if (const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        item && type == CT_MenuItem) {
        const Element& menu = *m_pTheme->FindElement("Menu");
        if (item->menuItemType == QStyleOptionMenuItem::Separator) return {size.width(), SEPARATOR_HEIGHT};
        const int shortcut = item->text.contains(QLatin1Char('\t')) ? item->reservedShortcutWidth + 16 : 0;
        return {size.width() + MENU_MARK_WIDTH + MENU_ARROW_WIDTH + 2 * menu.padX + shortcut,
                item->fontMetrics.height() + 2 * menu.padY};
    }
    return QProxyStyle::sizeFromContents(type, option, size, widget);
}

int CSkinStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const
{
    switch (metric) {
        case PM_ScrollBarExtent:
            return ElementOf(widget, "ScrollBar").width;
        case PM_ScrollBarSliderMin:
            return ElementOf(widget, "ScrollBar").height;
        case PM_SliderLength:
        case PM_SliderThickness:
        case PM_SliderControlThickness:
            return ElementOf(widget, "Slider").height + (metric == PM_SliderLength ? 0 : 6);
        case PM_IndicatorWidth:
        case PM_ExclusiveIndicatorWidth:
            return m_pTheme->FindElement("CheckBox")->width;
        case PM_IndicatorHeight:
        case PM_ExclusiveIndicatorHeight:
            return m_pTheme->FindElement("CheckBox")->height;
        case PM_MenuPanelWidth:
            return m_pTheme->FindElement("Menu")->border;
        case PM_MenuVMargin:
            return 3;
        case PM_MenuHMargin:
        case PM_ButtonShiftHorizontal:
        case PM_ButtonShiftVertical:
        case PM_ScrollView_ScrollBarSpacing:
            return 0;
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int CSkinStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                          QStyleHintReturn* data) const
{
    switch (hint) {
        case SH_EtchDisabledText:
        case SH_DitherDisabledText:
        case SH_ComboBox_Popup:
        case SH_Widget_Animation_Duration:
            return 0;
        case SH_ToolTipLabel_Opacity:
            return 255;
        case SH_ItemView_ShowDecorationSelected:
        case SH_Menu_MouseTracking:
            return 1;
        default:
            return QProxyStyle::styleHint(hint, option, widget, data);
    }
}
