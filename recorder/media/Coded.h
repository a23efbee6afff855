#pragma once

#include <cstdint>
#include <vector>

namespace recorder
{

enum class ECodec { Mpeg4, H264 };
inline constexpr int CODECS = 2;

// One coded picture.
struct XCoded {
    std::vector<uint8_t> m_Bytes;
    bool m_bKey = false;
    int m_iQuant = 0;  // of MPEG-4
    ECodec m_Codec = ECodec::Mpeg4;
};

}  // namespace recorder
