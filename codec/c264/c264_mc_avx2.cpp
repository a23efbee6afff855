#if defined(__x86_64__)

#include <immintrin.h>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_mc_vector.h"
#include "codec/sse2_rows.h"

namespace
{

__m256i weights(int first, int second)
{
    return _mm256_set1_epi16(static_cast<int16_t>((second << 8) | (first & 0xFF)));
}

__m256i taps_of_pairs(__m256i left, __m256i inner, __m256i right)
{
    return _mm256_add_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(left, weights(1, -5)),
                                             _mm256_maddubs_epi16(right, weights(-5, 1))),
                            _mm256_maddubs_epi16(inner, weights(20, 20)));
}

// 16-bit sums, already shifted, as pixels.
__m128i pack(__m256i sums)
{
    return _mm_packus_epi16(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
}

__m256i join(__m128i low, __m128i high)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

// Sixteen pixels of a row.
struct avx2_ops {
    static constexpr int WIDTH = 16;
    using bytes = __m128i;
    using words = __m256i;

    static bytes load(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
    static void store(uint8_t* to, bytes row) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), row); }
    static bytes average(bytes a, bytes b) { return _mm_avg_epu8(a, b); }

    // The lower half works on the pixels -2 to 13, the upper one on 3 to 18: so both find all their taps, and
    // nothing beyond the last tap is read.
    static words row_taps(const uint8_t* p)
    {
        const __m256i line = join(load(p - 2), load(p + 3));
        const __m256i left =
            _mm256_shuffle_epi8(line, _mm256_setr_epi8(0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8,  //
                                                       3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11));
        const __m256i inner =
            _mm256_shuffle_epi8(line, _mm256_setr_epi8(2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10,  //
                                                       5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13));
        const __m256i right = _mm256_shuffle_epi8(
            line, _mm256_setr_epi8(4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12,  //
                                   7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13, 14, 14, 15));
        return taps_of_pairs(left, inner, right);
    }

    static bytes round5(words sums)
    {
        return pack(_mm256_mulhrs_epi16(sums, _mm256_set1_epi16(1 << 10)));  // (sum + 16) >> 5
    }

    // As in the SSE2 step.
    static bytes centre(words w0, words w1, words w2, words w3, words w4, words w5)
    {
        const __m256i a = _mm256_add_epi16(w0, w5);
        const __m256i b = _mm256_add_epi16(w1, w4);
        const __m256i c = _mm256_add_epi16(w2, w3);
        __m256i sum = _mm256_srai_epi16(_mm256_sub_epi16(a, b), 2);
        sum = _mm256_adds_epi16(_mm256_sub_epi16(sum, b), c);
        sum = _mm256_add_epi16(_mm256_srai_epi16(sum, 2), c);
        return pack(_mm256_mulhrs_epi16(sum, _mm256_set1_epi16(1 << 9)));  // (sum + 32) >> 6
    }

    // Rows stand in pairs, each with the one below it, eight pixels in either half.
    class column
    {
      public:
        column(const uint8_t* p, ptrdiff_t stride)
        {
            const __m256i r0 = spread(p - 2 * stride);
            const __m256i r1 = spread(p - stride);
            const __m256i r2 = spread(p);
            const __m256i r3 = spread(p + stride);
            last = spread(p + 2 * stride);
            pair0 = _mm256_unpacklo_epi8(r0, r1);
            pair1 = _mm256_unpacklo_epi8(r1, r2);
            pair2 = _mm256_unpacklo_epi8(r2, r3);
            pair3 = _mm256_unpacklo_epi8(r3, last);
        }
        words next(const uint8_t* p)
        {
            const __m256i row = spread(p);
            const __m256i pair4 = _mm256_unpacklo_epi8(last, row);
            const __m256i sums = taps_of_pairs(pair0, pair2, pair4);
            last = row;
            pair0 = pair1;
            pair1 = pair2;
            pair2 = pair3;
            pair3 = pair4;
            return sums;
        }

      private:
        static __m256i spread(const uint8_t* p)
        {
            return _mm256_permute4x64_epi64(_mm256_castsi128_si256(load(p)), 0x10);
        }
        __m256i pair0, pair1, pair2, pair3, last;
    };
};

// Each of eight chroma pixels with its right neighbour.
__m128i chroma_pairs(const uint8_t* from)
{
    return _mm_unpacklo_epi8(load_row<8>(from), load_row<8>(from + 1));
}

// Stores two rows of sums of weights that add up to 1 << SHIFT, the upper row in the lower half; only the upper
// one when it is the last.
template <int SHIFT>
[[gnu::always_inline]] inline void store_rounded(uint8_t* to, ptrdiff_t stride, bool last, __m256i sums)
{
    const __m128i both = pack(_mm256_mulhrs_epi16(sums, _mm256_set1_epi16(1 << (15 - SHIFT))));
    store_row<8>(to, both);
    if (!last) _mm_storel_epi64(reinterpret_cast<__m128i*>(to + stride), _mm_unpackhi_epi64(both, both));
}

// Chroma of two rows at once; of an odd number of rows the last one is done alone.
void chroma8(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t stride, int rows, int index)
{
    const int x = index & 7;
    const int y = (index >> 3) & 7;
    const ptrdiff_t to_step = 2 * to_stride;
    if (x == 0 && y == 0) {
        for (int row = 0; row < rows; ++row, to += to_stride, from += stride)
            store_row<8>(to, load_row<8>(from));
    } else if (y == 0) {
        const __m256i across = weights(8 - x, x);
        for (; rows > 0; rows -= 2, to += to_step, from += 2 * stride) {
            const __m256i pairs = join(chroma_pairs(from), chroma_pairs(rows > 1 ? from + stride : from));
            store_rounded<3>(to, to_stride, rows == 1, _mm256_maddubs_epi16(pairs, across));
        }
    } else if (x == 0) {
        const __m256i down = weights(8 - y, y);
        __m128i first = load_row<8>(from);
        for (; rows > 0; rows -= 2, to += to_step, from += 2 * stride) {
            const __m128i second = load_row<8>(from + stride);
            const __m128i third = rows > 1 ? load_row<8>(from + 2 * stride) : second;
            const __m256i pairs = join(_mm_unpacklo_epi8(first, second), _mm_unpacklo_epi8(second, third));
            store_rounded<3>(to, to_stride, rows == 1, _mm256_maddubs_epi16(pairs, down));
            first = third;
        }
    } else {
        const uint8_t* const w = C264_CHROMA_WEIGHTS[static_cast<size_t>(index & 63)].weight;
        const __m256i w_upper = weights(w[0], w[1]);
        const __m256i w_lower = weights(w[2], w[3]);
        __m128i first = chroma_pairs(from);
        for (; rows > 0; rows -= 2, to += to_step, from += 2 * stride) {
            const __m128i second = chroma_pairs(from + stride);
            const __m128i third = rows > 1 ? chroma_pairs(from + 2 * stride) : second;
            store_rounded<6>(to, to_stride, rows == 1,
                             _mm256_add_epi16(_mm256_maddubs_epi16(join(first, second), w_upper),
                                              _mm256_maddubs_epi16(join(second, third), w_lower)));
            first = third;
        }
    }
}

}  // namespace

void c264_mc_fill_avx2(c264_mc* table)
{
    c264_mc_vector::fill_luma<avx2_ops, 1>(table->luma[C264_WIDTH_16]);
    table->chroma[0] = chroma8;
}

#endif
