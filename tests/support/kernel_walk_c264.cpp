// The kernels of the H.264 decoder in the walk.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "codec/c264/c264_dsp.h"
#include "tests/support/kernel_walk.h"

namespace
{

template <class Function>
Function KernelOf(std::uint32_t caps, const c264_slot& slot)
{
    c264_dsp_t dsp;
    c264_dsp_fill(&dsp, caps);
    Function kernel = nullptr;
    std::memcpy(&kernel, reinterpret_cast<const char*>(&dsp) + slot.offset, sizeof kernel);
    return kernel;
}

bool Has(const std::string& name, std::string_view part)
{
    return name.find(part) != std::string::npos;
}

// The number after `part` in a slot's name.
int NumberBehind(const std::string& name, std::string_view part)
{
    return std::stoi(name.substr(name.find(part) + part.size()));
}

// A picture in which a kernel can be timed at changing places: rows of 704 bytes, as those of a decoder, and
// room around the places.
class CTimedPicture
{
  public:
    static constexpr std::ptrdiff_t STRIDE = 704;

    CTimedPicture()
    {
        for (std::size_t i = 0; i < m_Pixels.size(); ++i)
            m_Pixels[i] = static_cast<std::uint8_t>(128 + (i * 7919 >> 6) % 9);
    }
    std::uint8_t* Place(int i) { return m_Pixels.data() + 8 * STRIDE + 32 + i % 32 * 16; }

