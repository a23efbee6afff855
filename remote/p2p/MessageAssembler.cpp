#include "remote/p2p/MessageAssembler.h"

#include <algorithm>

#include "remote/p2p/P2PWire.h"

namespace
{

constexpr std::uint32_t DIRECTION_SHIFT = 30;
constexpr std::uint32_t CHANNEL_SHIFT = 24;
constexpr std::uint32_t CHANNEL_MASK = 0x3F;
constexpr std::uint32_t LENGTH_MASK = 0xFFFFFF;

}  // namespace

XMessageHeader ReadMessageHeader(std::span<const std::uint8_t> message)
{
    std::uint8_t bytes[MESSAGE_HEADER_BYTES] = {};
    std::ranges::copy(message.first(std::min<std::size_t>(message.size(), sizeof bytes)), bytes);
    const std::uint32_t word = ReadLittle32(bytes);
    return {static_cast<std::int32_t>(word >> CHANNEL_SHIFT & CHANNEL_MASK),
            static_cast<std::int32_t>(word >> DIRECTION_SHIFT & 1), word & LENGTH_MASK};
}

std::uint32_t MakeMessageHeader(std::int32_t iChannel, std::uint32_t ulLength)
{
    return (1U << DIRECTION_SHIFT) + (static_cast<std::uint32_t>(iChannel) << CHANNEL_SHIFT) + ulLength;
}

void CMessageAssembler::Begin(std::span<const std::uint8_t> datagram)
{
    const std::uint32_t length = ReadMessageHeader(datagram).m_ulLength;
    m_ulCount = 0;
    m_iMissing = length;
    m_bInside = true;
    m_bNoHeader = length > MESSAGE_LIMIT_BYTES;
    m_bTooLarge = m_bNoHeader;
}

CMessageAssembler::RESULT CMessageAssembler::Feed(std::span<const std::uint8_t> datagram)
{
    if (!m_bInside) Begin(datagram);
    m_iMissing -= static_cast<std::int64_t>(datagram.size());
    if (m_ulCount + datagram.size() > m_Buffer.size()) m_bTooLarge = true;
    if (!m_bTooLarge) {
        std::ranges::copy(datagram, m_Buffer.begin() + static_cast<std::ptrdiff_t>(m_ulCount));
        m_ulCount += datagram.size();
    }
    const bool bUnfilled = m_bNoHeader && datagram.size() < MESSAGE_CUT_BYTES;
    if (m_iMissing > 0 && !bUnfilled) return RESULT::More;
    m_bInside = false;
    if (!m_bTooLarge) return RESULT::Complete;
    m_ulCount = 0;
    return RESULT::Dropped;
}
