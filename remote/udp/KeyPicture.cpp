#include "remote/udp/KeyPicture.h"

#include <algorithm>
#include <array>

bool IsKeyPicture(std::span<const std::uint8_t> payload)
{
    constexpr std::array<std::uint8_t, 4> VOP_START = {0, 0, 1, 0xB6};
    constexpr int CODING_TYPE_SHIFT = 6;  // the two bits behind the start code: 0 is intra
    const auto rest = std::ranges::search(payload, VOP_START);
    return !rest.empty() && rest.end() != payload.end() && *rest.end() >> CODING_TYPE_SHIFT == 0;
}
