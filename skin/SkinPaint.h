#pragma once

#include <QBrush>
#include <QColor>
#include <QPainterPath>
#include <QRectF>

#include "skin/theme/Theme.h"

class QPainter;

// The painting of the style: turns values of the theme into colours, brushes and outlines.

inline QColor ToQColor(Color color)
{
    return {color.r, color.g, color.b, color.a};
}

/// The fill over the height of `area`.
QBrush ToBrush(const Fill& fill, const QRectF& area);

/// The element's box: fill and border with its radius. `area` is the outside of the border.
void PaintBox(QPainter& painter, const QRectF& area, const Element& element, const Look& look);

/// The frame of the keyboard's focus, two pixels wide, inside `area`; nothing when the look has no ring.
void PaintRing(QPainter& painter, const QRectF& area, const Element& element, const Look& look);

/// A frame, two pixels wide, inside `area`: where the keyboard is, in what the panels draw themselves.
void PaintFocus(QPainter& painter, const QRect& area, Color color);

/// The icon at the largest size that fits into `area`, centred.
void PaintIcon(QPainter& painter, const QRectF& area, const Icon& icon, const QColor& color);

/// A triangle of the platform's arrows, pointing as said, in the middle of `area`.
enum class EArrow { Up, Down, Left, Right };
void PaintArrow(QPainter& painter, const QRectF& area, EArrow direction, const QColor& color);
