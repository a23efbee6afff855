#pragma once

#include <cstdint>
#include <string>
#include <tuple>

namespace recorder
{

// Time as the protocol logic sees it: microseconds of a clock that never goes back. It is always passed in.
using TimeUs = int64_t;
inline constexpr TimeUs NEVER = INT64_MAX;
inline constexpr TimeUs MILLISECOND = 1000;
inline constexpr TimeUs SECOND = 1000 * MILLISECOND;

// An IPv4 address and a port, both as plain numbers (127.0.0.1 is 0x7F000001).
struct XEndpoint {
    uint32_t m_dwAddress = 0;
    uint16_t m_usPort = 0;

    bool operator==(const XEndpoint&) const = default;
    bool operator<(const XEndpoint& other) const
    {
        return std::tie(m_dwAddress, m_usPort) < std::tie(other.m_dwAddress, other.m_usPort);
    }
};

// "127.0.0.1"
std::string AddressText(uint32_t dwAddress);
// "127.0.0.1:4567"
std::string EndpointText(const XEndpoint& endpoint);

}  // namespace recorder
