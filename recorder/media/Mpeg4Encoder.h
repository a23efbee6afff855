#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "recorder/media/Coded.h"
#include "recorder/scene/Picture.h"

namespace recorder
{

/// How motion is coded. Half: vectors in half-pel steps, one or four to a macroblock, as encoders do. None: all
/// vectors are zero; larger at the same quality, but read alike by clients whatever their rounding of chroma
/// vectors.
enum class EMotion { Half, None };

/// Encodes Simple Profile MPEG-4 that the smallest decoders read: I and P pictures, H.263 quantisation, fcode
/// 1, rounding type 0 in every P picture, no resynchronisation markers, a VOL before each I picture. Names the
/// faults of libavcodec as std::runtime_error. One thread at a time.
///
/// The encoder of libavcodec lets the rounding type alternate from P picture to P picture, and offers no
/// choice. So that its own reference never comes from rounding type 1, where vectors have half-pel steps a P
/// picture that repeats the reference unchanged is coded between two pictures and thrown away: it takes the
/// turn with type 1, and since no sample of it is interpolated, the rounding doesn't matter. Its input is what
/// libavcodec's decoder makes of the stream, hence exactly the reference.
class Mpeg4Encoder
{
  public:
    /// Width and height are multiples of 16; rate is pictures a second, 1 to 100.
    Mpeg4Encoder(int width, int height, int rate, EMotion motion);
    ~Mpeg4Encoder();
    Mpeg4Encoder(const Mpeg4Encoder&) = delete;
    Mpeg4Encoder& operator=(const Mpeg4Encoder&) = delete;

    /// Encodes a picture with a quantiser of 2 to 31; the first is a key picture in any case, and so is one
    /// that could not be kept within the limits otherwise. pictureNumber gives the time and never goes back;
    /// the same number again replaces what was coded before only when it is a key picture.
    Coded Encode(const Picture& picture, int64_t pictureNumber, bool isKey, int quant);

  private:
    struct State;
    std::unique_ptr<State> m_State;
};

}  // namespace recorder
