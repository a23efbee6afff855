// Coefficients and blocks. ISO/IEC 14496-2 clauses 7.4.1 to 7.4.4.
#pragma once

#include "codec/mpeg4_dec.h"

/// Decodes the six blocks of the intra macroblock at (mb_x, mb_y) into the current picture. Mode, quant and cbp
/// of its record are set.
void mpeg4_intra_blocks(Mpeg4Decoder* dec, int mb_x, int mb_y, bool ac_pred);

/// The blocks of an inter macroblock that were read, by what they hold; bit 5 is block 0.
struct mpeg4_residuals {
    uint32_t coded;    ///< have coefficients
    uint32_t dc_only;  ///< of these, the ones that have only the first
};

/// Fetches the run-level codes of I or P pictures into the cache, all at once: the reader waits for each line
/// that isn't there, since the length of a code tells where the next one begins, and by the time a stream's
/// next picture comes, other things have taken the cache.
void mpeg4_prefetch_codes(bool intra);

/// Reads the coefficients of an inter macroblock by the record's quant and cbp.
mpeg4_residuals mpeg4_read_residuals(Mpeg4Decoder* dec, const Mpeg4Macroblock* mb);

/// Adds what was read to the prediction of the macroblock at (mb_x, mb_y) in the current picture.
void mpeg4_add_residuals(Mpeg4Decoder* dec, int mb_x, int mb_y, mpeg4_residuals residuals);
