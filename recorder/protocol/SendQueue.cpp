#include "recorder/protocol/SendQueue.h"

#include <algorithm>
#include <utility>

namespace recorder
{

bool CSendQueue::Push(int iChannel, Message pMessage)
{
    const auto ofChannel = std::count_if(m_Items.begin(), m_Items.end(),
                                         [iChannel](const XItem& item) { return item.m_iChannel == iChannel; });
    if (static_cast<size_t>(ofChannel) >= MAX_PER_CHANNEL || m_ulBytes + pMessage->size() > MAX_BYTES)
        return false;
    m_ulBytes += pMessage->size();
    m_Items.push_back({iChannel, std::move(pMessage)});
    return true;
}

void CSendQueue::Forget(int iChannel)
{
    std::erase_if(m_Items, [&](const XItem& item) {
        const bool goes = item.m_iChannel == iChannel && item.m_ulSent == 0;
        if (goes) m_ulBytes -= item.m_pMessage->size();
        return goes;
    });
}

std::optional<std::span<const uint8_t>> CSendQueue::Next(TimeUs iNow)
{
    while (!m_Outstanding.empty() && iNow - m_Outstanding.front() >= PATIENCE)
        m_Outstanding.pop_front();
    if (Due(iNow) > iNow) return {};
    if (iNow - m_iBurstStart >= BURST_EVERY) {
        m_iBurstStart = iNow;
        m_ulInBurst = 0;
    }
    ++m_ulInBurst;
    m_Outstanding.push_back(iNow);

    XItem& item = m_Items.front();
    m_pLast = item.m_pMessage;
    const auto piece =
        std::span(*m_pLast).subspan(item.m_ulSent, std::min(PIECE_BYTES, m_pLast->size() - item.m_ulSent));
    item.m_ulSent += piece.size();
    m_ulBytes -= piece.size();
    if (item.m_ulSent == m_pLast->size()) m_Items.pop_front();
    return piece;
}

void CSendQueue::Acknowledged()
{
    if (!m_Outstanding.empty()) m_Outstanding.pop_front();
}

TimeUs CSendQueue::Due(TimeUs iNow) const
{
    if (m_Items.empty()) return NEVER;
    TimeUs due = iNow;
    if (m_Outstanding.size() >= WINDOW) due = std::max(due, m_Outstanding.front() + PATIENCE);
    if (m_ulInBurst >= BURST) due = std::max(due, m_iBurstStart + BURST_EVERY);
    return due;
}

}  // namespace recorder
