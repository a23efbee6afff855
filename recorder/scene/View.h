#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace recorder
{

// What the camera's motors and the four colour settings make of a picture.
struct XView {
    double m_dPan = 0;     // pictures to the right; what lies beyond an edge is the mirrored picture
    double m_dTilt = 0;    // pictures downwards
    double m_dZoom = 1;    // 1 shows the whole picture
    double m_dBlur = 0;    // 0 is sharp, 1 the most
    double m_dIris = 0;    // -1 closed, 1 open
    double m_dWiper = -1;  // 0 to 1, from the left to the right; negative: at rest, out of sight
    bool m_bLight = false;
    double m_dBright = 0;  // these from -1 to 1, 0 is neutral
    double m_dContrast = 0;
    double m_dHue = 0;  // 1 is half a turn
    double m_dSaturation = 0;

    bool operator==(const XView&) const = default;
};

// Changes pictures as a view tells. One thread at a time.
class CViewPainter
{
  public:
    // The pixels (blue, green, red, unused; no gaps between rows) are changed in place.
    void Apply(const XView& view, uint8_t* pPixels, int iWidth, int iHeight);

  private:
    std::vector<uint8_t> m_Copy;
    std::vector<int> m_Columns;  // of the copy, for each of the picture
};

}  // namespace recorder
