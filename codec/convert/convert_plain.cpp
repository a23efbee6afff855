#include <algorithm>
#include <cstring>

#include "codec/convert/convert_kernels.h"

// The plain conversion kernels, which define what every other one gives.

namespace
{

constexpr yuv_rgb_table make_tables()
{
    yuv_rgb_table tables = {};
    for (int i = 0; i < 256; ++i) {
        tables.luma[i] = (i - 16) * YUV_LUMA;
        tables.u_blue[i] = (i - 128) * YUV_U_BLUE;
        tables.u_green[i] = (i - 128) * YUV_U_GREEN;
        tables.v_green[i] = (i - 128) * YUV_V_GREEN;
        tables.v_red[i] = (i - 128) * YUV_V_RED;
    }
    return tables;
}

struct colour {
    uint8_t blue, green, red;
};

uint8_t clip(int32_t value)
{
    return static_cast<uint8_t>(std::clamp(value >> YUV_FRACTION_BITS, 0, 255));
}

colour colour_of(uint8_t y, uint8_t u, uint8_t v)
{
    const int32_t luma = yuv_rgb_tables.luma[y];
    return {.blue = clip(luma + yuv_rgb_tables.u_blue[u]),
            .green = clip(luma - (yuv_rgb_tables.v_green[v] + yuv_rgb_tables.u_green[u])),
            .red = clip(luma + yuv_rgb_tables.v_red[v])};
}

void put16(uint8_t* to, unsigned value)
{
    to[0] = static_cast<uint8_t>(value);
    to[1] = static_cast<uint8_t>(value >> 8);
}

// How each RGB layout writes a pixel.
struct as_bgr32 {
    static constexpr int bytes = 4;
    static void put(uint8_t* to, colour c)
    {
        to[0] = c.blue;
        to[1] = c.green;
        to[2] = c.red;
        to[3] = 0;
    }
};
struct as_rgb32 {
    static constexpr int bytes = 4;
    static void put(uint8_t* to, colour c) { as_bgr32::put(to, {c.red, c.green, c.blue}); }
};
struct as_bgr24 {
    static constexpr int bytes = 3;
    static void put(uint8_t* to, colour c)
    {
        to[0] = c.blue;
        to[1] = c.green;
        to[2] = c.red;
    }
};
struct as_rgb24 {
    static constexpr int bytes = 3;
    static void put(uint8_t* to, colour c) { as_bgr24::put(to, {c.red, c.green, c.blue}); }
};
struct as_rgb565 {
    static constexpr int bytes = 2;
    static void put(uint8_t* to, colour c) { put16(to, c.red >> 3 << 11 | c.green >> 2 << 5 | c.blue >> 3); }
};
struct as_rgb555 {
    static constexpr int bytes = 2;
    static void put(uint8_t* to, colour c) { put16(to, c.red >> 3 << 10 | c.green >> 3 << 5 | c.blue >> 3); }
};

// Calls `pair(to, luma, u, v)` for every two pixels of every row.
template <int BytesPerPair, class Pair>
void for_pairs(const convert_job& job, Pair pair)
{
    for (int32_t row = 0; row < job.height; ++row) {
        uint8_t* to = job.to[0] + row * job.to_stride[0];
        const uint8_t* const luma = job.from[0] + row * job.from_stride[0];
        const uint8_t* const u = job.from[1] + row / 2 * job.from_stride[1];
        const uint8_t* const v = job.from[2] + row / 2 * job.from_stride[1];
        for (int32_t column = 0; column < job.width; column += 2, to += BytesPerPair)
            pair(to, luma + column, u[column / 2], v[column / 2]);
    }
}

template <class Layout>
void convert_rgb(const convert_job& job)
{
    for_pairs<2 * Layout::bytes>(job, [](uint8_t* to, const uint8_t* luma, uint8_t u, uint8_t v) {
        Layout::put(to, colour_of(luma[0], u, v));
        Layout::put(to + Layout::bytes, colour_of(luma[1], u, v));
    });
}

// At which of the four bytes of a pair the first luma byte, U and V stand; the second luma byte follows two
// later.
template <int LumaAt, int UAt, int VAt>
void convert_packed_yuv(const convert_job& job)
{
    for_pairs<4>(job, [](uint8_t* to, const uint8_t* luma, uint8_t u, uint8_t v) {
        to[LumaAt] = luma[0];
        to[LumaAt + 2] = luma[1];
        to[UAt] = u;
        to[VAt] = v;
    });
}

void convert_i420(const convert_job& job)
{
    for (int plane = 0; plane < 3; ++plane) {
        const int kind = plane == 0 ? 0 : 1;
        const auto bytes = static_cast<size_t>(plane == 0 ? job.width : (job.width + 1) / 2);
        const int32_t rows = plane == 0 ? job.height : (job.height + 1) / 2;
        for (int32_t row = 0; row < rows; ++row) {
            std::memcpy(job.to[plane] + row * job.to_stride[kind],
                        job.from[plane] + row * job.from_stride[kind], bytes);
        }
    }
}

}  // namespace

constinit const yuv_rgb_table yuv_rgb_tables = make_tables();

const convert_table& convert_plain()
{
    static constexpr convert_table table = {
        .i420 = convert_i420,
        .yuy2 = convert_packed_yuv<0, 1, 3>,
        .uyvy = convert_packed_yuv<1, 0, 2>,
        .yvyu = convert_packed_yuv<0, 3, 1>,
        .rgb565 = convert_rgb<as_rgb565>,
        .rgb555 = convert_rgb<as_rgb555>,
        .bgr24 = convert_rgb<as_bgr24>,
        .rgb24 = convert_rgb<as_rgb24>,
        .bgr32 = convert_rgb<as_bgr32>,
        .rgb32 = convert_rgb<as_rgb32>,
    };
    return table;
}
