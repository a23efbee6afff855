// Rows of 16, 8 or 4 bytes in one register, for the vector kernels of x86-64. Internal linkage: each file
// compiles them for the instructions of its own step, and nothing newer leaks into another one.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

/// WIDTH bytes from `from`, which needs no alignment; none beyond is read. The register's other bytes are 0.
template <int WIDTH>
[[gnu::always_inline]] static inline __m128i load_row(const std::uint8_t* from)
{
    static_assert(WIDTH == 16 || WIDTH == 8 || WIDTH == 4);
    if constexpr (WIDTH == 16) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    } else if constexpr (WIDTH == 8) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    } else {
        std::int32_t pixels = 0;
        std::memcpy(&pixels, from, 4);
        return _mm_cvtsi32_si128(pixels);
    }
}

/// The register's first WIDTH bytes to `to`, which needs no alignment; none beyond is written.
template <int WIDTH>
[[gnu::always_inline]] static inline void store_row(std::uint8_t* to, __m128i row)
{
    static_assert(WIDTH == 16 || WIDTH == 8 || WIDTH == 4);
    if constexpr (WIDTH == 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), row);
    } else if constexpr (WIDTH == 8) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), row);
    } else {
        const std::int32_t pixels = _mm_cvtsi128_si32(row);
        std::memcpy(to, &pixels, 4);
    }
}
