#pragma once

#include <cstdint>
#include <vector>

namespace recorder
{

enum class ECodec { Mpeg4, H264 };
inline constexpr int CODECS = 2;

/// One coded picture.
struct Coded {
    std::vector<uint8_t> bytes;
    bool key = false;
    int quant = 0;  // of MPEG-4
    ECodec codec = ECodec::Mpeg4;
};

}  // namespace recorder
