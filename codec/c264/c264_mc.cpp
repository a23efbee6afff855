#include "codec/c264/c264_mc.h"

#include <array>
#include <cstring>
#include <utility>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_pixel.h"

namespace
{

constexpr int MAX_ROWS = 16;

// 8.4.2.2.1: the six-tap filter around a half sample, not rounded; `p` is the sample before it.
template <class T>
int six_taps(const T* p, ptrdiff_t step)
{
    return p[-2 * step] - 5 * p[-step] + 20 * p[0] + 20 * p[step] - 5 * p[2 * step] + p[3 * step];
}

// The half samples between columns: b of the clause.
template <int WIDTH>
void half_columns(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (int y = 0; y < rows; ++y, to += to_stride, from += from_stride) {
        for (int x = 0; x < WIDTH; ++x)
            to[x] = c264_clip1((six_taps(from + x, 1) + 16) >> 5);
    }
}

// The half samples between rows: h of the clause.
template <int WIDTH>
void half_rows(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (int y = 0; y < rows; ++y, to += to_stride, from += from_stride) {
        for (int x = 0; x < WIDTH; ++x)
            to[x] = c264_clip1((six_taps(from + x, from_stride) + 16) >> 5);
    }
}

// The half samples between both: j of the clause, from sums that are neither rounded nor clipped.
template <int WIDTH>
void half_both(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    int16_t sums[(MAX_ROWS + 5) * WIDTH] = {};
    const uint8_t* line = from - 2 * from_stride;
    for (int y = 0; y < rows + 5; ++y, line += from_stride) {
        for (int x = 0; x < WIDTH; ++x)
            sums[y * WIDTH + x] = static_cast<int16_t>(six_taps(line + x, 1));
    }
    for (int y = 0; y < rows; ++y, to += to_stride) {
        for (int x = 0; x < WIDTH; ++x)
            to[x] = c264_clip1((six_taps(sums + (y + 2) * WIDTH + x, WIDTH) + 512) >> 10);
    }
}

template <int WIDTH>
void average_with(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (int y = 0; y < rows; ++y, to += to_stride, from += from_stride) {
        for (int x = 0; x < WIDTH; ++x)
            to[x] = static_cast<uint8_t>((to[x] + from[x] + 1) >> 1);
    }
}

// 8.4.2.2.1, by position: a quarter sample is the average of the two integer or half samples next to it.
template <int WIDTH, int X, int Y>
void luma(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    const uint8_t* const near_row = Y == 3 ? from + from_stride : from;
    const uint8_t* const near_column = X == 3 ? from + 1 : from;
    if constexpr (X == 2 && Y == 2) {
        half_both<WIDTH>(to, to_stride, from, from_stride, rows);
    } else if constexpr (X == 0) {
        half_rows<WIDTH>(to, to_stride, from, from_stride, rows);
        if constexpr (Y != 2) average_with<WIDTH>(to, to_stride, near_row, from_stride, rows);
    } else if constexpr (Y == 0) {
        half_columns<WIDTH>(to, to_stride, from, from_stride, rows);
        if constexpr (X != 2) average_with<WIDTH>(to, to_stride, near_column, from_stride, rows);
    } else {
        uint8_t other[MAX_ROWS * WIDTH];
        if constexpr (Y == 2) {
            half_both<WIDTH>(other, WIDTH, from, from_stride, rows);
        } else {
            half_columns<WIDTH>(other, WIDTH, near_row, from_stride, rows);
        }
        if constexpr (X == 2) {
            half_both<WIDTH>(to, to_stride, from, from_stride, rows);
        } else {
            half_rows<WIDTH>(to, to_stride, near_column, from_stride, rows);
        }
        average_with<WIDTH>(to, to_stride, other, WIDTH, rows);
    }
}

template <int WIDTH, int... INDEX>
void fill_luma(c264_block_fn* slots, c264_block_fn copy, std::integer_sequence<int, INDEX...> /*indexes*/)
{
    slots[0] = copy;
    ((slots[INDEX + 1] = luma<WIDTH, (INDEX + 1) % 4, (INDEX + 1) / 4>), ...);
}

// One dimension of chroma: the neighbour that is `step` away takes `fraction` eighths.
template <int WIDTH>
void chroma_line(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows,
                 ptrdiff_t step, int fraction)
{
    for (int y = 0; y < rows; ++y, to += to_stride, from += from_stride) {
        for (int x = 0; x < WIDTH; ++x)
            to[x] = static_cast<uint8_t>(((8 - fraction) * from[x] + fraction * from[x + step] + 4) >> 3);
    }
}

// 8.4.2.2.2. With one fraction alone the clause's sum over 64 is eight times the sum over 8, so the neighbours
// that weigh nothing needn't be read.
template <int WIDTH>
void chroma(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows, int index)
{
    const int x_fraction = index & 7;
    const int y_fraction = (index >> 3) & 7;
    if (x_fraction == 0 && y_fraction == 0) {
        for (int y = 0; y < rows; ++y, to += to_stride, from += from_stride)
            std::memcpy(to, from, WIDTH);
        return;
    }
    if (y_fraction == 0) {
        chroma_line<WIDTH>(to, to_stride, from, from_stride, rows, 1, x_fraction);
        return;
    }
    if (x_fraction == 0) {
        chroma_line<WIDTH>(to, to_stride, from, from_stride, rows, from_stride, y_fraction);
        return;
    }
    const uint8_t* const w = C264_CHROMA_WEIGHTS[index & 63].weight;
    for (int y = 0; y < rows; ++y, to += to_stride, from += from_stride) {
        const uint8_t* const below = from + from_stride;
        for (int x = 0; x < WIDTH; ++x) {
            to[x] = static_cast<uint8_t>(
                (w[0] * from[x] + w[1] * from[x + 1] + w[2] * below[x] + w[3] * below[x + 1] + 32) >> 6);
        }
    }
}

constexpr std::array<c264_chroma_weights, 64> chroma_weights()
{
    std::array<c264_chroma_weights, 64> table{};
    for (int index = 0; index < 64; ++index) {
        const int x = index % 8;
        const int y = index / 8;
        table[index] = {{static_cast<uint8_t>((8 - x) * (8 - y)), static_cast<uint8_t>(x * (8 - y)),
                         static_cast<uint8_t>((8 - x) * y), static_cast<uint8_t>(x * y)}};
    }
    return table;
}

}  // namespace

constexpr std::array<c264_chroma_weights, 64> C264_CHROMA_WEIGHTS = chroma_weights();

void c264_mc_init(c264_mc* table, const c264_copy& copies, [[maybe_unused]] uint32_t caps)
{
    constexpr auto FRACTIONS = std::make_integer_sequence<int, 15>{};
    fill_luma<16>(table->luma[C264_WIDTH_16], copies.copy[C264_WIDTH_16], FRACTIONS);
    fill_luma<8>(table->luma[C264_WIDTH_8], copies.copy[C264_WIDTH_8], FRACTIONS);
    fill_luma<4>(table->luma[C264_WIDTH_4], copies.copy[C264_WIDTH_4], FRACTIONS);
    table->chroma[0] = chroma<8>;
    table->chroma[1] = chroma<4>;
    table->chroma[2] = chroma<2>;
#if defined(__x86_64__)
    if (caps & CODEC_CAP_SSE2) c264_mc_fill_sse2(table);
    if (caps & CODEC_CAP_SSSE3) c264_mc_fill_ssse3(table);
    if (caps & CODEC_CAP_AVX2) c264_mc_fill_avx2(table);
#endif
}
