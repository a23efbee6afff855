#pragma once

#include <cstdint>
#include <string>
#include <tuple>

namespace recorder
{

/// Time as the protocol logic sees it: microseconds of a clock that never goes back. It is always passed in.
using TimeUs = int64_t;
inline constexpr TimeUs NEVER = INT64_MAX;
inline constexpr TimeUs MILLISECOND = 1000;
inline constexpr TimeUs SECOND = 1000 * MILLISECOND;

/// An IPv4 address and a port, both as plain numbers (127.0.0.1 is 0x7F000001).
struct Endpoint {
    uint32_t address = 0;
    uint16_t port = 0;

    bool operator==(const Endpoint&) const = default;
    bool operator<(const Endpoint& other) const
    {
        return std::tie(address, port) < std::tie(other.address, other.port);
    }
};

/// "127.0.0.1"
std::string AddressText(uint32_t address);
/// "127.0.0.1:4567"
std::string EndpointText(const Endpoint& endpoint);

}  // namespace recorder
