// Any bytes at the MPEG-4 header parser, as two buffers one after the other with the same fields.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "codec/mpeg4/mpeg4_header.h"

namespace
{
void ParseAll(const uint8_t* data, size_t size, mpeg4_header* header)
{
    mpeg4_bits bits;
    mpeg4_bits_init(&bits, data, size);
    const int32_t type = mpeg4_parse_headers(&bits, header);
    // a VOP was read whole, and what arithmetic relies on holds
    if (type >= 0 && (type == MPEG4_S_VOP || type > MPEG4_NOT_CODED || mpeg4_bits_overrun(&bits))) std::abort();
    if (header->quant_precision < 3 || header->quant_precision > 9 || header->vop_quant > 511) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    mpeg4_header header;
    ParseAll(data, size, &header);
    ParseAll(data + size / 2, size - size / 2, &header);
    return 0;
}
