#include "codec/convert/scale.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace
{

constexpr int FRACTION_BITS = 12;
constexpr uint32_t ONE = 1u << FRACTION_BITS;

// Sizes above this can't be those of a picture: their planes' bytes would not fit a 32-bit count.
constexpr int32_t MAX_SIZE = 32768;

struct plane_size {
    int32_t width, height;

    ptrdiff_t count() const { return static_cast<ptrdiff_t>(width) * height; }
    plane_size halved() const { return {width / 2, height / 2}; }
};

bool valid(plane_size size, int32_t least)
{
    return size.width >= least && size.height >= least && size.width <= MAX_SIZE && size.height <= MAX_SIZE;
}

// A position in the source with 12 fraction bits: a row or column, the next one, and how far between the
// two.
// oddity: scaler-edge-repeats. Behind the last row or column lies nothing of the plane: it is its own
// neighbour.
struct fixed_place {
    fixed_place(int64_t position, int32_t size)
        // The chroma of an odd size goes by the luma's steps, which may lead one past its last column.
        : at(std::min(static_cast<int32_t>(position >> FRACTION_BITS), size - 1)),
          next(std::min(at + 1, size - 1)),
          fraction(static_cast<uint32_t>(position) & (ONE - 1))
    {
    }
    int32_t at, next;
    uint32_t fraction;
};

// The same in floating point.
struct float_place {
    float_place(double position, int32_t size)
        : at(std::min(static_cast<int32_t>(position), size - 1)),
          next(std::min(at + 1, size - 1)),
          fraction(position - at)
    {
    }
    int32_t at, next;
    double fraction;
};

// The weighted sum of the four neighbours, 24 fraction bits. Unsigned: 255 x 2^24 and the rounding still fit.
uint32_t weigh(uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t fx, uint32_t fy)
{
    // 0x800 is half of 12 fraction bits, next to nothing in 24: the result is as good as cut, which is settled.
    return (a * (ONE - fx) * (ONE - fy) + b * fx * (ONE - fy) + c * (ONE - fx) * fy + d * fx * fy + 0x800) >>
           24;
}

uint16_t mix(const uint8_t (&p)[4], uint32_t fx, uint32_t fy)
{
    return static_cast<uint16_t>(weigh(p[0], p[1], p[2], p[3], fx, fy));
}

uint16_t mix(const uint16_t (&p)[4], uint32_t fx, uint32_t fy)
{
    // Shift and mask go by channel, so that none can carry into the next.
    const uint32_t red = weigh(p[0] >> 11, p[1] >> 11, p[2] >> 11, p[3] >> 11, fx, fy) & 31;
    const uint32_t green = weigh(p[0] >> 5 & 63, p[1] >> 5 & 63, p[2] >> 5 & 63, p[3] >> 5 & 63, fx, fy) & 63;
    const uint32_t blue = weigh(p[0] & 31, p[1] & 31, p[2] & 31, p[3] & 31, fx, fy) & 31;
    return static_cast<uint16_t>(red << 11 | green << 5 | blue);
}

uint16_t mix(const uint8_t (&p)[4], double fx, double fy)
{
    const double sum =
        p[0] * (1 - fx) * (1 - fy) + p[1] * fx * (1 - fy) + p[2] * (1 - fx) * fy + p[3] * fx * fy;
    return static_cast<uint16_t>(std::floor(sum + 0.5));
}

// Scales one plane; Place is the way of finding and weighing the neighbours, `x_step` and `y_step` its steps.
template <class Place, class Pixel, class Step>
void scale_plane(Pixel* to, plane_size to_size, const Pixel* from, plane_size from_size, Step x_step,
                 Step y_step)
{
    for (int32_t y = 0; y < to_size.height; ++y) {
        const Place row(y * y_step, from_size.height);
        const Pixel* const upper = from + static_cast<ptrdiff_t>(row.at) * from_size.width;
        const Pixel* const lower = from + static_cast<ptrdiff_t>(row.next) * from_size.width;
        for (int32_t x = 0; x < to_size.width; ++x) {
            const Place column(x * x_step, from_size.width);
            const Pixel neighbours[4] = {upper[column.at], upper[column.next], lower[column.at],
                                         lower[column.next]};
            *to++ = static_cast<Pixel>(mix(neighbours, column.fraction, row.fraction));
        }
    }
}

int64_t fixed_step(int32_t from, int32_t to)
{
    return (static_cast<int64_t>(from) << FRACTION_BITS) / to;
}

double float_step(int32_t from, int32_t to)
{
    return static_cast<double>(from) / to;
}

void halve_plane(uint8_t* to, plane_size to_size, const uint8_t* from, plane_size from_size)
{
    for (int32_t y = 0; y < to_size.height; ++y) {
        const uint8_t* const row = from + static_cast<ptrdiff_t>(2 * y) * from_size.width;
        for (int32_t x = 0; x < to_size.width; ++x)
            *to++ = row[2 * x];
    }
}

void double_plane(uint8_t* to, plane_size to_size, const uint8_t* from, plane_size from_size)
{
    for (int32_t y = 0; y < to_size.height; ++y) {
        // A chroma plane of an odd size has one target row or column more than twice the source's.
        const int32_t at_y = std::min(y / 2, from_size.height - 1);
        const uint8_t* const upper = from + static_cast<ptrdiff_t>(at_y) * from_size.width;
        const uint8_t* const lower =
            from + static_cast<ptrdiff_t>(std::min(at_y + 1, from_size.height - 1)) * from_size.width;
        for (int32_t x = 0; x < to_size.width; ++x) {
            const int32_t at = std::min(x / 2, from_size.width - 1);
            const int32_t next = std::min(at + 1, from_size.width - 1);
            int value = upper[at];
            if ((x & 1) != 0 && (y & 1) != 0)
                value = (upper[at] + upper[next] + lower[at] + lower[next] + 2) >> 2;
            else if ((x & 1) != 0)
                value = (upper[at] + upper[next] + 1) >> 1;
            else if ((y & 1) != 0)
                value = (upper[at] + lower[at] + 1) >> 1;
            *to++ = static_cast<uint8_t>(value);
        }
    }
}

// Calls `scale(to, to size, from, from size)` for the three planes.
template <class Scale>
int32_t for_planes(uint8_t* to, plane_size to_size, const uint8_t* from, plane_size from_size, Scale scale)
{
    if (to == nullptr || from == nullptr || !valid(to_size, 2) || !valid(from_size, 2)) return -1;
    for (int plane = 0; plane < 3; ++plane) {
        const plane_size target = plane == 0 ? to_size : to_size.halved();
        const plane_size source = plane == 0 ? from_size : from_size.halved();
        scale(to, target, from, source);
        to += target.count();
        from += source.count();
    }
    return 0;
}

}  // namespace

