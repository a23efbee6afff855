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

MessageHeader ReadMessageHeader(std::span<const std::uint8_t> message)
{
    std::uint8_t bytes[MESSAGE_HEADER_BYTES] = {};
    std::ranges::copy(message.first(std::min<std::size_t>(message.size(), sizeof bytes)), bytes);
    const std::uint32_t word = ReadLittle32(bytes);
    return {static_cast<std::int32_t>(word >> CHANNEL_SHIFT & CHANNEL_MASK),
            static_cast<std::int32_t>(word >> DIRECTION_SHIFT & 1), word & LENGTH_MASK};
}

std::uint32_t MakeMessageHeader(std::int32_t channel, std::uint32_t length)
{
    return (1U << DIRECTION_SHIFT) + (static_cast<std::uint32_t>(channel) << CHANNEL_SHIFT) + length;
}

void CMessageAssembler::Begin(std::span<const std::uint8_t> datagram)
{
    const std::uint32_t length = ReadMessageHeader(datagram).length;
    m_Count = 0;
    m_iMissing = length;
    m_bInside = true;
    m_bNoHeader = length > MESSAGE_LIMIT_BYTES;
    m_bTooLarge = m_bNoHeader;
}

CMessageAssembler::EResult CMessageAssembler::Feed(std::span<const std::uint8_t> datagram)
{
    if (!m_bInside) Begin(datagram);
    m_iMissing -= static_cast<std::int64_t>(datagram.size());
    if (m_Count + datagram.size() > m_Buffer.size()) m_bTooLarge = true;
    if (!m_bTooLarge) {
        std::ranges::copy(datagram, m_Buffer.begin() + static_cast<std::ptrdiff_t>(m_Count));
        m_Count += datagram.size();
    }
    const bool unfilled = m_bNoHeader && datagram.size() < MESSAGE_CUT_BYTES;
    if (m_iMissing > 0 && !unfilled) return EResult::More;
    m_bInside = false;
    if (!m_bTooLarge) return EResult::Complete;
    m_Count = 0;
    return EResult::Dropped;
}
