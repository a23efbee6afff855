// The kernels of the MPEG-4 decoder in the walk.
#include <cstring>

#include "codec/mpeg4/mpeg4_dsp.h"
#include "codec/mpeg4/mpeg4_tables.h"
#include "tests/support/kernel_walk.h"

namespace
{
mpeg4_dsp_t Table(std::uint32_t caps)
{
    mpeg4_dsp_t dsp;
    mpeg4_dsp_fill(&dsp, caps);
    return dsp;
}

/// A block of coefficients as streams have them: a few low ones, all of them, or one row or column only.
void FillCoefficients(CKernelRun& run, CKernelPlane& block)
{
    block.Fill16(run, -2048, 2047);
    std::int16_t* const values = block.RowAs<std::int16_t>(0);
    const int kind = run.Pick(0, 4);
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column) {
            const bool keep = kind == 0   ? true
                              : kind == 1 ? row + column < 3
                              : kind == 2 ? column == 0
                              : kind == 3 ? row == 0
                                          : row + column == 0;
            if (!keep) values[mpeg4_coefficient_index(row, column)] = 0;
        }
    }
    // any 16 bits: the sums wrap and the first pass saturates, alike in all forms
    if (run.Pick(0, 9) == 0) block.Fill16(run, -32768, 32767);
}

void RunIdct(CKernelRun& run)
{
    CKernelPlane block(run, {.width = 128, .rows = 1, .stride = 128, .align = 64});
    FillCoefficients(run, block);
    Table(run.Caps()).idct(block.RowAs<std::int16_t>(0));
    run.Keep(block);
}

void RunIdctTo(CKernelRun& run, mpeg4_idct_to_fn mpeg4_dsp_t::*slot)
{
    CKernelPlane block(run, {.width = 128, .rows = 1, .stride = 128, .align = 64});
    CKernelPlane to(run, {.width = 8, .rows = 8, .stride = run.Stride(8)});
    FillCoefficients(run, block);
    to.Fill(run);
    (Table(run.Caps()).*slot)(to.Row(0), to.Stride(), block.RowAs<std::int16_t>(0));
    run.Keep(to);
    run.Keep(block);
}

void RunDcTo(CKernelRun& run, mpeg4_dc_to_fn mpeg4_dsp_t::*slot)
{
    CKernelPlane to(run, {.width = 8, .rows = 8, .stride = run.Stride(8)});
    to.Fill(run);
    (Table(run.Caps()).*slot)(to.Row(0), to.Stride(), run.Pick(-2048, 2047));
    run.Keep(to);
}

void RunDequant(CKernelRun& run)
{
    CKernelPlane block(run, {.width = 128, .rows = 1, .stride = 128, .align = 64});
    const int range = run.Pick(0, 2);
    block.Fill16(run,
                 range == 0   ? -5
                 : range == 1 ? -2048
                              : -32768,
                 range == 0   ? 5
                 : range == 1 ? 2047
                              : 32767);
    const int quant = run.Pick(0, 3) ? run.Pick(1, 31) : run.Pick(-8192, 8192);
    Table(run.Caps()).dequant_h263_intra(block.RowAs<std::int16_t>(0), quant);
    run.Keep(block);
}

struct PredictSlot {
    int rounding;
    int widthIndex;
    int half;
    int Width() const { return widthIndex == MPEG4_WIDTH_16 ? 16 : 8; }
    mpeg4_predict_fn Select(std::uint32_t caps) const
    {
        return Table(caps).predict[rounding][widthIndex][half];
    }
};

void RunPredict(CKernelRun& run, const PredictSlot& slot)
{
    const int rows = run.Pick(1, 17);
    CKernelPlane from(run, {.width = slot.Width(),
                            .rows = rows,
                            .stride = run.Stride(slot.Width() + 1),
                            .padRight = slot.half & MPEG4_HALF_H ? 1 : 0,
                            .padBottom = slot.half & MPEG4_HALF_V ? 1 : 0});
    CKernelPlane to(run, {.width = slot.Width(), .rows = rows, .stride = run.Stride(slot.Width())});
    from.Fill(run);
    slot.Select(run.Caps())(to.Row(0), to.Stride(), from.Row(0), from.Stride(), rows);
    run.Keep(to);
}

void RunStateClear(CKernelRun& run)
{
    // what it does is seen in the floating point unit, which must work after it
    Table(run.Caps()).state_clear();
    const long double quotient = static_cast<long double>(run.Pick(1, 1000)) / 7;
    const double rounded = static_cast<double>(quotient);
    run.Keep(&rounded, sizeof rounded);
}

/// Blocks of typical coefficients and pixels to put them into. Each round works on blocks that were written
/// some time ago, as in the decoder: a vector load right after the narrower stores of the same bytes would
/// stall.
class CTimedBlocks
{
  public:
    CTimedBlocks()
    {
        for (auto& block : m_Source) {
            for (std::size_t i = 0; i < 10; ++i)
                block[mpeg4_scan[MPEG4_SCAN_ZIGZAG][i]] =
                    static_cast<std::int16_t>(90 - 17 * static_cast<int>(i));
        }
    }

    template <class Kernel>
    void Run(int iterations, Kernel kernel)
    {
        for (int i = 0; i < iterations; ++i) {
            const int at = i % BLOCKS;
            if (at == 0) std::memcpy(m_Work, m_Source, sizeof m_Work);
            kernel(m_Work[at], m_Pixels + at % 7 * 8);
        }
    }

