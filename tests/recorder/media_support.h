#pragma once

#include <cstdint>
#include <vector>

#include "recorder/media/LibAv.h"
#include "recorder/scene/Picture.h"

namespace recorder
{

// Decodes MPEG-4 picture by picture with libavcodec.
class CDecoder
{
  public:
    CDecoder();
    XPicture Decode(const std::vector<uint8_t>& bytes);

  private:
    AvCodecContext m_pContext;
    AvFrame m_pFrame;
    AvPacket m_pPacket;
};

}  // namespace recorder
