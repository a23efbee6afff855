#if defined(__x86_64__)

#include <tmmintrin.h>

#include "codec/convert/convert_kernels.h"
#include "codec/convert/convert_sse2_set.h"
#include "codec/convert/convert_vector.h"

namespace
{

// The byte shuffle makes 24-bit pixels quick; the other layouts gain nothing from this step.
struct ssse3_set : sse2_set {
    // Writes the three lower bytes of the 32-bit pixels of four registers.
    static void store24(uint8_t* to, reg a, reg b, reg c, reg d)
    {
        const reg three_of_four = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
        a = _mm_shuffle_epi8(a, three_of_four);
        b = _mm_shuffle_epi8(b, three_of_four);
        c = _mm_shuffle_epi8(c, three_of_four);
        d = _mm_shuffle_epi8(d, three_of_four);
        store(to, _mm_or_si128(a, _mm_slli_si128(b, 12)));
        store(to + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
        store(to + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
    }
};

}  // namespace

void convert_fill_ssse3(convert_table* table)
{
    convert_vector::fill_24<ssse3_set>(table);
}

#endif
