#include "codec/mpeg4_motion.h"

#include <algorithm>
#include <cstring>

#include "codec/mpeg4_tables.h"

namespace
{
/// The chroma vector of a macroblock with one vector is (v >> 1) plus this, by v & 3. The devices' own encoder
/// takes these values; ISO/IEC 14496-2 has 0, 1, 0, 0, which is the option.
constexpr int32_t chroma_rounding[2 /* standard */][4] = {{0, 0, 1, 0}, {0, 1, 0, 0}};

/// With four vectors it is (sum >> 3) plus this, by sum & 15 (table 7-9).
constexpr int32_t chroma_rounding4[16] = {0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1};

int32_t median(int32_t a, int32_t b, int32_t c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

/// 7.6.5: the median of the vectors to the left, above, and above to the right. One that is missing counts as
/// zero, but the left one alone predicts by itself.
mpeg4_vector predict_vector(const Mpeg4Decoder* dec, int mb_x, int mb_y, int n)
{
    const Mpeg4Macroblock* const mb = dec->macroblocks + mb_y * dec->mb_across + mb_x;
    constexpr mpeg4_vector zero = {0, 0};
    if (n == 3) {
        return {median(mb->mv[2].x, mb->mv[0].x, mb->mv[1].x), median(mb->mv[2].y, mb->mv[0].y, mb->mv[1].y)};
    }
    const mpeg4_vector left = n == 1 ? mb->mv[0] : mb_x > 0 ? mb[-1].mv[n + 1] : zero;
    mpeg4_vector top = mb->mv[0];
    mpeg4_vector top_right = mb->mv[1];
    if (n < 2) {
        if (mb_y == 0) return left;
        const Mpeg4Macroblock* const above = mb - dec->mb_across;
        top = above->mv[n + 2];
        top_right = mb_x + 1 < dec->mb_across ? above[1].mv[2] : zero;
    }
    return {median(left.x, top.x, top_right.x), median(left.y, top.y, top_right.y)};
}

/// Table B-12; a code that doesn't exist counts as zero and takes the bits that were looked at.
int32_t read_difference(mpeg4_bits* bits)
{
    mpeg4_bits_refill(bits);
    const uint32_t next = mpeg4_bits_show(bits, 13);
    const mpeg4_code code = next >= 512 ? mpeg4_mvd_short[next >> 5] : mpeg4_mvd_long[next];
    mpeg4_bits_skip(bits, code.length ? code.length : 13);
    return code.value;
}

int32_t wrap(int32_t value)
{
    return value < -32 ? value + 64 : value > 31 ? value - 64 : value;
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
        return {(v.x >> 1) + rounding[v.x & 3], (v.y >> 1) + rounding[v.y & 3]};
    }
    const int32_t x = mb->mv[0].x + mb->mv[1].x + mb->mv[2].x + mb->mv[3].x;
    const int32_t y = mb->mv[0].y + mb->mv[1].y + mb->mv[2].y + mb->mv[3].y;
    return {(x >> 3) + chroma_rounding4[x & 15], (y >> 3) + chroma_rounding4[y & 15]};
}
}  // namespace

mpeg4_vector mpeg4_read_vector(Mpeg4Decoder* dec, int mb_x, int mb_y, int n)
{
    const mpeg4_vector prediction = predict_vector(dec, mb_x, mb_y, n);
    const int32_t x = wrap(prediction.x + read_difference(&dec->bits));
    const int32_t y = wrap(prediction.y + read_difference(&dec->bits));
    return {x, y};
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
