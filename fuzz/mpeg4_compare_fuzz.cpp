// Any bytes at the MPEG-4 decoder, cut as for mpeg4_decode. What it leaves out where nothing changes is held
// against one that copies everything, and the conversion of changes against that of the whole picture.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "codec/decoder.h"
#include "codec/mpeg4_dec.h"
#include "fuzz/decoded_pictures.h"

namespace
{
class CCopyingDecoder : public CMpeg4Decoder
{
  public:
    using CMpeg4Decoder::CMpeg4Decoder;

    CodecFrame* Decode(const uint8_t* buffer, int32_t length) override
    {
        auto* const dec = static_cast<Mpeg4Decoder*>(m_Context.priv);
        if (dec) std::memset(dec->same, 0, static_cast<size_t>(dec->mb_across) * dec->mb_down);
        return CMpeg4Decoder::Decode(buffer, length);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const FuzzSize& shape = FUZZ_SIZES[data[0] & 7];
    CMpeg4Decoder decoder(shape.width, shape.height);
    decoder.SetStandardChroma((data[0] & 8) != 0);
    CCopyingDecoder copying(shape.width, shape.height);
    copying.SetStandardChroma((data[0] & 8) != 0);
    CFollower follower(shape);
    const auto next = [](const uint8_t* from, size_t left) {
        return LengthOfPayload(from, left, [](uint8_t code) { return code == 0xB6; });
    };
    ForEachPayload(data + 1, size - 1, next, [&](const uint8_t* payload, int32_t length) {
        const CodecFrame* const frame = decoder.Decode(payload, length);
        const CodecFrame* const copied = copying.Decode(payload, length);
        if ((frame == nullptr) != (copied == nullptr)) std::abort();
        if (!frame || !frame->data[0]) return;
        if (!AreSame(*frame, *copied) || !follower.Follows(*frame)) std::abort();
        ReadFrame(frame);
    });
    return 0;
}
