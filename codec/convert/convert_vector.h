#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/convert/convert_kernels.h"

// The vector conversion, written once over an instruction set `V`: 128-bit registers in convert_sse2.cpp and
// convert_ssse3.cpp, 256-bit ones in convert_avx2.cpp. Those files keep V in an unnamed namespace, so that each
// compiles its own copy with its own option.
//
// Exactness. With s = 8, (s x term) >> 16 is the same as term >> 13, so the eightfold sums are built in 32 bits
// by multiply-adds of 16-bit pairs, and a colour is the upper half of its lane. Sums stay below 2^26.
//
// Order of pixels. A block of V::PIXELS is handled in halves of 128 bits (one half with 128-bit registers). Of
// the 16 pixels p0 to p15 of a half, 32-bit lane k of the loaded luma holds p[2k], p[2k + 1], p[8 + 2k] and p[9
// + 2k], which belong to the chroma pairs k and 4 + k. Two lanes' upper halves then join to p[2k], p[2k + 1],
// and one saturating pack gives 16 bytes in order. With two halves, the first holds the pixels 0-3, 8-11,
// 16-19, 24-27 and the second the others: the later interleaving, which works within halves, leaves whole
// registers in picture order.

namespace convert_vector
{

// Colour terms of the chroma of one block, eightfold: [0] for the pairs 0 to 3 of each half, [1] for the pairs
// 4 to 7.
template <class V>
struct chroma_terms {
    typename V::reg blue[2], green[2], red[2];
};

template <class V>
chroma_terms<V> load_chroma(const uint8_t* u, const uint8_t* v)
{
    const auto offset = V::set16(128);
    const auto u8 = V::shift_left16(V::sub16(V::load_chroma(u), offset), 3);
    const auto v8 = V::shift_left16(V::sub16(V::load_chroma(v), offset), 3);
    const typename V::reg pairs[2] = {V::unpack_low16(u8, v8), V::unpack_high16(u8, v8)};
    chroma_terms<V> terms;
    for (int i = 0; i < 2; ++i) {
        terms.blue[i] = V::multiply_add(pairs[i], V::set_pair(YUV_U_BLUE, 0));
        terms.green[i] = V::multiply_add(pairs[i], V::set_pair(-YUV_U_GREEN, -YUV_V_GREEN));
        terms.red[i] = V::multiply_add(pairs[i], V::set_pair(0, YUV_V_RED));
    }
    return terms;
}

// One colour of a block as bytes: luma terms of the four bytes of each lane, and the chroma terms of that
// colour.
template <class V>
typename V::reg join_colour(const typename V::reg luma[4], const typename V::reg chroma[2])
{
    return V::pack_bytes(V::upper_halves(V::add32(luma[0], chroma[0]), V::add32(luma[1], chroma[0])),
                         V::upper_halves(V::add32(luma[2], chroma[1]), V::add32(luma[3], chroma[1])));
}

// One block of one row. Layout::put writes the pixels, given blue, green and red in this order.
template <class V, class Layout>
void convert_row_block(uint8_t* to, const uint8_t* y, const chroma_terms<V>& chroma)
{
    const auto bytes = V::load_luma(y);
    // eightfold and without the offset, the bytes 0 and 2 of each lane and the bytes 1 and 3; each multiply-add
    // takes one
    const auto mask = V::set16(0xFF * 8);
    const auto offset = V::set16(16 * 8);
    const auto even = V::sub16(V::bit_and(V::shift_left16(bytes, 3), mask), offset);
    const auto odd = V::sub16(V::bit_and(V::shift_right16(bytes, 5), mask), offset);
    const auto first = V::set_pair(YUV_LUMA, 0);
    const auto second = V::set_pair(0, YUV_LUMA);
    const typename V::reg luma[4] = {
        V::multiply_add(even, first),
        V::multiply_add(odd, first),
        V::multiply_add(even, second),
        V::multiply_add(odd, second),
    };
    Layout::put(to, join_colour<V>(luma, chroma.blue), join_colour<V>(luma, chroma.green),
                join_colour<V>(luma, chroma.red));
}

// Lines of 32-bit targets are asked for this far ahead of their stores, which else wait for each other where
// the target isn't in the cache. (The packed layouts, with a half of the bytes, gain nothing.)
inline constexpr int TARGET_AHEAD = 1024;
inline constexpr int CACHE_LINE = 64;

// Walks a picture row by row: two rows at a time would share their chroma terms, but filling two rows in turn
// halves what the memory takes. The last block of a row that the blocks don't divide overlaps the one before
// it, and may lie at any address.
template <class V, class Block, class LastBlock = Block>
void walk(const convert_job& job)
{
    const ptrdiff_t width = (static_cast<ptrdiff_t>(job.width) + 1) & ~static_cast<ptrdiff_t>(1);
    for (int32_t row = 0; row < job.height; ++row) {
        uint8_t* const to = job.to[0] + row * job.to_stride[0];
        const uint8_t* const luma = job.from[0] + row * job.from_stride[0];
        const uint8_t* const u = job.from[1] + row / 2 * job.from_stride[1];
        const uint8_t* const v = job.from[2] + row / 2 * job.from_stride[1];
        ptrdiff_t x = 0;
        for (; x + V::PIXELS <= width; x += V::PIXELS) {
            if constexpr (Block::BYTES == 4) {
                for (int line = 0; line < 4 * V::PIXELS; line += CACHE_LINE)
                    __builtin_prefetch(to + x * 4 + TARGET_AHEAD + line, 1);
            }
            Block::convert(to + x * Block::BYTES, luma + x, u + x / 2, v + x / 2);
        }
        if (x < width) {
            x = width - V::PIXELS;
            LastBlock::convert(to + x * Block::BYTES, luma + x, u + x / 2, v + x / 2);
        }
    }
}

template <class V, class Layout>
struct rgb_block {
    static constexpr int BYTES = Layout::BYTES;
    static void convert(uint8_t* to, const uint8_t* y, const uint8_t* u, const uint8_t* v)
    {
        convert_row_block<V, Layout>(to, y, load_chroma<V>(u, v));
    }
};

// Packed 4:2:2. `LumaFirst`: the luma bytes stand at the even places; `UFirst`: U stands before V.
template <class V, bool LumaFirst, bool UFirst>
struct yuv_block {
    static constexpr int BYTES = 2;
    static void convert(uint8_t* to, const uint8_t* y, const uint8_t* u, const uint8_t* v)
    {
        put(to, V::load_straight(y), V::interleave_chroma(UFirst ? u : v, UFirst ? v : u));
    }
    static void put(uint8_t* to, typename V::reg luma, typename V::reg chroma)
    {
        V::store(to, LumaFirst ? V::unpack_low8(luma, chroma) : V::unpack_low8(chroma, luma));
        V::store(to + V::PIXELS, LumaFirst ? V::unpack_high8(luma, chroma) : V::unpack_high8(chroma, luma));
    }
};

// 32-bit pixels. With `Swap` red stands first.
template <class V, bool Swap>
struct to_32 {
    static constexpr int BYTES = 4;
    static void put(uint8_t* to, typename V::reg blue, typename V::reg green, typename V::reg red)
    {
        const auto first = Swap ? red : blue;
        const auto third = Swap ? blue : red;
        const auto zero = V::set32(0);
        const auto low = V::unpack_low8(first, green);
        const auto high = V::unpack_high8(first, green);
        const auto low_third = V::unpack_low8(third, zero);
        const auto high_third = V::unpack_high8(third, zero);
        V::store(to, V::unpack_low16(low, low_third));
        V::store(to + V::PIXELS, V::unpack_high16(low, low_third));
        V::store(to + 2 * V::PIXELS, V::unpack_low16(high, high_third));
        V::store(to + 3 * V::PIXELS, V::unpack_high16(high, high_third));
    }
};

// 16-bit pixels: 5 bits of red and blue, GreenBits of green, red in the upper bits.
template <class V, int GreenBits>
struct to_16 {
    static constexpr int BYTES = 2;
    static typename V::reg join(typename V::reg blue, typename V::reg green, typename V::reg red)
    {
        constexpr int red_at = 5 + GreenBits;
        // Blue and green hold a byte in the lower half of each 16 bits, red in the upper half.
        const auto b = V::shift_right16(blue, 3);
        const auto g = V::shift_left16(V::shift_right16(green, 8 - GreenBits), 5);
        const auto r = V::shift_right16(V::bit_and(red, V::set16(static_cast<int16_t>(0xF800))), 11 - red_at);
        return V::bit_or(V::bit_or(b, g), r);
    }
    static void put(uint8_t* to, typename V::reg blue, typename V::reg green, typename V::reg red)
    {
        const auto zero = V::set32(0);
        V::store(to, V::straighten(join(V::unpack_low8(blue, zero), V::unpack_low8(green, zero),
                                        V::unpack_low8(zero, red))));
        V::store(to + V::PIXELS, V::straighten(join(V::unpack_high8(blue, zero), V::unpack_high8(green, zero),
                                                    V::unpack_high8(zero, red))));
    }
};

// 24-bit pixels, from 32-bit ones whose fourth bytes V::store24 leaves out. With `Swap` red stands first.
template <class V, bool Swap>
struct to_24 {
    static constexpr int BYTES = 3;
    static void put(uint8_t* to, typename V::reg blue, typename V::reg green, typename V::reg red)
    {
        const auto first = Swap ? red : blue;
        const auto third = Swap ? blue : red;
        const auto low = V::unpack_low8(first, green);
        const auto high = V::unpack_high8(first, green);
        const auto low_third = V::unpack_low8(third, third);
        const auto high_third = V::unpack_high8(third, third);
        V::store24(to, V::unpack_low16(low, low_third), V::unpack_high16(low, low_third),
                   V::unpack_low16(high, high_third), V::unpack_high16(high, high_third));
    }
};

// A kernel: pictures narrower than one block go to the plain kernel of the same slot.
template <class V, class Block, convert_fn convert_table::*Slot>
void convert_picture(const convert_job& job)
{
    if (job.width + (job.width & 1) < V::PIXELS) return (convert_plain().*Slot)(job);
    walk<V, Block>(job);
}

// The same set with stores that pass the cache by; they take aligned addresses only.
template <class V>
struct past_cache : V {
    static void store(uint8_t* to, typename V::reg value) { V::store_past_cache(to, value); }
};

// A picture of this size would push everything else out of a processor's own cache.
inline constexpr int64_t LARGE_PICTURE_BYTES = 512 * 1024;

// Packed 4:2:2 is mere copying, so that a large picture costs what the memory takes: stores past the cache save
// fetching the target's lines first. (The RGB layouts gain nothing by this, and their readers lose.)
template <class V, bool LumaFirst, bool UFirst, convert_fn convert_table::*Slot>
void convert_packed_yuv(const convert_job& job)
{
    constexpr auto alignment = static_cast<uintptr_t>(V::PIXELS);  // a register holds as many bytes as pixels
    const auto address = reinterpret_cast<uintptr_t>(job.to[0]);
    const bool aligned = ((address | static_cast<uintptr_t>(job.to_stride[0])) & (alignment - 1)) == 0;
    using block = yuv_block<V, LumaFirst, UFirst>;
    if (!aligned || job.width < V::PIXELS ||
        int64_t{job.width} * job.height * block::BYTES < LARGE_PICTURE_BYTES)
        return convert_picture<V, block, Slot>(job);
    walk<V, yuv_block<past_cache<V>, LumaFirst, UFirst>, block>(job);
    V::fence();
}

template <class V>
void fill_packed_yuv(convert_table* table)
{
    table->yuy2 = convert_packed_yuv<V, true, true, &convert_table::yuy2>;
    table->uyvy = convert_packed_yuv<V, false, true, &convert_table::uyvy>;
    table->yvyu = convert_packed_yuv<V, true, false, &convert_table::yvyu>;
}

template <class V>
void fill_16_and_32(convert_table* table)
{
    table->rgb565 = convert_picture<V, rgb_block<V, to_16<V, 6>>, &convert_table::rgb565>;
    table->rgb555 = convert_picture<V, rgb_block<V, to_16<V, 5>>, &convert_table::rgb555>;
    table->bgr32 = convert_picture<V, rgb_block<V, to_32<V, false>>, &convert_table::bgr32>;
    table->rgb32 = convert_picture<V, rgb_block<V, to_32<V, true>>, &convert_table::rgb32>;
}

template <class V>
void fill_24(convert_table* table)
{
    table->bgr24 = convert_picture<V, rgb_block<V, to_24<V, false>>, &convert_table::bgr24>;
    table->rgb24 = convert_picture<V, rgb_block<V, to_24<V, true>>, &convert_table::rgb24>;
}

}  // namespace convert_vector
