#include "codec/c264/c264_deblock.h"

#include <cstdlib>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_pixel.h"

constexpr uint8_t C264_ALPHA[52] = {0,  0,  0,  0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
                                    0,  0,  0,  4,   4,   5,   6,   7,   8,   9,   10,  12,  13,
                                    15, 17, 20, 22,  25,  28,  32,  36,  40,  45,  50,  56,  63,
                                    71, 80, 90, 101, 113, 127, 144, 162, 182, 203, 226, 255, 255};

constexpr uint8_t C264_BETA[52] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0, 2,  2,
                                   2,  3,  3,  3,  3,  4,  4,  4,  6,  6,  7,  7,  8,  8,  9,  9, 10, 10,
                                   11, 11, 12, 12, 13, 13, 14, 14, 15, 15, 16, 16, 17, 17, 18, 18};

constexpr int8_t C264_TC0[52][4] = {
    {-1, 0, 0, 0},   {-1, 0, 0, 0},    {-1, 0, 0, 0},    {-1, 0, 0, 0},    {-1, 0, 0, 0},   {-1, 0, 0, 0},
    {-1, 0, 0, 0},   {-1, 0, 0, 0},    {-1, 0, 0, 0},    {-1, 0, 0, 0},    {-1, 0, 0, 0},   {-1, 0, 0, 0},
    {-1, 0, 0, 0},   {-1, 0, 0, 0},    {-1, 0, 0, 0},    {-1, 0, 0, 0},    {-1, 0, 0, 0},   {-1, 0, 0, 1},
    {-1, 0, 0, 1},   {-1, 0, 0, 1},    {-1, 0, 0, 1},    {-1, 0, 1, 1},    {-1, 0, 1, 1},   {-1, 1, 1, 1},
    {-1, 1, 1, 1},   {-1, 1, 1, 1},    {-1, 1, 1, 1},    {-1, 1, 1, 2},    {-1, 1, 1, 2},   {-1, 1, 1, 2},
    {-1, 1, 1, 2},   {-1, 1, 2, 3},    {-1, 1, 2, 3},    {-1, 2, 2, 3},    {-1, 2, 2, 4},   {-1, 2, 3, 4},
    {-1, 2, 3, 4},   {-1, 3, 3, 5},    {-1, 3, 4, 6},    {-1, 3, 4, 6},    {-1, 4, 5, 7},   {-1, 4, 5, 8},
    {-1, 4, 6, 9},   {-1, 5, 7, 10},   {-1, 6, 8, 11},   {-1, 6, 8, 13},   {-1, 7, 10, 14}, {-1, 8, 11, 16},
    {-1, 9, 12, 18}, {-1, 10, 13, 20}, {-1, 11, 15, 23}, {-1, 13, 17, 25},
};

