#pragma once

#include <QPalette>
#include <QProxyStyle>
#include <memory>

#include "skin/theme/Theme.h"

/// The style that draws by a theme. Controls take the element that was attached to them by name (SetElement),
/// else the one of their kind; what the theme has no element for is drawn by the toolkit's own style in the
/// theme's palette.
class CSkinStyle final : public QProxyStyle
{
  public:
    explicit CSkinStyle(std::shared_ptr<const CTheme> theme);

    void SetTheme(std::shared_ptr<const CTheme> theme);
    const CTheme& Theme() const { return *m_pTheme; }

    static void SetElement(QWidget& widget, const QString& name);

    /// The colours of everything in a window with this element.
    QPalette PaletteFor(const Element& element) const;

    void polish(QWidget* widget) override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override;

    using QProxyStyle::polish;

  private:
    static constexpr int MENU_MARK_WIDTH = 18;  // column of the ticks
    static constexpr int MENU_ARROW_WIDTH = 16;

    static EState StateOf(const QStyleOption& option);
    const Element& ElementOf(const QWidget* widget, std::string_view fallback) const;
    const Icon* IconOf(const Element& element) const;

    /// The box, and the ring when the control has the focus.
    static void DrawFace(const QStyleOption& option, QPainter& painter, const Element& element,
                         const Look& look);
    void PolishCalendar(class QCalendarWidget& calendar) const;
    void DrawPushButton(const class QStyleOptionButton& option, QPainter& painter, const QWidget* widget) const;
    void DrawButtonFace(const QStyleOption& option, QPainter& painter, const Element& element,
                        const QString& text, const QIcon& icon) const;
    void DrawMenuItem(const class QStyleOptionMenuItem& option, QPainter& painter, const QWidget* widget) const;
    void DrawIndicator(const QStyleOption& option, QPainter& painter, PrimitiveElement kind) const;
    void DrawRow(const QStyleOption& option, QPainter& painter, const QWidget* widget) const;
    void DrawCombo(const class QStyleOptionComboBox& option, QPainter& painter, const QWidget* widget) const;
    void DrawSpinBox(const class QStyleOptionSpinBox& option, QPainter& painter, const QWidget* widget) const;
    void DrawSlider(const class QStyleOptionSlider& option, QPainter& painter, const QWidget* widget) const;
    void DrawScrollBar(const class QStyleOptionSlider& option, QPainter& painter, const QWidget* widget) const;
    QRect ScrollBarRect(const class QStyleOptionSlider& option, SubControl part, const QWidget* widget) const;

    std::shared_ptr<const CTheme> m_pTheme;
};
