#include "activex/UI common/PanelIcons.h"

#include <QPainter>
#include <QPainterPath>
#include <array>

namespace
{

constexpr std::array<int, 6> SIZES{16, 24, 32, 48, 64, 96};
constexpr double UNIT = 24.0;  // all drawings are made on a square of 24 by 24
const QColor INK(0x2B, 0x33, 0x3B);

template <typename DRAW>
QIcon MakeIcon(DRAW draw)
{
    QIcon icon;
    for (const int size : SIZES) {
        QPixmap picture(size, size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / UNIT, size / UNIT);
        draw(painter);
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

// A bullet camera on its arm.
void DrawCamera(QPainter& painter, const QColor& body, const QColor& lens)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(body);
    painter.save();
    painter.translate(10, 10);
    painter.rotate(12);
    painter.translate(-10, -10);
    painter.drawRoundedRect(QRectF(3, 6, 14, 8), 2, 2);
    painter.drawRect(QRectF(16, 7.5, 3.5, 5));
    painter.setBrush(lens);
    painter.drawEllipse(QRectF(17.4, 7.8, 4.4, 4.4));
    painter.restore();
    painter.setBrush(body.darker(125));
    painter.drawPolygon(QPolygonF({{8, 14}, {11, 14.6}, {9.5, 20}, {6.5, 20}}));
    painter.drawRect(QRectF(3, 19.5, 9, 2));
}

void DrawLogon(QPainter& painter)
{
    painter.setPen(QPen(INK, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(QPolygonF({{13, 4}, {20, 4}, {20, 20}, {13, 20}}));
    painter.drawLine(QPointF(4, 12), QPointF(14, 12));
    painter.drawPolyline(QPolygonF({{10, 8}, {14.5, 12}, {10, 16}}));
}

void DrawDevices(QPainter& painter)
{
    painter.setPen(QPen(INK, 1.6));
    painter.drawPolyline(QPolygonF({{6, 8}, {6, 19}, {10, 19}}));
    painter.drawLine(QPointF(6, 13), QPointF(10, 13));
    painter.setPen(Qt::NoPen);
    painter.setBrush(INK);
    painter.drawRoundedRect(QRectF(3, 3, 12, 5), 1, 1);
    painter.drawRoundedRect(QRectF(10, 10.8, 11, 4.4), 1, 1);
    painter.drawRoundedRect(QRectF(10, 16.8, 11, 4.4), 1, 1);
}

void DrawSteering(QPainter& painter)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(INK);
    for (int quarter = 0; quarter < 4; ++quarter) {
        painter.save();
        painter.translate(12, 12);
        painter.rotate(90 * quarter);
        painter.drawPolygon(QPolygonF({{0, -10.5}, {-4, -6}, {4, -6}}));
        painter.restore();
    }
    painter.drawEllipse(QPointF(12, 12), 3.4, 3.4);
}

void DrawRecords(QPainter& painter)
{
    painter.setPen(QPen(INK, 1.8));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(3, 5, 18, 16), 2, 2);
    painter.drawLine(QPointF(3, 10), QPointF(21, 10));
    painter.drawLine(QPointF(8, 2.5), QPointF(8, 7));
    painter.drawLine(QPointF(16, 2.5), QPointF(16, 7));
    painter.setPen(Qt::NoPen);
    painter.setBrush(INK);
    painter.drawPolygon(QPolygonF({{10, 12.2}, {15.5, 15.5}, {10, 18.8}}));
}

void DrawColour(QPainter& painter)
{
    painter.setPen(Qt::NoPen);
    const std::array<QColor, 3> dots{QColor(0xC8, 0x3C, 0x3C), QColor(0x2E, 0x9E, 0x57),
                                     QColor(0x2E, 0x74, 0xC8)};
    const std::array<double, 3> at{0.35, 0.75, 0.5};
    for (std::size_t i = 0; i < dots.size(); ++i) {
        const double y = 5.5 + 6.5 * static_cast<double>(i);
        painter.setBrush(INK);
        painter.drawRoundedRect(QRectF(3, y - 1, 18, 2), 1, 1);
        painter.setBrush(dots[i]);
        painter.drawEllipse(QPointF(3 + 18 * at[i], y), 3, 3);
    }
}

}  // namespace

QIcon MakeDeviceIcon(int status)
{
    struct Look {
        QColor m_Body;
        QColor m_Lens;
    };
    static const std::array<Look, 3> looks{Look{QColor(0x8A, 0x93, 0x9B), QColor(0x5A, 0x62, 0x69)},
                                           Look{QColor(0x1D, 0x6E, 0x98), QColor(0x4A, 0xB0, 0xF2)},
                                           Look{QColor(0xA8, 0x2B, 0x2B), QColor(0xFF, 0x6B, 0x5E)}};
    const bool known = status >= 0 && static_cast<std::size_t>(status) < looks.size();
    const Look& look = looks[known ? static_cast<std::size_t>(status) : 0];
    return MakeIcon([&look, status](QPainter& painter) {
        DrawCamera(painter, look.m_Body, look.m_Lens);
        if (status == 2) {  // the red light of a recording
            painter.setPen(QPen(Qt::white, 1));
            painter.setBrush(QColor(0xE0, 0x20, 0x20));
            painter.drawEllipse(QPointF(19, 18.5), 3.6, 3.6);
        }
    });
}

QIcon MakeFolderIcon(int resource)
{
    static constexpr int FIRST = 20000;
    static constexpr std::array<void (*)(QPainter&), 5> drawings{DrawLogon, DrawDevices, DrawSteering,
                                                                 DrawRecords, DrawColour};
    const int index = resource - FIRST;
    if (index < 0 || static_cast<std::size_t>(index) >= drawings.size()) return {};
    return MakeIcon(drawings[static_cast<std::size_t>(index)]);
}
