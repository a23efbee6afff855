#if defined(__x86_64__)

#include <tmmintrin.h>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_mc_vector.h"
#include "codec/sse2_rows.h"

namespace
{

// A pair of weights for bytes that stand in turns.
__m128i weights(int first, int second)
{
    return _mm_set1_epi16(static_cast<int16_t>((second << 8) | (first & 0xFF)));
}

template <int PIXELS>
struct ssse3_ops {
    static constexpr int WIDTH = PIXELS;
    using bytes = __m128i;
    using words = __m128i;

    static bytes load(const uint8_t* from) { return load_row<WIDTH>(from); }
    static void store(uint8_t* to, bytes row) { store_row<WIDTH>(to, row); }
    static bytes average(bytes a, bytes b) { return _mm_avg_epu8(a, b); }

    // The pixels -2 to 5 stand in bytes 0 to 7, those from 3 on in bytes 8 to 15, so that nothing beyond the
    // last tap is read. Each shuffle takes two neighbouring taps of all lanes.
    static words row_taps(const uint8_t* p)
    {
        const __m128i line = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p - 2)),
                                                load_row<WIDTH>(p + 3));
        const __m128i left =
            _mm_shuffle_epi8(line, _mm_setr_epi8(0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 11));
        const __m128i inner =
            _mm_shuffle_epi8(line, _mm_setr_epi8(2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 11, 11, 12, 12, 13));
        const __m128i right =
            _mm_shuffle_epi8(line, _mm_setr_epi8(4, 5, 5, 6, 6, 7, 7, 11, 11, 12, 12, 13, 13, 14, 14, 15));
        return taps_of_pairs(left, inner, right);
    }

    static bytes round5(words sums)
    {
        const __m128i rounded = _mm_mulhrs_epi16(sums, _mm_set1_epi16(1 << 10));  // (sum + 16) >> 5
        return _mm_packus_epi16(rounded, rounded);
    }

    // As in the SSE2 step.
    static bytes centre(words w0, words w1, words w2, words w3, words w4, words w5)
    {
        const __m128i a = _mm_add_epi16(w0, w5);
        const __m128i b = _mm_add_epi16(w1, w4);
        const __m128i c = _mm_add_epi16(w2, w3);
        __m128i sum = _mm_srai_epi16(_mm_sub_epi16(a, b), 2);
        sum = _mm_adds_epi16(_mm_sub_epi16(sum, b), c);
        sum = _mm_add_epi16(_mm_srai_epi16(sum, 2), c);
        sum = _mm_mulhrs_epi16(sum, _mm_set1_epi16(1 << 9));  // (sum + 32) >> 6
        return _mm_packus_epi16(sum, sum);
    }

    // Rows stand in pairs, each with the one below it.
    class column
    {
      public:
        column(const uint8_t* p, ptrdiff_t stride)
        {
            const __m128i r0 = load_row<WIDTH>(p - 2 * stride);
            const __m128i r1 = load_row<WIDTH>(p - stride);
            const __m128i r2 = load_row<WIDTH>(p);
            const __m128i r3 = load_row<WIDTH>(p + stride);
            last = load_row<WIDTH>(p + 2 * stride);
            pair0 = _mm_unpacklo_epi8(r0, r1);
            pair1 = _mm_unpacklo_epi8(r1, r2);
            pair2 = _mm_unpacklo_epi8(r2, r3);
            pair3 = _mm_unpacklo_epi8(r3, last);
        }
        words next(const uint8_t* p)
        {
            const __m128i row = load_row<WIDTH>(p);
            const __m128i pair4 = _mm_unpacklo_epi8(last, row);
            const __m128i sums = taps_of_pairs(pair0, pair2, pair4);
            last = row;
            pair0 = pair1;
            pair1 = pair2;
            pair2 = pair3;
            pair3 = pair4;
            return sums;
        }

      private:
        __m128i pair0, pair1, pair2, pair3, last;
    };

  private:
    static words taps_of_pairs(__m128i left, __m128i inner, __m128i right)
    {
        return _mm_add_epi16(
            _mm_add_epi16(_mm_maddubs_epi16(left, weights(1, -5)), _mm_maddubs_epi16(right, weights(-5, 1))),
            _mm_maddubs_epi16(inner, weights(20, 20)));
    }
};

// Each pixel of a row with its right neighbour.
template <int WIDTH>
__m128i chroma_pairs(const uint8_t* from)
{
    return _mm_unpacklo_epi8(load_row<WIDTH>(from), load_row<WIDTH>(from + 1));
}

// Stores sums of weights that add up to 1 << SHIFT. The multiplication is (sum + (1 << SHIFT) / 2) >> SHIFT.
template <int WIDTH, int SHIFT>
[[gnu::always_inline]] inline void store_rounded(uint8_t* to, __m128i sums)
{
    const __m128i row = _mm_mulhrs_epi16(sums, _mm_set1_epi16(1 << (15 - SHIFT)));
    store_row<WIDTH>(to, _mm_packus_epi16(row, row));
}

template <int WIDTH>
void chroma(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t stride, int rows, int index)
{
    const int x = index & 7;
    const int y = (index >> 3) & 7;
    if (x == 0 && y == 0) {
        for (int k = 0; k < rows; ++k, to += to_stride, from += stride)
            store_row<WIDTH>(to, load_row<WIDTH>(from));
    } else if (y == 0) {
        const __m128i across = weights(8 - x, x);
        for (int k = 0; k < rows; ++k, to += to_stride, from += stride)
            store_rounded<WIDTH, 3>(to, _mm_maddubs_epi16(chroma_pairs<WIDTH>(from), across));
    } else if (x == 0) {
        const __m128i down = weights(8 - y, y);
        __m128i upper = load_row<WIDTH>(from);
        for (int k = 0; k < rows; ++k, to += to_stride) {
            from += stride;
            const __m128i lower = load_row<WIDTH>(from);
            store_rounded<WIDTH, 3>(to, _mm_maddubs_epi16(_mm_unpacklo_epi8(upper, lower), down));
            upper = lower;
        }
    } else {
        const uint8_t* const w = C264_CHROMA_WEIGHTS[static_cast<size_t>(index & 63)].weight;
        const __m128i w_upper = weights(w[0], w[1]);
        const __m128i w_lower = weights(w[2], w[3]);
        __m128i upper = chroma_pairs<WIDTH>(from);
        for (int k = 0; k < rows; ++k, to += to_stride) {
            from += stride;
            const __m128i lower = chroma_pairs<WIDTH>(from);
            store_rounded<WIDTH, 6>(
                to, _mm_add_epi16(_mm_maddubs_epi16(upper, w_upper), _mm_maddubs_epi16(lower, w_lower)));
            upper = lower;
        }
    }
}

}  // namespace

void c264_mc_fill_ssse3(c264_mc* table)
{
    c264_mc_vector::fill_luma<ssse3_ops<8>, 2>(table->luma[C264_WIDTH_16]);
    c264_mc_vector::fill_luma<ssse3_ops<8>, 1>(table->luma[C264_WIDTH_8]);
    c264_mc_vector::fill_luma<ssse3_ops<4>, 1>(table->luma[C264_WIDTH_4]);
    table->chroma[0] = chroma<8>;
    table->chroma[1] = chroma<4>;
}

#endif
