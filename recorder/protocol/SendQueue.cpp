#include "recorder/protocol/SendQueue.h"

#include <algorithm>
#include <utility>

namespace recorder
{

bool SendQueue::Push(int channel, Message message, TimeUs since)
{
    const auto ofChannel = std::count_if(m_Items.begin(), m_Items.end(),
                                         [channel](const Item& item) { return item.channel == channel; });
    if (static_cast<size_t>(ofChannel) >= MAX_PER_CHANNEL || m_Bytes + message->size() > MAX_BYTES)
        return false;
    m_Bytes += message->size();
    m_Items.push_back({channel, std::move(message), since});
    return true;
}

void SendQueue::Forget(int channel)
{
    std::erase_if(m_Items, [&](const Item& item) {
        const bool goes = item.channel == channel && item.sent == 0;
        if (goes) m_Bytes -= item.message->size();
        return goes;
    });
}

std::map<int, size_t> SendQueue::DropStale(TimeUs now)
{
    std::map<int, size_t> dropped;
    std::erase_if(m_Items, [&](const Item& item) {
        if (item.sent > 0 || item.since == NEVER) return false;
        const bool goes = now - item.since >= STALE_AFTER || dropped.contains(item.channel);
        if (goes) {
            m_Bytes -= item.message->size();
            ++dropped[item.channel];
        }
        return goes;
    });
    return dropped;
}

std::optional<SendQueue::Piece> SendQueue::Next(TimeUs now)
{
    const TimeUs timeout = AckTimeout();
    while (!m_Outstanding.empty() && now - m_Outstanding.front() >= timeout) {
        // What went before the last time is part of the same silence.
        if (m_Outstanding.front() >= m_BackedOff && m_BackOff < MOST_BACK_OFF) {
            ++m_BackOff;
            m_BackedOff = now;
        }
        m_Outstanding.pop_front();
    }
    if (Due(now) > now) return {};
    if (now - m_BurstStart >= BURST_EVERY) {
        m_BurstStart = now;
        m_InBurst = 0;
    }
    ++m_InBurst;
    m_Outstanding.push_back(now);

    Item& item = m_Items.front();
    m_Last = item.message;
    Piece piece{std::span(*m_Last).subspan(item.sent, std::min(PIECE_BYTES, m_Last->size() - item.sent)),
                item.channel};
    item.sent += piece.bytes.size();
    m_Bytes -= piece.bytes.size();
    if (item.sent == m_Last->size()) {
        if (item.since != NEVER) piece.completes = item.sent;
        m_Items.pop_front();
    }
    return piece;
}

void SendQueue::Acknowledged()
{
    // What went until now tells nothing about the time from here on.
    if (m_BackOff > 0 && !m_Outstanding.empty()) m_BackedOff = m_Outstanding.back() + 1;
    m_BackOff = 0;
    if (!m_Outstanding.empty()) m_Outstanding.pop_front();
}

TimeUs SendQueue::Due(TimeUs now) const
{
    if (m_Items.empty()) return NEVER;
    TimeUs due = now;
    if (m_Outstanding.size() >= Window()) due = std::max(due, m_Outstanding.front() + AckTimeout());
    if (m_InBurst >= BURST) due = std::max(due, m_BurstStart + BURST_EVERY);
    return due;
}

}  // namespace recorder
