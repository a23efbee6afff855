// Any bytes at the MPEG-4 decoder. The first byte chooses size and option; the rest is cut into payloads at VOP
// start codes and fed one by one, each in a block of its own, so that the sanitizer sees a read behind it. What
// the decoder leaves out where nothing changes is held against one that copies everything, and the conversion
// of changes against that of the whole picture.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "codec/convert/convert.h"
#include "codec/decoder.h"
#include "codec/mpeg4_dec.h"

namespace
{
struct Size {
    int32_t iWidth;
    int32_t iHeight;
};
constexpr Size sizes[] = {{176, 144}, {16, 16}, {48, 32}, {33, 50}, {8, 8}, {64, 16}, {16, 80}, {112, 96}};

uint8_t g_sink;

/// Reads every sample that the frame says it has, as a consumer would.
void ReadFrame(const CodecFrame* frame)
{
    for (int plane = 0; plane < 3; ++plane) {
        const int32_t width = plane == 0 ? frame->width : frame->width / 2;
        const int32_t height = plane == 0 ? frame->height : frame->height / 2;
        const int32_t stride = frame->linesize[plane == 0 ? 0 : 1];
        for (int32_t row = 0; row < height; ++row) {
            for (int32_t column = 0; column < width; ++column)
                g_sink ^= frame->data[plane][row * stride + column];
        }
    }
}

class CCopyingDecoder : public CMpeg4Decoder
{
  public:
    using CMpeg4Decoder::CMpeg4Decoder;

    CodecFrame* Decode(const uint8_t* pBuffer, int32_t iLength) override
    {
        auto* const dec = static_cast<Mpeg4Decoder*>(m_Context.priv);
        if (dec) std::memset(dec->same, 0, static_cast<size_t>(dec->mb_across) * dec->mb_down);
        return CMpeg4Decoder::Decode(pBuffer, iLength);
    }
};

bool AreSame(const CodecFrame& a, const CodecFrame& b)
{
    for (int plane = 0; plane < 3; ++plane) {
        const int32_t width = plane == 0 ? a.width : a.width / 2;
        const int32_t height = plane == 0 ? a.height : a.height / 2;
        const int32_t stride = a.linesize[plane == 0 ? 0 : 1];
        for (int32_t row = 0; row < height; ++row) {
            if (std::memcmp(a.data[plane] + row * stride, b.data[plane] + row * stride,
                            static_cast<size_t>(width)) != 0)
                return false;
        }
    }
    return true;
}

/// Pixels that follow a decoder's pictures by their changes.
class CFollower
{
  public:
    explicit CFollower(const Size& size)
        : m_Pixels(static_cast<size_t>(size.iWidth) * size.iHeight * 4), m_Whole(m_Pixels.size())
    {
    }

    bool Follows(const CodecFrame& frame)
    {
        if (ConvertChanges(Target(frame, m_Pixels), frame, frame.width, frame.height, &m_Held) != CONVERT_OK)
            return true;
        ConvertFrame(Target(frame, m_Whole), frame, frame.width, frame.height, false);
        return m_Pixels == m_Whole;
    }

  private:
    static ConvertTarget Target(const CodecFrame& frame, std::vector<uint8_t>& pixels)
    {
        return {.data = {pixels.data(), nullptr, nullptr, nullptr},
                .linesize = {frame.width * 4, 0, 0, 0},
                .format = CONVERT_FORMAT_BGR32};
    }

    std::vector<uint8_t> m_Pixels;
    std::vector<uint8_t> m_Whole;
    ConvertHeld m_Held{};
};

/// The next payload's length: up to behind the start code of the second VOP from here.
size_t PayloadLength(const uint8_t* data, size_t size)
{
    bool vop = false;
    for (size_t i = 0; i + 4 <= size; ++i) {
        if (data[i] || data[i + 1] || data[i + 2] != 1) continue;
        if (vop) return i;
        vop = data[i + 3] == 0xB6;
    }
    return size;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const Size& shape = sizes[data[0] & 7];
    CMpeg4Decoder decoder(shape.iWidth, shape.iHeight);
    decoder.SetStandardChroma((data[0] & 8) != 0);
    CCopyingDecoder copying(shape.iWidth, shape.iHeight);
    copying.SetStandardChroma((data[0] & 8) != 0);
    CFollower follower(shape);
    ++data;
    --size;
    while (size > 0) {
        const size_t length = std::max<size_t>(PayloadLength(data, size), 1);
        const std::unique_ptr<uint8_t[]> payload(new uint8_t[length]);
        std::memcpy(payload.get(), data, length);
        const CodecFrame* const frame = decoder.Decode(payload.get(), static_cast<int32_t>(length));
        const CodecFrame* const copied = copying.Decode(payload.get(), static_cast<int32_t>(length));
        if ((frame == nullptr) != (copied == nullptr)) std::abort();
        if (frame && frame->data[0]) {
            if (!AreSame(*frame, *copied) || !follower.Follows(*frame)) std::abort();
            if (frame->width != shape.iWidth || frame->height != shape.iHeight) std::abort();
            ReadFrame(frame);
        }
        data += length;
        size -= length;
    }
    return 0;
}
