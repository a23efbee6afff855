#include "codec/c264/c264_dequant.h"

#include <array>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_pixel.h"

namespace
{

// 8.5.9: normAdjust4x4 of a position is one of three values, by whether row and column are even or odd.
constexpr int16_t NORM_ADJUST[6][3 /* both even, both odd, else */] = {
    {10, 16, 13}, {11, 18, 14}, {13, 20, 16}, {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};

constexpr std::array<c264_scale_row, 52> scale_table(bool dc)
{
    std::array<c264_scale_row, 52> table{};
    for (int qp = 0; qp < 52; ++qp) {
        for (int k = 0; k < 16; ++k) {
            const bool odd_row = (k & 1) != 0;
            const bool odd_column = ((k >> 2) & 1) != 0;
            const int kind = dc || (!odd_row && !odd_column) ? 0 : odd_row && odd_column ? 1 : 2;
            table[qp].factor[k] = static_cast<int16_t>(NORM_ADJUST[qp % 6][kind] << (qp / 6));
        }
    }
    return table;
}

void block(int16_t* coeffs, const int16_t* factors)
{
    for (int k = 0; k < 16; ++k)
        coeffs[k] = c264_wrap16(coeffs[k] * factors[k]);
}

void quadrant(int16_t* coeffs, const int16_t* factors)
{
    for (int k = 0; k < 64; k += 16)
        block(coeffs + k, factors);
}

int16_t saturate16(int value)
{
    return static_cast<int16_t>(c264_clip3(INT16_MIN, INT16_MAX, value));
}

void luma_dc(int16_t* dc, const int16_t* factors)
{
    for (int k = 0; k < 16; ++k)
        dc[k] = saturate16((dc[k] * factors[k] + 2) >> 2);
}

void chroma_dc(int16_t* dc, const int16_t* factors)
{
    for (int k = 0; k < 8; ++k)
        dc[k] = saturate16((dc[k] * factors[k]) >> 1);
}

}  // namespace

constexpr std::array<c264_scale_row, 52> C264_SCALE = scale_table(false);
constexpr std::array<c264_scale_row, 52> C264_SCALE_DC = scale_table(true);

void c264_dequant_init(c264_dequant* table, [[maybe_unused]] uint32_t caps)
{
    table->block = block;
    table->quadrant = quadrant;
    table->luma_dc = luma_dc;
    table->chroma_dc = chroma_dc;
#if defined(__x86_64__)
    if (caps & CODEC_CAP_SSE2) c264_dequant_fill_sse2(table);
#endif
}
