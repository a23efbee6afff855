#include "remote/p2p/MessageRouter.h"

#include <algorithm>
#include <string_view>
#include <utility>

CMessageRouter::XSender& CMessageRouter::SenderAt(const PEER_ADDRESS& address)
{
    const auto known =
        std::ranges::find_if(m_Senders, [&](const auto& sender) { return sender->m_Address == address; });
    if (known != m_Senders.end()) return **known;
    auto sender = std::make_unique<XSender>();
    sender->m_Address = address;
    if (m_Senders.size() < SENDER_LIMIT) return *m_Senders.emplace_back(std::move(sender));
    // The last one that has brought the fewest, so that strangers share one place.
    const auto least = std::min_element(
        m_Senders.rbegin(), m_Senders.rend(),
        [](const auto& left, const auto& right) { return left->m_ulMessages < right->m_ulMessages; });
    *least = std::move(sender);
    return **least;
}

void CMessageRouter::Feed(const char* szName, std::span<const std::uint8_t> data, const sockaddr_in& from,
                          std::uint32_t dwTick)
{
    XSender& sender = SenderAt(PEER_ADDRESS::From(from));
    switch (sender.m_Assembler.Feed(data)) {
        case CMessageAssembler::RESULT::More:
            break;
        case CMessageAssembler::RESULT::Complete:
            ++sender.m_ulMessages;
            Deliver(szName, sender.m_Assembler.GetMessage(), dwTick);
            break;
        case CMessageAssembler::RESULT::Dropped:
            CLinkCounters::Count(m_Counters.m_ulDropped);
            break;
    }
}

void CMessageRouter::Deliver(const char* szName, std::span<const std::uint8_t> message, std::uint32_t dwTick)
{
    XMessage delivered;
    std::string_view(szName).copy(delivered.m_szName, P2P_NAME_BYTES - 1);
    delivered.m_Data.assign(message.begin(), message.end());
    delivered.m_dwTick = dwTick;
    const auto iChannel = static_cast<std::size_t>(ReadMessageHeader(message).m_iChannel);
    {
        const std::lock_guard lock(m_cs);
        XInbox& inbox = m_Inboxes[iChannel];
        if (inbox.m_iOpen == 0) {
            CLinkCounters::Count(m_Counters.m_ulForeign);
            return;
        }
        if (inbox.m_ulBytes + message.size() > INBOX_LIMIT_BYTES) {
            CLinkCounters::Count(m_Counters.m_ulDropped);
            return;
        }
        CLinkCounters::Count(m_Counters.m_ulMessages);
        inbox.m_ulBytes += message.size();
        inbox.m_Messages.push_back(std::move(delivered));
    }
    m_Inboxes[iChannel].m_Changed.notify_one();
}

void CMessageRouter::OpenChannel(std::int32_t iChannel)
{
    if (!IsChannel(iChannel)) return;
    const std::lock_guard lock(m_cs);
    ++m_Inboxes[static_cast<std::size_t>(iChannel)].m_iOpen;
}

void CMessageRouter::CloseChannel(std::int32_t iChannel)
{
    if (!IsChannel(iChannel)) return;
    std::deque<XMessage> emptied;  // freed behind the lock
    const std::lock_guard lock(m_cs);
    XInbox& inbox = m_Inboxes[static_cast<std::size_t>(iChannel)];
    if (--inbox.m_iOpen > 0) return;
    std::swap(inbox.m_Messages, emptied);
    inbox.m_ulBytes = 0;
}

std::condition_variable& CMessageRouter::Changed(std::int32_t iChannel)
{
    return IsChannel(iChannel) ? m_Inboxes[static_cast<std::size_t>(iChannel)].m_Changed : m_NoChannelChanged;
}

bool CMessageRouter::HasMessage(std::int32_t iChannel) const
{
    return IsChannel(iChannel) && !m_Inboxes[static_cast<std::size_t>(iChannel)].m_Messages.empty();
}

std::optional<CMessageRouter::XMessage> CMessageRouter::Take(std::int32_t iChannel)
{
    if (!HasMessage(iChannel)) return std::nullopt;
    XInbox& inbox = m_Inboxes[static_cast<std::size_t>(iChannel)];
    XMessage message = std::move(inbox.m_Messages.front());
    inbox.m_Messages.pop_front();
    inbox.m_ulBytes -= message.m_Data.size();
    return message;
}

void CMessageRouter::Wake()
{
    {
        // Whoever has asked already but does not wait yet holds the lock.
        const std::lock_guard lock(m_cs);
    }
    for (XInbox& inbox : m_Inboxes)
        inbox.m_Changed.notify_all();
    m_NoChannelChanged.notify_all();
}
