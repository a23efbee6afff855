#include "codec/c264/c264_copy.h"

#include <cstring>

#include "codec/c264/c264_kernels.h"
#include "codec/c264/c264_pixel.h"

namespace
{

template <int WIDTH>
void copy(uint8_t* to, ptrdiff_t to_stride, const uint8_t* from, ptrdiff_t from_stride, int rows)
{
    for (int y = 0; y < rows; ++y) {
        std::memcpy(to, from, WIDTH);
        to += to_stride;
        from += from_stride;
    }
}

template <int WIDTH>
void average(uint8_t* to, ptrdiff_t to_stride, const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b,
             ptrdiff_t b_stride, int rows)
{
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < WIDTH; ++x)
            to[x] = static_cast<uint8_t>((a[x] + b[x] + 1) >> 1);
        to += to_stride;
        a += a_stride;
        b += b_stride;
    }
}

void add_flat(uint8_t* to, ptrdiff_t to_stride, const uint8_t* pred, ptrdiff_t pred_stride,
              const int16_t* coeffs)
{
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const int block = (y / 4) * 2 + x / 4;
            to[x] = c264_clip1(pred[x] + (c264_wrap16(coeffs[block * 16] + 32) >> 6));
        }
        to += to_stride;
        pred += pred_stride;
    }
}

void fill_plain(c264_copy* table)
{
    table->copy[C264_WIDTH_16] = copy<16>;
    table->copy[C264_WIDTH_8] = copy<8>;
    table->copy[C264_WIDTH_4] = copy<4>;
    table->copy[C264_WIDTH_2] = copy<2>;
    table->average[C264_WIDTH_16] = average<16>;
    table->average[C264_WIDTH_8] = average<8>;
    table->average[C264_WIDTH_4] = average<4>;
    table->average[C264_WIDTH_2] = average<2>;
    table->add_flat = add_flat;
}

}  // namespace

void c264_copy_init(c264_copy* table, [[maybe_unused]] uint32_t caps)
{
    fill_plain(table);
#if defined(__x86_64__)
    if (caps & CODEC_CAP_SSE2) c264_copy_fill_sse2(table);
#endif
}
