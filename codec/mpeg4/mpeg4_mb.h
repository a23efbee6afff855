// The macroblock loops of I and P VOPs. ISO/IEC 14496-2 clause 6.2.6.
#pragma once

#include "codec/mpeg4_dec.h"

/// Decode the macroblocks of a VOP into the current picture, with the header's quant as the running one. There
/// is no resynchronisation and no concealment: a bad code costs the rest of its block, and what follows is
/// whatever the bits happen to mean. False when the data ended before the picture did.
bool mpeg4_decode_i_vop(Mpeg4Decoder* dec);
bool mpeg4_decode_p_vop(Mpeg4Decoder* dec);
