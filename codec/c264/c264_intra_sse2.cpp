#if defined(__x86_64__)

#include <emmintrin.h>

#include <cstring>

#include "codec/c264/c264_kernels.h"
#include "codec/sse2_rows.h"

namespace
{

template <int SIZE>
void fill(uint8_t* to, ptrdiff_t to_stride, int value)
{
    const __m128i row = _mm_set1_epi8(static_cast<char>(value));
    for (int y = 0; y < SIZE; ++y)
        store_row<SIZE>(to + y * to_stride, row);
}

int sum_top16(const uint8_t* at, ptrdiff_t stride)
{
    const __m128i sums = _mm_sad_epu8(load_row<16>(at - stride), _mm_setzero_si128());
    return _mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4);
}

int sum_left16(const uint8_t* at, ptrdiff_t stride)
{
    int sum = 0;
    for (int y = 0; y < 16; ++y)
        sum += at[y * stride - 1];
    return sum;
}

void luma16_dc(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    fill<16>(to, to_stride, (sum_top16(at, stride) + sum_left16(at, stride) + 16) >> 5);
}

void luma16_dc_left(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    fill<16>(to, to_stride, (sum_left16(at, stride) + 8) >> 4);
}

void luma16_dc_top(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    fill<16>(to, to_stride, (sum_top16(at, stride) + 8) >> 4);
}

// The sum of the four lanes of 32 bits.
int sum_lanes(__m128i lanes)
{
    lanes = _mm_add_epi32(lanes, _mm_shuffle_epi32(lanes, 0x4E));
    lanes = _mm_add_epi32(lanes, _mm_shuffle_epi32(lanes, 0xB1));
    return _mm_cvtsi128_si32(lanes);
}

// 8.3.3.4, 8.3.4.4
template <int SIZE>
void plane(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    constexpr int HALF = SIZE / 2;
    const __m128i zero = _mm_setzero_si128();
    int slope_h = 0;
    if constexpr (SIZE == 16) {
        const __m128i low = _mm_unpacklo_epi8(load_row<8>(at - stride - 1), zero);
        const __m128i high = _mm_unpacklo_epi8(load_row<8>(at - stride + 8), zero);
        const __m128i rising = _mm_setr_epi16(1, 2, 3, 4, 5, 6, 7, 8);
        const __m128i falling = _mm_setr_epi16(-8, -7, -6, -5, -4, -3, -2, -1);
        slope_h = sum_lanes(_mm_add_epi32(_mm_madd_epi16(low, falling), _mm_madd_epi16(high, rising)));
    } else {
        for (int k = 1; k <= HALF; ++k)
            slope_h += k * (at[HALF - 1 + k - stride] - at[HALF - 1 - k - stride]);
    }
    int slope_v = 0;
    for (int k = 1; k <= HALF; ++k)
        slope_v += k * (at[(HALF - 1 + k) * stride - 1] - at[(HALF - 1 - k) * stride - 1]);

    constexpr int FACTOR = SIZE == 16 ? 5 : 34;
    const int b = (FACTOR * slope_h + 32) >> 6;
    const int c = (FACTOR * slope_v + 32) >> 6;
    const int a = 16 * (at[(SIZE - 1) * stride - 1] + at[SIZE - 1 - stride]);
    const __m128i step = _mm_set1_epi16(static_cast<int16_t>(c));
    const __m128i first = _mm_set1_epi16(static_cast<int16_t>(a - (b + c) * (HALF - 1) + 16));
    const __m128i ramp =
        _mm_mullo_epi16(_mm_set1_epi16(static_cast<int16_t>(b)), _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7));
    __m128i left = _mm_add_epi16(first, ramp);
    __m128i right = _mm_add_epi16(left, _mm_set1_epi16(static_cast<int16_t>(8 * b)));
    for (int y = 0; y < SIZE; ++y, to += to_stride) {
        store_row<SIZE>(to, _mm_packus_epi16(_mm_srai_epi16(left, 5), _mm_srai_epi16(right, 5)));
        left = _mm_add_epi16(left, step);
        right = _mm_add_epi16(right, step);
    }
}

constexpr ptrdiff_t S4 = C264_INTRA4_STRIDE;

void store4(uint8_t* to, uint32_t pixels)
{
    std::memcpy(to, &pixels, 4);
}

// Four pixels from byte FIRST on.
template <int FIRST>
uint32_t four_from(__m128i line)
{
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(line, FIRST)));
}

// Byte k: (line[k] + line[k + 1] + 1) >> 1.
__m128i pairs(__m128i line)
{
    return _mm_avg_epu8(line, _mm_srli_si128(line, 1));
}

// Byte k: (line[k] + 2 * line[k + 1] + line[k + 2] + 2) >> 2.
__m128i triples(__m128i line)
{
    const __m128i next = _mm_srli_si128(line, 1);
    const __m128i after = _mm_srli_si128(line, 2);
    const __m128i lost_bit = _mm_and_si128(_mm_xor_si128(line, after), _mm_set1_epi8(1));
    return _mm_avg_epu8(_mm_sub_epi8(_mm_avg_epu8(line, after), lost_bit), next);
}

