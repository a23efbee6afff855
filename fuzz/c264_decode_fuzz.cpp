// Any bytes at the H.264 decoder. The first byte chooses the size, and whether units follow start codes
// or their lengths; the rest is one payload.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "codec/c264/c264.h"
#include "codec/decoder.h"
#include "fuzz/decoded_pictures.h"

namespace
{
void DecodeStartCodes(const FuzzSize& shape, const uint8_t* payload, int32_t length)
{
    CC264Decoder decoder(shape.width, shape.height);
    const CodecFrame* const frame = decoder.Decode(payload, length);
    if (!frame || !frame->data[0]) return;
    if (frame->width != shape.width || frame->height != shape.height) std::abort();
    ReadFrame(frame);
}

void DecodeLengths(const FuzzSize& shape, const uint8_t* payload, int32_t length)
{
    C264Handle* const handle = c264_open(shape.width, shape.height, 1);
    C264Stats stats = {};
    while (length > 0) {
        C264Picture picture = {};
        int32_t got = 0;
        const int32_t used = c264_decode(handle, payload, length, &picture, &got, &stats);
        if (used > length) std::abort();
        if (used < 1) break;
        payload += used;
        length -= used;
    }
    c264_close(handle);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const FuzzSize& shape = FUZZ_SIZES[data[0] & 7];
    const std::unique_ptr<uint8_t[]> payload(new uint8_t[size]);
    std::memcpy(payload.get(), data + 1, size - 1);
    codec_init();
    if (data[0] & 8)
        DecodeLengths(shape, payload.get(), static_cast<int32_t>(size - 1));
    else
        DecodeStartCodes(shape, payload.get(), static_cast<int32_t>(size - 1));
    return 0;
}
