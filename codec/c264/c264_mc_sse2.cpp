#if defined(__x86_64__)

#include <emmintrin.h>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_mc_vector.h"
#include "codec/sse2_rows.h"

namespace
{

// One pixel in each 16-bit lane.
template <int WIDTH>
__m128i load_words(const uint8_t* from)
{
    return _mm_unpacklo_epi8(load_row<WIDTH>(from), _mm_setzero_si128());
}

// The six taps 1, -5, 20, 20, -5, 1: outer + 5 * (4 * inner - middle).
__m128i six_taps(__m128i a, __m128i b, __m128i c, __m128i d, __m128i e, __m128i f)
{
    const __m128i inner = _mm_add_epi16(c, d);
    const __m128i middle = _mm_add_epi16(b, e);
    const __m128i five = _mm_sub_epi16(_mm_slli_epi16(inner, 2), middle);
    return _mm_add_epi16(_mm_add_epi16(a, f), _mm_add_epi16(five, _mm_slli_epi16(five, 2)));
}

template <int PIXELS>
struct sse2_ops {
    static constexpr int WIDTH = PIXELS;
    using bytes = __m128i;
    using words = __m128i;

    static bytes load(const uint8_t* from) { return load_row<WIDTH>(from); }
    static void store(uint8_t* to, bytes row) { store_row<WIDTH>(to, row); }
    static bytes average(bytes a, bytes b) { return _mm_avg_epu8(a, b); }

    static words row_taps(const uint8_t* p)
    {
        return six_taps(load_words<WIDTH>(p - 2), load_words<WIDTH>(p - 1), load_words<WIDTH>(p),
                        load_words<WIDTH>(p + 1), load_words<WIDTH>(p + 2), load_words<WIDTH>(p + 3));
    }

    static bytes round5(words sums)
    {
        const __m128i rounded = _mm_srai_epi16(_mm_add_epi16(sums, _mm_set1_epi16(16)), 5);
        return _mm_packus_epi16(rounded, rounded);
    }

    // With a, b and c the outer, middle and inner sums, (a - 5b + 20c + 512) >> 10 is
    // (((((a - b) >> 2) - b + c) >> 2) + c + 32) >> 6, for halvings that round down can be split. Only the sum
    // that adds c can leave 16 bits; it saturates, and the pixel is clipped to the same value anyway.
    static bytes centre(words w0, words w1, words w2, words w3, words w4, words w5)
    {
        const __m128i a = _mm_add_epi16(w0, w5);
        const __m128i b = _mm_add_epi16(w1, w4);
        const __m128i c = _mm_add_epi16(w2, w3);
        __m128i sum = _mm_srai_epi16(_mm_sub_epi16(a, b), 2);
        sum = _mm_adds_epi16(_mm_sub_epi16(sum, b), c);
        sum = _mm_add_epi16(_mm_srai_epi16(sum, 2), c);
        sum = _mm_srai_epi16(_mm_add_epi16(sum, _mm_set1_epi16(32)), 6);
        return _mm_packus_epi16(sum, sum);
    }

    class column
    {
      public:
        column(const uint8_t* p, ptrdiff_t stride)
            : r0(load_words<WIDTH>(p - 2 * stride)),
              r1(load_words<WIDTH>(p - stride)),
              r2(load_words<WIDTH>(p)),
              r3(load_words<WIDTH>(p + stride)),
              r4(load_words<WIDTH>(p + 2 * stride))
        {
        }
        words next(const uint8_t* p)
        {
            const __m128i r5 = load_words<WIDTH>(p);
            const __m128i sums = six_taps(r0, r1, r2, r3, r4, r5);
            r0 = r1;
            r1 = r2;
            r2 = r3;
            r3 = r4;
            r4 = r5;
            return sums;
        }

      private:
        __m128i r0, r1, r2, r3, r4;
    };
};

// One row of chroma between columns, in eighths, not yet divided: 8a + fraction * (b - a).
template <int WIDTH>
__m128i chroma_row(const uint8_t* from, __m128i fraction)
{
    const __m128i a = load_words<WIDTH>(from);
    const __m128i b = load_words<WIDTH>(from + 1);
    return _mm_add_epi16(_mm_slli_epi16(a, 3), _mm_mullo_epi16(_mm_sub_epi16(b, a), fraction));
}

template <int WIDTH>
void chroma(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t stride, int rows, int index)
{
    const int x_fraction = index & 7;
    const int y_fraction = (index >> 3) & 7;
    const __m128i x = _mm_set1_epi16(static_cast<int16_t>(x_fraction));
    const __m128i y = _mm_set1_epi16(static_cast<int16_t>(y_fraction));
    if (x_fraction == 0 && y_fraction == 0) {
        for (int k = 0; k < rows; ++k, to += to_stride, from += stride)
            store_row<WIDTH>(to, load_row<WIDTH>(from));
    } else if (y_fraction == 0) {
        for (int k = 0; k < rows; ++k, to += to_stride, from += stride) {
            const __m128i sums = _mm_add_epi16(chroma_row<WIDTH>(from, x), _mm_set1_epi16(4));
            store_row<WIDTH>(to, _mm_packus_epi16(_mm_srli_epi16(sums, 3), sums));
        }
    } else if (x_fraction == 0) {
        __m128i upper = load_words<WIDTH>(from);
        for (int k = 0; k < rows; ++k, to += to_stride) {
            from += stride;
            const __m128i lower = load_words<WIDTH>(from);
            __m128i sums = _mm_mullo_epi16(_mm_sub_epi16(lower, upper), y);
            sums = _mm_add_epi16(_mm_add_epi16(_mm_slli_epi16(upper, 3), sums), _mm_set1_epi16(4));
            store_row<WIDTH>(to, _mm_packus_epi16(_mm_srli_epi16(sums, 3), sums));
            upper = lower;
        }
    } else {
        __m128i upper = chroma_row<WIDTH>(from, x);
        for (int k = 0; k < rows; ++k, to += to_stride) {
            from += stride;
            const __m128i lower = chroma_row<WIDTH>(from, x);
            __m128i sums = _mm_mullo_epi16(_mm_sub_epi16(lower, upper), y);
            sums = _mm_add_epi16(_mm_add_epi16(_mm_slli_epi16(upper, 3), sums), _mm_set1_epi16(32));
            store_row<WIDTH>(to, _mm_packus_epi16(_mm_srli_epi16(sums, 6), sums));
            upper = lower;
        }
    }
}

}  // namespace

void c264_mc_fill_sse2(c264_mc* table)
{
    c264_mc_vector::fill_luma<sse2_ops<8>, 2>(table->luma[C264_WIDTH_16]);
    c264_mc_vector::fill_luma<sse2_ops<8>, 1>(table->luma[C264_WIDTH_8]);
    c264_mc_vector::fill_luma<sse2_ops<4>, 1>(table->luma[C264_WIDTH_4]);
    table->chroma[0] = chroma<8>;
    table->chroma[1] = chroma<4>;
}

#endif
