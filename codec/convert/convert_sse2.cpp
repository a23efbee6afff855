#if defined(__x86_64__)

#include "codec/convert/convert_kernels.h"
#include "codec/convert/convert_sse2_set.h"
#include "codec/convert/convert_vector.h"

void convert_fill_sse2(convert_table* table)
{
    convert_vector::fill_packed_yuv<sse2_set>(table);
    convert_vector::fill_16_and_32<sse2_set>(table);
}

#endif
