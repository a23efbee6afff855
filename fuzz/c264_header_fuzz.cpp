// Any bytes at the parsers of parameter sets, slice headers and the checksum's announcement: a third of the
// input for each of the first three, one after the other as in a stream.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

#include "codec/c264/c264_header.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const size_t part = size / 3;
    C264Sps sps = {};
    c264_bits spsBits(data, part);
    c264_parse_sps(&spsBits, &sps);
    C264Pps pps = {};
    c264_bits ppsBits(data + part, part);
    c264_parse_pps(&ppsBits, sps, &pps);
    for (const bool idr : {false, true}) {
        C264SliceHeader slice = {};
        c264_bits bits(data + 2 * part, size - 2 * part);
        c264_parse_slice_header(&bits, sps, pps, idr, &slice);
        if (bits.position() > (size - 2 * part) * 8) std::abort();
        if (slice.slice_type == C264_SLICE_I && slice.nal_ref_idc != 3) std::abort();
        if ((slice.idr_pic_id == -1) == idr) std::abort();
    }
    c264_check check = {};
    c264_scan_sei(data, size, &check);
    if (check.mode > 2) std::abort();
    return 0;
}
