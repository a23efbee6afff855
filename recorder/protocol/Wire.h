#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recorder/protocol/Endpoint.h"

// The datagrams of the peer-to-peer protocol, byte for byte. Every message is a 4-byte type and the 92-byte
// record of a user, 96 bytes together; a body may follow. Integers are little-endian, only IPv4 addresses are
// in network order.
//
//   record, offset   0  33  name, terminated, at most 32 characters
//                   36 4x8  local addresses: IPv4, 2-byte port, 2 bytes of padding
//                   76   1  count of local addresses, 0 to 4
//                   80   4  address the user was last seen at, 0 when none is known
//                   84   2  port of that address
//                   88   4  reserved, zero; all gaps are padding, zero
namespace recorder
{

using Bytes = std::vector<uint8_t>;

inline constexpr size_t RECORD_BYTES = 92;
inline constexpr size_t MESSAGE_BYTES = 4 + RECORD_BYTES;
inline constexpr size_t NAME_BYTES = 33;
inline constexpr size_t MAX_LOCAL_ADDRESSES = 4;

enum class EMessage : uint32_t {
    Login = 0x65,
    Logout = 0x66,
    LoginAck = 0x67,
    GetUsers = 0x68,
    UserEntry = 0x68,  // the same number on the way back
    UserEnd = 0x69,
    Ping = 0x6A,
    Pong = 0x6B,
    Punch = 0x6C,
    PunchAck = 0x6D,
    Data = 0x6E,
    DataAck = 0x6F,
};

struct PeerRecord {
    std::string name;
    std::vector<Endpoint> localAddresses;
    Endpoint p2p;  // all zero: not known

    bool operator==(const PeerRecord&) const = default;
};

struct WireMessage {
    EMessage type = EMessage::Ping;
    PeerRecord record;
    std::span<const uint8_t> body;  // into the bytes that were parsed
};

/// Why a datagram was refused; counted per kind in the report.
enum class EWireFault { None, TooShort, UnknownType, UnterminatedName, TooManyAddresses };
inline constexpr size_t WIRE_FAULTS = 5;
/// A word for the report: "too short" and the like.
const char* WireFaultText(EWireFault fault);

/// Reads one datagram. Nothing when it is refused; why, when given, tells the reason.
std::optional<WireMessage> ParseMessage(std::span<const uint8_t> datagram, EWireFault* reason = nullptr);

/// Writes one datagram. The record's name must be at most 32 characters and its addresses at most 4; what is
/// beyond is cut off.
Bytes MakeMessage(EMessage type, const PeerRecord& record, std::span<const uint8_t> body = {});

/// The name after the record in a 129-byte punch to the rendezvous; nothing when it isn't terminated.
std::optional<std::string> WantedName(std::span<const uint8_t> body);

/// Names are compared without regard to the case of ASCII letters.
bool SameName(const std::string& a, const std::string& b);

/// The first word of a stream message: bit 30 direction, bits 29 to 24 channel, bits 23 to 0 size of the whole
/// message in bytes, this word included. Direction is 1 in requests and in all that a client accepts.
inline constexpr size_t HEADER_BYTES = 4;
inline constexpr size_t REQUEST_BYTES = 8;
inline constexpr int MAX_CHANNELS = 64;

struct HeaderWord {
    bool direction = true;
    int channel = 0;      // 0 to 63
    uint32_t length = 0;  // below 2^24

    bool operator==(const HeaderWord&) const = default;
};

uint32_t PackHeader(const HeaderWord& header);
HeaderWord UnpackHeader(uint32_t word);

/// The channel that an 8-byte stream request asks for; nothing when it is not such a request.
std::optional<int> ParseStreamRequest(std::span<const uint8_t> data);
/// The answer to it: header word, width, height (16 bits each).
Bytes MakeStreamReply(int channel, int width, int height);
/// Header word and encoded picture. The picture must be shorter than 2^24 - 4 bytes.
Bytes MakeVideoMessage(int channel, std::span<const uint8_t> picture);

/// Little-endian integers at any address.
uint32_t ReadU32(const uint8_t* p);
uint16_t ReadU16(const uint8_t* p);
void WriteU32(uint8_t* p, uint32_t value);
void WriteU16(uint8_t* p, uint16_t value);

}  // namespace recorder
