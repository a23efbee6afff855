// The bit reader of the MPEG-4 decoder. It keeps the next bits in a 64-bit window, reads zeros past the end
// and never leaves the buffer; whoever loops by what it read asks mpeg4_bits_overrun in the loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

struct mpeg4_bits {
    const uint8_t* data;  ///< borrowed
    size_t size;          ///< bytes
    size_t next;          ///< index of the first byte that `count` doesn't cover; runs on past the end
    uint64_t window;      ///< the next bit is the top one
    int count;            ///< bits of the window that may be taken
};

/// The bits that a window holds at least after mpeg4_bits_refill.
inline constexpr int MPEG4_WINDOW_BITS = 56;

namespace mpeg4_detail
{
/// Up to eight bytes at `at`, first one on top, zeros where the buffer has none.
inline uint64_t load_tail(const uint8_t* data, size_t size, size_t at)
{
    uint64_t word = 0;
    for (size_t i = 0; i < 8; ++i) {
        word = word << 8 | (at + i < size ? data[at + i] : 0);
    }
    return word;
}
}  // namespace mpeg4_detail

/// Fills the window up to at least MPEG4_WINDOW_BITS.
inline void mpeg4_bits_refill(mpeg4_bits* bits)
{
    uint64_t word;
    if (bits->next + 8 <= bits->size) [[likely]] {
        std::memcpy(&word, bits->data + bits->next, sizeof word);
        word = __builtin_bswap64(word);
    } else {
        word = mpeg4_detail::load_tail(bits->data, bits->size, bits->next);
    }
    // Bits below `count` that the window holds already are the same ones, so or-ing them again does no harm.
    bits->window |= word >> bits->count;
    bits->next += static_cast<size_t>(63 - bits->count) >> 3;
    bits->count |= MPEG4_WINDOW_BITS;
}

inline void mpeg4_bits_init(mpeg4_bits* bits, const uint8_t* data, size_t size)
{
    *bits = {.data = data, .size = size, .next = 0, .window = 0, .count = 0};
    mpeg4_bits_refill(bits);
}

/// The next `n` bits (1 to 32) without taking them; the window must hold them.
inline uint32_t mpeg4_bits_show(const mpeg4_bits* bits, int n)
{
    return static_cast<uint32_t>(bits->window >> (64 - n));
}

/// Takes `n` bits (0 to 56) that the window holds.
inline void mpeg4_bits_skip(mpeg4_bits* bits, int n)
{
    bits->window <<= n;
    bits->count -= n;
}

/// Refills and takes `n` bits (1 to 32).
inline uint32_t mpeg4_bits_get(mpeg4_bits* bits, int n)
{
    mpeg4_bits_refill(bits);
    const uint32_t value = mpeg4_bits_show(bits, n);
    mpeg4_bits_skip(bits, n);
    return value;
}

/// Bits taken since the start.
inline uint64_t mpeg4_bits_position(const mpeg4_bits* bits)
{
    return static_cast<uint64_t>(bits->next) * 8 - static_cast<uint64_t>(bits->count);
}

/// Bytes taken since the start, a begun one included.
inline uint64_t mpeg4_bits_bytes_used(const mpeg4_bits* bits)
{
    return (mpeg4_bits_position(bits) + 7) / 8;
}

/// Takes the bits up to the next byte boundary.
inline void mpeg4_bits_align(mpeg4_bits* bits)
{
    mpeg4_bits_skip(bits, bits->count & 7);
}

/// True when more bits were taken than the buffer has.
inline bool mpeg4_bits_overrun(const mpeg4_bits* bits)
{
    return mpeg4_bits_position(bits) > static_cast<uint64_t>(bits->size) * 8;
}
