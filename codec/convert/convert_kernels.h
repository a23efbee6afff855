#pragma once

#include <cstddef>
#include <cstdint>

// The conversion kernels: one slot for each target layout. Inside the codec only.

/// One conversion. All strides are bytes from row to next row and may be negative.
struct convert_job {
    uint8_t* to[3];
    ptrdiff_t to_stride[2 /* plane 0, the others */];
    const uint8_t* from[3 /* Y, U, V */];
    ptrdiff_t from_stride[2 /* luma, chroma */];
    int32_t width;   ///< above 0; the packed layouts round it up to even
    int32_t height;  ///< above 0; of an odd one the last row has a chroma row of its own
};

using convert_fn = void (*)(const convert_job& job);

struct convert_table {
    convert_fn i420;
    convert_fn yuy2;
    convert_fn uyvy;
    convert_fn yvyu;
    convert_fn rgb565;
    convert_fn rgb555;
    convert_fn bgr24;
    convert_fn rgb24;
    convert_fn bgr32;
    convert_fn rgb32;
};

/// Fills every slot: plain first, then each step of `caps` over it, SSE2, SSSE3, AVX2. The later ones need
/// SSE2.
void convert_table_fill(convert_table* table, uint32_t caps);

/// The plain kernels. The vector ones hand them pictures that are narrower than one vector.
const convert_table& convert_plain();

/// The process-wide table, chosen by the last convert_dsp_init; the plain one until the first.
const convert_table& convert_dsp();

/// What each step improves; defined on x86-64 only.
void convert_fill_sse2(convert_table* table);
void convert_fill_ssse3(convert_table* table);
void convert_fill_avx2(convert_table* table);

/// Terms of the colour equations, 13 fraction bits.
struct yuv_rgb_table {
    int32_t luma[256];     ///< (i - 16) x 9535
    int32_t u_blue[256];   ///< (i - 128) x 16531
    int32_t u_green[256];  ///< (i - 128) x 3203, taken away
    int32_t v_green[256];  ///< (i - 128) x 6660, taken away
    int32_t v_red[256];    ///< (i - 128) x 13074
};

inline constexpr int32_t YUV_LUMA = 9535;
inline constexpr int32_t YUV_U_BLUE = 16531;
inline constexpr int32_t YUV_U_GREEN = 3203;
inline constexpr int32_t YUV_V_GREEN = 6660;
inline constexpr int32_t YUV_V_RED = 13074;
inline constexpr int YUV_FRACTION_BITS = 13;

extern const yuv_rgb_table yuv_rgb_tables;
