#include "recorder/protocol/Wire.h"

#include <algorithm>
#include <cstring>

namespace recorder
{

namespace
{

constexpr size_t ADDRESSES_OFFSET = 36;
constexpr size_t ADDRESS_BYTES = 8;
constexpr size_t COUNT_OFFSET = 76;
constexpr size_t P2P_OFFSET = 80;

Endpoint ReadEndpoint(const uint8_t* p)
{
    return {uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3], ReadU16(p + 4)};
}

void WriteEndpoint(uint8_t* p, const Endpoint& endpoint)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(endpoint.address >> (24 - 8 * i));
    WriteU16(p + 4, endpoint.port);
}

// A terminated text in a field of NAME_BYTES.
std::optional<std::string> ReadName(const uint8_t* p)
{
    const auto* const end = static_cast<const uint8_t*>(std::memchr(p, 0, NAME_BYTES));
    if (end == nullptr) return {};
    return std::string(p, end);
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

uint32_t ReadU32(const uint8_t* p)
{
    return p[0] | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

uint16_t ReadU16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}

void WriteU32(uint8_t* p, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(value >> (8 * i));
}

void WriteU16(uint8_t* p, uint16_t value)
{
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}

const char* WireFaultText(EWireFault fault)
{
    static constexpr std::array<const char*, WIRE_FAULTS> TEXTS = {"none", "too short", "unknown type",
                                                                   "unterminated name", "too many addresses"};
    return TEXTS[static_cast<size_t>(fault)];
}

std::optional<WireMessage> ParseMessage(std::span<const uint8_t> datagram, EWireFault* reason)
{
    EWireFault ignored = EWireFault::None;
    EWireFault& why = reason != nullptr ? *reason : ignored;
    const auto refuse = [&why](EWireFault fault) {
        why = fault;
        return std::nullopt;
    };
    why = EWireFault::None;
    if (datagram.size() < MESSAGE_BYTES) return refuse(EWireFault::TooShort);
    const uint32_t type = ReadU32(datagram.data());
    if (type < static_cast<uint32_t>(EMessage::Login) || type > static_cast<uint32_t>(EMessage::DataAck))
        return refuse(EWireFault::UnknownType);

    const uint8_t* const record = datagram.data() + 4;
    WireMessage message;
    message.type = static_cast<EMessage>(type);
    auto name = ReadName(record);
    if (!name) return refuse(EWireFault::UnterminatedName);
    message.record.name = std::move(*name);
    const size_t count = record[COUNT_OFFSET];
    if (count > MAX_LOCAL_ADDRESSES) return refuse(EWireFault::TooManyAddresses);
    for (size_t i = 0; i < count; ++i)
        message.record.localAddresses.push_back(ReadEndpoint(record + ADDRESSES_OFFSET + ADDRESS_BYTES * i));
    message.record.p2p = ReadEndpoint(record + P2P_OFFSET);
    message.body = datagram.subspan(MESSAGE_BYTES);
    return message;
}

Bytes MakeMessage(EMessage type, const PeerRecord& record, std::span<const uint8_t> body)
{
    Bytes bytes(MESSAGE_BYTES + body.size());
    WriteU32(bytes.data(), static_cast<uint32_t>(type));
    uint8_t* const to = bytes.data() + 4;
    std::copy_n(record.name.begin(), std::min(record.name.size(), NAME_BYTES - 1), to);
    const size_t count = std::min(record.localAddresses.size(), MAX_LOCAL_ADDRESSES);
    for (size_t i = 0; i < count; ++i)
        WriteEndpoint(to + ADDRESSES_OFFSET + ADDRESS_BYTES * i, record.localAddresses[i]);
    to[COUNT_OFFSET] = static_cast<uint8_t>(count);
    WriteEndpoint(to + P2P_OFFSET, record.p2p);
    std::copy(body.begin(), body.end(), bytes.begin() + MESSAGE_BYTES);
    return bytes;
}

std::optional<std::string> WantedName(std::span<const uint8_t> body)
{
    if (body.size() < NAME_BYTES) return {};
    return ReadName(body.data());
}

bool SameName(const std::string& a, const std::string& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

uint32_t PackHeader(const HeaderWord& header)
{
    return (header.direction ? 1U << 30 : 0U) | (static_cast<uint32_t>(header.channel) & 0x3F) << 24 |
           (header.length & 0xFFFFFF);
}

HeaderWord UnpackHeader(uint32_t word)
{
    return {(word >> 30 & 1) != 0, static_cast<int>(word >> 24 & 0x3F), word & 0xFFFFFF};
}

std::optional<int> ParseStreamRequest(std::span<const uint8_t> data)
{
    if (data.size() != REQUEST_BYTES) return {};
    const HeaderWord header = UnpackHeader(ReadU32(data.data()));
    if (!header.direction || header.length != REQUEST_BYTES) return {};
    if (ReadU32(data.data() + HEADER_BYTES) != static_cast<uint32_t>(header.channel)) return {};
    return header.channel;
}

Bytes MakeStreamReply(int channel, int width, int height)
{
    Bytes bytes(HEADER_BYTES + 4);
    WriteU32(bytes.data(), PackHeader({true, channel, static_cast<uint32_t>(bytes.size())}));
    WriteU16(bytes.data() + 4, static_cast<uint16_t>(width));
    WriteU16(bytes.data() + 6, static_cast<uint16_t>(height));
    return bytes;
}

Bytes MakeVideoMessage(int channel, std::span<const uint8_t> picture)
{
    Bytes bytes(HEADER_BYTES + picture.size());
    WriteU32(bytes.data(), PackHeader({true, channel, static_cast<uint32_t>(bytes.size())}));
    std::copy(picture.begin(), picture.end(), bytes.begin() + HEADER_BYTES);
    return bytes;
}

}  // namespace recorder
