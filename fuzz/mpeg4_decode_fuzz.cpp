// Any bytes at the MPEG-4 decoder. The first byte chooses size and option; the rest is cut into payloads at VOP
// start codes and fed one by one.
#include <cstdint>
#include <cstdlib>

#include "codec/decoder.h"
#include "fuzz/decoded_pictures.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const FuzzSize& shape = FUZZ_SIZES[data[0] & 7];
    CMpeg4Decoder decoder(shape.width, shape.height);
    decoder.SetStandardChroma((data[0] & 8) != 0);
    const CodecFrame* frame = nullptr;
    const auto next = [](const uint8_t* from, size_t left) {
        return LengthOfPayload(from, left, [](uint8_t code) { return code == 0xB6; });
    };
    ForEachPayload(data + 1, size - 1, next, [&](const uint8_t* payload, int32_t length) {
        frame = decoder.Decode(payload, length);
        if (frame && frame->data[0] && (frame->width != shape.width || frame->height != shape.height))
            std::abort();
    });
    if (frame && frame->data[0]) ReadFrame(frame);
    return 0;
}
