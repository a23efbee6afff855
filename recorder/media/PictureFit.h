#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "recorder/media/LibAv.h"

namespace recorder
{

/// The shape in which a channel of this size is shown. The sizes of the old standards (704x576, 352x288,
/// 176x144) and others of their proportions are 4:3; any other has square pixels, and 1088 rows stand for 1080.
double ShapeOf(int width, int height);

/// Scales pictures from elsewhere into the channel's size, with black bars where their shape is another. One
/// thread at a time.
class PictureFit
{
  public:
    PictureFit(int width, int height);

    /// The scaler writes whole vectors, so up to so many bytes beyond the end of a row; also of the last one.
    static constexpr size_t SCALER_EXCESS = 64;

    /// The pixels: blue, green, red, unused; no gaps between rows. Valid, and the caller's to change, until the
    /// next call.
    std::vector<uint8_t>& Fit(const AVFrame& frame);

  private:
    int m_Width;
    int m_Height;
    SwsScaler m_Scaler;
    std::vector<uint8_t> m_Pixels;
};

}  // namespace recorder
