// The kernel table of the H.264 decoder: every kernel that it calls, chosen once for the processor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "codec/c264/c264_copy.h"
#include "codec/c264/c264_deblock.h"
#include "codec/c264/c264_dequant.h"
#include "codec/c264/c264_intra.h"
#include "codec/c264/c264_mc.h"
#include "codec/c264/c264_transform.h"

struct C264Context;

/// Decodes the slice in the context's work area into the current picture, filters it and extends its border.
///   data        the slice's payload, unescaped, with C264_SLICE_PADDING zeros after it
///   first_bit   where the slice data begins
using c264_slice_fn = void (*)(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit);
inline constexpr size_t C264_SLICE_PADDING = 8192;

/// The kernels by family, in the order in which they are filled. What only an encoder would call (pixel
/// comparison, forward transforms, quantisation) has no slots; the colour conversions, which are shared with
/// the MPEG-4 side, have a table of their own behind codec/convert/convert.h.
struct c264_dsp_t {
    c264_intra intra;
    c264_transform transform;
    c264_deblock deblock;
    c264_copy copy;
    c264_dequant dequant;
    c264_mc mc;
    c264_slice_fn decode_slice;  ///< no kernel, but chosen by the same bits
    /// Called after each picture: empties the MMX state where there is one (bit 0x04), else does nothing.
    void (*state_clear)();
};

/// Fills a table, family by family: plain kernels in every slot, then each step whose bit is set in `caps`
/// (bits of codec/cpu.h) over what stood there: SSE2, then SSSE3, then AVX2. Each bit counts for itself. The
/// kernels may be called on a processor that has what `caps` states.
void c264_dsp_fill(c264_dsp_t* dsp, uint32_t caps);

/// Fills the table that c264_dsp() gives and the conversion kernels by c264_cpu_detect(), once a process. At
/// any time from any thread.
void c264_dsp_init();

/// Fills that table anew for tests and benches, while no decoder is at work.
void c264_dsp_refill(uint32_t caps);

/// Puts a table of the caller's in its place, likewise.
void c264_dsp_put(const c264_dsp_t& dsp);

/// The table of all decoders, filled by c264_dsp_init.
const c264_dsp_t* c264_dsp();

/// A slot of the table, for log, tests and benches.
struct c264_slot {
    std::string name;  ///< unique; lower-case letters, digits and underscores: "mc_luma16_x2y1"
    size_t offset;     ///< of the function pointer in c264_dsp_t
};

/// All slots in the order of the table, but for the indexes of the intra families that are no mode.
const std::vector<c264_slot>& c264_dsp_slots();

/// The address of the kernel in a slot.
const void* c264_dsp_kernel(const c264_dsp_t& dsp, const c264_slot& slot);

/// The step that sets a slot when the table is filled for `caps`: "plain", "SSE2", "SSSE3" or "AVX2".
const char* c264_dsp_step(const c264_slot& slot, uint32_t caps);
