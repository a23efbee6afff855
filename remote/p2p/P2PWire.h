#pragma once

#include <netinet/in.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

// The messages of the peer protocol: a 4-byte type, a PEER_RECORD, and what the type adds. Integers are
// little-endian; IPv4 addresses stand in network order, the ports beside them are plain integers. Reading and
// writing are functions over bytes, so that neither needs a socket.

inline constexpr std::size_t P2P_NAME_BYTES = 33;  // at most 32 characters and a terminator
inline constexpr std::size_t P2P_ADDRESSES = 4;
inline constexpr std::size_t PEER_RECORD_BYTES = 92;
inline constexpr std::size_t P2P_HEADER_BYTES = 4 + PEER_RECORD_BYTES;
inline constexpr std::size_t P2P_DATAGRAM_BYTES = 65535;  // the largest that is read or built
inline constexpr std::size_t P2P_SEND_LIMIT = 65440;      // one datagram carries less data than this
inline constexpr std::size_t P2P_RELIABLE_LIMIT = 929;    // and this, when it is acknowledged

enum P2PMSG : std::uint32_t {
    P2PMSG_LOGIN = 0x65,
    P2PMSG_LOGOUT = 0x66,
    P2PMSG_LOGIN_ACK = 0x67,
    P2PMSG_GET_USERS = 0x68,   // to the server
    P2PMSG_USER_ENTRY = 0x68,  // from the server
    P2PMSG_USER_END = 0x69,
    P2PMSG_PING = 0x6A,
    P2PMSG_PONG = 0x6B,
    P2PMSG_PUNCH = 0x6C,
    P2PMSG_PUNCH_ACK = 0x6D,
    P2PMSG_DATA = 0x6E,
    P2PMSG_DATA_ACK = 0x6F,
};

/// An IPv4 address with a port; address 0 is "none known".
struct PEER_ADDRESS {
    std::uint32_t address = 0;  // network order
    std::uint16_t port = 0;     // host order
    std::uint16_t padding = 0;

    static PEER_ADDRESS From(const sockaddr_in& from);
    sockaddr_in ToSocketAddress() const;
    bool IsKnown() const { return address != 0; }
    friend bool operator==(const PEER_ADDRESS& left, const PEER_ADDRESS& right)
    {
        return left.address == right.address && left.port == right.port;
    }
};

/// One user of the protocol, laid out in memory as on the wire.
struct PEER_RECORD {
    char m_szName[P2P_NAME_BYTES] = {};  // the key of the user list, always terminated
    std::uint8_t m_Padding1[3] = {};
    PEER_ADDRESS m_Addresses[P2P_ADDRESSES];  // the user's local addresses
    std::uint8_t m_Unnamed[8] = {};           // carried along, like the padding and the reserved word
    std::uint8_t m_AddressCount = 0;          // 0 to 4
    std::uint8_t m_Padding2[3] = {};
    PEER_ADDRESS m_P2PAddress;  // where the user was last seen
    std::uint32_t m_ulReserved = 0;

    /// The local addresses in use.
    std::span<const PEER_ADDRESS> Addresses() const { return {m_Addresses, m_AddressCount}; }
    std::string_view Name() const { return m_szName; }
    /// Cuts the name to 32 characters.
    void SetName(std::string_view name);
};
static_assert(sizeof(PEER_RECORD) == PEER_RECORD_BYTES && offsetof(PEER_RECORD, m_Addresses) == 36 &&
              offsetof(PEER_RECORD, m_AddressCount) == 76 && offsetof(PEER_RECORD, m_P2PAddress) == 80 &&
              offsetof(PEER_RECORD, m_ulReserved) == 88);

/// A message as it was read. The body points into the bytes that were given.
struct P2PMessage {
    std::uint32_t type = 0;
    PEER_RECORD record;
    std::span<const std::uint8_t> body;
};

/// Reads a datagram; false when it is shorter than a header. The record is copied whole, so that what a server
/// keeps in it comes back to the server, but it is sound: a name without terminator is cut to 32 characters,
/// and an address count above 4 counts as 4.
bool ReadP2PMessage(std::span<const std::uint8_t> datagram, P2PMessage& message);

/// Writes the 96 bytes that begin every message.
void WriteP2PHeader(std::uint32_t type, const PEER_RECORD& record, std::uint8_t* header);

/// A whole message.
std::vector<std::uint8_t> MakeP2PMessage(std::uint32_t type, const PEER_RECORD& record,
                                         std::span<const std::uint8_t> body = {});

/// A message's header alone, the most frequent form.
std::array<std::uint8_t, P2P_HEADER_BYTES> MakeP2PHeader(std::uint32_t type, const PEER_RECORD& record);

/// Whether two names are one user: without regard to ASCII case.
bool IsSamePeer(std::string_view left, std::string_view right);

std::uint32_t ReadLittle32(const std::uint8_t* bytes);
std::uint16_t ReadLittle16(const std::uint8_t* bytes);
void WriteLittle32(std::uint8_t* bytes, std::uint32_t value);
void WriteLittle16(std::uint8_t* bytes, std::uint16_t value);
