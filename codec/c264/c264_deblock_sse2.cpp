#if defined(__x86_64__)

#include <emmintrin.h>

#include <cstring>

#include "codec/c264/c264_kernels.h"
#include "codec/sse2_rows.h"

// All pixels along an edge are filtered at once: 16 bytes of luma or 8 of chroma in a vector for each distance
// from the edge. Vertical edges are turned first. The arithmetic stays in bytes where sums allow it, with
// averages that round up (the instruction's) and down.

namespace
{

// Pixels on both sides, from the edge outwards; chroma uses the first two.
struct edge_pixels {
    __m128i p[4];
    __m128i q[4];
};

__m128i average_down(__m128i a, __m128i b)
{
    return _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
}

__m128i select(__m128i mask, __m128i yes, __m128i no)
{
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

// All ones where |a - b| >= threshold.
__m128i differs(__m128i a, __m128i b, __m128i threshold)
{
    const __m128i difference = _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
    return _mm_cmpeq_epi8(_mm_max_epu8(difference, threshold), difference);
}

__m128i threshold_bytes(int value)
{
    return _mm_set1_epi8(static_cast<char>(value));
}

// filterSamplesFlag of 8.7.2.2 but for the strength: zero where the pixels are filtered.
__m128i left_alone(const edge_pixels& e, int alpha, __m128i beta)
{
    return _mm_or_si128(differs(e.p[0], e.q[0], threshold_bytes(alpha)),
                        _mm_or_si128(differs(e.p[1], e.p[0], beta), differs(e.q[1], e.q[0], beta)));
}

/// Whether a mask holds for all pixels along the edge.
template <c264_plane PLANE>
bool all_set(__m128i mask)
{
    constexpr int ALL = PLANE == C264_LUMA ? 0xFFFF : 0xFF;
    return (_mm_movemask_epi8(mask) & ALL) == ALL;
}

// The clip values for all pixels along the edge.
template <c264_deblock_kind KIND, c264_plane PLANE>
__m128i spread_clips(const int8_t* tc0)
{
    if constexpr (KIND == C264_UNIFORM) return _mm_set1_epi8(tc0[0]);
    int32_t four = 0;
    std::memcpy(&four, tc0, 4);
    __m128i clips = _mm_cvtsi32_si128(four);
    clips = _mm_unpacklo_epi8(clips, clips);
    if constexpr (PLANE == C264_LUMA) clips = _mm_unpacklo_epi16(clips, clips);
    return clips;
}

// 8.7.2.3: moves p0 and q0 towards each other by ((q0 - p0) * 4 + p1 - q1 + 4) >> 3, limited by `tc`, which is
// 0 where nothing may change. Every term is kept as a byte around a middle value, which comes to 192 in the
// sum.
[[gnu::always_inline]] inline void move_together(edge_pixels& e, __m128i tc)
{
    const __m128i ones = _mm_set1_epi8(-1);
    const __m128i half_gap = _mm_avg_epu8(e.q[0], _mm_xor_si128(e.p[0], ones));  // 128 + ((q0 - p0) >> 1)
    const __m128i lost_bit = _mm_and_si128(_mm_xor_si128(e.p[0], e.q[0]), _mm_set1_epi8(1));
    const __m128i half_slope = _mm_avg_epu8(e.p[1], _mm_xor_si128(e.q[1], ones));  // 128 + ((p1 - q1) >> 1)
    const __m128i quarter_slope = _mm_avg_epu8(half_slope, _mm_set1_epi8(127));    // 128 + ((p1 - q1) >> 2)
    const __m128i sum = _mm_adds_epu8(half_gap, _mm_avg_epu8(quarter_slope, lost_bit));  // 192 + delta
    const __m128i middle = _mm_set1_epi8(static_cast<char>(192));
    const __m128i up = _mm_min_epu8(_mm_subs_epu8(sum, middle), tc);
    const __m128i down = _mm_min_epu8(_mm_subs_epu8(middle, sum), tc);
    e.p[0] = _mm_subs_epu8(_mm_adds_epu8(e.p[0], up), down);
    e.q[0] = _mm_adds_epu8(_mm_subs_epu8(e.q[0], up), down);
}

// 8.7.2.3: x1 towards (x2 + ((p0 + q0 + 1) >> 1)) >> 1, by no more than `limit`.
__m128i follow(__m128i x1, __m128i x2, __m128i middle, __m128i limit)
{
    const __m128i wanted = average_down(x2, middle);
    return _mm_min_epu8(_mm_max_epu8(wanted, _mm_subs_epu8(x1, limit)), _mm_adds_epu8(x1, limit));
}

/// \returns false when no pixel passes the thresholds, so that there is nothing to store.
template <c264_plane PLANE>
[[gnu::always_inline]] inline bool filter_normal(edge_pixels& e, int alpha, int beta, __m128i tc0)
{
    const __m128i beta_bytes = threshold_bytes(beta);
    const __m128i off =
        _mm_or_si128(left_alone(e, alpha, beta_bytes), _mm_cmpgt_epi8(_mm_setzero_si128(), tc0));
    if (all_set<PLANE>(off)) return false;
    if constexpr (PLANE == C264_CHROMA) {
        move_together(e, _mm_andnot_si128(off, _mm_sub_epi8(tc0, _mm_set1_epi8(-1))));
    } else {
        const __m128i on_p =
            _mm_andnot_si128(_mm_or_si128(off, differs(e.p[2], e.p[0], beta_bytes)), _mm_set1_epi8(-1));
        const __m128i on_q =
            _mm_andnot_si128(_mm_or_si128(off, differs(e.q[2], e.q[0], beta_bytes)), _mm_set1_epi8(-1));
        const __m128i clip = _mm_andnot_si128(off, tc0);
        const __m128i middle = _mm_avg_epu8(e.p[0], e.q[0]);
        const __m128i p1 = follow(e.p[1], e.p[2], middle, _mm_and_si128(clip, on_p));
        const __m128i q1 = follow(e.q[1], e.q[2], middle, _mm_and_si128(clip, on_q));
        move_together(e, _mm_sub_epi8(_mm_sub_epi8(clip, on_p), on_q));
        e.p[1] = p1;
        e.q[1] = q1;
    }
    return true;
}

// (2 * x1 + x0 + y1 + 2) >> 2: the short filter of 8.7.2.4.
__m128i short_filter(__m128i x0, __m128i x1, __m128i y1)
{
    return _mm_avg_epu8(x1, average_down(x0, y1));
}

// The long filter of 8.7.2.4 for the side x, in 16 bits for one half of the pixels.
struct long_result {
    __m128i x0;
    __m128i x1;
    __m128i x2;
};

[[gnu::always_inline]] inline long_result long_filter_words(__m128i x0, __m128i x1, __m128i x2, __m128i x3,
                                                            __m128i y0, __m128i y1)
{
    const __m128i four = _mm_set1_epi16(4);
    const __m128i inner = _mm_add_epi16(_mm_add_epi16(x0, x1), y0);
    const __m128i x2_inner = _mm_add_epi16(x2, inner);
    const __m128i sum0 = _mm_add_epi16(_mm_add_epi16(x2_inner, inner), _mm_add_epi16(y1, four));
    const __m128i sum1 = _mm_add_epi16(x2_inner, _mm_set1_epi16(2));
    const __m128i outer = _mm_slli_epi16(_mm_add_epi16(x3, x2), 1);
    const __m128i sum2 = _mm_add_epi16(_mm_add_epi16(outer, x2_inner), four);
    return {_mm_srli_epi16(sum0, 3), _mm_srli_epi16(sum1, 2), _mm_srli_epi16(sum2, 3)};
}

[[gnu::always_inline]] inline long_result long_filter(const __m128i* x, const __m128i* y)
{
    const __m128i zero = _mm_setzero_si128();
    const auto low = [&](__m128i v) { return _mm_unpacklo_epi8(v, zero); };
    const auto high = [&](__m128i v) { return _mm_unpackhi_epi8(v, zero); };
    const long_result a = long_filter_words(low(x[0]), low(x[1]), low(x[2]), low(x[3]), low(y[0]), low(y[1]));
    const long_result b =
        long_filter_words(high(x[0]), high(x[1]), high(x[2]), high(x[3]), high(y[0]), high(y[1]));
    return {_mm_packus_epi16(a.x0, b.x0), _mm_packus_epi16(a.x1, b.x1), _mm_packus_epi16(a.x2, b.x2)};
}

template <c264_plane PLANE>
[[gnu::always_inline]] inline bool filter_strong(edge_pixels& e, int alpha, int beta)
{
    const __m128i beta_bytes = threshold_bytes(beta);
    const __m128i off = left_alone(e, alpha, beta_bytes);
    if (all_set<PLANE>(off)) return false;
    const __m128i short_p = short_filter(e.p[0], e.p[1], e.q[1]);
    const __m128i short_q = short_filter(e.q[0], e.q[1], e.p[1]);
    if constexpr (PLANE == C264_CHROMA) {
        e.p[0] = select(off, e.p[0], short_p);
        e.q[0] = select(off, e.q[0], short_q);
    } else {
        const __m128i large = _mm_or_si128(off, differs(e.p[0], e.q[0], threshold_bytes((alpha >> 2) + 2)));
        const __m128i not_p = _mm_or_si128(large, differs(e.p[2], e.p[0], beta_bytes));
        const __m128i not_q = _mm_or_si128(large, differs(e.q[2], e.q[0], beta_bytes));
        const long_result long_p = long_filter(e.p, e.q);
        const long_result long_q = long_filter(e.q, e.p);
        e.p[0] = select(off, e.p[0], select(not_p, short_p, long_p.x0));
        e.p[1] = select(not_p, e.p[1], long_p.x1);
        e.p[2] = select(not_p, e.p[2], long_p.x2);
        e.q[0] = select(off, e.q[0], select(not_q, short_q, long_q.x0));
        e.q[1] = select(not_q, e.q[1], long_q.x1);
        e.q[2] = select(not_q, e.q[2], long_q.x2);
    }
    return true;
}

template <c264_deblock_kind KIND, c264_plane PLANE>
[[gnu::always_inline]] inline bool filter(edge_pixels& e, int alpha, int beta,
                                          [[maybe_unused]] const int8_t* tc0)
{
    if constexpr (KIND == C264_STRONG) {
        return filter_strong<PLANE>(e, alpha, beta);
    } else {
        return filter_normal<PLANE>(e, alpha, beta, spread_clips<KIND, PLANE>(tc0));
    }
}

void store8_high(uint8_t* to, __m128i pixels)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_unpackhi_epi64(pixels, pixels));
}

