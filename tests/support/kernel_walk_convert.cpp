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
    int bytesPerPixel;
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
    const int chromaColumns = (width + 1) / 2;
    const int chromaRows = (height + 1) / 2;

    CKernelPlane y(run, {.width = columns, .rows = height, .stride = run.Stride(columns)});
    const std::ptrdiff_t chromaStride = run.Stride(chromaColumns);
    CKernelPlane u(run, {.width = chromaColumns, .rows = chromaRows, .stride = chromaStride});
    CKernelPlane v(run, {.width = chromaColumns, .rows = chromaRows, .stride = chromaStride});
    y.Fill(run);
    u.Fill(run);
    v.Fill(run);
    const int rowBytes = columns * slot.bytesPerPixel;
    CKernelPlane to(run, {.width = rowBytes,
                          .rows = height,
                          .stride = run.Stride(rowBytes),
                          .align = run.Pick(0, 2) == 0 ? 64 : 1});
    const std::ptrdiff_t toChromaStride = run.Stride(chromaColumns);
    CKernelPlane toU(run, {.width = chromaColumns, .rows = chromaRows, .stride = toChromaStride});
    CKernelPlane toV(run, {.width = chromaColumns, .rows = chromaRows, .stride = toChromaStride});

    convert_job job = {.to = {to.Row(0), planar ? toU.Row(0) : nullptr, planar ? toV.Row(0) : nullptr},
                       .to_stride = {to.Stride(), planar ? toChromaStride : 0},
                       .from = {y.Row(0), u.Row(0), v.Row(0)},
                       .from_stride = {y.Stride(), chromaStride},
                       .width = width,
                       .height = height};
    Kernel(run.Caps(), slot.slot)(job);
    for (const CKernelPlane* plane : {&to, &toU, &toV, &y, &u, &v})
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
        .to_stride = {WIDTH * slot.bytesPerPixel, WIDTH / 2},
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

const KernelSlotRegistration CONVERT_SLOTS([](std::vector<KernelSlot>& slots) {
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
