#include <algorithm>
#include <memory>

#include "codec/convert/convert_kernels.h"
#include "tests/support/kernel_walk.h"

// The slots of the conversion table.

namespace
{

struct ConvertSlot {
    const char* name;
    convert_fn convert_table::*slot;
    int bytes_per_pixel;
};

convert_fn Kernel(std::uint32_t caps, convert_fn convert_table::*slot)
{
    convert_table table;
    convert_table_fill(&table, caps);
    return table.*slot;
}

// Widths around the vectors' own, and odd ones.
int PickWidth(CKernelRun& run)
{
    static constexpr int WIDTHS[] = {1,  2,  3,  14, 15, 16, 17, 18, 30, 31, 32,
                                     33, 34, 46, 48, 62, 63, 64, 66, 96, 176};
    return WIDTHS[run.Pick(0, static_cast<int>(std::size(WIDTHS)) - 1)];
}

void RunConversion(CKernelRun& run, const ConvertSlot& slot)
{
    const bool planar = slot.slot == &convert_table::i420;
    const int width = PickWidth(run);
    const int height = run.Pick(1, 9);
    const int columns = planar ? width : width + width % 2;
    const int chroma_columns = (width + 1) / 2;
    const int chroma_rows = (height + 1) / 2;

    CKernelPlane y(run, {.width = columns, .rows = height, .stride = run.Stride(columns)});
    const std::ptrdiff_t chroma_stride = run.Stride(chroma_columns);
    CKernelPlane u(run, {.width = chroma_columns, .rows = chroma_rows, .stride = chroma_stride});
    CKernelPlane v(run, {.width = chroma_columns, .rows = chroma_rows, .stride = chroma_stride});
    y.Fill(run);
    u.Fill(run);
    v.Fill(run);
    const int row_bytes = columns * slot.bytes_per_pixel;
    CKernelPlane to(run, {.width = row_bytes,
                          .rows = height,
                          .stride = run.Stride(row_bytes),
                          .align = run.Pick(0, 2) == 0 ? 64 : 1});
    const std::ptrdiff_t to_chroma_stride = run.Stride(chroma_columns);
    CKernelPlane to_u(run, {.width = chroma_columns, .rows = chroma_rows, .stride = to_chroma_stride});
    CKernelPlane to_v(run, {.width = chroma_columns, .rows = chroma_rows, .stride = to_chroma_stride});

    convert_job job = {.to = {to.Row(0), planar ? to_u.Row(0) : nullptr, planar ? to_v.Row(0) : nullptr},
                       .to_stride = {to.Stride(), planar ? to_chroma_stride : 0},
                       .from = {y.Row(0), u.Row(0), v.Row(0)},
                       .from_stride = {y.Stride(), chroma_stride},
                       .width = width,
                       .height = height};
    Kernel(run.Caps(), slot.slot)(job);
    for (const CKernelPlane* plane : {&to, &to_u, &to_v, &y, &u, &v})
        run.Keep(*plane);
}

// One CIF picture, which stays in the cache: the kernel's own speed.
std::function<void(int)> TimeConversion(std::uint32_t caps, const ConvertSlot& slot)
{
    constexpr int WIDTH = 352;
    constexpr int HEIGHT = 288;
    struct Pictures {
        alignas(64) std::uint8_t from[WIDTH * HEIGHT * 3 / 2];
        alignas(64) std::uint8_t to[WIDTH * HEIGHT * 4];
    };
    const auto pictures = std::make_shared<Pictures>();
    std::mt19937 random(1);
    std::generate(std::begin(pictures->from), std::end(pictures->from), [&] { return std::uint8_t(random()); });
    std::uint8_t* const to = pictures->to;
    const std::uint8_t* const from = pictures->from;
    const convert_job job = {
        .to = {to, to + WIDTH * HEIGHT, to + WIDTH * HEIGHT * 5 / 4},
        .to_stride = {WIDTH * slot.bytes_per_pixel, WIDTH / 2},
        .from = {from, from + WIDTH * HEIGHT, from + WIDTH * HEIGHT * 5 / 4},
        .from_stride = {WIDTH, WIDTH / 2},
        .width = WIDTH,
        .height = HEIGHT,
    };
    return [pictures, job, kernel = Kernel(caps, slot.slot)](int iterations) {
        for (int i = 0; i < iterations; ++i)
            kernel(job);
    };
}

const KernelSlotRegistration convert_slots([](std::vector<KernelSlot>& slots) {
    static constexpr ConvertSlot ALL[] = {
        {"convert_i420", &convert_table::i420, 1},     {"convert_yuy2", &convert_table::yuy2, 2},
        {"convert_uyvy", &convert_table::uyvy, 2},     {"convert_yvyu", &convert_table::yvyu, 2},
        {"convert_rgb565", &convert_table::rgb565, 2}, {"convert_rgb555", &convert_table::rgb555, 2},
        {"convert_bgr24", &convert_table::bgr24, 3},   {"convert_rgb24", &convert_table::rgb24, 3},
        {"convert_bgr32", &convert_table::bgr32, 4},   {"convert_rgb32", &convert_table::rgb32, 4},
    };
    for (const ConvertSlot& slot : ALL) {
        slots.push_back({
            .name = slot.name,
            .select = [&slot](std::uint32_t caps) { return KernelAddress(Kernel(caps, slot.slot)); },
            .run = [&slot](CKernelRun& run) { RunConversion(run, slot); },
            .time = [&slot](std::uint32_t caps) { return TimeConversion(caps, slot); },
            .rounds = 400,
        });
    }
});

}  // namespace
