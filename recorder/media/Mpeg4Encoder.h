#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "recorder/media/Coded.h"
#include "recorder/scene/Picture.h"

namespace recorder
{

// How motion is coded. Half: vectors in half-pel steps, one or four to a macroblock, as encoders do. None: all
// vectors are zero; larger at the same quality, but read alike by clients whatever their rounding of chroma
// vectors.
enum class EMotion { Half, None };

// Encodes Simple Profile MPEG-4 that the smallest decoders read: I and P pictures, H.263 quantisation, fcode 1,
// rounding type 0 in every P picture, no resynchronisation markers, a VOL before each I picture. Names the
// faults of libavcodec as std::runtime_error. One thread at a time.
//
// The encoder of libavcodec lets the rounding type alternate from P picture to P picture, and offers no choice.
// So that its own reference never comes from rounding type 1, a P picture that repeats the reference unchanged
// is coded after each picture and thrown away: it takes the turn with type 1, and since no sample of it is
// interpolated, the rounding doesn't matter. Its input is what a decoder of our own makes of the stream, hence
// exactly the reference.
class CMpeg4Encoder
{
  public:
    // Width and height are multiples of 16; iRate is pictures a second, 1 to 100.
    CMpeg4Encoder(int iWidth, int iHeight, int iRate, EMotion motion);
    ~CMpeg4Encoder();
    CMpeg4Encoder(const CMpeg4Encoder&) = delete;
    CMpeg4Encoder& operator=(const CMpeg4Encoder&) = delete;

    // Encodes a picture with a quantiser of 2 to 31; the first is a key picture in any case, and so is one that
    // could not be kept within the limits otherwise. iPicture gives the time and never goes back; the same
    // number again replaces what was coded before only when it is a key picture.
    XCoded Encode(const XPicture& picture, int64_t iPicture, bool bKey, int iQuant);

  private:
    struct XState;
    std::unique_ptr<XState> m_p;
};

}  // namespace recorder