namespace
{

// One pixel row across an edge: p3 to p0 stand before `q`, q0 to q3 from there on, `step` apart.
template <c264_plane PLANE>
void filter_normal(uint8_t* q, ptrdiff_t step, int alpha, int beta, int tc0)
{
    const int p1 = q[-2 * step];
    const int p0 = q[-step];
    const int q0 = q[0];
    const int q1 = q[step];
    if (std::abs(p0 - q0) >= alpha || std::abs(p1 - p0) >= beta || std::abs(q1 - q0) >= beta) return;

    int tc = tc0 + 1;
    if constexpr (PLANE == C264_LUMA) {
        const int p2 = q[-3 * step];
        const int q2 = q[2 * step];
        tc = tc0;
        if (std::abs(p2 - p0) < beta) {
            q[-2 * step] =
                static_cast<uint8_t>(p1 + c264_clip3(-tc0, tc0, (p2 + ((p0 + q0 + 1) >> 1) - 2 * p1) >> 1));
            ++tc;
        }
        if (std::abs(q2 - q0) < beta) {
            q[step] =
                static_cast<uint8_t>(q1 + c264_clip3(-tc0, tc0, (q2 + ((p0 + q0 + 1) >> 1) - 2 * q1) >> 1));
            ++tc;
        }
    }
    const int delta = c264_clip3(-tc, tc, ((q0 - p0) * 4 + (p1 - q1) + 4) >> 3);
    q[-step] = c264_clip1(p0 + delta);
    q[0] = c264_clip1(q0 - delta);
}

// One side of a strong luma edge: a is the side that is written, from the edge outwards, b the other one.
void smooth_side(uint8_t* edge, ptrdiff_t step, int a0, int a1, int b0, int b1, bool deep)
{
    if (!deep) {
        edge[0] = static_cast<uint8_t>((2 * a1 + a0 + b1 + 2) >> 2);
        return;
    }
    const int a2 = edge[2 * step];
    const int a3 = edge[3 * step];
    edge[0] = static_cast<uint8_t>((a2 + 2 * a1 + 2 * a0 + 2 * b0 + b1 + 4) >> 3);
    edge[step] = static_cast<uint8_t>((a2 + a1 + a0 + b0 + 2) >> 2);
    edge[2 * step] = static_cast<uint8_t>((2 * a3 + 3 * a2 + a1 + a0 + b0 + 4) >> 3);
}

template <c264_plane PLANE>
void filter_strong(uint8_t* q, ptrdiff_t step, int alpha, int beta)
{
    const int p1 = q[-2 * step];
    const int p0 = q[-step];
    const int q0 = q[0];
    const int q1 = q[step];
    if (std::abs(p0 - q0) >= alpha || std::abs(p1 - p0) >= beta || std::abs(q1 - q0) >= beta) return;

    bool deep_p = false;
    bool deep_q = false;
    if constexpr (PLANE == C264_LUMA) {
        const bool small = std::abs(p0 - q0) < (alpha >> 2) + 2;
        deep_p = small && std::abs(q[-3 * step] - p0) < beta;
        deep_q = small && std::abs(q[2 * step] - q0) < beta;
    }
    smooth_side(q - step, -step, p0, p1, q0, q1, deep_p);
    smooth_side(q, step, q0, q1, p0, p1, deep_q);
}

template <c264_deblock_kind KIND, c264_direction DIRECTION, c264_plane PLANE>
void filter_edge(uint8_t* edge, ptrdiff_t stride, int alpha, int beta, [[maybe_unused]] const int8_t* tc0)
{
    constexpr int LENGTH = PLANE == C264_LUMA ? 16 : 8;
    const ptrdiff_t along = DIRECTION == C264_VERTICAL ? stride : 1;
    const ptrdiff_t across = DIRECTION == C264_VERTICAL ? 1 : stride;
    for (int k = 0; k < LENGTH; ++k, edge += along) {
        if constexpr (KIND == C264_STRONG) {
            filter_strong<PLANE>(edge, across, alpha, beta);
        } else {
            const int8_t clip = tc0[KIND == C264_UNIFORM ? 0 : k / (LENGTH / 4)];
            if (clip >= 0) filter_normal<PLANE>(edge, across, alpha, beta, clip);
        }
    }
}

template <c264_deblock_kind KIND>
void fill_plain(c264_deblock* table)
{
    table->edge[c264_deblock_index(KIND, C264_VERTICAL, C264_LUMA)] =
        filter_edge<KIND, C264_VERTICAL, C264_LUMA>;
    table->edge[c264_deblock_index(KIND, C264_VERTICAL, C264_CHROMA)] =
        filter_edge<KIND, C264_VERTICAL, C264_CHROMA>;
    table->edge[c264_deblock_index(KIND, C264_HORIZONTAL, C264_LUMA)] =
        filter_edge<KIND, C264_HORIZONTAL, C264_LUMA>;
    table->edge[c264_deblock_index(KIND, C264_HORIZONTAL, C264_CHROMA)] =
        filter_edge<KIND, C264_HORIZONTAL, C264_CHROMA>;
}

}  // namespace

void c264_deblock_init(c264_deblock* table, [[maybe_unused]] uint32_t caps)
{
    fill_plain<C264_NORMAL>(table);
    fill_plain<C264_STRONG>(table);
    fill_plain<C264_UNIFORM>(table);
#if defined(__x86_64__)
    if (caps & CODEC_CAP_SSE2) c264_deblock_fill_sse2(table);
#endif
}
