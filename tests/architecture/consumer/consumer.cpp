#include <cstdio>

#include "codec/decoder.h"

// Succeeds when both decoders were opened and refuse what is no stream.
int main()
{
    const uint8_t junk[64] = {};
    CMpeg4Decoder mpeg4(176, 144);
    CC264Decoder h264(176, 144);
    const bool refused = mpeg4.Decode(junk, sizeof junk) == nullptr;
    const CodecFrame* const frame = h264.Decode(junk, sizeof junk);
    std::printf("refused: %d %d\n", refused, frame == nullptr || frame->data[0] == nullptr);
    return 0;
}
