// Coefficients and blocks. ISO/IEC 14496-2 clauses 7.4.1 to 7.4.4.
#pragma once

#include "codec/mpeg4_dec.h"

/// Decodes the six blocks of the intra macroblock at (mb_x, mb_y) into the current picture. Mode, quant and cbp
/// of its record are set.
void mpeg4_intra_blocks(Mpeg4Decoder* dec, int mb_x, int mb_y, bool ac_pred);

/// Adds the residuals of the inter macroblock at (mb_x, mb_y) to its prediction in the current picture, by the
/// record's quant and cbp.
void mpeg4_inter_residuals(Mpeg4Decoder* dec, int mb_x, int mb_y);