// Stores the four lanes of 32 bits as four rows.
void store4_rows(uint8_t* to, ptrdiff_t stride, __m128i rows)
{
    const int32_t lanes[4] = {_mm_cvtsi128_si32(rows), _mm_cvtsi128_si32(_mm_shuffle_epi32(rows, 0x55)),
                              _mm_cvtsi128_si32(_mm_shuffle_epi32(rows, 0xAA)),
                              _mm_cvtsi128_si32(_mm_shuffle_epi32(rows, 0xFF))};
    for (int k = 0; k < 4; ++k)
        std::memcpy(to + k * stride, &lanes[k], 4);
}

template <c264_deblock_kind KIND>
void luma_horizontal(uint8_t* edge, ptrdiff_t stride, int alpha, int beta, const int8_t* tc0)
{
    edge_pixels e;
    for (int k = 0; k < (KIND == C264_STRONG ? 4 : 3); ++k) {
        e.p[k] = load_row<16>(edge - (k + 1) * stride);
        e.q[k] = load_row<16>(edge + k * stride);
    }
    if (!filter<KIND, C264_LUMA>(e, alpha, beta, tc0)) return;
    for (int k = 0; k < (KIND == C264_STRONG ? 3 : 2); ++k) {
        store_row<16>(edge - (k + 1) * stride, e.p[k]);
        store_row<16>(edge + k * stride, e.q[k]);
    }
}

