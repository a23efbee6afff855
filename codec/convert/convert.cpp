#include "codec/convert/convert.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "codec/convert/convert_kernels.h"
#include "codec/cpu.h"

static_assert(offsetof(ConvertTarget, data) == offsetof(CodecFrame, data));
static_assert(offsetof(ConvertTarget, linesize) == offsetof(CodecFrame, linesize));
static_assert(offsetof(ConvertTarget, format) == offsetof(CodecFrame, format));

namespace
{

// The conversion of a format or a code.
struct convert_layout {
    convert_fn convert_table::*slot;  // null: no conversion
    int bytes_per_pixel;              // of plane 0
};

constexpr int FORMATS = 40;
constexpr int CODES = 32;

struct layout_tables {
    convert_layout format[FORMATS] = {};
    convert_layout code[CODES] = {};
};

constexpr layout_tables make_layouts()
{
    constexpr convert_layout i420 = {&convert_table::i420, 1};
    constexpr convert_layout yuy2 = {&convert_table::yuy2, 2};
    constexpr convert_layout uyvy = {&convert_table::uyvy, 2};
    constexpr convert_layout yvyu = {&convert_table::yvyu, 2};
    constexpr convert_layout rgb565 = {&convert_table::rgb565, 2};
    constexpr convert_layout rgb555 = {&convert_table::rgb555, 2};
    constexpr convert_layout bgr24 = {&convert_table::bgr24, 3};
    constexpr convert_layout rgb24 = {&convert_table::rgb24, 3};
    constexpr convert_layout bgr32 = {&convert_table::bgr32, 4};
    constexpr convert_layout rgb32 = {&convert_table::rgb32, 4};

    layout_tables tables;
    tables.format[CONVERT_FORMAT_I420] = i420;
    tables.format[CONVERT_FORMAT_YUY2] = yuy2;
    tables.format[CONVERT_FORMAT_UYVY] = uyvy;
    tables.format[CONVERT_FORMAT_YVYU] = yvyu;
    tables.format[CONVERT_FORMAT_RGB565] = rgb565;
    tables.format[CONVERT_FORMAT_RGB555] = rgb555;
    tables.format[CONVERT_FORMAT_BGR24] = bgr24;
    tables.format[CONVERT_FORMAT_RGB24] = rgb24;
    tables.format[CONVERT_FORMAT_RGB32] = rgb32;
    tables.format[CONVERT_FORMAT_BGR32] = bgr32;
    tables.code[1] = i420;
    tables.code[5] = rgb565;
    tables.code[6] = bgr24;
    tables.code[7] = rgb24;
    tables.code[8] = bgr32;
    tables.code[10] = rgb32;
    tables.code[11] = yuy2;
    tables.code[12] = uyvy;
    return tables;
}

constexpr layout_tables LAYOUTS = make_layouts();

// One filled table for each step, so that choosing another one while a link thread converts is the store of a
// pointer.
struct step_tables {
    step_tables()
    {
        convert_table_fill(&plain, CODEC_STEP_PLAIN);
        convert_table_fill(&sse2, CODEC_STEP_SSE2);
        convert_table_fill(&ssse3, CODEC_STEP_SSSE3);
        convert_table_fill(&avx2, CODEC_STEP_AVX2);
    }
    convert_table plain, sse2, ssse3, avx2;
};

std::atomic<const convert_table*> g_chosen{nullptr};

bool row_fits(int32_t linesize, int64_t bytes)
{
    return std::llabs(linesize) >= bytes;
}

// Whether the rows of both sides are long enough. The packed layouts work in pairs of pixels.
bool rows_fit(const ConvertTarget& target, int32_t target_width, const CodecFrame& frame, int32_t frame_width,
              const convert_layout& layout)
{
    const bool planar = layout.slot == &convert_table::i420;
    for (int plane = 0; plane < 3; ++plane) {
        if (frame.data[plane] == nullptr || (target.data[plane] == nullptr && (planar || plane == 0)))
            return false;
    }
    const int64_t luma = planar ? frame_width : int64_t{frame_width} + (frame_width & 1);
    const int64_t target_columns = planar ? target_width : int64_t{target_width} + (target_width & 1);
    return row_fits(frame.linesize[0], luma) && row_fits(frame.linesize[1], (int64_t{frame_width} + 1) / 2) &&
           row_fits(target.linesize[0], target_columns * layout.bytes_per_pixel) &&
           (!planar || row_fits(target.linesize[1], (int64_t{target_width} + 1) / 2));
}

// Turns the target upside down: row 0 becomes row `height` - 1.
void flip_target(convert_job* job, int32_t height)
{
    const ptrdiff_t last_row[2] = {height - 1, (height + 1) / 2 - 1};
    for (int plane = 0; plane < 3; ++plane) {
        const int kind = plane == 0 ? 0 : 1;
        if (job->to[plane] != nullptr) job->to[plane] += last_row[kind] * job->to_stride[kind];
    }
    job->to_stride[0] = -job->to_stride[0];
    job->to_stride[1] = -job->to_stride[1];
}

convert_job make_job(const ConvertTarget& target, const CodecFrame& frame)
{
    return {.to = {target.data[0], target.data[1], target.data[2]},
            .to_stride = {target.linesize[0], target.linesize[1]},
            .from = {frame.data[0], frame.data[1], frame.data[2]},
            .from_stride = {frame.linesize[0], frame.linesize[1]},
            .width = 0,
            .height = 0};
}

// Tests a conversion of ConvertFrame's and makes its job, not flipped. Null when there is nothing to be done:
// the result then says why.
const convert_layout* prepare(const ConvertTarget& destination, const CodecFrame& frame, int32_t width,
                              int32_t height, convert_job* job, int32_t* result)
{
    *result = CONVERT_WIDTH_NOT_16;
    if (width % 16 != 0) return nullptr;
    *result = CONVERT_OK;
    if (destination.format == CONVERT_FORMAT_NONE) return nullptr;
    *result = CONVERT_REFUSED;
    if (destination.format < 0 || destination.format >= FORMATS) return nullptr;
    const convert_layout& layout = LAYOUTS.format[destination.format];
    if (layout.slot == nullptr) return nullptr;

    if (width <= 0 || height <= 0 || frame.width < 0 || frame.height < 0) return nullptr;
    // The caller's size is that of its surface; no row or column is read that the frame doesn't have.
    const int32_t columns = frame.width == 0 || frame.width >= width ? width : frame.width;
    const int32_t rows = frame.height == 0 || frame.height >= height ? height : frame.height;
    if (!rows_fit(destination, width, frame, columns, layout)) return nullptr;

    *job = make_job(destination, frame);
    job->width = columns;
    job->height = rows;
    *result = CONVERT_OK;
    return &layout;
}

constexpr int32_t MACROBLOCK = 16;

// The macroblocks from `first` to before `end` of one row of them, as far as the picture goes.
convert_job part_of(const convert_job& whole, int bytes_per_pixel, int32_t mb_y, int32_t first, int32_t end)
{
    const int32_t x = first * MACROBLOCK;
    const int32_t y = mb_y * MACROBLOCK;
    convert_job part = whole;
    for (int plane = 0; plane < 3; ++plane) {
        const int kind = plane == 0 ? 0 : 1;
        const int32_t column = plane == 0 ? x : x / 2;
        const int32_t row = plane == 0 ? y : y / 2;
        part.from[plane] += row * whole.from_stride[kind] + column;
        if (part.to[plane] == nullptr) continue;
        part.to[plane] += row * whole.to_stride[kind] + ptrdiff_t{column} * (plane == 0 ? bytes_per_pixel : 1);
    }
    part.width = std::min(end * MACROBLOCK, whole.width) - x;
    part.height = std::min(MACROBLOCK, whole.height - y);
    return part;
}

// Converts what changed after the picture `held`. Runs are joined over one macroblock that didn't change, and
// are two macroblocks at least, as the widest kernels take 32 pixels at a time.
void convert_later_than(uint32_t held, const convert_job& whole, const convert_layout& layout,
                        const CodecChanges& changes)
{
    const convert_fn convert = convert_dsp().*layout.slot;
    const int32_t across = std::min(changes.across, (whole.width + MACROBLOCK - 1) / MACROBLOCK);
    const int32_t down = std::min(changes.down, (whole.height + MACROBLOCK - 1) / MACROBLOCK);
    for (int32_t mb_y = 0; mb_y < down; ++mb_y) {
        const uint32_t* const row = changes.changed + ptrdiff_t{mb_y} * changes.across;
        const auto is_new = [&](int32_t mb_x) { return mb_x < across && row[mb_x] > held; };
        for (int32_t mb_x = 0; mb_x < across; ++mb_x) {
            if (!is_new(mb_x)) continue;
            int32_t end = mb_x + 1;
            while (is_new(end) || is_new(end + 1))
                ++end;
            const bool alone = end - mb_x == 1;
            const int32_t first = alone && end == across ? std::max(mb_x - 1, 0) : mb_x;
            if (alone) end = std::min(end + 1, across);
            convert(part_of(whole, layout.bytes_per_pixel, mb_y, first, end));
            mb_x = end - 1;
        }
    }
}

}  // namespace