  private:
    static constexpr int BLOCKS = 32;
    alignas(64) std::int16_t m_Source[BLOCKS][64] = {};
    alignas(64) std::int16_t m_Work[BLOCKS][64] = {};
    std::uint8_t m_Pixels[8 * 64] = {};
};

std::function<void(int)> TimeIdct(std::uint32_t caps)
{
    return [kernel = Table(caps).idct](int iterations) {
        CTimedBlocks().Run(iterations, [kernel](std::int16_t* block, std::uint8_t*) { kernel(block); });
    };
}

std::function<void(int)> TimeIdctTo(mpeg4_idct_to_fn kernel)
{
    return [kernel](int iterations) {
        CTimedBlocks().Run(iterations,
                           [kernel](std::int16_t* block, std::uint8_t* pixels) { kernel(pixels, 64, block); });
    };
}

std::function<void(int)> TimeDcTo(mpeg4_dc_to_fn kernel)
{
    return [kernel](int iterations) {
        std::uint8_t pixels[8 * 64] = {};
        for (int i = 0; i < iterations; ++i)
            kernel(pixels + i % 7 * 8, 64, i % 64 - 32);
    };
}

std::function<void(int)> TimeDequant(mpeg4_dequant_fn kernel)
{
    return [kernel](int iterations) {
        CTimedBlocks().Run(iterations, [kernel](std::int16_t* block, std::uint8_t*) { kernel(block, 5); });
    };
}

std::function<void(int)> TimePredict(mpeg4_predict_fn kernel, int rows)
{
    return [kernel, rows](int iterations) {
        std::vector<std::uint8_t> from(704 * 40, 77);
        std::vector<std::uint8_t> to(704 * 40);
        for (int i = 0; i < iterations; ++i)
            kernel(&to[static_cast<std::size_t>(i % 32 * 16)], 704,
                   &from[static_cast<std::size_t>(i % 32 * 17)], 704, rows);
    };
}

void AddBlockSlots(std::vector<KernelSlot>& slots)
{
    slots.push_back({.name = "mpeg4_idct",
                     .select = [](std::uint32_t caps) { return KernelAddress(Table(caps).idct); },
                     .run = RunIdct,
                     .time = TimeIdct});
    const struct {
        const char* name;
        mpeg4_idct_to_fn mpeg4_dsp_t::*slot;
    } idcts[] = {{"mpeg4_idct_put", &mpeg4_dsp_t::idct_put}, {"mpeg4_idct_add", &mpeg4_dsp_t::idct_add}};
    for (const auto& idct : idcts)
        slots.push_back({.name = idct.name,
                         .select = [idct](std::uint32_t caps) { return KernelAddress(Table(caps).*idct.slot); },
                         .run = [idct](CKernelRun& run) { RunIdctTo(run, idct.slot); },
                         .time = [idct](std::uint32_t caps) { return TimeIdctTo(Table(caps).*idct.slot); }});
    const struct {
        const char* name;
        mpeg4_dc_to_fn mpeg4_dsp_t::*slot;
    } dcs[] = {{"mpeg4_dc_put", &mpeg4_dsp_t::dc_put}, {"mpeg4_dc_add", &mpeg4_dsp_t::dc_add}};
    for (const auto& dc : dcs)
        slots.push_back({.name = dc.name,
                         .select = [dc](std::uint32_t caps) { return KernelAddress(Table(caps).*dc.slot); },
                         .run = [dc](CKernelRun& run) { RunDcTo(run, dc.slot); },
                         .time = [dc](std::uint32_t caps) { return TimeDcTo(Table(caps).*dc.slot); }});
    slots.push_back({.name = "mpeg4_dequant_h263_intra",
                     .select = [](std::uint32_t caps) { return KernelAddress(Table(caps).dequant_h263_intra); },
                     .run = RunDequant,
                     .time = [](std::uint32_t caps) { return TimeDequant(Table(caps).dequant_h263_intra); }});
}

void AddPredictSlots(std::vector<KernelSlot>& slots)
{
    const char* const halves[] = {"copy", "h", "v", "hv"};
    for (int rounding = 0; rounding < 2; ++rounding) {
        for (int width : {MPEG4_WIDTH_8, MPEG4_WIDTH_16}) {
            for (int half = 0; half < 4; ++half) {
                const PredictSlot slot = {rounding, width, half};
                slots.push_back(
                    {.name = std::string("mpeg4_predict") + std::to_string(slot.Width()) + "_" + halves[half] +
                             "_round" + std::to_string(rounding),
                     .select = [slot](std::uint32_t caps) { return KernelAddress(slot.Select(caps)); },
                     .run = [slot](CKernelRun& run) { RunPredict(run, slot); },
                     .time =
                         [slot](std::uint32_t caps) { return TimePredict(slot.Select(caps), slot.Width()); }});
            }
        }
    }
}

const KernelSlotRegistration MPEG4_SLOTS([](std::vector<KernelSlot>& slots) {
    AddBlockSlots(slots);
    AddPredictSlots(slots);
    slots.push_back({.name = "mpeg4_state_clear",
                     .select = [](std::uint32_t caps) { return KernelAddress(Table(caps).state_clear); },
                     .run = RunStateClear,
                     .time =
                         [](std::uint32_t caps) {
                             return [kernel = Table(caps).state_clear](int iterations) {
                                 for (int i = 0; i < iterations; ++i)
                                     kernel();
                             };
                         }});
});
}  // namespace
