#include "activex/UI common/PanelIcons.h"

#include <QPainter>
#include <QPainterPath>
#include <array>

#include "skin/SkinPaint.h"
#include "skin/theme/PanelColors.h"

using namespace panel_color;

namespace
{

constexpr std::array<int, 6> SIZES{16, 24, 32, 48, 64, 96};
constexpr double UNIT = 24.0;  // all drawings are made on a square of 24 by 24

// Drawn twice: for its usual ground, and for the blue of a selected row or button.
template <typename Draw>
QIcon MakeIcon(Draw draw)
{
    QIcon icon;
    for (const QIcon::Mode mode : {QIcon::Normal, QIcon::Selected}) {
        for (const int size : SIZES) {
            QPixmap picture(size, size);
            picture.fill(Qt::transparent);
            QPainter painter(&picture);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.scale(size / UNIT, size / UNIT);
            draw(painter, mode == QIcon::Selected);
            painter.end();
            icon.addPixmap(picture, mode);
        }
    }
    return icon;
}

struct CameraLook {
    Color body, litBody;
    bool filled;  // an outline alone is a closed channel: the shape says it too
    bool light;   // of a recording
};

constexpr std::array<CameraLook, 3> CAMERAS{{
    {CAMERA_CLOSED, LIT_CAMERA_CLOSED, false, false},
    {CAMERA_OPEN, LIT_CAMERA_OPEN, true, false},
    {CAMERA_RECORDING, LIT_CAMERA_RECORDING, true, true},
}};

// A bullet camera on its arm.
void DrawCamera(QPainter& painter, const CameraLook& look, bool lit)
{
    const QColor body = ToQColor(lit ? look.litBody : look.body);
    const QColor paper = ToQColor(ICON_PAPER);
    const QPen line(body, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.save();
    painter.translate(10, 10);
    painter.rotate(12);
    painter.translate(-10, -10);
    painter.setPen(line);
    painter.setBrush(look.filled ? QBrush(body) : Qt::NoBrush);
    painter.drawRoundedRect(QRectF(3, 6, 14, 8), 2, 2);
    painter.drawRect(QRectF(17, 8, 3, 4));
    if (look.filled) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(paper);
        painter.drawEllipse(QRectF(5, 8.2, 3.6, 3.6));
    }
    painter.restore();
    painter.setPen(line);
    painter.setBrush(body);
    painter.drawPolygon(QPolygonF({{8, 14.4}, {10.6, 15}, {9.5, 20}, {7, 20}}));
    painter.drawLine(QPointF(3.5, 20.5), QPointF(12, 20.5));
    if (!look.light) return;
    painter.setPen(QPen(paper, 1));
    painter.setBrush(ToQColor(RECORD_LIGHT));
    painter.drawEllipse(QPointF(18.6, 18.5), 3.8, 3.8);
}

void DrawLogon(QPainter& painter, const QColor& ink)
{
    painter.setPen(QPen(ink, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(QPolygonF({{13, 4}, {20, 4}, {20, 20}, {13, 20}}));
    painter.drawLine(QPointF(4, 12), QPointF(14, 12));
    painter.drawPolyline(QPolygonF({{10, 8}, {14.5, 12}, {10, 16}}));
}

void DrawDevices(QPainter& painter, const QColor& ink)
{
    painter.setPen(QPen(ink, 1.6));
    painter.drawPolyline(QPolygonF({{6, 8}, {6, 19}, {10, 19}}));
    painter.drawLine(QPointF(6, 13), QPointF(10, 13));
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawRoundedRect(QRectF(3, 3, 12, 5), 1, 1);
    painter.drawRoundedRect(QRectF(10, 10.8, 11, 4.4), 1, 1);
    painter.drawRoundedRect(QRectF(10, 16.8, 11, 4.4), 1, 1);
}

void DrawSteering(QPainter& painter, const QColor& ink)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    for (int quarter = 0; quarter < 4; ++quarter) {
        painter.save();
        painter.translate(12, 12);
        painter.rotate(90 * quarter);
        painter.drawPolygon(QPolygonF({{0, -10.5}, {-4, -6}, {4, -6}}));
        painter.restore();
    }
    painter.drawEllipse(QPointF(12, 12), 3.4, 3.4);
}

void DrawRecords(QPainter& painter, const QColor& ink)
{
    painter.setPen(QPen(ink, 1.8));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(3, 5, 18, 16), 2, 2);
    painter.drawLine(QPointF(3, 10), QPointF(21, 10));
    painter.drawLine(QPointF(8, 2.5), QPointF(8, 7));
    painter.drawLine(QPointF(16, 2.5), QPointF(16, 7));
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawPolygon(QPolygonF({{10, 12.2}, {15.5, 15.5}, {10, 18.8}}));
}

void DrawColour(QPainter& painter, const QColor& ink)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    constexpr std::array<double, 3> AT{0.35, 0.75, 0.5};
    for (std::size_t i = 0; i < AT.size(); ++i) {
        const double y = 5.5 + 6.5 * static_cast<double>(i);
        painter.drawRoundedRect(QRectF(3, y - 1, 18, 2), 1, 1);
        painter.drawEllipse(QPointF(3 + 18 * AT[i], y), 3, 3);
    }
}

}  // namespace

QIcon MakeDeviceIcon(int status)
{
    const bool known = status >= 0 && static_cast<std::size_t>(status) < CAMERAS.size();
    const CameraLook& look = CAMERAS[known ? static_cast<std::size_t>(status) : 0];
    return MakeIcon([&look](QPainter& painter, bool lit) { DrawCamera(painter, look, lit); });
}

QIcon MakeFolderIcon(int resource)
{
    static constexpr int FIRST = 20000;
    static constexpr std::array<void (*)(QPainter&, const QColor&), 5> DRAWINGS{
        DrawLogon, DrawDevices, DrawSteering, DrawRecords, DrawColour};
    const int index = resource - FIRST;
    if (index < 0 || static_cast<std::size_t>(index) >= DRAWINGS.size()) return {};
    return MakeIcon([draw = DRAWINGS[static_cast<std::size_t>(index)]](QPainter& painter, bool lit) {
        draw(painter, ToQColor(lit ? LIT_INK : ICON_INK));
    });
}
