#if defined(__x86_64__)

#define C264_STEP c264_step_sse2

#include "codec/c264/c264_deblock_vector.h"
#include "codec/c264/c264_kernels.h"

void c264_deblock_fill_sse2(c264_deblock* table)
{
    c264_step_sse2::fill_deblock(table);
}

#endif
