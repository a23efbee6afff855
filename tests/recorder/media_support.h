#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recorder/media/LibAv.h"
#include "recorder/scene/Picture.h"

namespace recorder
{

// Decodes MPEG-4, or H.264, picture by picture with libavcodec.
class CDecoder
{
  public:
    explicit CDecoder(const char* name = "mpeg4");
    Picture Decode(const std::vector<uint8_t>& bytes);

  private:
    AvCodecContext m_pContext;
    AvFrame m_Frame;
    AvPacket m_pPacket;
};

using AccessUnits = std::vector<std::vector<uint8_t>>;

inline constexpr int H264_TEST_WIDTH = 176;
inline constexpr int H264_TEST_HEIGHT = 144;

// What an encoder makes of the drawn scene, of noise, or of noise in every other macroblock, of all pictures or
// of those between the key pictures, with these of its own options beside those that keep
// it to what small decoders read; every fifth picture is a key picture.
enum class EShows { Scene, Noise, Specks, LaterSpecks };
AccessUnits EncodeH264(const std::string& options, int pictures = 12, AVPixelFormat format = AV_PIX_FMT_YUV420P,
                       EShows shows = EShows::Scene);

}  // namespace recorder
