#pragma once

#include "recorder/h264/Headers.h"

namespace recorder::h264
{

/// Reads the macroblocks of a picture's only slice to their end, as far as their entropy coding goes: nothing
/// is predicted or transformed. Throws Outside when there were raw macroblocks (I_PCM), Damaged at whatever
/// can't be, and when some are missing.
void ReadMacroblocks(BitReader& bits, const SliceHeader& slice, const SequenceSet& sequence, bool cabac);

}  // namespace recorder::h264
