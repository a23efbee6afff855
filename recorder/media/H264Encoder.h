#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "recorder/h264/AnnexB.h"
#include "recorder/media/Coded.h"
#include "recorder/scene/Picture.h"

namespace recorder
{

// How the syntax elements of H.264 are coded.
enum class EEntropy { Cavlc, Cabac };

/// The encoder's effort, unless told: what a processor makes of many channels counts more than their bytes.
inline constexpr const char* H264_PRESET = "superfast";

struct XH264Setup {
    int m_iWidth = 0;  // multiples of 16
    int m_iHeight = 0;
    int m_iRate = 25;  // pictures a second
    int64_t m_iBitRate = 1'500'000;
    int m_iGroup = 25;  // pictures from key to key
    EEntropy m_Entropy = EEntropy::Cabac;
    EChecksum m_Checksum = EChecksum::None;
    std::string m_strPreset = H264_PRESET;
};

// Encodes the H.264 that the smallest decoders read: frames of one slice, I and P, one reference, no 8x8
// transform, no weighted prediction, no matrices, no raw macroblocks. Each I picture is an IDR picture with its
// parameter sets before it in the same bytes; there are no other units but a checksum's announcement. Names the
// faults of libavcodec as std::runtime_error. One thread at a time.
class CH264Encoder
{
  public:
    explicit CH264Encoder(const XH264Setup& setup);
    ~CH264Encoder();
    CH264Encoder(const CH264Encoder&) = delete;
    CH264Encoder& operator=(const CH264Encoder&) = delete;

    // iPicture gives the time and only grows; the first is a key picture in any case.
    XCoded Encode(const XPicture& picture, int64_t iPicture, bool bKey);

  private:
    struct XState;
    std::unique_ptr<XState> m_p;
};

}  // namespace recorder
