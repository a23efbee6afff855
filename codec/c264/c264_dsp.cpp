#include "codec/c264/c264_dsp.h"

#include <cstring>
#include <mutex>

#include "codec/c264/c264_context.h"
#include "codec/convert/convert.h"
#include "codec/cpu.h"

namespace
{

c264_dsp_t g_dsp;

void state_clear_plain() {}

#if defined(__x86_64__)
void state_clear_mmx()
{
    __builtin_ia32_emms();
}
#endif

struct named_index {
    const char* name;
    int index;
};

constexpr named_index LUMA16_MODES[] = {
    {"vertical", C264_LUMA16_VERTICAL}, {"horizontal", C264_LUMA16_HORIZONTAL}, {"dc", C264_LUMA16_DC},
    {"plane", C264_LUMA16_PLANE},       {"dc_left", C264_LUMA16_DC_LEFT},       {"dc_top", C264_LUMA16_DC_TOP},
    {"dc_128", C264_LUMA16_DC_128},
};

constexpr named_index CHROMA8_MODES[] = {
    {"dc", C264_CHROMA8_DC},
    {"horizontal", C264_CHROMA8_HORIZONTAL},
    {"vertical", C264_CHROMA8_VERTICAL},
    {"plane", C264_CHROMA8_PLANE},
    {"dc_left", C264_CHROMA8_DC_LEFT},
    {"dc_top", C264_CHROMA8_DC_TOP},
    {"dc_128", C264_CHROMA8_DC_128},
};

constexpr named_index LUMA4_MODES[] = {
    {"vertical", C264_LUMA4_VERTICAL},
    {"horizontal", C264_LUMA4_HORIZONTAL},
    {"dc", C264_LUMA4_DC},
    {"diagonal_down_left", C264_LUMA4_DIAGONAL_DOWN_LEFT},
    {"diagonal_down_right", C264_LUMA4_DIAGONAL_DOWN_RIGHT},
    {"vertical_right", C264_LUMA4_VERTICAL_RIGHT},
    {"horizontal_down", C264_LUMA4_HORIZONTAL_DOWN},
    {"vertical_left", C264_LUMA4_VERTICAL_LEFT},
    {"horizontal_up", C264_LUMA4_HORIZONTAL_UP},
    {"dc_left", C264_LUMA4_DC_LEFT},
    {"dc_top", C264_LUMA4_DC_TOP},
    {"dc_128", C264_LUMA4_DC_128},
};

constexpr const char* KIND_NAMES[C264_DEBLOCK_KINDS] = {"normal", "strong", "uniform"};
constexpr const char* WIDTH_NAMES[C264_WIDTHS] = {"16", "8", "4", "2"};

std::vector<c264_slot> name_slots()
{
    std::vector<c264_slot> slots;
    const c264_dsp_t table{};
    const auto add = [&](const std::string& name, const auto& kernel) {
        const auto* const first = reinterpret_cast<const char*>(&table);
        slots.push_back({name, static_cast<size_t>(reinterpret_cast<const char*>(&kernel) - first)});
    };

    for (const named_index& mode : LUMA16_MODES)
        add(std::string("intra_luma16_") + mode.name, table.intra.luma16[mode.index]);
    for (const named_index& mode : CHROMA8_MODES)
        add(std::string("intra_chroma8_") + mode.name, table.intra.chroma8[mode.index]);
    for (const named_index& mode : LUMA4_MODES)
        add(std::string("intra_luma4_") + mode.name, table.intra.luma4[mode.index]);

    add("transform_add_block", table.transform.add_block);
    add("transform_add_quadrant", table.transform.add_quadrant);
    add("transform_luma_dc", table.transform.luma_dc);
    add("transform_chroma_dc", table.transform.chroma_dc);

    for (const auto kind : {C264_NORMAL, C264_STRONG, C264_UNIFORM}) {
        for (const auto direction : {C264_VERTICAL, C264_HORIZONTAL}) {
            for (const auto plane : {C264_LUMA, C264_CHROMA}) {
                add(std::string("deblock_") + KIND_NAMES[kind] +
                        (direction == C264_VERTICAL ? "_vertical" : "_horizontal") +
                        (plane == C264_LUMA ? "_luma" : "_chroma"),
                    table.deblock.edge[c264_deblock_index(kind, direction, plane)]);
            }
        }
    }

    for (int width = 0; width < C264_WIDTHS; ++width)
        add(std::string("copy_") + WIDTH_NAMES[width], table.copy.copy[width]);
    for (int width = 0; width < C264_WIDTHS; ++width)
        add(std::string("average_") + WIDTH_NAMES[width], table.copy.average[width]);
    add("copy_add_flat", table.copy.add_flat);

    add("dequant_block", table.dequant.block);
    add("dequant_quadrant", table.dequant.quadrant);
    add("dequant_luma_dc", table.dequant.luma_dc);
    add("dequant_chroma_dc", table.dequant.chroma_dc);

    for (int width = 0; width < 3; ++width) {
        for (int index = 0; index < 16; ++index) {
            add(std::string("mc_luma") + WIDTH_NAMES[width] + "_x" + std::to_string(index % 4) + "y" +
                    std::to_string(index / 4),
                table.mc.luma[width][index]);
        }
    }
    for (int width = 0; width < 3; ++width)
        add(std::string("mc_chroma") + WIDTH_NAMES[width + 1], table.mc.chroma[width]);

    add("state_clear", table.state_clear);
    return slots;
}

}  // namespace

