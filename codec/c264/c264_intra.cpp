#include "codec/c264/c264_intra.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_pixel.h"

namespace
{

template <int SIZE>
void fill(uint8_t* to, ptrdiff_t to_stride, int value)
{
    for (int y = 0; y < SIZE; ++y, to += to_stride)
        std::memset(to, value, SIZE);
}

template <int COUNT>
int sum_top(const uint8_t* at, ptrdiff_t stride)
{
    int sum = 0;
    for (int x = 0; x < COUNT; ++x)
        sum += at[x - stride];
    return sum;
}

template <int COUNT>
int sum_left(const uint8_t* at, ptrdiff_t stride)
{
    int sum = 0;
    for (int y = 0; y < COUNT; ++y)
        sum += at[y * stride - 1];
    return sum;
}

// 8.3.3.1, 8.3.4.3
template <int SIZE>
void vertical(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    for (int y = 0; y < SIZE; ++y, to += to_stride)
        std::memcpy(to, at - stride, SIZE);
}

// 8.3.3.2, 8.3.4.2
template <int SIZE>
void horizontal(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    for (int y = 0; y < SIZE; ++y, to += to_stride, at += stride)
        std::memset(to, at[-1], SIZE);
}

// 8.3.3.4, 8.3.4.4: the slopes weigh the differences of opposite neighbours; the corner belongs to both edges.
template <int SIZE>
void plane(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    constexpr int HALF = SIZE / 2;
    int slope_h = 0;
    int slope_v = 0;
    for (int k = 1; k <= HALF; ++k) {
        slope_h += k * (at[HALF - 1 + k - stride] - at[HALF - 1 - k - stride]);
        slope_v += k * (at[(HALF - 1 + k) * stride - 1] - at[(HALF - 1 - k) * stride - 1]);
    }
    constexpr int FACTOR = SIZE == 16 ? 5 : 34;
    const int b = (FACTOR * slope_h + 32) >> 6;
    const int c = (FACTOR * slope_v + 32) >> 6;
    const int a = 16 * (at[(SIZE - 1) * stride - 1] + at[SIZE - 1 - stride]);
    for (int y = 0; y < SIZE; ++y, to += to_stride) {
        for (int x = 0; x < SIZE; ++x)
            to[x] = c264_clip1((a + b * (x - (HALF - 1)) + c * (y - (HALF - 1)) + 16) >> 5);
    }
}

// 8.3.3.3: Intra_16x16_DC by the neighbours that are there.
void luma16_dc(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    fill<16>(to, to_stride, (sum_top<16>(at, stride) + sum_left<16>(at, stride) + 16) >> 5);
}

void luma16_dc_left(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    fill<16>(to, to_stride, (sum_left<16>(at, stride) + 8) >> 4);
}

void luma16_dc_top(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    fill<16>(to, to_stride, (sum_top<16>(at, stride) + 8) >> 4);
}

template <int SIZE>
void constant(uint8_t* to, ptrdiff_t to_stride, const uint8_t* /*at*/, ptrdiff_t /*stride*/)
{
    fill<SIZE>(to, to_stride, 128);
}

// 8.3.4.1 to 8.3.4.3: chroma DC goes by 4x4 blocks. The two on the diagonal average both edges, the others
// prefer the edge that they touch.
void chroma8_dc(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    const int top0 = sum_top<4>(at, stride);
    const int top1 = sum_top<4>(at + 4, stride);
    const int left0 = sum_left<4>(at, stride);
    const int left1 = sum_left<4>(at + 4 * stride, stride);
    fill<4>(to, to_stride, (top0 + left0 + 4) >> 3);
    fill<4>(to + 4, to_stride, (top1 + 2) >> 2);
    fill<4>(to + 4 * to_stride, to_stride, (left1 + 2) >> 2);
    fill<4>(to + 4 * to_stride + 4, to_stride, (top1 + left1 + 4) >> 3);
}

void chroma8_dc_left(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    for (int y = 0; y < 8; y += 4) {
        const int value = (sum_left<4>(at + y * stride, stride) + 2) >> 2;
        fill<4>(to + y * to_stride, to_stride, value);
        fill<4>(to + y * to_stride + 4, to_stride, value);
    }
}

void chroma8_dc_top(uint8_t* to, ptrdiff_t to_stride, const uint8_t* at, ptrdiff_t stride)
{
    for (int x = 0; x < 8; x += 4) {
        const int value = (sum_top<4>(at + x, stride) + 2) >> 2;
        fill<4>(to + x, to_stride, value);
        fill<4>(to + 4 * to_stride + x, to_stride, value);
    }
}

constexpr ptrdiff_t S4 = C264_INTRA4_STRIDE;

void luma4_vertical(uint8_t* block)
{
    vertical<4>(block, S4, block, S4);
}

void luma4_horizontal(uint8_t* block)
{
    horizontal<4>(block, S4, block, S4);
}

// 8.3.1.2.3: Intra_4x4_DC by the neighbours that are there.
void luma4_dc(uint8_t* block)
{
    fill<4>(block, S4, (sum_top<4>(block, S4) + sum_left<4>(block, S4) + 4) >> 3);
}

void luma4_dc_left(uint8_t* block)
{
    fill<4>(block, S4, (sum_left<4>(block, S4) + 2) >> 2);
}

void luma4_dc_top(uint8_t* block)
{
    fill<4>(block, S4, (sum_top<4>(block, S4) + 2) >> 2);
}

void luma4_constant(uint8_t* block)
{
    fill<4>(block, S4, 128);
}

// The neighbours of a 4x4 block in one line: from the lowest on the left up to the corner, then to the right.
// The modes that slant take two or three next to each other.
class line4
{
  public:
    static constexpr int CORNER = 4;
    static constexpr int TOP = 5;  // p[0, -1]

