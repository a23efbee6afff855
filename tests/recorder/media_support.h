#pragma once

#include <cstdint>
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
    AvFrame m_pFrame;
    AvPacket m_pPacket;
};

}  // namespace recorder
