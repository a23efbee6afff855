#include "codec/c264/c264_nal.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr size_t SEARCHED = 64;  // bytes in which a wanted parameter set is looked for

bool has_zero(uint64_t eight)
{
    return ((eight - 0x0101010101010101u) & ~eight & 0x8080808080808080u) != 0;
}

void set_header(C264Nal* nal, uint8_t header)
{
    nal->nal_ref_idc = header >> 5 & 3;
    nal->nal_unit_type = header & 31;
}

/// Copies from data[at] to the unit's end, without the 03 of every 00 00 03. With `start_codes` the unit ends
/// at the first one of them. \returns where it ended.
size_t unescape(const uint8_t* data, size_t at, size_t end, bool start_codes, size_t room, C264Nal* nal)
{
    uint8_t* const to = nal->payload;
    size_t written = 0;
    while (at < end) {
        uint64_t eight = 0;
        if (end - at >= 8 && room - written >= 8) {
            std::memcpy(&eight, data + at, 8);
            if (!has_zero(eight)) {
                std::memcpy(to + written, &eight, 8);
                at += 8;
                written += 8;
                continue;
            }
        }
        if (end - at >= 3 && data[at] == 0 && data[at + 1] == 0 && data[at + 2] <= 3) {
            if (start_codes && at + 3 < end && (data[at + 2] == 1 || (data[at + 2] == 0 && data[at + 3] == 1)))
                break;
            if (data[at + 2] == 3) {
                for (int zero = 0; zero < 2 && written < room; ++zero)
                    to[written++] = 0;
                at += 3;
                continue;
            }
        }
        if (written < room) to[written++] = data[at];
        ++at;
    }
    nal->size = written;
    return at;
}
}  // namespace

size_t c264_split_start_code(const uint8_t* data, size_t bytes, uint8_t* to, size_t room, C264Nal* nal)
{
    *nal = {0, -1, 0, to};
    size_t i = 2;
    while (i < bytes && !(data[i - 2] == 0 && data[i - 1] == 0 && data[i] == 1))
        ++i;
    if (i + 1 >= bytes) return bytes;
    set_header(nal, data[i + 1]);
    return unescape(data, i + 2, bytes, true, room, nal);
}

size_t c264_split_length(const uint8_t* data, size_t bytes, c264_wanted wanted, uint8_t* to, size_t room,
                         C264Nal* nal)
{
    *nal = {0, -1, 0, to};
    if (bytes < 4) return bytes;
    const size_t length = size_t{data[0]} << 24 | size_t{data[1]} << 16 | size_t{data[2]} << 8 | data[3];
    const size_t end = std::min(bytes, length + 4);
    size_t header = 4;
    if (wanted != c264_wanted::nothing) {
        const uint8_t looked_for = wanted == c264_wanted::sps ? 0x67 : 0x68;
        const size_t last = std::min(end, 4 + SEARCHED);
        while (header < last && data[header] != looked_for)
            ++header;
        if (header == last) return end;
    }
    if (header >= end) return end;
    set_header(nal, data[header]);
    unescape(data, header + 1, end, false, room, nal);
    return wanted == c264_wanted::sps ? 0 : end;
}

uint32_t c264_checksum(const uint8_t* payload, size_t bytes, uint32_t modulus)
{
    // The products need more than 32 bits. Four bytes at a time give the same rest as byte by byte.
    uint64_t value = 0;
    size_t i = 0;
    for (; i + 4 <= bytes; i += 4) {
        const uint64_t four = uint64_t{payload[i]} << 24 | uint64_t{payload[i + 1]} << 16 |
                              uint64_t{payload[i + 2]} << 8 | payload[i + 3];
        value = (value << 32 | four) % modulus;
    }
    for (; i < bytes; ++i)
        value = (value << 8 | payload[i]) % modulus;
    return static_cast<uint32_t>(value);
}
