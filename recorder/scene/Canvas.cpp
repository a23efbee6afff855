#include "recorder/scene/Canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace recorder
{

XColour Blend(const XColour& a, const XColour& b, double dShare)
{
    const auto mix = [dShare](double x, double y) { return x + (y - x) * dShare; };
    return {mix(a.m_dR, b.m_dR), mix(a.m_dG, b.m_dG), mix(a.m_dB, b.m_dB), mix(a.m_dA, b.m_dA)};
}

double Noise(uint32_t dwSeed, uint32_t dwIndex)
{
    uint32_t h = dwSeed * 0x9E3779B1U + dwIndex * 0x85EBCA77U + 0x27220A95U;
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

double Wrap(double x, double dPeriod)
{
    return x - dPeriod * std::floor(x / dPeriod);
}

void CCanvas::Fill(const XColour& colour)
{
    cairo_set_source_rgba(m_p, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA);
    cairo_fill(m_p);
}

void CCanvas::Path(std::span<const XPoint> points)
{
    cairo_new_path(m_p);
    for (const XPoint& point : points)
        cairo_line_to(m_p, point.m_dX, point.m_dY);
}

void CCanvas::Clip(double dX, double dY, double dW, double dH)
{
    cairo_new_path(m_p);
    cairo_rectangle(m_p, dX, dY, dW, dH);
    cairo_clip(m_p);
}

void CCanvas::Clip(std::span<const XPoint> points)
{
    Path(points);
    cairo_clip(m_p);
}

void CCanvas::Rect(double dX, double dY, double dW, double dH, const XColour& colour)
{
    cairo_new_path(m_p);
    cairo_rectangle(m_p, dX, dY, dW, dH);
    Fill(colour);
}

void CCanvas::RoundRect(double dX, double dY, double dW, double dH, double dRadius, const XColour& colour)
{
    constexpr double QUARTER = std::numbers::pi / 2;
    const double r = std::min({dRadius, dW / 2, dH / 2});
    cairo_new_path(m_p);
    cairo_arc(m_p, dX + dW - r, dY + r, r, -QUARTER, 0);
    cairo_arc(m_p, dX + dW - r, dY + dH - r, r, 0, QUARTER);
    cairo_arc(m_p, dX + r, dY + dH - r, r, QUARTER, 2 * QUARTER);
    cairo_arc(m_p, dX + r, dY + r, r, 2 * QUARTER, 3 * QUARTER);
    Fill(colour);
}

void CCanvas::Ellipse(double dX, double dY, double dRadiusX, double dRadiusY, const XColour& colour)
{
    if (dRadiusX <= 0 || dRadiusY <= 0) return;
    const CKeep keep(*this);
    Move(dX, dY);
    Scale(dRadiusX, dRadiusY);
    cairo_new_path(m_p);
    cairo_arc(m_p, 0, 0, 1, 0, 2 * std::numbers::pi);
    Fill(colour);
}

void CCanvas::Polygon(std::initializer_list<XPoint> points, const XColour& colour)
{
    Polygon(std::span(points.begin(), points.size()), colour);
}

void CCanvas::Polygon(std::span<const XPoint> points, const XColour& colour)
{
    Path(points);
    Fill(colour);
}

void CCanvas::Line(const XPoint& from, const XPoint& to, double dWidth, const XColour& colour)
{
    const XPoint points[] = {from, to};
    Polyline(points, dWidth, colour);
}

void CCanvas::Polyline(std::span<const XPoint> points, double dWidth, const XColour& colour)
{
    Path(points);
    cairo_set_line_width(m_p, dWidth);
    cairo_set_source_rgba(m_p, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA);
    cairo_stroke(m_p);
}

void CCanvas::Curve(const XPoint& from, const XPoint& control1, const XPoint& control2, const XPoint& to,
                    double dWidth, const XColour& colour)
{
    cairo_new_path(m_p);
    cairo_move_to(m_p, from.m_dX, from.m_dY);
    cairo_curve_to(m_p, control1.m_dX, control1.m_dY, control2.m_dX, control2.m_dY, to.m_dX, to.m_dY);
    cairo_set_line_width(m_p, dWidth);
    cairo_set_source_rgba(m_p, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA);
    cairo_stroke(m_p);
}

void CCanvas::Shade(double dX, double dY, double dW, double dH, std::initializer_list<XStop> stops,
                    bool bSideways)
{
    cairo_pattern_t* const pattern = bSideways ? cairo_pattern_create_linear(dX, dY, dX + dW, dY)
                                               : cairo_pattern_create_linear(dX, dY, dX, dY + dH);
    for (const auto& [at, colour] : stops)
        cairo_pattern_add_color_stop_rgba(pattern, at, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA);
    cairo_new_path(m_p);
    cairo_rectangle(m_p, dX, dY, dW, dH);
    cairo_set_source(m_p, pattern);
    cairo_fill(m_p);
    cairo_pattern_destroy(pattern);
}

void CCanvas::Glow(double dX, double dY, double dRadius, const XColour& colour)
{
    cairo_pattern_t* const pattern = cairo_pattern_create_radial(dX, dY, 0, dX, dY, dRadius);
    cairo_pattern_add_color_stop_rgba(pattern, 0, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA);
    cairo_pattern_add_color_stop_rgba(pattern, 0.35, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA * 0.4);
    cairo_pattern_add_color_stop_rgba(pattern, 1, colour.m_dR, colour.m_dG, colour.m_dB, 0);
    cairo_new_path(m_p);
    cairo_arc(m_p, dX, dY, dRadius, 0, 2 * std::numbers::pi);
    cairo_set_source(m_p, pattern);
    cairo_fill(m_p);
    cairo_pattern_destroy(pattern);
}

double CCanvas::Place(double dX, double dSize, const std::string& text, EAlign align, bool bBold)
{
    cairo_select_font_face(m_p, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           bBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(m_p, dSize);
    if (align == EAlign::Left) return dX;
    cairo_text_extents_t extents;
    cairo_text_extents(m_p, text.c_str(), &extents);
    return align == EAlign::Right ? dX - extents.x_advance : dX - extents.x_advance / 2;
}

double CCanvas::TextWidth(double dSize, const std::string& text)
{
    return -Place(0, dSize, text, EAlign::Right, true);
}

void CCanvas::Text(double dX, double dY, double dSize, const std::string& text, const XColour& colour,
                   EAlign align, bool bBold)
{
    cairo_new_path(m_p);
    cairo_move_to(m_p, Place(dX, dSize, text, align, bBold), dY);
    cairo_set_source_rgba(m_p, colour.m_dR, colour.m_dG, colour.m_dB, colour.m_dA);
    cairo_show_text(m_p, text.c_str());
}

void CCanvas::RimText(double dX, double dY, double dSize, const std::string& text, const XColour& colour,
                      EAlign align)
{
    cairo_new_path(m_p);
    cairo_move_to(m_p, Place(dX, dSize, text, align, true), dY);
    cairo_text_path(m_p, text.c_str());
    cairo_set_line_join(m_p, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(m_p, dSize / 6);
    cairo_set_source_rgba(m_p, 0, 0, 0, 0.75);
    cairo_stroke_preserve(m_p);
    Fill(colour);
}

}  // namespace recorder
