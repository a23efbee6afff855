#include "remote/udp/LatePictures.h"

#include <algorithm>
#include <array>

bool IsKeyPicture(std::span<const std::uint8_t> payload)
{
    constexpr std::array<std::uint8_t, 4> VOP_START = {0, 0, 1, 0xB6};
    constexpr int CODING_TYPE_SHIFT = 6;  // the two bits after the start code: 0 is intra
    const auto start = std::search(payload.begin(), payload.end(), VOP_START.begin(), VOP_START.end());
    if (payload.end() - start <= static_cast<std::ptrdiff_t>(VOP_START.size())) return false;
    return start[VOP_START.size()] >> CODING_TYPE_SHIFT == 0;
}

bool CLatePictures::IsSkipped(std::span<const std::uint8_t> payload, std::uint32_t ageMs)
{
    ASSERT_THREAD(m_LinkThread);
    m_bSkipping = ageMs > OLDEST_MS || (m_bSkipping && !IsKeyPicture(payload));
    return m_bSkipping;
}
