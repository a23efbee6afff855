// Any bytes at the splitting of NAL units. The first byte chooses the form and the room; units are split one
// after the other as the decoder does, and each payload is compared with what the rule of three bytes gives.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "codec/c264/c264_nal.h"

namespace
{
/// Without the 03 of each 00 00 03.
std::vector<uint8_t> Unescaped(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> out;
    for (size_t i = 0; i < size; ++i) {
        if (i + 2 < size && data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 3) {
            out.insert(out.end(), 2, 0);
            i += 2;
        } else {
            out.push_back(data[i]);
        }
    }
    return out;
}

void Check(const C264Nal& nal, size_t used, size_t bytes, const uint8_t* to, size_t room)
{
    if (used > bytes || nal.size > room || nal.payload != to) std::abort();
    if (nal.nal_unit_type < -1 || nal.nal_unit_type > 31 || nal.nal_ref_idc < 0 || nal.nal_ref_idc > 3)
        std::abort();
    if (nal.nal_unit_type == -1 && nal.size != 0) std::abort();
    if (nal.size > 0) c264_checksum(nal.payload, nal.size, 65521);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const uint8_t choice = data[0];
    const size_t bytes = size - 1;
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes]);
    if (bytes > 0) std::memcpy(exact.get(), data + 1, bytes);
    const size_t room = choice & 4 ? bytes : bytes / 3;
    const std::unique_ptr<uint8_t[]> to(new uint8_t[room]);
    for (size_t at = 0; at < bytes;) {
        C264Nal nal;
        const uint8_t* const from = exact.get() + at;
        const size_t left = bytes - at;
        if (choice & 1) {
            const c264_wanted wanted = choice & 2 ? c264_wanted::sps : c264_wanted::nothing;
            const size_t used = c264_split_length(from, left, wanted, to.get(), room, &nal);
            Check(nal, used, left, to.get(), room);
            if (used == 0) break;
            at += used;
            continue;
        }
        const size_t used = c264_split_start_code(from, left, to.get(), room, &nal);
        Check(nal, used, left, to.get(), room);
        if (used == 0) std::abort();
        if (nal.nal_unit_type >= 0) {
            size_t first = 2;
            while (from[first - 2] != 0 || from[first - 1] != 0 || from[first] != 1)
                ++first;
            const std::vector<uint8_t> expected = Unescaped(from + first + 2, used - first - 2);
            if (nal.size != std::min(expected.size(), room)) std::abort();
            if (nal.size > 0 && std::memcmp(nal.payload, expected.data(), nal.size) != 0) std::abort();
        }
        at += used;
    }
    return 0;
}