  private:
    std::array<std::uint8_t, STRIDE * 40> m_Pixels{};
};

// What `call(i)` does, `iterations` times.
template <class Call>
std::function<void(int)> Repeat(Call call)
{
    return [call](int iterations) mutable {
        for (int i = 0; i < iterations; ++i)
            call(i);
    };
}

// Intra prediction.

void RunIntra(CKernelRun& run, const c264_slot& slot, int size)
{
    const auto kernel = KernelOf<c264_intra_fn>(run.Caps(), slot);
    CKernelPlane frame(run, {.width = size,
                             .rows = size,
                             .stride = run.Stride(size + 1),
                             .align = run.Pick(0, 1) == 0 ? 8 : 1,
                             .padLeft = 1,
                             .padTop = 1});
    CKernelPlane to(run, {.width = size, .rows = size, .stride = run.Stride(size)});
    frame.Fill(run);
    const bool inPlace = run.Pick(0, 1) == 0;
    CKernelPlane& target = inPlace ? frame : to;
    kernel(target.Row(0), target.Stride(), frame.Row(0), frame.Stride());
    run.Keep(target);
}

std::function<void(int)> TimeIntra(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    const auto kernel = KernelOf<c264_intra_fn>(caps, slot);
    alignas(64) std::array<std::uint8_t, 256> area{};
    return Repeat([kernel, area, picture = CTimedPicture()](int i) mutable {
        kernel(area.data(), C264_PRED_STRIDE, picture.Place(i), CTimedPicture::STRIDE);
    });
}

void RunIntra4(CKernelRun& run, const c264_slot& slot, int /*size*/)
{
    CKernelPlane scratch(run, {.width = 4,
                               .rows = 4,
                               .stride = C264_INTRA4_STRIDE,
                               .align = run.Pick(0, 1) == 0 ? 4 : 1,
                               .padLeft = 1,
                               .padRight = 4,
                               .padTop = 1});
    scratch.Fill(run);
    KernelOf<c264_intra4_fn>(run.Caps(), slot)(scratch.Row(0));
    run.Keep(scratch);
}

std::function<void(int)> TimeIntra4(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    const auto kernel = KernelOf<c264_intra4_fn>(caps, slot);
    return Repeat([kernel, scratch = std::array<std::uint8_t, 32 * 20>{}](int i) mutable {
        kernel(scratch.data() + 4 * 32 + 8 + i % 4 * 4);
    });
}

// Transforms and scaling.

// Coefficients as streams have them, or any 16 bits.
void FillCoefficients(CKernelRun& run, CKernelPlane& coeffs)
{
    const int reach = std::array{40, 2000, 9000, 32767}[static_cast<std::size_t>(run.Pick(0, 3))];
    coeffs.Fill16(run, -reach - 1, reach);
}

CKernelPlane MakeCoefficients(CKernelRun& run, int count)
{
    return CKernelPlane(run, {.width = 2 * count, .rows = 1, .align = run.Pick(0, 1) == 0 ? 32 : 2});
}

void RunAdd(CKernelRun& run, const c264_slot& slot, int size)
{
    CKernelPlane coeffs = MakeCoefficients(run, size * size);
    CKernelPlane pred(run, {.width = size, .rows = size, .stride = run.Stride(size)});
    CKernelPlane to(run, {.width = size, .rows = size, .stride = run.Stride(size)});
    FillCoefficients(run, coeffs);
    pred.Fill(run);
    CKernelPlane& target = run.Pick(0, 1) == 0 ? pred : to;
    KernelOf<c264_add_fn>(run.Caps(), slot)(target.Row(0), target.Stride(), pred.Row(0), pred.Stride(),
                                            coeffs.RowAs<std::int16_t>(0));
    run.Keep(target);
    run.Keep(coeffs);
}

std::function<void(int)> TimeAdd(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    const auto kernel = KernelOf<c264_add_fn>(caps, slot);
    struct Work {
        alignas(64) std::array<std::int16_t, 64> coeffs{};
        alignas(64) std::array<std::uint8_t, 256> pred{};
        CTimedPicture picture;
    };
    Work work;
    for (std::size_t k = 0; k < work.coeffs.size(); k += 3)
        work.coeffs[k] = static_cast<std::int16_t>(300 - 9 * static_cast<int>(k));
    return Repeat([kernel, work](int i) mutable {
        kernel(work.picture.Place(i), CTimedPicture::STRIDE, work.pred.data(), C264_PRED_STRIDE,
               work.coeffs.data());
    });
}

void RunDc(CKernelRun& run, const c264_slot& slot, int count)
{
    CKernelPlane dc = MakeCoefficients(run, count);
    FillCoefficients(run, dc);
    KernelOf<c264_dc_fn>(run.Caps(), slot)(dc.RowAs<std::int16_t>(0));
    run.Keep(dc);
}

std::function<void(int)> TimeDc(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    const auto kernel = KernelOf<c264_dc_fn>(caps, slot);
    alignas(64) std::array<std::int16_t, 16> dc = {9, 8, -7, 6, 5};
    return Repeat([kernel, dc](int /*i*/) mutable { kernel(dc.data()); });
}

void RunDequant(CKernelRun& run, const c264_slot& slot, int count)
{
    CKernelPlane coeffs = MakeCoefficients(run, count);
    FillCoefficients(run, coeffs);
    const auto qp = static_cast<std::size_t>(run.Pick(0, 51));
    const bool dc = Has(slot.name, "dc");
    KernelOf<c264_dequant_fn>(run.Caps(), slot)(coeffs.RowAs<std::int16_t>(0),
                                                (dc ? C264_SCALE_DC : C264_SCALE)[qp].factor);
    run.Keep(coeffs);
}

std::function<void(int)> TimeDequant(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    const auto kernel = KernelOf<c264_dequant_fn>(caps, slot);
    alignas(64) std::array<std::int16_t, 64> coeffs = {3, 0, -7, 1, 0, 2};
    return Repeat([kernel, coeffs](int /*i*/) mutable { kernel(coeffs.data(), C264_SCALE[28].factor); });
}

// Deblocking.

struct EdgeShape {
    explicit EdgeShape(const std::string& name)
        : luma(Has(name, "luma")), vertical(Has(name, "vertical")), uniform(Has(name, "uniform"))
    {
    }
    int Reach() const { return luma ? 4 : 2; }
    int Length() const { return luma ? 16 : 8; }
    bool luma;
    bool vertical;
    bool uniform;
};

// Pixels near the thresholds, on which all branches are taken: steps of a few values around a level on each
// side.
void FillAroundEdge(CKernelRun& run, CKernelPlane& plane, const EdgeShape& shape)
{
    const int level = run.Pick(0, 255);
    const int noise = run.Pick(0, 12);
    const int jump = run.Pick(-30, 30);
    for (int y = 0; y < plane.Rows(); ++y) {
        for (int x = 0; x < plane.Width(); ++x) {
            const int side = (shape.vertical ? x : y) < shape.Reach() ? jump : 0;
            plane.Row(y)[x] = static_cast<std::uint8_t>(std::clamp(level + side + run.Pick(0, noise), 0, 255));
        }
    }
}

void RunDeblock(CKernelRun& run, const c264_slot& slot, int /*size*/)
{
    const EdgeShape shape(slot.name);
    const int width = shape.vertical ? 2 * shape.Reach() : shape.Length();
    const int rows = shape.vertical ? shape.Length() : 2 * shape.Reach();
    CKernelPlane plane(
        run, {.width = width, .rows = rows, .stride = run.Stride(width), .align = run.Pick(0, 1) == 0 ? 8 : 1});
    plane.Fill(run);
    if (run.Pick(0, 3) != 0) FillAroundEdge(run, plane, shape);

    const auto indexA = static_cast<std::size_t>(run.Pick(0, 51));
    const auto indexB = static_cast<std::size_t>(run.Pick(0, 51));
    const bool extreme = run.Pick(0, 5) == 0;
    const int alpha = extreme ? run.Pick(0, 255) : C264_ALPHA[indexA];
    const int beta = extreme ? run.Pick(0, 18) : C264_BETA[indexB];
    std::array<std::int8_t, 4> tc0{};
    for (std::int8_t& clip : tc0)
        clip = C264_TC0[indexA][run.Pick(shape.uniform ? 1 : 0, 3)];

    std::uint8_t* const edge = shape.vertical ? plane.Row(0) + shape.Reach() : plane.Row(shape.Reach());
    KernelOf<c264_deblock_fn>(run.Caps(), slot)(edge, plane.Stride(), alpha, beta, tc0.data());
    run.Keep(plane);
}

std::function<void(int)> TimeDeblock(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    const auto kernel = KernelOf<c264_deblock_fn>(caps, slot);
    const std::array<std::int8_t, 4> tc0 = {1, 2, 1, 2};
    return Repeat([kernel, tc0, picture = CTimedPicture()](int i) mutable {
        kernel(picture.Place(i), CTimedPicture::STRIDE, 40, 10, tc0.data());
    });
}

// Copies and averages.

int PickRows(CKernelRun& run)
{
    return std::array{2, 4, 8, 16, 1, 3}[static_cast<std::size_t>(run.Pick(0, 5))];
}

void RunCopy(CKernelRun& run, const c264_slot& slot, int width)
{
    const int rows = PickRows(run);
    CKernelPlane from(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    CKernelPlane to(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    from.Fill(run);
    KernelOf<c264_block_fn>(run.Caps(), slot)(to.Row(0), to.Stride(), from.Row(0), from.Stride(), rows);
    run.Keep(to);
}

void RunAverage(CKernelRun& run, const c264_slot& slot, int width)
{
    const int rows = PickRows(run);
    CKernelPlane a(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    CKernelPlane b(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    CKernelPlane to(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    a.Fill(run);
    b.Fill(run);
    CKernelPlane& target = run.Pick(0, 1) == 0 ? a : to;
    KernelOf<c264_average_fn>(run.Caps(), slot)(target.Row(0), target.Stride(), a.Row(0), a.Stride(), b.Row(0),
                                                b.Stride(), rows);
    run.Keep(target);
}

std::function<void(int)> TimeAverage(std::uint32_t caps, const c264_slot& slot, int width)
{
    const auto kernel = KernelOf<c264_average_fn>(caps, slot);
    return Repeat([kernel, width, from = CTimedPicture(), to = CTimedPicture()](int i) mutable {
        kernel(to.Place(i), CTimedPicture::STRIDE, from.Place(i), CTimedPicture::STRIDE, from.Place(i + 1) + 3,
               CTimedPicture::STRIDE, width);
    });
}

// Motion compensation.

// Black and white by the signs of the six taps in both directions, + - + + - +: the sums reach their utmost at
// every third place.
void FillByTaps(CKernelRun& run, CKernelPlane& plane, int reach)
{
    const int xPhase = run.Pick(0, 2);
    const int yPhase = run.Pick(0, 2);
    const bool inverted = run.Pick(0, 1) == 0;
    for (int y = -std::min(reach, 2); y < plane.Rows() + std::min(reach, 3); ++y) {
        for (int x = -std::min(reach, 2); x < plane.Width() + std::min(reach, 3); ++x) {
            const bool minusX = (x + 3 + xPhase) % 3 == 0;
            const bool minusY = (y + 3 + yPhase) % 3 == 0;
            plane.Row(y)[x] = (minusX != minusY) != inverted ? 0 : 255;
        }
    }
}

void RunLuma(CKernelRun& run, const c264_slot& slot, int width)
{
    const bool columns = !Has(slot.name, "x0");
    const bool lines = !Has(slot.name, "y0");
    const int rows = PickRows(run);
    const int reach = columns ? 5 : 0;
    CKernelPlane from(run, {.width = width,
                            .rows = rows,
                            .stride = run.Stride(width + reach),
                            .padLeft = columns ? 2 : 0,
                            .padRight = columns ? 3 : 0,
                            .padTop = lines ? 2 : 0,
                            .padBottom = lines ? 3 : 0});
    CKernelPlane to(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    from.Fill(run);
    if (columns && lines && run.Pick(0, 3) == 0) FillByTaps(run, from, reach);
    KernelOf<c264_block_fn>(run.Caps(), slot)(to.Row(0), to.Stride(), from.Row(0), from.Stride(), rows);
    run.Keep(to);
}

std::function<void(int)> TimeBlock(std::uint32_t caps, const c264_slot& slot, int width)
{
    const auto kernel = KernelOf<c264_block_fn>(caps, slot);
    return Repeat([kernel, width, from = CTimedPicture(), to = CTimedPicture()](int i) mutable {
        kernel(to.Place(i), CTimedPicture::STRIDE, from.Place(i) + 3, CTimedPicture::STRIDE, width);
    });
}

void RunChroma(CKernelRun& run, const c264_slot& slot, int width)
{
    const int rows = PickRows(run);
    const int index = run.Pick(0, 63);
    const int right = index % 8 != 0 ? 1 : 0;
    CKernelPlane from(run, {.width = width,
                            .rows = rows,
                            .stride = run.Stride(width + right),
                            .padRight = right,
                            .padBottom = index / 8 != 0 ? 1 : 0});
    CKernelPlane to(run, {.width = width, .rows = rows, .stride = run.Stride(width)});
    from.Fill(run);
    KernelOf<c264_chroma_fn>(run.Caps(), slot)(to.Row(0), to.Stride(), from.Row(0), from.Stride(), rows, index);
    run.Keep(to);
}

std::function<void(int)> TimeChroma(std::uint32_t caps, const c264_slot& slot, int width)
{
    const auto kernel = KernelOf<c264_chroma_fn>(caps, slot);
    return Repeat([kernel, width, from = CTimedPicture(), to = CTimedPicture()](int i) mutable {
        kernel(to.Place(i), CTimedPicture::STRIDE, from.Place(i) + 3, CTimedPicture::STRIDE, width, 3 * 8 + 5);
    });
}

void RunStateClear(CKernelRun& run, const c264_slot& slot, int /*size*/)
{
    // What it does is seen in the floating point unit, which must work after it.
    KernelOf<void (*)()>(run.Caps(), slot)();
    const long double quotient = static_cast<long double>(run.Pick(1, 1000)) / 7;
    const double rounded = static_cast<double>(quotient);
    run.Keep(&rounded, sizeof rounded);
}

std::function<void(int)> TimeStateClear(std::uint32_t caps, const c264_slot& slot, int /*size*/)
{
    return Repeat([kernel = KernelOf<void (*)()>(caps, slot)](int /*i*/) { kernel(); });
}

// How a slot is run and timed, by what its name begins with.
struct Runner {
    std::string_view prefix;
    void (*run)(CKernelRun& run, const c264_slot& slot, int size);
    std::function<void(int)> (*time)(std::uint32_t caps, const c264_slot& slot, int size);
    int size;  // pixels or values on a side; 0: the number after the prefix
    int rounds = 200;
};

const Runner RUNNERS[] = {
    {"intra_luma16", RunIntra, TimeIntra, 16},
    {"intra_chroma8", RunIntra, TimeIntra, 8},
    {"intra_luma4", RunIntra4, TimeIntra4, 4},
    {"transform_add_block", RunAdd, TimeAdd, 4, 600},
    {"transform_add_quadrant", RunAdd, TimeAdd, 8, 600},
    {"transform_luma_dc", RunDc, TimeDc, 16},
    {"transform_chroma_dc", RunDc, TimeDc, 8},
    {"deblock", RunDeblock, TimeDeblock, 16, 1500},
    {"copy_add_flat", RunAdd, TimeAdd, 8},
    {"copy_", RunCopy, TimeBlock, 0},
    {"average_", RunAverage, TimeAverage, 0},
    {"dequant_block", RunDequant, TimeDequant, 16},
    {"dequant_quadrant", RunDequant, TimeDequant, 64},
    {"dequant_luma_dc", RunDequant, TimeDequant, 16},
    {"dequant_chroma_dc", RunDequant, TimeDequant, 8},
    {"mc_luma", RunLuma, TimeBlock, 0, 120},
    {"mc_chroma", RunChroma, TimeChroma, 0, 800},
    {"state_clear", RunStateClear, TimeStateClear, 1},
};

void AddSlots(std::vector<KernelSlot>& slots)
{
    for (const c264_slot& slot : c264_dsp_slots()) {
        // A slot without a runner stays in the walk with empty functions, which fails there.
        KernelSlot entry;
        entry.name = "c264_" + slot.name;
        entry.select = [&slot](std::uint32_t caps) {
            c264_dsp_t dsp;
            c264_dsp_fill(&dsp, caps);
            return c264_dsp_kernel(dsp, slot);
        };
        const auto* const runner =
            std::find_if(std::begin(RUNNERS), std::end(RUNNERS),
                         [&](const Runner& candidate) { return slot.name.starts_with(candidate.prefix); });
        if (runner != std::end(RUNNERS)) {
            const int size = runner->size != 0 ? runner->size : NumberBehind(slot.name, runner->prefix);
            entry.run = [&slot, runner, size](CKernelRun& run) { runner->run(run, slot, size); };
            entry.time = [&slot, runner, size](std::uint32_t caps) { return runner->time(caps, slot, size); };
            entry.rounds = runner->rounds;
        }
        slots.push_back(std::move(entry));
    }
}

const KernelSlotRegistration C264_SLOTS(AddSlots);

}  // namespace
