// Slice decoding for any processor.
#define C264_STEP c264_step_plain

#include "codec/c264/c264_slice_loop.h"

void c264_slice_plain(C264Context* dec, const uint8_t* data, size_t bytes, size_t first_bit)
{
    c264_step_plain::decode_slice(dec, data, bytes, first_bit);
}
