#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace recorder
{

/// What the camera's motors and the four colour settings make of a picture.
struct View {
    double pan = 0;     // pictures to the right; what lies beyond an edge is the mirrored picture
    double tilt = 0;    // pictures downwards
    double zoom = 1;    // 1 shows the whole picture
    double blur = 0;    // 0 is sharp, 1 the most
    double iris = 0;    // -1 closed, 1 open
    double wiper = -1;  // 0 to 1, from the left to the right; negative: at rest, out of sight
    bool light = false;
    double bright = 0;  // these from -1 to 1, 0 is neutral
    double contrast = 0;
    double hue = 0;  // 1 is half a turn
    double saturation = 0;

    bool operator==(const View&) const = default;
};

/// Changes pictures as a view tells. One thread at a time.
class ViewPainter
{
  public:
    /// The pixels (blue, green, red, unused; no gaps between rows) are changed in place.
    void Apply(const View& view, uint8_t* pixelData, int width, int height);

  private:
    std::vector<uint8_t> m_Copy;
    std::vector<int> m_Columns;  // of the copy, for each of the picture
};

}  // namespace recorder
