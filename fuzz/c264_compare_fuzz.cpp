// Any bytes at the H.264 decoder: the size as for c264_decode, the rest cut after each slice. Plain kernels
// and all the vector ones must give the same pictures, and the conversion of changes the same pixels as that of
// the whole picture.
#include <cstdint>
#include <cstdlib>

#include "codec/c264/c264_dsp.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "fuzz/decoded_pictures.h"
#include "tests/support/c264_copying.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    codec_init();
    c264_dsp_init();
    const uint32_t caps = c264_cpu_detect();
    const FuzzSize& shape = FUZZ_SIZES[data[0] & 7];
    CC264Decoder decoder(shape.width, shape.height);
    CCopyingC264Decoder plain(shape.width, shape.height);
    CFollower follower(shape);
    const auto next = [](const uint8_t* from, size_t left) {
        return LengthOfPayload(from, left,
                               [](uint8_t header) { return (header & 31) == 1 || (header & 31) == 5; });
    };
    ForEachPayload(data + 1, size - 1, next, [&](const uint8_t* payload, int32_t length) {
        c264_dsp_refill(caps);
        const CodecFrame* const frame = decoder.Decode(payload, length);
        c264_dsp_refill(0);
        const CodecFrame* const expected = plain.Decode(payload, length);
        if ((frame == nullptr) != (expected == nullptr)) std::abort();
        if (!frame) return;
        if ((frame->data[0] == nullptr) != (expected->data[0] == nullptr)) std::abort();
        if (!frame->data[0]) return;
        if (!AreSame(*frame, *expected) || !follower.Follows(*frame)) std::abort();
    });
    c264_dsp_refill(caps);
    return 0;
}
