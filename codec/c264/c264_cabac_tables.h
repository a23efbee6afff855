// The numbers of the arithmetic decoder (ITU-T H.264 9.3.1.1, 9.3.3.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Contexts of a slice, by ctxIdx. A context is a byte: pStateIdx in the upper seven bits, valMPS in bit 0.
inline constexpr size_t C264_CONTEXTS = 460;

/// Place of the lowest bit of codIRange and codIOffset in the decoder's registers: one bit of headroom stands
/// above their nine.
inline constexpr int C264_CABAC_TOP = 54;

/// All that one bin needs of a context's state, by that byte. The range of the less probable symbol stands for
/// qCodIRangeIdx 0 at C264_CABAC_TOP, for the other three each eight bits lower. Byte 0: the state after the
/// more probable symbol. Byte 1: after the less probable one.
extern const std::array<uint64_t, 128> C264_CABAC_STATES;

/// The C264_CONTEXTS states at a slice's start; those that no decoded slice uses are filled as well.
///   kind   0 for an I slice, else 1 + cabac_init_idc; clipped to 0 to 3
///   qp     of the slice, clipped to 0 to 51
const uint8_t* c264_cabac_start(int kind, int qp);
