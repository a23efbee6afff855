#include "skin/SkinPaint.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPen>
#include <QPolygonF>
#include <QRegion>
#include <algorithm>

QBrush ToBrush(const Fill& fill, const QRectF& area)
{
    if (fill.IsNone()) return Qt::NoBrush;
    if (fill.top == fill.bottom) return ToQColor(fill.top);
    QLinearGradient gradient(area.topLeft(), area.bottomLeft());
    gradient.setColorAt(0, ToQColor(fill.top));
    gradient.setColorAt(1, ToQColor(fill.bottom));
    return gradient;
}

void PaintBox(QPainter& painter, const QRectF& area, const Element& element, const Look& look)
{
    const bool bordered = element.border > 0 && look.border.a > 0;
    if (!bordered && look.fill.IsNone()) return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, element.radius > 0);
    const qreal inset = bordered ? element.border / 2.0 : 0;
    const QRectF box = area.adjusted(inset, inset, -inset, -inset);
    const qreal radius = std::min<qreal>(element.radius, std::min(box.width(), box.height()) / 2);
    QPen pen(ToQColor(look.border), element.border);
    pen.setJoinStyle(Qt::MiterJoin);
    painter.setPen(bordered ? pen : QPen(Qt::NoPen));
    painter.setBrush(ToBrush(look.fill, area));
    painter.drawRoundedRect(box, radius, radius);
    painter.restore();
}

void PaintRing(QPainter& painter, const QRectF& area, const Element& element, const Look& look)
{
    if (look.ring.a == 0) return;
    constexpr qreal RING_WIDTH = 2;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, element.radius > 0);
    QPen pen(ToQColor(look.ring), RING_WIDTH);
    pen.setJoinStyle(Qt::MiterJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const QRectF box = area.adjusted(RING_WIDTH / 2, RING_WIDTH / 2, -RING_WIDTH / 2, -RING_WIDTH / 2);
    const qreal radius = std::min<qreal>(element.radius, std::min(box.width(), box.height()) / 2);
    painter.drawRoundedRect(box, radius, radius);
    painter.restore();
}

void PaintFocus(QPainter& painter, const QRect& area, Color color)
{
    constexpr int FOCUS_WIDTH = 2;
    const QRect inside = area.adjusted(FOCUS_WIDTH, FOCUS_WIDTH, -FOCUS_WIDTH, -FOCUS_WIDTH);
    for (const QRect& side : QRegion(area).subtracted(inside))
        painter.fillRect(side, ToQColor(color));
}

static QPainterPath Outline(const Shape& shape)
{
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    for (const PathStep& step : shape.steps) {
        const auto& v = step.values;
        switch (step.kind) {
            case PathStep::EKind::Move:
                path.moveTo(v[0], v[1]);
                break;
            case PathStep::EKind::Line:
                path.lineTo(v[0], v[1]);
                break;
            case PathStep::EKind::Curve:
                path.cubicTo(v[0], v[1], v[2], v[3], v[4], v[5]);
                break;
            case PathStep::EKind::Circle:
                path.addEllipse(QPointF(v[0], v[1]), v[2], v[2]);
                break;
            case PathStep::EKind::Box:
                path.addRect(v[0], v[1], v[2], v[3]);
                break;
            case PathStep::EKind::Close:
                path.closeSubpath();
                break;
        }
    }
    return path;
}

void PaintIcon(QPainter& painter, const QRectF& area, const Icon& icon, const QColor& color)
{
    if (area.isEmpty()) return;
    const qreal scale = std::min(area.width() / icon.width, area.height() / icon.height);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(area.center());
    painter.scale(scale, scale);
    painter.translate(-icon.width / 2, -icon.height / 2);
    for (const Shape& shape : icon.shapes) {
        const bool stroked = shape.stroke > 0;
        QPen pen(color, shape.stroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        painter.setPen(stroked ? pen : QPen(Qt::NoPen));
        painter.setBrush(stroked ? QBrush(Qt::NoBrush) : QBrush(color));
        painter.drawPath(Outline(shape));
    }
    painter.restore();
}

void PaintArrow(QPainter& painter, const QRectF& area, EArrow direction, const QColor& color)
{
    const qreal half = std::min<qreal>(std::min(area.width(), area.height()) / 3, 4.5);
    const QPointF c = area.center();
    static constexpr struct {
        qreal x[3];
        qreal y[3];
    } CORNERS[] = {{{-1, 1, 0}, {0.5, 0.5, -0.5}},
                   {{-1, 1, 0}, {-0.5, -0.5, 0.5}},
                   {{0.5, 0.5, -0.5}, {-1, 1, 0}},
                   {{-0.5, -0.5, 0.5}, {-1, 1, 0}}};
    const auto& corner = CORNERS[static_cast<int>(direction)];
    QPolygonF triangle;
    for (int i = 0; i < 3; ++i)
        triangle << QPointF(c.x() + corner.x[i] * half, c.y() + corner.y[i] * half);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPolygon(triangle);
    painter.restore();
}
