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
    const TimeUs patience = Patience();
    while (!m_Outstanding.empty() && iNow - m_Outstanding.front() >= patience) {
        // What went before the last time is part of the same silence.
        if (m_Outstanding.front() >= m_iBackedOff && m_iBackOff < MOST_BACK_OFF) {
            ++m_iBackOff;
            m_iBackedOff = iNow;
        }
        m_Outstanding.pop_front();
    }
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
    // What went until now tells nothing about the time from here on.
    if (m_iBackOff > 0 && !m_Outstanding.empty()) m_iBackedOff = m_Outstanding.back() + 1;
    m_iBackOff = 0;
    if (!m_Outstanding.empty()) m_Outstanding.pop_front();
}

TimeUs CSendQueue::Due(TimeUs iNow) const
{
    if (m_Items.empty()) return NEVER;
    TimeUs due = iNow;
    if (m_Outstanding.size() >= Window()) due = std::max(due, m_Outstanding.front() + Patience());
    if (m_ulInBurst >= BURST) due = std::max(due, m_iBurstStart + BURST_EVERY);
    return due;
}

}  // namespace recorder
