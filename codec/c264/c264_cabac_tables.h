// The numbers of the arithmetic decoder (ITU-T H.264 9.3.1.1, 9.3.3.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Contexts of a slice, by ctxIdx. A context is a byte: pStateIdx in the upper seven bits, valMPS in bit 0.
inline constexpr size_t C264_CONTEXTS = 460;

/// All that one bin needs of a context's state, by that byte. Bytes 0 to 3: the range of the less probable
/// symbol by qCodIRangeIdx. Byte 4: the state after the more probable symbol. Byte 5: after the less probable.
extern const std::array<uint64_t, 128> C264_CABAC_STATES;

/// The C264_CONTEXTS states at a slice's start; those that no decoded slice uses are filled as well.
///   kind   0 for an I slice, else 1 + cabac_init_idc; clipped to 0 to 3
///   qp     of the slice, clipped to 0 to 51
const uint8_t* c264_cabac_start(int kind, int qp);
