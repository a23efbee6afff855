#include "remote/udp/KeyPicture.h"

#include <algorithm>
#include <array>
#include <iterator>

bool IsKeyPicture(std::span<const std::uint8_t> payload)
{
    constexpr std::array<std::uint8_t, 4> VOP_START = {0, 0, 1, 0xB6};
    constexpr int CODING_TYPE_SHIFT = 6;  // the two bits behind the start code: 0 is intra
    const auto found = std::search(payload.begin(), payload.end(), VOP_START.begin(), VOP_START.end());
    if (payload.end() - found <= std::ssize(VOP_START)) return false;
    return *(found + std::ssize(VOP_START)) >> CODING_TYPE_SHIFT == 0;
}
