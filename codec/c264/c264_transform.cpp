#include "codec/c264/c264_transform.h"

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_pixel.h"

namespace
{

// 8.5.12.2: the one-dimensional transform of four values that stand `step` apart.
void transform4(int16_t* d, int step)
{
    const int16_t e0 = c264_wrap16(d[0] + d[2 * step]);
    const int16_t e1 = c264_wrap16(d[0] - d[2 * step]);
    const int16_t e2 = c264_wrap16((d[step] >> 1) - d[3 * step]);
    const int16_t e3 = c264_wrap16(d[step] + (d[3 * step] >> 1));
    d[0] = c264_wrap16(e0 + e3);
    d[step] = c264_wrap16(e1 + e2);
    d[2 * step] = c264_wrap16(e1 - e2);
    d[3 * step] = c264_wrap16(e0 - e3);
}

void add_block(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
               const int16_t* coeffs)
{
    int16_t d[16];
    for (int k = 0; k < 16; ++k)
        d[k] = coeffs[k];
    for (int row = 0; row < 4; ++row)
        transform4(d + row, 4);
    for (int column = 0; column < 4; ++column)
        transform4(d + 4 * column, 1);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x)
            to[x] = c264_clip1(pred[x] + (c264_wrap16(d[4 * x + y] + 32) >> 6));
        to += to_stride;
        pred += pred_stride;
    }
}

void add_quadrant(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
                  const int16_t* coeffs)
{
    add_block(to, to_stride, pred, pred_stride, coeffs);
    add_block(to + 4, to_stride, pred + 4, pred_stride, coeffs + 16);
    add_block(to + 4 * to_stride, to_stride, pred + 4 * pred_stride, pred_stride, coeffs + 32);
    add_block(to + 4 * to_stride + 4, to_stride, pred + 4 * pred_stride + 4, pred_stride, coeffs + 48);
}

// One dimension of the 4x4 Hadamard transform, rows 1 1 1 1, 1 1 -1 -1, 1 -1 -1 1, 1 -1 1 -1 (8.5.10).
void hadamard4(int16_t* c, int step)
{
    const int16_t s02 = c264_wrap16(c[0] + c[2 * step]);
    const int16_t d02 = c264_wrap16(c[0] - c[2 * step]);
    const int16_t s13 = c264_wrap16(c[step] + c[3 * step]);
    const int16_t d13 = c264_wrap16(c[step] - c[3 * step]);
    c[0] = c264_wrap16(s02 + s13);
    c[step] = c264_wrap16(d02 + d13);
    c[2 * step] = c264_wrap16(d02 - d13);
    c[3 * step] = c264_wrap16(s02 - s13);
}

void luma_dc(int16_t* dc)
{
    for (int k = 0; k < 4; ++k)
        hadamard4(dc + 4 * k, 1);
    for (int k = 0; k < 4; ++k)
        hadamard4(dc + k, 4);
}

// 8.5.11.1 for each of the two planes.
void chroma_dc(int16_t* dc)
{
    for (int16_t* c = dc; c < dc + 8; c += 4) {
        const int top = c[0] + c[1];
        const int top_difference = c[0] - c[1];
        const int bottom = c[2] + c[3];
        const int bottom_difference = c[2] - c[3];
        c[0] = c264_wrap16(top + bottom);
        c[1] = c264_wrap16(top_difference + bottom_difference);
        c[2] = c264_wrap16(top - bottom);
        c[3] = c264_wrap16(top_difference - bottom_difference);
    }
}

}  // namespace

void c264_transform_init(c264_transform* table, [[maybe_unused]] uint32_t caps)
{
    table->add_block = add_block;
    table->add_quadrant = add_quadrant;
    table->luma_dc = luma_dc;
    table->chroma_dc = chroma_dc;
#if defined(__x86_64__)
    if (caps & CODEC_CAP_SSE2) c264_transform_fill_sse2(table);
    if (caps & CODEC_CAP_AVX2) c264_transform_fill_avx2(table);
#endif
}