    // With `top_right` the line ends in the four pixels above and right of the block, the last of them twice,
    // else it ends with the four above the block.
    line4(const uint8_t* block, bool top_right)
    {
        for (int y = 0; y < 4; ++y)
            pixels[3 - y] = block[y * S4 - 1];
        std::memcpy(pixels + CORNER, block - S4 - 1, 5);
        if (top_right) {
            std::memcpy(pixels + TOP + 4, block - S4 + 4, 4);
            pixels[TOP + 8] = pixels[TOP + 7];
        }
    }

    // The average of pixel k and the one before it.
    uint8_t two(int k) const { return static_cast<uint8_t>((pixels[k - 1] + pixels[k] + 1) >> 1); }

    // The pixel k, smoothed by those on either side.
    uint8_t three(int k) const
    {
        return static_cast<uint8_t>((pixels[k - 1] + 2 * pixels[k] + pixels[k + 1] + 2) >> 2);
    }

  private:
    uint8_t pixels[14] = {};
};

// 8.3.1.2.4
void luma4_diagonal_down_left(uint8_t* block)
{
    const line4 line(block, true);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x)
            block[y * S4 + x] = line.three(line4::TOP + 1 + x + y);
    }
}

// 8.3.1.2.5
void luma4_diagonal_down_right(uint8_t* block)
{
    const line4 line(block, false);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x)
            block[y * S4 + x] = line.three(line4::CORNER + x - y);
    }
}

// 8.3.1.2.6: two rows down is one column right, and the first column of the lower rows comes from the left.
void luma4_vertical_right(uint8_t* block)
{
    const line4 line(block, false);
    for (int x = 0; x < 4; ++x) {
        block[x] = line.two(line4::TOP + x);
        block[S4 + x] = line.three(line4::CORNER + x);
    }
    block[2 * S4] = line.three(line4::CORNER - 1);
    block[3 * S4] = line.three(line4::CORNER - 2);
    std::memcpy(block + 2 * S4 + 1, block, 3);
    std::memcpy(block + 3 * S4 + 1, block + S4, 3);
}

