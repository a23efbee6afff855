#include "recorder/h264/AnnexB.h"

#include <algorithm>
#include <array>

namespace recorder
{

namespace
{

constexpr uint8_t SEI_HEADER = 0x06;
constexpr uint8_t USER_DATA = 5;  // unregistered, of which the first 16 bytes name the kind
constexpr uint8_t TRAILING_BITS = 0x80;
constexpr std::array<uint8_t, 16> OUR_KIND = {0x57, 0x61, 0x74, 0x63, 0x68, 0x77, 0x61, 0x6C,
                                              0x6C, 0x43, 0x68, 0x65, 0x63, 0x6B, 0x73, 0x6D};

void AppendBigEndian(std::vector<uint8_t>& bytes, uint32_t value, int count)
{
    for (int i = count - 1; i >= 0; --i)
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

void AppendAnnouncement(std::vector<uint8_t>& stream, EChecksum checksum)
{
    const bool wide = checksum == EChecksum::ThirtyTwo;
    const int bytes = wide ? 4 : 2;
    std::vector<uint8_t> payload;
    payload.reserve(64);
    payload.push_back(USER_DATA);
    payload.push_back(static_cast<uint8_t>(OUR_KIND.size() + 4 + 2 * static_cast<size_t>(bytes)));
    payload.insert(payload.end(), OUR_KIND.begin(), OUR_KIND.end());
    AppendBigEndian(payload, wide ? 0x90098082U : 0x90098081U, 4);
    for (int twice = 0; twice < 2; ++twice)
        AppendBigEndian(payload, wide ? MODULUS_32 : MODULUS_16, bytes);
    payload.push_back(TRAILING_BITS);
    AppendUnit(stream, SEI_HEADER, payload);
}

void AppendChecked(std::vector<uint8_t>& stream, std::span<const uint8_t> unit, EChecksum checksum)
{
    const int bytes = checksum == EChecksum::ThirtyTwo ? 4 : 2;
    const uint64_t modulus = checksum == EChecksum::ThirtyTwo ? MODULUS_32 : MODULUS_16;
    std::vector<uint8_t> payload = Unescape(unit);
    uint64_t value = 0;
    for (const uint8_t byte : payload)
        value = (value * 256 + byte) % modulus;
    const uint64_t rest = (value << (8 * bytes)) % modulus;
    auto check = static_cast<uint32_t>((modulus - rest) % modulus);
    if ((check & 0xFF) == 0) check += static_cast<uint32_t>(modulus);  // a unit never ends in a zero
    AppendBigEndian(payload, check, bytes);
    AppendUnit(stream, unit[0], payload);
}

}  // namespace

std::vector<std::span<const uint8_t>> SplitUnits(std::span<const uint8_t> stream)
{
    std::vector<size_t> begins;
    for (size_t i = 0; i + 3 < stream.size(); ++i)
        if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) begins.push_back(i + 3);
    std::vector<std::span<const uint8_t>> units;
    for (size_t i = 0; i < begins.size(); ++i) {
        size_t end = i + 1 < begins.size() ? begins[i + 1] - 3 : stream.size();
        while (end > begins[i] && stream[end - 1] == 0)
            --end;
        if (end > begins[i]) units.push_back(stream.subspan(begins[i], end - begins[i]));
    }
    return units;
}

EUnit UnitType(std::span<const uint8_t> unit)
{
    return static_cast<EUnit>(unit[0] & 0x1F);
}

int RefIdc(std::span<const uint8_t> unit)
{
    return unit[0] >> 5 & 3;
}

std::vector<uint8_t> Unescape(std::span<const uint8_t> unit)
{
    std::vector<uint8_t> payload;
    payload.reserve(unit.size());
    int zeros = 0;
    for (const uint8_t byte : unit.subspan(1)) {
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        payload.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return payload;
}

void AppendUnit(std::vector<uint8_t>& stream, uint8_t header, std::span<const uint8_t> payload)
{
    stream.insert(stream.end(), {0, 0, 0, 1, header});
    int zeros = 0;
    for (const uint8_t byte : payload) {
        if (zeros >= 2 && byte <= 3) {
            stream.push_back(3);
            zeros = 0;
        }
        stream.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
}

std::vector<uint8_t> WithChecksum(std::span<const uint8_t> stream, EChecksum checksum)
{
    std::vector<uint8_t> out;
    out.reserve(stream.size() + 64);
    for (const auto unit : SplitUnits(stream)) {
        if (UnitType(unit) == EUnit::Sei) continue;
        if (checksum != EChecksum::None && UnitType(unit) == EUnit::SequenceSet)
            AppendAnnouncement(out, checksum);
        if (checksum != EChecksum::None && RefIdc(unit) > 0)
            AppendChecked(out, unit, checksum);
        else
            AppendUnit(out, unit[0], Unescape(unit));
    }
    return out;
}

}  // namespace recorder