// Sixteen rows of eight pixels become eight columns: interleaving rows that are eight, four, two and one apart
// brings each pixel to its row's place.
[[gnu::always_inline]] inline edge_pixels load_turned_luma(const uint8_t* from, ptrdiff_t stride)
{
    __m128i a[8];
    for (int k = 0; k < 8; ++k)
        a[k] = _mm_unpacklo_epi8(load_row<8>(from + k * stride), load_row<8>(from + (k + 8) * stride));
    __m128i b[8];  // k: columns 0 to 3, k + 4: columns 4 to 7
    for (int k = 0; k < 4; ++k) {
        b[k] = _mm_unpacklo_epi8(a[k], a[k + 4]);
        b[k + 4] = _mm_unpackhi_epi8(a[k], a[k + 4]);
    }
    edge_pixels e;
    const auto columns = [&](int half, __m128i& c0, __m128i& c1, __m128i& c2, __m128i& c3) {
        const __m128i even01 = _mm_unpacklo_epi8(b[half], b[half + 2]);
        const __m128i even23 = _mm_unpackhi_epi8(b[half], b[half + 2]);
        const __m128i odd01 = _mm_unpacklo_epi8(b[half + 1], b[half + 3]);
        const __m128i odd23 = _mm_unpackhi_epi8(b[half + 1], b[half + 3]);
        c0 = _mm_unpacklo_epi8(even01, odd01);
        c1 = _mm_unpackhi_epi8(even01, odd01);
        c2 = _mm_unpacklo_epi8(even23, odd23);
        c3 = _mm_unpackhi_epi8(even23, odd23);
    };
    columns(0, e.p[3], e.p[2], e.p[1], e.p[0]);
    columns(4, e.q[0], e.q[1], e.q[2], e.q[3]);
    return e;
}

