#pragma once

#include <cairo.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace recorder
{

struct XColour {
    double m_dR = 0;
    double m_dG = 0;
    double m_dB = 0;
    double m_dA = 1;
};

// Rgb(0x3366CC) or, half transparent, Rgb(0x3366CC, 0.5).
constexpr XColour Rgb(uint32_t dwRgb, double dAlpha = 1)
{
    return {(dwRgb >> 16 & 0xFF) / 255.0, (dwRgb >> 8 & 0xFF) / 255.0, (dwRgb & 0xFF) / 255.0, dAlpha};
}
// From a (at 0) to b (at 1).
XColour Blend(const XColour& a, const XColour& b, double dShare);

struct XPoint {
    double m_dX = 0;
    double m_dY = 0;
};

struct XStop {
    double m_dAt = 0;  // 0 to 1 along the gradient
    XColour m_Colour;
};

// A number in 0..1 that is the same for the same arguments on every machine.
double Noise(uint32_t dwSeed, uint32_t dwIndex);
// x in 0..1 goes 0 to 1, with a soft start and end.
double Smooth(double x);
// The rest of x by period, in 0..period.
double Wrap(double x, double dPeriod);

// The few drawing operations that scenes need, over a Cairo context that it doesn't own. Units are those of the
// context's present transformation.
class CCanvas
{
  public:
    explicit CCanvas(cairo_t* pContext) : m_p(pContext) {}

    // Keeps the transformation for the life of the object.
    class CKeep
    {
      public:
        explicit CKeep(CCanvas& canvas) : m_p(canvas.m_p) { cairo_save(m_p); }
        ~CKeep() { cairo_restore(m_p); }
        CKeep(const CKeep&) = delete;
        CKeep& operator=(const CKeep&) = delete;

      private:
        cairo_t* m_p;
    };
    void Move(double dX, double dY) { cairo_translate(m_p, dX, dY); }
    void Scale(double dX, double dY) { cairo_scale(m_p, dX, dY); }
    void Turn(double dRadians) { cairo_rotate(m_p, dRadians); }
    // All that is drawn until the transformation's keeper ends stays inside.
    void Clip(double dX, double dY, double dW, double dH);
    void Clip(std::span<const XPoint> points);

    void Rect(double dX, double dY, double dW, double dH, const XColour& colour);
    void RoundRect(double dX, double dY, double dW, double dH, double dRadius, const XColour& colour);
    void Ellipse(double dX, double dY, double dRadiusX, double dRadiusY, const XColour& colour);
    void Polygon(std::initializer_list<XPoint> points, const XColour& colour);
    void Polygon(std::span<const XPoint> points, const XColour& colour);
    void Line(const XPoint& from, const XPoint& to, double dWidth, const XColour& colour);
    void Polyline(std::span<const XPoint> points, double dWidth, const XColour& colour);
    // From a over the control points to the end.
    void Curve(const XPoint& from, const XPoint& control1, const XPoint& control2, const XPoint& to,
               double dWidth, const XColour& colour);
    // A rectangle with colours from its upper to its lower edge, or from left to right.
    void Shade(double dX, double dY, double dW, double dH, std::initializer_list<XStop> stops,
               bool bSideways = false);
    // A light that fades out from the centre.
    void Glow(double dX, double dY, double dRadius, const XColour& colour);

    enum class EAlign { Left, Centre, Right };
    // One line of text with its baseline at y.
    void Text(double dX, double dY, double dSize, const std::string& text, const XColour& colour,
              EAlign align = EAlign::Left, bool bBold = false);
    // The same with a dark rim, readable on anything.
    void RimText(double dX, double dY, double dSize, const std::string& text, const XColour& colour,
                 EAlign align = EAlign::Left);

    // Of bold text, in units.
    double TextWidth(double dSize, const std::string& text);

  private:
    void Fill(const XColour& colour);
    void Path(std::span<const XPoint> points);
    double Place(double dX, double dSize, const std::string& text, EAlign align, bool bBold);

    cairo_t* m_p;
};

}  // namespace recorder
