// Motion compensation with vectors: what the steps have in common. Each step hands in a class of its own, of
// internal linkage, with the operations of its instruction set; so all that comes out of here belongs to the
// step's file and nothing newer leaks into another one.
//
// The class Ops works on WIDTH pixels of a row at once:
//     bytes                       pixels, the first WIDTH lanes count
//     words                       16-bit sums of as many lanes
//     load(p), store(p, bytes)    WIDTH pixels and none beyond
//     average(bytes, bytes)       (a + b + 1) >> 1
//     row_taps(p)                 sums of the six taps along the row, not rounded
//     round5(words)               (sum + 16) >> 5, clipped to pixels
//     centre(w0, ..., w5)         the six taps over sums of the first pass, (sum + 512) >> 10, clipped
//     column                      six taps down a column: column(p, stride) reads rows -2 to 2, next(p)
//                                 takes the row 3 below the result's and returns the sums
#pragma once

#include <cstddef>
#include <cstdint>

#include "codec/c264/c264_copy.h"

namespace c264_mc_vector
{

// Sources of one row of samples after the other; names are those of ITU-T H.264 8.4.2.2.1.

// G: the pixels themselves.
template <class Ops>
class pixel_rows
{
  public:
    pixel_rows(const uint8_t* first, ptrdiff_t row_stride) : from(first), stride(row_stride) {}
    typename Ops::bytes next()
    {
        const auto row = Ops::load(from);
        from += stride;
        return row;
    }

  private:
    const uint8_t* from;
    ptrdiff_t stride;
};

// b: between columns.
template <class Ops>
class b_rows
{
  public:
    b_rows(const uint8_t* first, ptrdiff_t row_stride) : from(first), stride(row_stride) {}
    typename Ops::bytes next()
    {
        const auto sums = Ops::row_taps(from);
        from += stride;
        return Ops::round5(sums);
    }

  private:
    const uint8_t* from;
    ptrdiff_t stride;
};

// h: between rows.
template <class Ops>
class h_rows
{
  public:
    h_rows(const uint8_t* first, ptrdiff_t row_stride)
        : taps(first, row_stride), from(first + 3 * row_stride), stride(row_stride)
    {
    }
    typename Ops::bytes next()
    {
        const auto sums = taps.next(from);
        from += stride;
        return Ops::round5(sums);
    }

  private:
    typename Ops::column taps;
    const uint8_t* from;
    ptrdiff_t stride;
};

// j: between both. WITH_B 0 averages it with the b of its own row, 1 with that of the row below (f and q); any
// other number gives j alone.
template <class Ops, int WITH_B>
class j_rows
{
  public:
    j_rows(const uint8_t* first, ptrdiff_t row_stride)
        : w0(Ops::row_taps(first - 2 * row_stride)),
          w1(Ops::row_taps(first - row_stride)),
          w2(Ops::row_taps(first)),
          w3(Ops::row_taps(first + row_stride)),
          w4(Ops::row_taps(first + 2 * row_stride)),
          from(first + 3 * row_stride),
          stride(row_stride)
    {
    }
    typename Ops::bytes next()
    {
        const auto w5 = Ops::row_taps(from);
        from += stride;
        auto row = Ops::centre(w0, w1, w2, w3, w4, w5);
        if constexpr (WITH_B == 0) row = Ops::average(row, Ops::round5(w2));
        if constexpr (WITH_B == 1) row = Ops::average(row, Ops::round5(w3));
        w0 = w1;
        w1 = w2;
        w2 = w3;
        w3 = w4;
        w4 = w5;
        return row;
    }

  private:
    typename Ops::words w0, w1, w2, w3, w4;
    const uint8_t* from;
    ptrdiff_t stride;
};

// Inlined by force: handed over in memory, the sources' registers would be stored and read back.
template <class Ops, class Rows>
[[gnu::always_inline]] inline void put(uint8_t* to, ptrdiff_t to_stride, int rows, Rows source)
{
    for (int y = 0; y < rows; ++y, to += to_stride)
        Ops::store(to, source.next());
}

template <class Ops, class RowsA, class RowsB>
[[gnu::always_inline]] inline void put_average(uint8_t* to, ptrdiff_t to_stride, int rows, RowsA a, RowsB b)
{
    for (int y = 0; y < rows; ++y, to += to_stride)
        Ops::store(to, Ops::average(a.next(), b.next()));
}

// The position X, Y quarters right of and below the integer sample.
template <class Ops, int X, int Y>
[[gnu::always_inline]] inline void luma_block(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from,
                                              ptrdiff_t stride, int rows)
{
    using pixels = pixel_rows<Ops>;
    using b = b_rows<Ops>;
    using h = h_rows<Ops>;
    const uint8_t* const near_row = Y == 3 ? from + stride : from;
    const uint8_t* const near_column = X == 3 ? from + 1 : from;
    if constexpr (X == 0 && Y == 2) {
        put<Ops>(to, to_stride, rows, h(from, stride));
    } else if constexpr (X == 0) {
        put_average<Ops>(to, to_stride, rows, h(from, stride), pixels(near_row, stride));
    } else if constexpr (X == 2 && Y == 0) {
        put<Ops>(to, to_stride, rows, b(from, stride));
    } else if constexpr (Y == 0) {
        put_average<Ops>(to, to_stride, rows, b(from, stride), pixels(near_column, stride));
    } else if constexpr (X == 2) {
        put<Ops>(to, to_stride, rows, j_rows < Ops, Y == 2 ? -1 : Y / 2 > (from, stride));
    } else if constexpr (Y == 2) {
        put_average<Ops>(to, to_stride, rows, j_rows<Ops, -1>(from, stride), h(near_column, stride));
    } else {
        put_average<Ops>(to, to_stride, rows, b(near_row, stride), h(near_column, stride));
    }
}

// A block of COLUMNS vectors next to each other.
template <class Ops, int COLUMNS, int X, int Y>
void luma(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t stride, int rows)
{
    for (int column = 0; column < COLUMNS; ++column)
        luma_block<Ops, X, Y>(to + column * Ops::WIDTH, to_stride, from + column * Ops::WIDTH, stride, rows);
}

// Sets the fifteen positions with a fraction.
template <class Ops, int COLUMNS>
void fill_luma(c264_block_fn* slots)
{
    slots[1] = luma<Ops, COLUMNS, 1, 0>;
    slots[2] = luma<Ops, COLUMNS, 2, 0>;
    slots[3] = luma<Ops, COLUMNS, 3, 0>;
    slots[4] = luma<Ops, COLUMNS, 0, 1>;
    slots[5] = luma<Ops, COLUMNS, 1, 1>;
    slots[6] = luma<Ops, COLUMNS, 2, 1>;
    slots[7] = luma<Ops, COLUMNS, 3, 1>;
    slots[8] = luma<Ops, COLUMNS, 0, 2>;
    slots[9] = luma<Ops, COLUMNS, 1, 2>;
    slots[10] = luma<Ops, COLUMNS, 2, 2>;
    slots[11] = luma<Ops, COLUMNS, 3, 2>;
    slots[12] = luma<Ops, COLUMNS, 0, 3>;
    slots[13] = luma<Ops, COLUMNS, 1, 3>;
    slots[14] = luma<Ops, COLUMNS, 2, 3>;
    slots[15] = luma<Ops, COLUMNS, 3, 3>;
}

}  // namespace c264_mc_vector