// 8.3.1.2.7: two columns right is one row down, and the end of the first row comes from above.
void luma4_horizontal_down(uint8_t* block)
{
    const line4 line(block, false);
    for (int y = 0; y < 4; ++y) {
        block[y * S4] = line.two(line4::CORNER - y);
        block[y * S4 + 1] = line.three(line4::CORNER - y);
    }
    block[2] = line.three(line4::CORNER + 1);
    block[3] = line.three(line4::CORNER + 2);
    for (int y = 1; y < 4; ++y)
        std::memcpy(block + y * S4 + 2, block + (y - 1) * S4, 2);
}

// 8.3.1.2.8
void luma4_vertical_left(uint8_t* block)
{
    const line4 line(block, true);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int k = line4::TOP + 1 + x + y / 2;
            block[y * S4 + x] = y % 2 == 0 ? line.two(k) : line.three(k);
        }
    }
}

// 8.3.1.2.9: the line goes down on the left and stays at its last pixel.
void luma4_horizontal_up(uint8_t* block)
{
    uint8_t left[7];
    for (int y = 0; y < 4; ++y)
        left[y] = block[y * S4 - 1];
    std::fill(left + 4, std::end(left), left[3]);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const uint8_t* const k = left + std::min(y + x / 2, 3);
            const int value = x % 2 == 0 ? (k[0] + k[1] + 1) >> 1 : (k[0] + 2 * k[1] + k[2] + 2) >> 2;
            block[y * S4 + x] = static_cast<uint8_t>(value);
        }
    }
}

void fill_plain(c264_intra* table)
{
    std::fill(std::begin(table->luma16), std::end(table->luma16), constant<16>);
    table->luma16[C264_LUMA16_VERTICAL] = vertical<16>;
    table->luma16[C264_LUMA16_HORIZONTAL] = horizontal<16>;
    table->luma16[C264_LUMA16_DC] = luma16_dc;
    table->luma16[C264_LUMA16_PLANE] = plane<16>;
    table->luma16[C264_LUMA16_DC_LEFT] = luma16_dc_left;
    table->luma16[C264_LUMA16_DC_TOP] = luma16_dc_top;

    std::fill(std::begin(table->chroma8), std::end(table->chroma8), constant<8>);
    table->chroma8[C264_CHROMA8_DC] = chroma8_dc;
    table->chroma8[C264_CHROMA8_HORIZONTAL] = horizontal<8>;
    table->chroma8[C264_CHROMA8_VERTICAL] = vertical<8>;
    table->chroma8[C264_CHROMA8_PLANE] = plane<8>;
    table->chroma8[C264_CHROMA8_DC_LEFT] = chroma8_dc_left;
    table->chroma8[C264_CHROMA8_DC_TOP] = chroma8_dc_top;

    std::fill(std::begin(table->luma4), std::end(table->luma4), luma4_constant);
    table->luma4[C264_LUMA4_VERTICAL] = luma4_vertical;
    table->luma4[C264_LUMA4_HORIZONTAL] = luma4_horizontal;
    table->luma4[C264_LUMA4_DC] = luma4_dc;
    table->luma4[C264_LUMA4_DIAGONAL_DOWN_LEFT] = luma4_diagonal_down_left;
    table->luma4[C264_LUMA4_DIAGONAL_DOWN_RIGHT] = luma4_diagonal_down_right;
    table->luma4[C264_LUMA4_VERTICAL_RIGHT] = luma4_vertical_right;
    table->luma4[C264_LUMA4_HORIZONTAL_DOWN] = luma4_horizontal_down;
    table->luma4[C264_LUMA4_VERTICAL_LEFT] = luma4_vertical_left;
    table->luma4[C264_LUMA4_HORIZONTAL_UP] = luma4_horizontal_up;
    table->luma4[C264_LUMA4_DC_LEFT] = luma4_dc_left;
    table->luma4[C264_LUMA4_DC_TOP] = luma4_dc_top;
}

}  // namespace

void c264_intra_init(c264_intra* table, [[maybe_unused]] uint32_t caps)
{
    fill_plain(table);
#if defined(__x86_64__)
    if (caps & CODEC_CAP_SSE2) c264_intra_fill_sse2(table);
#endif
}
