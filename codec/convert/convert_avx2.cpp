#if defined(__x86_64__)

#include <immintrin.h>

#include "codec/convert/convert_kernels.h"
#include "codec/convert/convert_vector.h"

namespace
{

// The 256-bit instruction set of convert_vector.h.
struct avx2_set {
    using reg = __m256i;
    static constexpr int PIXELS = 32;

    static reg load(const uint8_t* from) { return _mm256_loadu_si256(reinterpret_cast<const reg*>(from)); }
    static __m128i load_half(const uint8_t* from)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    }
    static void store(uint8_t* to, reg value) { _mm256_storeu_si256(reinterpret_cast<reg*>(to), value); }
    static void store_past_cache(uint8_t* to, reg value)
    {
        _mm256_stream_si256(reinterpret_cast<reg*>(to), value);
    }
    static void fence() { _mm_sfence(); }

    // 64-bit parts in the order 0, 2, 1, 3: unpacking within the halves then gives registers in order.
    static reg straighten(reg value) { return _mm256_permute4x64_epi64(value, 0xD8); }
    static reg load_straight(const uint8_t* from) { return straighten(load(from)); }
    static reg load_luma(const uint8_t* from)
    {
        // First the pixels of each half, then the order within it.
        const reg halves = _mm256_permutevar8x32_epi32(load(from), _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
        return _mm256_shuffle_epi8(
            halves, _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3, 10,
                                     11, 4, 5, 12, 13, 6, 7, 14, 15));
    }
    static reg load_chroma(const uint8_t* from)
    {
        return _mm256_cvtepu8_epi16(_mm_shuffle_epi8(
            load_half(from), _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15)));
    }
    static reg interleave_chroma(const uint8_t* first, const uint8_t* second)
    {
        const reg low = _mm256_cvtepu8_epi16(load_half(first));
        const reg high = _mm256_cvtepu8_epi16(load_half(second));
        return straighten(_mm256_or_si256(low, _mm256_slli_epi16(high, 8)));
    }

    static reg set16(int16_t value) { return _mm256_set1_epi16(value); }
    static reg set32(int32_t value) { return _mm256_set1_epi32(value); }
    static reg set_pair(int low, int high) { return _mm256_set1_epi32((low & 0xFFFF) | high * 65536); }
    static reg sub16(reg a, reg b) { return _mm256_sub_epi16(a, b); }
    static reg add32(reg a, reg b) { return _mm256_add_epi32(a, b); }
    static reg bit_and(reg a, reg b) { return _mm256_and_si256(a, b); }
    static reg bit_or(reg a, reg b) { return _mm256_or_si256(a, b); }
    static reg multiply_add(reg a, reg b) { return _mm256_madd_epi16(a, b); }
    static reg shift_left16(reg a, int bits) { return _mm256_slli_epi16(a, bits); }
    static reg shift_right16(reg a, int bits) { return _mm256_srli_epi16(a, bits); }
    static reg shift_left32(reg a, int bits) { return _mm256_slli_epi32(a, bits); }
    static reg shift_right32(reg a, int bits) { return _mm256_srli_epi32(a, bits); }
    static reg unpack_low8(reg a, reg b) { return _mm256_unpacklo_epi8(a, b); }
    static reg unpack_high8(reg a, reg b) { return _mm256_unpackhi_epi8(a, b); }
    static reg unpack_low16(reg a, reg b) { return _mm256_unpacklo_epi16(a, b); }
    static reg unpack_high16(reg a, reg b) { return _mm256_unpackhi_epi16(a, b); }
    static reg pack_bytes(reg a, reg b) { return _mm256_packus_epi16(a, b); }
    // The upper halves of the 32-bit lanes of `low` and `high`, side by side in each lane.
    static reg upper_halves(reg low, reg high)
    {
        return _mm256_blend_epi16(_mm256_srli_epi32(low, 16), high, 0xAA);
    }

    // Writes the three lower bytes of the 32-bit pixels of four registers: each register shrinks to six 32-bit
    // words, turned to where they belong in the three registers that are written.
    static void store24(uint8_t* to, reg a, reg b, reg c, reg d)
    {
        const reg three_of_four = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1,
                                                   2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
        a = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(a, three_of_four),
                                        _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
        b = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(b, three_of_four),
                                        _mm256_setr_epi32(2, 4, 5, 6, 3, 7, 0, 1));
        c = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(c, three_of_four),
                                        _mm256_setr_epi32(5, 6, 3, 7, 0, 1, 2, 4));
        d = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(d, three_of_four),
                                        _mm256_setr_epi32(3, 7, 0, 1, 2, 4, 5, 6));
        store(to, _mm256_blend_epi32(a, b, 0xC0));
        store(to + 32, _mm256_blend_epi32(b, c, 0xF0));
        store(to + 64, _mm256_blend_epi32(c, d, 0xFC));
    }
};

}  // namespace

void convert_fill_avx2(convert_table* table)
{
    convert_vector::fill_packed_yuv<avx2_set>(table);
    convert_vector::fill_16_and_32<avx2_set>(table);
    convert_vector::fill_24<avx2_set>(table);
}

#endif
