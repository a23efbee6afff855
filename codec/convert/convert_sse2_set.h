#pragma once

#include <emmintrin.h>

#include <cstdint>

// The 128-bit instruction set of convert_vector.h, shared by the SSE2 and SSSE3 steps. In an unnamed namespace
// on purpose: each file that includes it compiles a copy of its own.

namespace
{

struct sse2_set {
    using reg = __m128i;
    static constexpr int PIXELS = 16;

    static reg load(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const reg*>(from)); }
    static void store(uint8_t* to, reg value) { _mm_storeu_si128(reinterpret_cast<reg*>(to), value); }
    static void store_past_cache(uint8_t* to, reg value)
    {
        _mm_stream_si128(reinterpret_cast<reg*>(to), value);
    }
    static void fence() { _mm_sfence(); }

    static reg load_straight(const uint8_t* from) { return load(from); }
    static reg load_luma(const uint8_t* from)
    {
        const reg bytes = load(from);
        return _mm_unpacklo_epi16(bytes, _mm_srli_si128(bytes, 8));
    }
    static reg load_half(const uint8_t* from) { return _mm_loadl_epi64(reinterpret_cast<const reg*>(from)); }
    static reg load_chroma(const uint8_t* from)
    {
        return _mm_unpacklo_epi8(load_half(from), _mm_setzero_si128());
    }
    static reg interleave_chroma(const uint8_t* first, const uint8_t* second)
    {
        return _mm_unpacklo_epi8(load_half(first), load_half(second));
    }
    static reg straighten(reg value) { return value; }

    static reg set16(int16_t value) { return _mm_set1_epi16(value); }
    static reg set32(int32_t value) { return _mm_set1_epi32(value); }
    static reg set_pair(int low, int high) { return _mm_set1_epi32((low & 0xFFFF) | high * 65536); }
    static reg sub16(reg a, reg b) { return _mm_sub_epi16(a, b); }
    static reg add32(reg a, reg b) { return _mm_add_epi32(a, b); }
    static reg bit_and(reg a, reg b) { return _mm_and_si128(a, b); }
    static reg bit_or(reg a, reg b) { return _mm_or_si128(a, b); }
    static reg multiply_add(reg a, reg b) { return _mm_madd_epi16(a, b); }
    static reg shift_left16(reg a, int bits) { return _mm_slli_epi16(a, bits); }
    static reg shift_right16(reg a, int bits) { return _mm_srli_epi16(a, bits); }
    static reg shift_left32(reg a, int bits) { return _mm_slli_epi32(a, bits); }
    static reg shift_right32(reg a, int bits) { return _mm_srli_epi32(a, bits); }
    static reg unpack_low8(reg a, reg b) { return _mm_unpacklo_epi8(a, b); }
    static reg unpack_high8(reg a, reg b) { return _mm_unpackhi_epi8(a, b); }
    static reg unpack_low16(reg a, reg b) { return _mm_unpacklo_epi16(a, b); }
    static reg unpack_high16(reg a, reg b) { return _mm_unpackhi_epi16(a, b); }
    static reg pack_bytes(reg a, reg b) { return _mm_packus_epi16(a, b); }
    // The upper halves of the 32-bit lanes of `low` and `high`, side by side in each lane.
    static reg upper_halves(reg low, reg high)
    {
        return _mm_or_si128(_mm_srli_epi32(low, 16), _mm_and_si128(high, _mm_set1_epi32(-65536)));
    }
};

}  // namespace
