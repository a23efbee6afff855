#include "recorder/scene/Canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace recorder
{

Colour Blend(const Colour& a, const Colour& b, double share)
{
    const auto mix = [share](double x, double y) { return x + (y - x) * share; };
    return {mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b), mix(a.a, b.a)};
}

double Noise(uint32_t seed, uint32_t index)
{
    uint32_t h = seed * 0x9E3779B1U + index * 0x85EBCA77U + 0x27220A95U;
    h ^= h >> 15;
    h *= 0x2C1B3C6DU;
    h ^= h >> 12;
    h *= 0x297A2D39U;
    h ^= h >> 15;
    return (h >> 8) / 16777216.0;
}

double Smooth(double x)
{
    if (x <= 0) return 0;
    if (x >= 1) return 1;
    return x * x * (3 - 2 * x);
}

double Wrap(double x, double period)
{
    return x - period * std::floor(x / period);
}

void Canvas::Fill(const Colour& colour)
{
    cairo_set_source_rgba(m_Context, colour.r, colour.g, colour.b, colour.a);
    cairo_fill(m_Context);
}

void Canvas::Path(std::span<const Point> points)
{
    cairo_new_path(m_Context);
    for (const Point& point : points)
        cairo_line_to(m_Context, point.x, point.y);
}

void Canvas::Clip(double x, double y, double width, double height)
{
    cairo_new_path(m_Context);
    cairo_rectangle(m_Context, x, y, width, height);
    cairo_clip(m_Context);
}

void Canvas::Clip(std::span<const Point> points)
{
    Path(points);
    cairo_clip(m_Context);
}

void Canvas::Rect(double x, double y, double width, double height, const Colour& colour)
{
    cairo_new_path(m_Context);
    cairo_rectangle(m_Context, x, y, width, height);
    Fill(colour);
}

void Canvas::RoundRect(double x, double y, double width, double height, double radius, const Colour& colour)
{
    constexpr double QUARTER = std::numbers::pi / 2;
    const double r = std::min({radius, width / 2, height / 2});
    cairo_new_path(m_Context);
    cairo_arc(m_Context, x + width - r, y + r, r, -QUARTER, 0);
    cairo_arc(m_Context, x + width - r, y + height - r, r, 0, QUARTER);
    cairo_arc(m_Context, x + r, y + height - r, r, QUARTER, 2 * QUARTER);
    cairo_arc(m_Context, x + r, y + r, r, 2 * QUARTER, 3 * QUARTER);
    Fill(colour);
}

void Canvas::Ellipse(double x, double y, double radiusX, double radiusY, const Colour& colour)
{
    if (radiusX <= 0 || radiusY <= 0) return;
    const Keep keep(*this);
    Move(x, y);
    Scale(radiusX, radiusY);
    cairo_new_path(m_Context);
    cairo_arc(m_Context, 0, 0, 1, 0, 2 * std::numbers::pi);
    Fill(colour);
}

void Canvas::Polygon(std::initializer_list<Point> points, const Colour& colour)
{
    Polygon(std::span(points.begin(), points.size()), colour);
}

void Canvas::Polygon(std::span<const Point> points, const Colour& colour)
{
    Path(points);
    Fill(colour);
}

void Canvas::Line(const Point& from, const Point& to, double width, const Colour& colour)
{
    const Point points[] = {from, to};
    Polyline(points, width, colour);
}

void Canvas::Polyline(std::span<const Point> points, double width, const Colour& colour)
{
    Path(points);
    cairo_set_line_width(m_Context, width);
    cairo_set_source_rgba(m_Context, colour.r, colour.g, colour.b, colour.a);
    cairo_stroke(m_Context);
}

void Canvas::Curve(const Point& from, const Point& control1, const Point& control2, const Point& to,
                   double width, const Colour& colour)
{
    cairo_new_path(m_Context);
    cairo_move_to(m_Context, from.x, from.y);
    cairo_curve_to(m_Context, control1.x, control1.y, control2.x, control2.y, to.x, to.y);
    cairo_set_line_width(m_Context, width);
    cairo_set_source_rgba(m_Context, colour.r, colour.g, colour.b, colour.a);
    cairo_stroke(m_Context);
}

void Canvas::Shade(double x, double y, double width, double height, std::initializer_list<Stop> stops,
                   bool sideways)
{
    cairo_pattern_t* const pattern = sideways ? cairo_pattern_create_linear(x, y, x + width, y)
                                              : cairo_pattern_create_linear(x, y, x, y + height);
    for (const auto& [at, colour] : stops)
        cairo_pattern_add_color_stop_rgba(pattern, at, colour.r, colour.g, colour.b, colour.a);
    cairo_new_path(m_Context);
    cairo_rectangle(m_Context, x, y, width, height);
    cairo_set_source(m_Context, pattern);
    cairo_fill(m_Context);
    cairo_pattern_destroy(pattern);
}

void Canvas::Glow(double x, double y, double radius, const Colour& colour)
{
    cairo_pattern_t* const pattern = cairo_pattern_create_radial(x, y, 0, x, y, radius);
    cairo_pattern_add_color_stop_rgba(pattern, 0, colour.r, colour.g, colour.b, colour.a);
    cairo_pattern_add_color_stop_rgba(pattern, 0.35, colour.r, colour.g, colour.b, colour.a * 0.4);
    cairo_pattern_add_color_stop_rgba(pattern, 1, colour.r, colour.g, colour.b, 0);
    cairo_new_path(m_Context);
    cairo_arc(m_Context, x, y, radius, 0, 2 * std::numbers::pi);
    cairo_set_source(m_Context, pattern);
    cairo_fill(m_Context);
    cairo_pattern_destroy(pattern);
}

double Canvas::Place(double x, double size, const std::string& text, EAlign align, bool bold)
{
    cairo_select_font_face(m_Context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(m_Context, size);
    if (align == EAlign::Left) return x;
    cairo_text_extents_t extents;
    cairo_text_extents(m_Context, text.c_str(), &extents);
    return align == EAlign::Right ? x - extents.x_advance : x - extents.x_advance / 2;
}

double Canvas::TextWidth(double size, const std::string& text)
{
    return -Place(0, size, text, EAlign::Right, true);
}

void Canvas::Text(double x, double y, double size, const std::string& text, const Colour& colour, EAlign align,
                  bool bold)
{
    cairo_new_path(m_Context);
    cairo_move_to(m_Context, Place(x, size, text, align, bold), y);
    cairo_set_source_rgba(m_Context, colour.r, colour.g, colour.b, colour.a);
    cairo_show_text(m_Context, text.c_str());
}

void Canvas::RimText(double x, double y, double size, const std::string& text, const Colour& colour,
                     EAlign align)
{
    cairo_new_path(m_Context);
    cairo_move_to(m_Context, Place(x, size, text, align, true), y);
    cairo_text_path(m_Context, text.c_str());
    cairo_set_line_join(m_Context, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(m_Context, size / 6);
    cairo_set_source_rgba(m_Context, 0, 0, 0, 0.75);
    cairo_stroke_preserve(m_Context);
    Fill(colour);
}

}  // namespace recorder