int32_t scale_yuv420(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height, int32_t from_width,
                     int32_t from_height)
{
    const plane_size target = {to_width, to_height};
    const plane_size source = {from_width, from_height};
    if (!valid(target, 2) || !valid(source, 2)) return -1;
    if (from_width == 2 * to_width && from_height == 2 * to_height)
        return scale_yuv420_half(to, from, to_width, to_height);
    if (to_width == 2 * from_width && to_height == 2 * from_height)
        return scale_yuv420_double(to, from, to_width, to_height);

    const int64_t x_step = fixed_step(from_width, to_width);
    const int64_t y_step = fixed_step(from_height, to_height);
    return for_planes(
        to, target, from, source,
        [&](uint8_t* to_plane, plane_size to_size, const uint8_t* from_plane, plane_size from_size) {
            scale_plane<fixed_place>(to_plane, to_size, from_plane, from_size, x_step, y_step);
        });
}

int32_t scale_yuv420_half(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height)
{
    if (!valid({to_width, to_height}, 2)) return -1;
    return for_planes(to, {to_width, to_height}, from, {2 * to_width, 2 * to_height}, halve_plane);
}

int32_t scale_yuv420_double(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height)
{
    if (to_width % 2 != 0 || to_height % 2 != 0) return -1;
    return for_planes(to, {to_width, to_height}, from, {to_width / 2, to_height / 2}, double_plane);
}

int32_t scale_yuv420_float(uint8_t* to, const uint8_t* from, int32_t to_width, int32_t to_height,
                           int32_t from_width, int32_t from_height)
{
    if (!valid({to_width, to_height}, 2)) return -1;
    const double x_step = float_step(from_width, to_width);
    const double y_step = float_step(from_height, to_height);
    return for_planes(
        to, {to_width, to_height}, from, {from_width, from_height},
        [&](uint8_t* to_plane, plane_size to_size, const uint8_t* from_plane, plane_size from_size) {
            scale_plane<float_place>(to_plane, to_size, from_plane, from_size, x_step, y_step);
        });
}

int32_t scale_rgb565(uint16_t* to, const uint16_t* from, int32_t to_width, int32_t to_height,
                     int32_t from_width, int32_t from_height)
{
    const plane_size target = {to_width, to_height};
    const plane_size source = {from_width, from_height};
    if (to == nullptr || from == nullptr || !valid(target, 1) || !valid(source, 1)) return -1;
    scale_plane<fixed_place>(to, target, from, source, fixed_step(from_width, to_width),
                             fixed_step(from_height, to_height));
    return 0;
}