void convert_table_fill(convert_table* table, uint32_t caps)
{
    *table = convert_plain();
#if defined(__x86_64__)
    if ((caps & CODEC_CAP_SSE2) == 0) return;
    convert_fill_sse2(table);
    if ((caps & CODEC_CAP_SSSE3) != 0) convert_fill_ssse3(table);
    // Not behind SSSE3: the MPEG-4 side's bits never hold that one.
    if ((caps & CODEC_CAP_AVX2) != 0) convert_fill_avx2(table);
#else
    static_cast<void>(caps);
#endif
}

void convert_dsp_init(uint32_t caps)
{
    static const step_tables tables;
    const convert_table* table = &tables.plain;
    if ((caps & CODEC_CAP_SSE2) != 0) {
        table = &tables.sse2;
        if ((caps & CODEC_CAP_SSSE3) != 0) table = &tables.ssse3;
        if ((caps & CODEC_CAP_AVX2) != 0) table = &tables.avx2;
    }
    g_chosen.store(table, std::memory_order_release);
}

const convert_table& convert_dsp()
{
    const convert_table* const table = g_chosen.load(std::memory_order_acquire);
    return table != nullptr ? *table : convert_plain();
}

int32_t ConvertFrame(const ConvertTarget& destination, const CodecFrame& frame, int32_t width, int32_t height,
                     bool flip)
{
    convert_job job;
    int32_t result = CONVERT_OK;
    const convert_layout* const layout = prepare(destination, frame, width, height, &job, &result);
    if (layout == nullptr) return result;
    if (flip) flip_target(&job, height);
    (convert_dsp().*layout->slot)(job);
    return result;
}

