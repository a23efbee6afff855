// Conversion with any geometry: what isn't refused must stay inside planes of exactly the bytes that the sizes
// and strides promise, and every step must give the plain kernels' bytes.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "codec/convert/convert.h"
#include "codec/convert/scale.h"
#include "codec/cpu.h"

namespace
{

// A plane of `rows` rows; the last one in memory ends with the bytes that a picture of `rowBytes` needs.
class CPlane
{
  public:
    CPlane(int64_t stride, int64_t rows, int64_t rowBytes, uint8_t value)
    {
        if (rows <= 0 || rowBytes <= 0) return;
        const int64_t step = std::abs(stride);
        m_Bytes.assign(static_cast<std::size_t>((rows - 1) * step + std::min(step, rowBytes)), value);
        m_Bytes.shrink_to_fit();
        m_iFirst = stride < 0 ? (rows - 1) * step : 0;
    }
    void Fill(const std::vector<uint8_t>& pattern)
    {
        for (std::size_t i = 0; i < m_Bytes.size() && !pattern.empty(); ++i)
            m_Bytes[i] = static_cast<uint8_t>(pattern[i % pattern.size()] + i / pattern.size());
    }
    uint8_t* Row0() { return m_Bytes.empty() ? nullptr : m_Bytes.data() + m_iFirst; }
    const std::vector<uint8_t>& Bytes() const { return m_Bytes; }

  private:
    std::vector<uint8_t> m_Bytes;
    int64_t m_iFirst = 0;
};

struct Geometry {
    bool asDecoder;
    bool flip;
    int32_t format, width, height, frameWidth, frameHeight;
    int32_t fromStride[2], toStride[2];
    std::vector<uint8_t> pattern;
};

// The target's bytes after a conversion with the kernels of `caps`.
std::vector<uint8_t> Convert(const Geometry& g, uint32_t caps)
{
    const int64_t rows = g.frameHeight > 0 && !g.asDecoder ? std::min(g.frameHeight, g.height) : g.height;
    const int64_t columns = g.frameWidth > 0 && !g.asDecoder ? std::min(g.frameWidth, g.width) : g.width;
    CPlane y(g.fromStride[0], rows, columns + (columns & 1), 0);
    CPlane u(g.fromStride[1], (rows + 1) / 2, (columns + 1) / 2, 0);
    CPlane v(g.fromStride[1], (rows + 1) / 2, (columns + 1) / 2, 0);
    y.Fill(g.pattern);
    u.Fill(g.pattern);
    v.Fill(g.pattern);
    const int64_t even = int64_t{g.width} + (g.width & 1);
    CPlane to(g.toStride[0], g.height, even * 4, 0xA5);
    CPlane toU(g.toStride[1], (int64_t{g.height} + 1) / 2, even / 2, 0xA5);
    CPlane toV(g.toStride[1], (int64_t{g.height} + 1) / 2, even / 2, 0xA5);

    CodecFrame frame = {};
    frame.data[0] = y.Row0();
    frame.data[1] = u.Row0();
    frame.data[2] = v.Row0();
    frame.linesize[0] = g.fromStride[0];
    frame.linesize[1] = g.fromStride[1];
    frame.width = g.frameWidth;
    frame.height = g.frameHeight;
    const ConvertTarget target = {.data = {to.Row0(), toU.Row0(), toV.Row0(), nullptr},
                                  .linesize = {g.toStride[0], g.toStride[1], 0, 0},
                                  .format = g.format};
    convert_dsp_init(caps);
    const int32_t result = g.asDecoder ? convert_decoder_picture(target, frame, g.width, g.height)
                                       : ConvertFrame(target, frame, g.width, g.height, g.flip);
    if (result != 0 && result != -1 && result != -9980 && result != -1001) std::abort();

    std::vector<uint8_t> all = to.Bytes();
    all.insert(all.end(), toU.Bytes().begin(), toU.Bytes().end());
    all.insert(all.end(), toV.Bytes().begin(), toV.Bytes().end());
    return all;
}

void Scale(FuzzedDataProvider& data)
{
    int32_t size[4];
    for (int32_t& value : size)
        value = data.ConsumeIntegralInRange<int32_t>(-1, 70);
    const auto bytes = [](int32_t width, int32_t height) {
        if (width < 0 || height < 0) return std::size_t{0};
        return static_cast<std::size_t>(width * height + 2 * (width / 2) * (height / 2));
    };
    std::vector<uint8_t> to(bytes(size[0], size[1])), from(bytes(size[2], size[3]), 7);
    scale_yuv420(to.data(), from.data(), size[0], size[1], size[2], size[3]);
    scale_yuv420_float(to.data(), from.data(), size[0], size[1], size[2], size[3]);
    if (size[0] < 0 || size[1] < 0 || size[2] < 0 || size[3] < 0) return;
    std::vector<uint16_t> toPixels(static_cast<std::size_t>(size[0] * size[1]));
    const std::vector<uint16_t> pixels(static_cast<std::size_t>(size[2] * size[3]), 0x1234);
    scale_rgb565(toPixels.data(), pixels.data(), size[0], size[1], size[2], size[3]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    if (data.ConsumeIntegralInRange(0, 7) == 0) {
        Scale(data);
        return 0;
    }
    Geometry g;
    g.asDecoder = data.ConsumeBool();
    g.flip = data.ConsumeBool();
    g.format = data.ConsumeIntegralInRange<int32_t>(-2, g.asDecoder ? 70 : 45);
    g.width = data.ConsumeBool() ? 16 * data.ConsumeIntegralInRange<int32_t>(0, 12)
                                 : data.ConsumeIntegralInRange<int32_t>(-2, 200);
    g.height = data.ConsumeIntegralInRange<int32_t>(-1, 12);
    g.frameWidth = data.ConsumeBool() ? g.width : data.ConsumeIntegralInRange<int32_t>(-1, 200);
    g.frameHeight = data.ConsumeBool() ? g.height : data.ConsumeIntegralInRange<int32_t>(-1, 12);
    for (int kind = 0; kind < 2; ++kind) {
        g.fromStride[kind] = data.ConsumeIntegralInRange<int32_t>(-300, 300);
        g.toStride[kind] = data.ConsumeIntegralInRange<int32_t>(-900, 900);
    }
    g.pattern = data.ConsumeRemainingBytes<uint8_t>();

    const std::vector<uint8_t> plain = Convert(g, CODEC_STEP_PLAIN);
    const uint32_t has = c264_cpu_detect();
    for (const uint32_t step : {CODEC_STEP_SSE2, CODEC_STEP_SSSE3, CODEC_STEP_AVX2}) {
        if (Convert(g, step & has) != plain) std::abort();
    }
    return 0;
}