// The way back, for all eight columns.
[[gnu::always_inline]] inline void store_turned_luma(uint8_t* to, ptrdiff_t stride, const edge_pixels& e)
{
    const auto rows = [&](uint8_t* first, __m128i c04, __m128i c15, __m128i c26, __m128i c37) {
        const __m128i even_low = _mm_unpacklo_epi8(c04, c26);
        const __m128i even_high = _mm_unpackhi_epi8(c04, c26);
        const __m128i odd_low = _mm_unpacklo_epi8(c15, c37);
        const __m128i odd_high = _mm_unpackhi_epi8(c15, c37);
        const __m128i pairs[4] = {_mm_unpacklo_epi8(even_low, odd_low), _mm_unpackhi_epi8(even_low, odd_low),
                                  _mm_unpacklo_epi8(even_high, odd_high),
                                  _mm_unpackhi_epi8(even_high, odd_high)};
        for (int k = 0; k < 4; ++k) {
            store_row<8>(first + 2 * k * stride, pairs[k]);
            store8_high(first + (2 * k + 1) * stride, pairs[k]);
        }
    };
    rows(to, _mm_unpacklo_epi8(e.p[3], e.q[0]), _mm_unpacklo_epi8(e.p[2], e.q[1]),
         _mm_unpacklo_epi8(e.p[1], e.q[2]), _mm_unpacklo_epi8(e.p[0], e.q[3]));
    rows(to + 8 * stride, _mm_unpackhi_epi8(e.p[3], e.q[0]), _mm_unpackhi_epi8(e.p[2], e.q[1]),
         _mm_unpackhi_epi8(e.p[1], e.q[2]), _mm_unpackhi_epi8(e.p[0], e.q[3]));
}

