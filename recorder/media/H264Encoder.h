#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "recorder/h264/AnnexB.h"
#include "recorder/media/Coded.h"
#include "recorder/scene/Picture.h"

namespace recorder
{

/// How the syntax elements of H.264 are coded.
enum class EEntropy { Cavlc, Cabac };

/// One coded picture on the data port, as large as what a client's decoder takes at once.
inline constexpr size_t MAX_H264_BYTES = 262136;

/// The encoder's effort, unless told: what a processor makes of many channels counts more than their bytes.
inline constexpr const char* H264_PRESET = "superfast";

struct H264Setup {
    int width = 0;  // multiples of 16
    int height = 0;
    int rate = 25;  // pictures a second
    int64_t bitRate = 1'500'000;
    int group = 25;  // pictures from key to key
    EEntropy entropy = EEntropy::Cabac;
    EChecksum checksum = EChecksum::None;
    std::string preset = H264_PRESET;
};

/// Encodes the H.264 that the smallest decoders read: frames of one slice, I and P, one reference, no 8x8
/// transform, no weighted prediction, no matrices, no raw macroblocks. Each I picture is an IDR picture with
/// its parameter sets before it in the same bytes; there are no other units but a checksum's announcement.
/// Names the faults of libavcodec as std::runtime_error. One thread at a time.
class H264Encoder
{
  public:
    explicit H264Encoder(const H264Setup& setup);
    ~H264Encoder();
    H264Encoder(const H264Encoder&) = delete;
    H264Encoder& operator=(const H264Encoder&) = delete;

    /// pictureNumber gives the time and only grows; the first is a key picture in any case.
    Coded Encode(const Picture& picture, int64_t pictureNumber, bool key);

  private:
    struct State;
    std::unique_ptr<State> m_State;
};

}  // namespace recorder
