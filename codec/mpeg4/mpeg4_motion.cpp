#include "codec/mpeg4/mpeg4_motion.h"

#include <algorithm>
#include <cstring>

#include "codec/mpeg4/mpeg4_kernels.h"
#include "codec/mpeg4/mpeg4_tables.h"

namespace
{
/// The chroma vector of a macroblock with one vector is (v >> 1) plus this, by v & 3.
/// oddity: chroma-rounding-table; the devices' own encoder takes these values. ISO/IEC 14496-2 has 0, 1, 0, 0:
/// the option.
constexpr int32_t chroma_rounding[2 /* standard */][4] = {{0, 0, 1, 0}, {0, 1, 0, 0}};

/// With four vectors it is (sum >> 3) plus this, by sum & 15 (table 7-9).
constexpr int32_t chroma_rounding4[16] = {0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1};

int32_t median(int32_t a, int32_t b, int32_t c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

mpeg4_vector median(mpeg4_vector a, mpeg4_vector b, mpeg4_vector c)
{
    return mpeg4_make_vector(median(a.x, b.x, c.x), median(a.y, b.y, c.y));
}

/// Table B-12; a code that doesn't exist counts as zero and takes the bits that were looked at.
MPEG4_INLINE int32_t read_difference(mpeg4_bits* bits)
{
    const uint32_t next = mpeg4_bits_show(bits, 13);
    const mpeg4_code code = next >= 512 ? mpeg4_mvd_short[next >> 5] : mpeg4_mvd_long[next];
    mpeg4_bits_skip(bits, code.length ? code.length : 13);
    return code.value;
}

int32_t wrap(int32_t value)
{
    return value < -32 ? value + 64 : value > 31 ? value - 64 : value;
}

MPEG4_INLINE mpeg4_vector read_vector(mpeg4_bits* bits, mpeg4_vector prediction)
{
    mpeg4_bits_refill(bits);
    const int32_t x = wrap(prediction.x + read_difference(bits));
    const int32_t y = wrap(prediction.y + read_difference(bits));
    return mpeg4_make_vector(x, y);
}

/// The vectors around a macroblock. One that is missing counts as zero; above the first row there is none at
/// all.
struct vector_neighbours {
    const Mpeg4Macroblock* left;       ///< null at the first column
    const Mpeg4Macroblock* top;        ///< null in the first row
    const Mpeg4Macroblock* top_right;  ///< null in the first row and at the last column
};

vector_neighbours find_neighbours(const Mpeg4Decoder* dec, const Mpeg4Macroblock* mb, int mb_x, int mb_y)
{
    const Mpeg4Macroblock* const top = mb_y > 0 ? mb - dec->mb_across : nullptr;
    return {mb_x > 0 ? mb - 1 : nullptr, top, top && mb_x + 1 < dec->mb_across ? top + 1 : nullptr};
}

mpeg4_vector vector_of(const Mpeg4Macroblock* mb, int n)
{
    return mb ? mb->mv[n] : mpeg4_vector{0, 0};
}

/// 7.6.5 for an upper block: the median of the vectors to its left, above it, and above to the right of the
/// macroblock. Without a row above, the left one predicts alone.
mpeg4_vector predict_upper(const vector_neighbours& around, mpeg4_vector left, int n)
{
    if (!around.top) return left;
    return median(left, around.top->mv[n + 2], vector_of(around.top_right, 2));
}

void read_four_vectors(mpeg4_bits* bits, Mpeg4Macroblock* mb, const vector_neighbours& around)
{
    mpeg4_vector* const mv = mb->mv;
    mv[0] = read_vector(bits, predict_upper(around, vector_of(around.left, 1), 0));
    mv[1] = read_vector(bits, predict_upper(around, mv[0], 1));
    mv[2] = read_vector(bits, median(vector_of(around.left, 3), mv[0], mv[1]));
    mv[3] = read_vector(bits, median(mv[2], mv[0], mv[1]));
}

/// A square of the reference that leaves the plane, its samples taken from the nearest ones inside.
struct edge_buffer {
    static constexpr ptrdiff_t STRIDE = 32;
    alignas(CODEC_ALIGN) uint8_t data[17 * STRIDE];

    void fetch(const uint8_t* plane, ptrdiff_t stride, int plane_width, int plane_height, int x, int y,
               int size)
    {
        for (int row = 0; row < size; ++row) {
            const uint8_t* const from = plane + std::clamp(y + row, 0, plane_height - 1) * stride;
            uint8_t* const to = data + row * STRIDE;
            for (int column = 0; column < size; ++column)
                to[column] = from[std::clamp(x + column, 0, plane_width - 1)];
        }
    }
};

/// Predicts one square of a plane: `size` is 8 or 16, (x, y) its place in the plane.
void predict_square(const Mpeg4Decoder* dec, int plane, int x, int y, int size, mpeg4_vector vector)
{
    const ptrdiff_t stride = dec->stride[plane];
    const int plane_width = plane == 0 ? dec->width : dec->width / 2;
    const int plane_height = plane == 0 ? dec->height : dec->height / 2;
    const int half_x = vector.x & 1;
    const int half_y = vector.y & 1;
    const int from_x = x + (vector.x >> 1);
    const int from_y = y + (vector.y >> 1);
    uint8_t* const to = dec->current.plane[plane] + y * stride + x;
    const mpeg4_predict_fn kernel =
        dec->dsp->predict[0][size == 16 ? MPEG4_WIDTH_16 : MPEG4_WIDTH_8][half_y * 2 + half_x];

    if (from_x >= 0 && from_y >= 0 && from_x + size + half_x <= plane_width &&
        from_y + size + half_y <= plane_height) [[likely]] {
        kernel(to, stride, dec->reference.plane[plane] + from_y * stride + from_x, stride, size);
        return;
    }
    edge_buffer edge;
    edge.fetch(dec->reference.plane[plane], stride, plane_width, plane_height, from_x, from_y, size + 1);
    kernel(to, stride, edge.data, edge_buffer::STRIDE, size);
}

mpeg4_vector chroma_vector(const Mpeg4Decoder* dec, const Mpeg4Macroblock* mb)
{
    if (mb->mode != MPEG4_MODE_INTER4V) {
        const int32_t* const rounding = chroma_rounding[dec->standard_chroma ? 1 : 0];
        const mpeg4_vector v = mb->mv[0];
        return mpeg4_make_vector((v.x >> 1) + rounding[v.x & 3], (v.y >> 1) + rounding[v.y & 3]);
    }
    const int32_t x = mb->mv[0].x + mb->mv[1].x + mb->mv[2].x + mb->mv[3].x;
    const int32_t y = mb->mv[0].y + mb->mv[1].y + mb->mv[2].y + mb->mv[3].y;
    return mpeg4_make_vector((x >> 3) + chroma_rounding4[x & 15], (y >> 3) + chroma_rounding4[y & 15]);
}
}  // namespace

void mpeg4_read_vectors(Mpeg4Decoder* dec, int mb_x, int mb_y)
{
    Mpeg4Macroblock* const mb = dec->macroblocks + mb_y * dec->mb_across + mb_x;
    const vector_neighbours around = find_neighbours(dec, mb, mb_x, mb_y);
    if (mb->mode == MPEG4_MODE_INTER4V) {
        read_four_vectors(&dec->bits, mb, around);
    } else {
        std::fill_n(mb->mv, 4, read_vector(&dec->bits, predict_upper(around, vector_of(around.left, 1), 0)));
    }
}

void mpeg4_predict_macroblock(const Mpeg4Decoder* dec, int mb_x, int mb_y)
{
    const Mpeg4Macroblock* const mb = dec->macroblocks + mb_y * dec->mb_across + mb_x;
    if (mb->mode == MPEG4_MODE_INTER4V) {
        for (int n = 0; n < 4; ++n)
            predict_square(dec, 0, mb_x * 16 + (n & 1) * 8, mb_y * 16 + (n >> 1) * 8, 8, mb->mv[n]);
    } else {
        predict_square(dec, 0, mb_x * 16, mb_y * 16, 16, mb->mv[0]);
    }
    const mpeg4_vector chroma = chroma_vector(dec, mb);
    predict_square(dec, 1, mb_x * 8, mb_y * 8, 8, chroma);
    predict_square(dec, 2, mb_x * 8, mb_y * 8, 8, chroma);
}

void mpeg4_copy_macroblocks(const Mpeg4Decoder* dec, int mb_x, int mb_y, int count)
{
    const mpeg4_picture to = mpeg4_at_macroblock(dec, &dec->current, mb_x, mb_y);
    const mpeg4_picture from = mpeg4_at_macroblock(dec, &dec->reference, mb_x, mb_y);
    for (int plane = 0; plane < 3; ++plane) {
        const int size = plane == 0 ? 16 : 8;
        const ptrdiff_t stride = dec->stride[plane];
        for (int row = 0; row < size; ++row)
            std::memcpy(to.plane[plane] + row * stride, from.plane[plane] + row * stride,
                        static_cast<size_t>(count) * size);
    }
}