int32_t ConvertChanges(const ConvertTarget& destination, const CodecFrame& frame, int32_t width, int32_t height,
                       ConvertHeld* held)
{
    convert_job job;
    int32_t result = CONVERT_OK;
    const convert_layout* const layout = prepare(destination, frame, width, height, &job, &result);
    if (layout == nullptr) return result;
    const CodecChanges* const changes = frame.changes;
    if (held != nullptr && changes != nullptr && held->stream == changes->stream)
        convert_later_than(held->picture, job, *layout, *changes);
    else
        (convert_dsp().*layout->slot)(job);
    if (held != nullptr)
        *held = changes != nullptr ? ConvertHeld{changes->stream, changes->picture} : ConvertHeld{};
    return result;
}

int32_t convert_decoder_picture(const ConvertTarget& target, const CodecFrame& picture, int32_t width,
                                int32_t height)
{
    const convert_layout& layout = LAYOUTS.code[target.format & CONVERT_CODE_MASK];
    if (layout.slot == nullptr || width <= 0 || height <= 0) return CONVERT_NO_TARGET;
    if (!rows_fit(target, width, picture, width, layout)) return CONVERT_NO_TARGET;

    const bool flip = (target.format & CONVERT_FLIP) != 0;
    const bool same_strides =
        target.linesize[0] == picture.linesize[0] && target.linesize[1] == picture.linesize[1];
    if (layout.slot == &convert_table::i420 && !flip && same_strides)
        return CONVERT_OK;  // the planes are shared

    convert_job job = make_job(target, picture);
    if (flip) flip_target(&job, height);
    job.width = width;
    job.height = height;
    (convert_dsp().*layout.slot)(job);
    return CONVERT_OK;
}