// The way back for p1, p0, q0 and q1, in rows of four pixels.
[[gnu::always_inline]] inline void store_turned_inner(uint8_t* to, ptrdiff_t stride, const edge_pixels& e,
                                                      bool sixteen)
{
    const __m128i even = _mm_unpacklo_epi8(e.p[1], e.q[0]);
    const __m128i odd = _mm_unpacklo_epi8(e.p[0], e.q[1]);
    store4_rows(to, stride, _mm_unpacklo_epi8(even, odd));
    store4_rows(to + 4 * stride, stride, _mm_unpackhi_epi8(even, odd));
    if (!sixteen) return;
    const __m128i even_high = _mm_unpackhi_epi8(e.p[1], e.q[0]);
    const __m128i odd_high = _mm_unpackhi_epi8(e.p[0], e.q[1]);
    store4_rows(to + 8 * stride, stride, _mm_unpacklo_epi8(even_high, odd_high));
    store4_rows(to + 12 * stride, stride, _mm_unpackhi_epi8(even_high, odd_high));
}

template <c264_deblock_kind KIND>
void luma_vertical(uint8_t* edge, ptrdiff_t stride, int alpha, int beta, const int8_t* tc0)
{
    edge_pixels e = load_turned_luma(edge - 4, stride);
    if (!filter<KIND, C264_LUMA>(e, alpha, beta, tc0)) return;
    if constexpr (KIND == C264_STRONG) {
        store_turned_luma(edge - 4, stride, e);
    } else {
        store_turned_inner(edge - 2, stride, e, true);
    }
}

template <c264_deblock_kind KIND>
void chroma_horizontal(uint8_t* edge, ptrdiff_t stride, int alpha, int beta, const int8_t* tc0)
{
    edge_pixels e;
    for (int k = 0; k < 2; ++k) {
        e.p[k] = load_row<8>(edge - (k + 1) * stride);
        e.q[k] = load_row<8>(edge + k * stride);
    }
    if (!filter<KIND, C264_CHROMA>(e, alpha, beta, tc0)) return;
    store_row<8>(edge - stride, e.p[0]);
    store_row<8>(edge, e.q[0]);
}

template <c264_deblock_kind KIND>
void chroma_vertical(uint8_t* edge, ptrdiff_t stride, int alpha, int beta, const int8_t* tc0)
{
    const uint8_t* const from = edge - 2;
    __m128i a[4];
    for (int k = 0; k < 4; ++k)
        a[k] = _mm_unpacklo_epi8(load_row<4>(from + k * stride), load_row<4>(from + (k + 4) * stride));
    const __m128i even = _mm_unpacklo_epi8(a[0], a[2]);
    const __m128i odd = _mm_unpacklo_epi8(a[1], a[3]);
    edge_pixels e;
    e.p[1] = _mm_unpacklo_epi8(even, odd);
    e.p[0] = _mm_unpackhi_epi64(e.p[1], e.p[1]);
    e.q[0] = _mm_unpackhi_epi8(even, odd);
    e.q[1] = _mm_unpackhi_epi64(e.q[0], e.q[0]);
    if (!filter<KIND, C264_CHROMA>(e, alpha, beta, tc0)) return;
    store_turned_inner(edge - 2, stride, e, false);
}

template <c264_deblock_kind KIND>
void fill(c264_deblock* table)
{
    table->edge[c264_deblock_index(KIND, C264_VERTICAL, C264_LUMA)] = luma_vertical<KIND>;
    table->edge[c264_deblock_index(KIND, C264_VERTICAL, C264_CHROMA)] = chroma_vertical<KIND>;
    table->edge[c264_deblock_index(KIND, C264_HORIZONTAL, C264_LUMA)] = luma_horizontal<KIND>;
    table->edge[c264_deblock_index(KIND, C264_HORIZONTAL, C264_CHROMA)] = chroma_horizontal<KIND>;
}

}  // namespace

void c264_deblock_fill_sse2(c264_deblock* table)
{
    fill<C264_NORMAL>(table);
    fill<C264_STRONG>(table);
    fill<C264_UNIFORM>(table);
}

#endif
