#pragma once

#include <cairo.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace recorder
{

struct Colour {
    double r = 0;
    double g = 0;
    double b = 0;
    double a = 1;
};

/// Rgb(0x3366CC) or, half transparent, Rgb(0x3366CC, 0.5).
constexpr Colour Rgb(uint32_t rgb, double alpha = 1)
{
    return {(rgb >> 16 & 0xFF) / 255.0, (rgb >> 8 & 0xFF) / 255.0, (rgb & 0xFF) / 255.0, alpha};
}
/// From a (at 0) to b (at 1).
Colour Blend(const Colour& a, const Colour& b, double share);

struct Point {
    double x = 0;
    double y = 0;
};

struct Stop {
    double at = 0;  // 0 to 1 along the gradient
    Colour colour;
};

/// A number in 0..1 that is the same for the same arguments on every machine.
double Noise(uint32_t seed, uint32_t index);
/// x in 0..1 goes 0 to 1, with a soft start and end.
double Smooth(double x);
/// The rest of x by period, in 0..period.
double Wrap(double x, double period);

/// The few drawing operations that scenes need, over a Cairo context that it doesn't own. Units are those of
/// the context's present transformation.
class Canvas
{
  public:
    explicit Canvas(cairo_t* context) : m_Context(context) {}

    /// Keeps the transformation for the life of the object.
    class Keep
    {
      public:
        explicit Keep(Canvas& canvas) : m_Context(canvas.m_Context) { cairo_save(m_Context); }
        ~Keep() { cairo_restore(m_Context); }
        Keep(const Keep&) = delete;
        Keep& operator=(const Keep&) = delete;

      private:
        cairo_t* m_Context;
    };
    void Move(double x, double y) { cairo_translate(m_Context, x, y); }
    void Scale(double x, double y) { cairo_scale(m_Context, x, y); }
    void Turn(double radians) { cairo_rotate(m_Context, radians); }
    /// All that is drawn until the transformation's keeper ends stays inside.
    void Clip(double x, double y, double width, double height);
    void Clip(std::span<const Point> points);

    void Rect(double x, double y, double width, double height, const Colour& colour);
    void RoundRect(double x, double y, double width, double height, double radius, const Colour& colour);
    void Ellipse(double x, double y, double radiusX, double radiusY, const Colour& colour);
    void Polygon(std::initializer_list<Point> points, const Colour& colour);
    void Polygon(std::span<const Point> points, const Colour& colour);
    void Line(const Point& from, const Point& to, double width, const Colour& colour);
    void Polyline(std::span<const Point> points, double width, const Colour& colour);
    /// From a over the control points to the end.
    void Curve(const Point& from, const Point& control1, const Point& control2, const Point& to, double width,
               const Colour& colour);
    /// A rectangle with colours from its upper to its lower edge, or from left to right.
    void Shade(double x, double y, double width, double height, std::initializer_list<Stop> stops,
               bool sideways = false);
    /// A light that fades out from the centre.
    void Glow(double x, double y, double radius, const Colour& colour);

    enum class EAlign { Left, Centre, Right };
    /// One line of text with its baseline at y.
    void Text(double x, double y, double size, const std::string& text, const Colour& colour,
              EAlign align = EAlign::Left, bool bold = false);
    /// The same with a dark rim, readable on anything.
    void RimText(double x, double y, double size, const std::string& text, const Colour& colour,
                 EAlign align = EAlign::Left);

    /// Of bold text, in units.
    double TextWidth(double size, const std::string& text);

  private:
    void Fill(const Colour& colour);
    void Path(std::span<const Point> points);
    double Place(double x, double size, const std::string& text, EAlign align, bool bold);

    cairo_t* m_Context;
};

}  // namespace recorder
