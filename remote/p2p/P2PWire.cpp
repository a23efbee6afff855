#include "remote/p2p/P2PWire.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr std::size_t ADDRESSES_AT = 36;
constexpr std::size_t ADDRESS_BYTES = 8;
constexpr std::size_t ADDRESS_COUNT_AT = 76;
constexpr std::size_t P2P_ADDRESS_AT = 80;

// The address stands in network order in memory and on the wire, so its bytes are copied as they are.
PEER_ADDRESS ReadAddress(const std::uint8_t* bytes)
{
    PEER_ADDRESS address;
    std::memcpy(&address, bytes, sizeof address);
    address.port = ReadLittle16(bytes + 4);
    return address;
}

void WriteAddress(std::uint8_t* bytes, const PEER_ADDRESS& address)
{
    std::memcpy(bytes, &address, sizeof address);
    WriteLittle16(bytes + 4, address.port);
}

PEER_RECORD ReadRecord(const std::uint8_t* bytes)
{
    PEER_RECORD record;
    std::memcpy(&record, bytes, sizeof record);
    record.m_szName[P2P_NAME_BYTES - 1] = '\0';
    for (std::size_t i = 0; i < P2P_ADDRESSES; ++i)
        record.m_Addresses[i] = ReadAddress(bytes + ADDRESSES_AT + i * ADDRESS_BYTES);
    record.m_AddressCount = std::min<std::uint8_t>(bytes[ADDRESS_COUNT_AT], P2P_ADDRESSES);
    record.m_P2PAddress = ReadAddress(bytes + P2P_ADDRESS_AT);
    return record;
}

char LowerAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

PEER_ADDRESS PEER_ADDRESS::From(const sockaddr_in& from)
{
    return {from.sin_addr.s_addr, ntohs(from.sin_port), 0};
}

sockaddr_in PEER_ADDRESS::ToSocketAddress() const
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = address;
    result.sin_port = htons(port);
    return result;
}

void PEER_RECORD::SetName(std::string_view name)
{
    std::ranges::fill(m_szName, '\0');
    name.copy(m_szName, P2P_NAME_BYTES - 1);
}

bool ReadP2PMessage(std::span<const std::uint8_t> datagram, P2PMessage& message)
{
    if (datagram.size() < P2P_HEADER_BYTES) return false;
    message.type = ReadLittle32(datagram.data());
    message.record = ReadRecord(datagram.data() + 4);
    message.body = datagram.subspan(P2P_HEADER_BYTES);
    return true;
}

void WriteP2PHeader(std::uint32_t type, const PEER_RECORD& record, std::uint8_t* header)
{
    WriteLittle32(header, type);
    std::uint8_t* const bytes = header + 4;
    std::memcpy(bytes, &record, sizeof record);
    for (std::size_t i = 0; i < P2P_ADDRESSES; ++i)
        WriteAddress(bytes + ADDRESSES_AT + i * ADDRESS_BYTES, record.m_Addresses[i]);
    WriteAddress(bytes + P2P_ADDRESS_AT, record.m_P2PAddress);
}

std::vector<std::uint8_t> MakeP2PMessage(std::uint32_t type, const PEER_RECORD& record,
                                         std::span<const std::uint8_t> body)
{
    std::vector<std::uint8_t> message(P2P_HEADER_BYTES + body.size());
    WriteP2PHeader(type, record, message.data());
    std::ranges::copy(body, message.begin() + P2P_HEADER_BYTES);
    return message;
}

std::array<std::uint8_t, P2P_HEADER_BYTES> MakeP2PHeader(std::uint32_t type, const PEER_RECORD& record)
{
    std::array<std::uint8_t, P2P_HEADER_BYTES> header;
    WriteP2PHeader(type, record, header.data());
    return header;
}

bool IsSamePeer(std::string_view left, std::string_view right)
{
    return std::ranges::equal(left, right, {}, LowerAscii, LowerAscii);
}

std::uint32_t ReadLittle32(const std::uint8_t* bytes)
{
    return ReadLittle16(bytes) | std::uint32_t{ReadLittle16(bytes + 2)} << 16;
}

std::uint16_t ReadLittle16(const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

void WriteLittle32(std::uint8_t* bytes, std::uint32_t value)
{
    WriteLittle16(bytes, static_cast<std::uint16_t>(value));
    WriteLittle16(bytes + 2, static_cast<std::uint16_t>(value >> 16));
}

void WriteLittle16(std::uint8_t* bytes, std::uint16_t value)
{
    bytes[0] = static_cast<std::uint8_t>(value);
    bytes[1] = static_cast<std::uint8_t>(value >> 8);
}
