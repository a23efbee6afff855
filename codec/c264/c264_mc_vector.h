// Motion compensation with vectors: what the steps have in common. Each step hands in a class of its own, of
// internal linkage, with the operations of its instruction set; so all that comes out of here belongs to the
// step's file and nothing newer leaks into another one.
//
// The class OPS works on WIDTH pixels of a row at once:
//     bytes                       pixels, the first WIDTH lanes count
//     words                       16-bit sums of as many lanes
//     load(p), store(p, bytes)    WIDTH pixels and none beyond
//     average(bytes, bytes)       (a + b + 1) >> 1
//     row_taps(p)                 sums of the six taps along the row, not rounded
//     round5(words)               (sum + 16) >> 5, clipped to pixels
//     centre(w0, ..., w5)         the six taps over sums of the first pass, (sum + 512) >> 10, clipped
//     column                      six taps down a column: column(p, stride) reads rows -2 to 2, next(p) takes
//     the row
//                                 3 below the result's and returns the sums
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/c264/c264_copy.h"

namespace c264_mc_vector
{

// Sources of one row of samples after the other; names are those of ITU-T H.264 8.4.2.2.1.

// G: the pixels themselves.
template <class OPS>
class pixel_rows
{
  public:
    pixel_rows(const uint8_t* first, ptrdiff_t row_stride) : from(first), stride(row_stride) {}
    typename OPS::bytes next()
    {
        const auto row = OPS::load(from);
        from += stride;
        return row;
    }

  private:
    const uint8_t* from;
    ptrdiff_t stride;
};

// b: between columns.
template <class OPS>
class b_rows
{
  public:
    b_rows(const uint8_t* first, ptrdiff_t row_stride) : from(first), stride(row_stride) {}
    typename OPS::bytes next()
    {
        const auto sums = OPS::row_taps(from);
        from += stride;
        return OPS::round5(sums);
    }

  private:
    const uint8_t* from;
    ptrdiff_t stride;
};

// h: between rows.
template <class OPS>
class h_rows
{
  public:
    h_rows(const uint8_t* first, ptrdiff_t row_stride)
        : taps(first, row_stride), from(first + 3 * row_stride), stride(row_stride)
    {
    }
    typename OPS::bytes next()
    {
        const auto sums = taps.next(from);
        from += stride;
        return OPS::round5(sums);
    }

  private:
    typename OPS::column taps;
    const uint8_t* from;
    ptrdiff_t stride;
};

// j: between both. WITH_B 0 averages it with the b of its own row, 1 with that of the row below (f and q); any
// other number gives j alone.
template <class OPS, int WITH_B>
class j_rows
{
  public:
    j_rows(const uint8_t* first, ptrdiff_t row_stride)
        : w0(OPS::row_taps(first - 2 * row_stride)),
          w1(OPS::row_taps(first - row_stride)),
          w2(OPS::row_taps(first)),
          w3(OPS::row_taps(first + row_stride)),
          w4(OPS::row_taps(first + 2 * row_stride)),
          from(first + 3 * row_stride),
          stride(row_stride)
    {
    }
    typename OPS::bytes next()
    {
        const auto w5 = OPS::row_taps(from);
        from += stride;
        auto row = OPS::centre(w0, w1, w2, w3, w4, w5);
        if constexpr (WITH_B == 0) row = OPS::average(row, OPS::round5(w2));
        if constexpr (WITH_B == 1) row = OPS::average(row, OPS::round5(w3));
        w0 = w1;
        w1 = w2;
        w2 = w3;
        w3 = w4;
        w4 = w5;
        return row;
    }

  private:
    typename OPS::words w0, w1, w2, w3, w4;
    const uint8_t* from;
    ptrdiff_t stride;
};

// Inlined by force: handed over in memory, the sources' registers would be stored and read back.
template <class OPS, class ROWS>
[[gnu::always_inline]] inline void put(uint8_t* to, ptrdiff_t to_stride, int rows, ROWS source)
{
    for (int y = 0; y < rows; ++y, to += to_stride)
        OPS::store(to, source.next());
}

template <class OPS, class ROWS_A, class ROWS_B>
[[gnu::always_inline]] inline void put_average(uint8_t* to, ptrdiff_t to_stride, int rows, ROWS_A a, ROWS_B b)
{
    for (int y = 0; y < rows; ++y, to += to_stride)
        OPS::store(to, OPS::average(a.next(), b.next()));
}

// The position X, Y quarters right of and below the integer sample.
template <class OPS, int X, int Y>
[[gnu::always_inline]] inline void luma_block(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from,
                                              ptrdiff_t stride, int rows)
{
    using pixels = pixel_rows<OPS>;
    using b = b_rows<OPS>;
    using h = h_rows<OPS>;
    const uint8_t* const near_row = Y == 3 ? from + stride : from;
    const uint8_t* const near_column = X == 3 ? from + 1 : from;
    if constexpr (X == 0 && Y == 2) {
        put<OPS>(to, to_stride, rows, h(from, stride));
    } else if constexpr (X == 0) {
        put_average<OPS>(to, to_stride, rows, h(from, stride), pixels(near_row, stride));
    } else if constexpr (X == 2 && Y == 0) {
        put<OPS>(to, to_stride, rows, b(from, stride));
    } else if constexpr (Y == 0) {
        put_average<OPS>(to, to_stride, rows, b(from, stride), pixels(near_column, stride));
    } else if constexpr (X == 2) {
        put<OPS>(to, to_stride, rows, j_rows < OPS, Y == 2 ? -1 : Y / 2 > (from, stride));
    } else if constexpr (Y == 2) {
        put_average<OPS>(to, to_stride, rows, j_rows<OPS, -1>(from, stride), h(near_column, stride));
    } else {
        put_average<OPS>(to, to_stride, rows, b(near_row, stride), h(near_column, stride));
    }
}

// A block of COLUMNS vectors next to each other.
template <class OPS, int COLUMNS, int X, int Y>
void luma(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t stride, int rows)
{
    for (int column = 0; column < COLUMNS; ++column)
        luma_block<OPS, X, Y>(to + column * OPS::WIDTH, to_stride, from + column * OPS::WIDTH, stride, rows);
}

// Sets the fifteen positions with a fraction.
template <class OPS, int COLUMNS>
void fill_luma(c264_block_fn* slots)
{
    slots[1] = luma<OPS, COLUMNS, 1, 0>;
    slots[2] = luma<OPS, COLUMNS, 2, 0>;
    slots[3] = luma<OPS, COLUMNS, 3, 0>;
    slots[4] = luma<OPS, COLUMNS, 0, 1>;
    slots[5] = luma<OPS, COLUMNS, 1, 1>;
    slots[6] = luma<OPS, COLUMNS, 2, 1>;
    slots[7] = luma<OPS, COLUMNS, 3, 1>;
    slots[8] = luma<OPS, COLUMNS, 0, 2>;
    slots[9] = luma<OPS, COLUMNS, 1, 2>;
    slots[10] = luma<OPS, COLUMNS, 2, 2>;
    slots[11] = luma<OPS, COLUMNS, 3, 2>;
    slots[12] = luma<OPS, COLUMNS, 0, 3>;
    slots[13] = luma<OPS, COLUMNS, 1, 3>;
    slots[14] = luma<OPS, COLUMNS, 2, 3>;
    slots[15] = luma<OPS, COLUMNS, 3, 3>;
}

}  // namespace c264_mc_vector