void c264_dsp_fill(c264_dsp_t* dsp, uint32_t caps)
{
    c264_intra_init(&dsp->intra, caps);
    c264_transform_init(&dsp->transform, caps);
    c264_deblock_init(&dsp->deblock, caps);
    c264_copy_init(&dsp->copy, caps);
    c264_dequant_init(&dsp->dequant, caps);
    c264_mc_init(&dsp->mc, dsp->copy, caps);
    dsp->decode_slice = c264_slice_plain;
    dsp->state_clear = state_clear_plain;
#if defined(__x86_64__)
    if (caps & CODEC_CAP_BMI2) dsp->decode_slice = c264_slice_bmi2;
    if (caps & CODEC_CAP_MMX) dsp->state_clear = state_clear_mmx;
#endif
}

void c264_dsp_init()
{
    static std::once_flag once;
    std::call_once(once, [] {
        const uint32_t caps = c264_cpu_detect();
        c264_dsp_fill(&g_dsp, caps);
        convert_dsp_init(caps);
    });
}

void c264_dsp_refill(uint32_t caps)
{
    c264_dsp_fill(&g_dsp, caps);
}

void c264_dsp_put(const c264_dsp_t& dsp)
{
    g_dsp = dsp;
}

const c264_dsp_t* c264_dsp()
{
    return &g_dsp;
}

const std::vector<c264_slot>& c264_dsp_slots()
{
    static const std::vector<c264_slot> slots = name_slots();
    return slots;
}

const void* c264_dsp_kernel(const c264_dsp_t& dsp, const c264_slot& slot)
{
    const void* kernel = nullptr;
    std::memcpy(&kernel, reinterpret_cast<const char*>(&dsp) + slot.offset, sizeof kernel);
    return kernel;
}

const char* c264_dsp_step(const c264_slot& slot, uint32_t caps)
{
    static constexpr struct {
        const char* name;
        uint32_t cap;
    } STEPS[] = {{"SSE2", CODEC_CAP_SSE2}, {"SSSE3", CODEC_CAP_SSSE3}, {"AVX2", CODEC_CAP_AVX2}};

    const char* name = "plain";
    uint32_t filled = caps & ~(CODEC_CAP_SSE2 | CODEC_CAP_SSSE3 | CODEC_CAP_AVX2);
    c264_dsp_t dsp;
    c264_dsp_fill(&dsp, filled);
    const void* before = c264_dsp_kernel(dsp, slot);
    for (const auto& step : STEPS) {
        filled |= caps & step.cap;
        c264_dsp_fill(&dsp, filled);
        const void* const kernel = c264_dsp_kernel(dsp, slot);
        if (kernel != before) name = step.name;
        before = kernel;
    }
    return name;
}
