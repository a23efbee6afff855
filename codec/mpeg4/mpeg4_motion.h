// Motion vectors and motion compensation. ISO/IEC 14496-2 clauses 7.6.2 to 7.6.5.
#pragma once

#include "codec/mpeg4_dec.h"

/// Reads the vectors of the macroblock at (mb_x, mb_y), one or four by its mode, into its record: differences
/// that are added to predictions. Vectors are those of fcode 1, whatever the header tells: no residual bits,
/// and a range of -32..31.
void mpeg4_read_vectors(Mpeg4Decoder* dec, int mb_x, int mb_y);

/// Writes the prediction of the macroblock at (mb_x, mb_y), by its mode and vectors, into the current picture.
void mpeg4_predict_macroblock(const Mpeg4Decoder* dec, int mb_x, int mb_y);

/// Copies `count` macroblocks of one row, from (mb_x, mb_y) on, from the reference to the current picture.
void mpeg4_copy_macroblocks(const Mpeg4Decoder* dec, int mb_x, int mb_y, int count);
