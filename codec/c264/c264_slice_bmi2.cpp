// Slice decoding for processors with the bit instructions: the arithmetic decoder and the code look-ups shift
// and count zeros at every step.
#if defined(__x86_64__)

#define C264_STEP c264_step_bmi2

#include "codec/c264/c264_slice_loop.h"

void c264_slice_bmi2(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit)
{
    c264_step_bmi2::decode_slice(dec, data, bytes, first_bit);
}

#endif
