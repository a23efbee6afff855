// The arithmetic decoder (ITU-T H.264 9.3.1.2, 9.3.3.2). Belongs to the step that includes it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codec/c264/c264_cabac_tables.h"

namespace C264_STEP
{
inline uint32_t load_be32(const uint8_t* at)
{
    uint32_t word;
    std::memcpy(&word, at, 4);
    return std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
}

inline uint64_t load_be64(const uint8_t* at)
{
    uint64_t word;
    std::memcpy(&word, at, 8);
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

/// codIRange and codIOffset stand at a fixed place near the top of a register each; what follows codIOffset in
/// `value` is the stream, so that renormalising is a shift and new bits come 32 at a time. A function that
/// decodes many bins works on a copy, which stays in registers as long as nothing is called with its address:
/// so the functions for a bin are inlined, whatever the compiler thinks of their size.
struct cabac_engine {
    static constexpr int TOP = C264_CABAC_TOP;

    uint64_t value;
    uint64_t range;  // codIRange << TOP
    int left;        // bits of the stream in `value` below codIOffset
    const uint8_t* next;
    const uint8_t* end;  // 8 bytes of padding follow

    void start(const uint8_t* data, const uint8_t* data_end)
    {
        next = data;
        end = data_end;
        range = uint64_t{0x1FE} << TOP;
        // nine bits of codIOffset and the 54 after them: 63 of the first 64
        value = next < end ? load_be64(next) >> 1 : 0;
        // the last bit of these 64 is dropped, to be read again: 7 bytes count as read, less the bits of their
        // last
        next += 7;
        left = 47;
        value &= ~((uint64_t{1} << 7) - 1);
    }

    [[gnu::always_inline]] void refill()
    {
        // left <= 22: 32 bits fit below
        const uint64_t word = next < end ? load_be32(next) : 0;
        next += next < end ? 4 : 0;
        value |= word << (TOP - 32 - left);
        left += 32;
    }

    [[gnu::always_inline]] void consume(int bits)
    {
        value <<= bits;
        left -= bits;
        if (left <= TOP - 32) refill();
    }

    /// The range of the less probable symbol in a state record.
    [[gnu::always_inline]] uint64_t lps_range(uint64_t record) const
    {
        return record << (range >> (TOP + 3) & 24) & uint64_t{0xFF} << TOP;
    }

    /// Without a branch on the bin, for those that are hard to foresee: both outcomes are worked out and one is
    /// taken. Uses up to 7 bits; the caller sees to the refill.
    [[gnu::always_inline]] int bin_unfilled(uint8_t* context)
    {
        const unsigned state = *context;
        const uint64_t record = C264_CABAC_STATES[state];
        const uint64_t lps = lps_range(record);
        const uint64_t mps = range - lps;
        const int lps_shift = __builtin_clzll(lps) - 1;
        const int mps_shift = static_cast<int>(~mps >> (TOP + 8) & 1);
        uint64_t less = 0 - static_cast<uint64_t>(value >= mps);
        __asm__("" : "+r"(less));  // or the compiler sees a branch in it
        const int shift = mps_shift + ((lps_shift - mps_shift) & static_cast<int>(less));
        range = (mps + ((lps - mps) & less)) << shift;
        value = (value - (mps & less)) << shift;
        left -= shift;
        *context = static_cast<uint8_t>(record >> (less & 8));
        return static_cast<int>((state ^ less) & 1);
    }

    [[gnu::always_inline]] void fill()
    {
        if (left <= TOP - 32) refill();
    }

    [[gnu::always_inline]] int bin(uint8_t* context)
    {
        const int result = bin_unfilled(context);
        fill();
        return result;
    }

    /// With a branch on it: for those that are mostly the more probable one.
    [[gnu::always_inline]] int likely_bin(uint8_t* context)
    {
        const unsigned state = *context;
        const uint64_t record = C264_CABAC_STATES[state];
        const uint64_t lps = lps_range(record);
        range -= lps;
        if (value < range) [[likely]] {
            *context = static_cast<uint8_t>(record);
            if (range < uint64_t{256} << TOP) {
                range <<= 1;
                consume(1);
            }
            return static_cast<int>(state & 1);
        }
        value -= range;
        range = lps;
        *context = static_cast<uint8_t>(record >> 8);
        const int shift = __builtin_clzll(range) - 1;
        range <<= shift;
        consume(shift);
        return static_cast<int>((state & 1) ^ 1);
    }

    [[gnu::always_inline]] int bypass()
    {
        value <<= 1;
        const uint64_t mask = value >= range ? ~uint64_t{0} : 0;
        value -= range & mask;
        if (--left <= TOP - 32) refill();
        return static_cast<int>(mask & 1);
    }

    [[gnu::always_inline]] int terminate()
    {
        range -= uint64_t{2} << TOP;
        if (value >= range) return 1;
        if (range < uint64_t{256} << TOP) {
            range <<= 1;
            consume(1);
        }
        return 0;
    }
};
}  // namespace C264_STEP