// The neighbours from the lowest on the left (byte 0) up to the corner (byte 4), then those above.
__m128i line_around(const uint8_t* block)
{
    const uint32_t left = static_cast<uint32_t>(block[3 * S4 - 1]) |
                          static_cast<uint32_t>(block[2 * S4 - 1]) << 8 |
                          static_cast<uint32_t>(block[S4 - 1]) << 16 | static_cast<uint32_t>(block[-1]) << 24;
    const __m128i above = _mm_slli_si128(load_row<8>(block - S4 - 1), 4);
    return _mm_or_si128(_mm_cvtsi32_si128(static_cast<int>(left)), above);
}

// 8.3.1.2.4: the line above, with its last pixel twice.
void luma4_diagonal_down_left(uint8_t* block)
{
    const __m128i above = load_row<8>(block - S4);
    const __m128i last = _mm_slli_si128(_mm_srli_si128(above, 7), 8);
    const __m128i smooth = triples(_mm_or_si128(above, last));
    store4(block, four_from<0>(smooth));
    store4(block + S4, four_from<1>(smooth));
    store4(block + 2 * S4, four_from<2>(smooth));
    store4(block + 3 * S4, four_from<3>(smooth));
}

// 8.3.1.2.5
void luma4_diagonal_down_right(uint8_t* block)
{
    const __m128i smooth = triples(line_around(block));
    store4(block, four_from<3>(smooth));
    store4(block + S4, four_from<2>(smooth));
    store4(block + 2 * S4, four_from<1>(smooth));
    store4(block + 3 * S4, four_from<0>(smooth));
}

// 8.3.1.2.6
void luma4_vertical_right(uint8_t* block)
{
    const __m128i line = line_around(block);
    const __m128i smooth = triples(line);
    const uint32_t row0 = four_from<4>(pairs(line));
    const uint32_t row1 = four_from<3>(smooth);
    const uint32_t left = four_from<0>(smooth);
    store4(block, row0);
    store4(block + S4, row1);
    store4(block + 2 * S4, row0 << 8 | (left >> 16 & 0xFF));
    store4(block + 3 * S4, row1 << 8 | (left >> 8 & 0xFF));
}

// 8.3.1.2.7
void luma4_horizontal_down(uint8_t* block)
{
    const __m128i line = line_around(block);
    const __m128i smooth = triples(line);
    const __m128i turns = _mm_unpacklo_epi8(pairs(line), smooth);
    store4(block, (four_from<6>(turns) & 0xFFFF) | four_from<4>(smooth) << 16);
    store4(block + S4, four_from<4>(turns));
    store4(block + 2 * S4, four_from<2>(turns));
    store4(block + 3 * S4, four_from<0>(turns));
}

// 8.3.1.2.8
void luma4_vertical_left(uint8_t* block)
{
    const __m128i above = load_row<8>(block - S4);
    const __m128i middle = pairs(above);
    const __m128i smooth = triples(above);
    store4(block, four_from<0>(middle));
    store4(block + S4, four_from<0>(smooth));
    store4(block + 2 * S4, four_from<1>(middle));
    store4(block + 3 * S4, four_from<1>(smooth));
}

// 8.3.1.2.9: the line down the left, whose last pixel goes on.
void luma4_horizontal_up(uint8_t* block)
{
    const uint32_t last = block[3 * S4 - 1];
    const uint32_t left = static_cast<uint32_t>(block[-1]) | static_cast<uint32_t>(block[S4 - 1]) << 8 |
                          static_cast<uint32_t>(block[2 * S4 - 1]) << 16 | last << 24;
    const __m128i line = _mm_set_epi32(0, 0, static_cast<int>(last * 0x01010101U), static_cast<int>(left));
    const __m128i turns = _mm_unpacklo_epi8(pairs(line), triples(line));
    store4(block, four_from<0>(turns));
    store4(block + S4, four_from<2>(turns));
    store4(block + 2 * S4, four_from<4>(turns));
    store4(block + 3 * S4, four_from<6>(turns));
}

}  // namespace

void c264_intra_fill_sse2(c264_intra* table)
{
    table->luma16[C264_LUMA16_DC] = luma16_dc;
    table->luma16[C264_LUMA16_DC_LEFT] = luma16_dc_left;
    table->luma16[C264_LUMA16_DC_TOP] = luma16_dc_top;
    table->luma16[C264_LUMA16_PLANE] = plane<16>;
    table->chroma8[C264_CHROMA8_PLANE] = plane<8>;
    table->luma4[C264_LUMA4_DIAGONAL_DOWN_LEFT] = luma4_diagonal_down_left;
    table->luma4[C264_LUMA4_DIAGONAL_DOWN_RIGHT] = luma4_diagonal_down_right;
    table->luma4[C264_LUMA4_VERTICAL_RIGHT] = luma4_vertical_right;
    table->luma4[C264_LUMA4_HORIZONTAL_DOWN] = luma4_horizontal_down;
    table->luma4[C264_LUMA4_VERTICAL_LEFT] = luma4_vertical_left;
    table->luma4[C264_LUMA4_HORIZONTAL_UP] = luma4_horizontal_up;
}

#endif
