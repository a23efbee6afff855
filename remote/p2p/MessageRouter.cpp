#include "remote/p2p/MessageRouter.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "inc/Mutex.h"

namespace
{

constexpr std::size_t MESSAGE_COST_BYTES = 128;

std::size_t Cost(std::span<const std::uint8_t> message)
{
    return message.size() + MESSAGE_COST_BYTES;
}

}  // namespace

CMessageRouter::Sender& CMessageRouter::SenderAt(const PEER_ADDRESS& address)
{
    const auto known =
        std::ranges::find_if(m_Senders, [&](const auto& sender) { return sender->address == address; });
    if (known != m_Senders.end()) return **known;
    auto sender = std::make_unique<Sender>();
    sender->address = address;
    if (m_Senders.size() < SENDER_LIMIT) return *m_Senders.emplace_back(std::move(sender));
    // The last one that has brought the fewest, so that strangers share one place.
    const auto least =
        std::min_element(m_Senders.rbegin(), m_Senders.rend(),
                         [](const auto& left, const auto& right) { return left->messages < right->messages; });
    *least = std::move(sender);
    return **least;
}

void CMessageRouter::Feed(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& from,
                          std::uint32_t tick)
{
    ASSERT_THREAD(m_ReceivingThread);
    Sender& sender = SenderAt(PEER_ADDRESS::From(from));
    switch (sender.assembler.Feed(data)) {
        case CMessageAssembler::EResult::More:
            break;
        case CMessageAssembler::EResult::Complete:
            ++sender.messages;
            Deliver(name, sender.assembler.GetMessage(), tick);
            break;
        case CMessageAssembler::EResult::Dropped:
            CLinkCounters::Count(m_Counters.dropped);
            break;
    }
}

void CMessageRouter::Deliver(const char* name, std::span<const std::uint8_t> message, std::uint32_t tick)
{
    Message delivered;
    std::string_view(name).copy(delivered.name, P2P_NAME_BYTES - 1);
    delivered.data.assign(message.begin(), message.end());
    delivered.tick = tick;
    const auto channel = static_cast<std::size_t>(ReadMessageHeader(message).channel);
    {
        const CMutexLock lock(m_cs);
        Inbox& inbox = m_Inboxes[channel];
        if (inbox.open == 0) {
            CLinkCounters::Count(m_Counters.foreign);
            return;
        }
        if (inbox.bytes + Cost(message) > INBOX_LIMIT_BYTES) {
            CLinkCounters::Count(m_Counters.dropped);
            return;
        }
        CLinkCounters::Count(m_Counters.messages);
        inbox.messages.push_back(std::move(delivered));
        inbox.bytes += Cost(message);
    }
    m_Changed[channel].notify_one();
}

void CMessageRouter::OpenChannel(std::int32_t channel)
{
    if (!IsChannel(channel)) return;
    const CMutexLock lock(m_cs);
    ++m_Inboxes[static_cast<std::size_t>(channel)].open;
}

void CMessageRouter::CloseChannel(std::int32_t channel)
{
    if (!IsChannel(channel)) return;
    std::deque<Message> emptied;  // freed outside the lock
    const CMutexLock lock(m_cs);
    Inbox& inbox = m_Inboxes[static_cast<std::size_t>(channel)];
    if (--inbox.open > 0) return;
    std::swap(inbox.messages, emptied);
    inbox.bytes = 0;
}

std::condition_variable& CMessageRouter::Changed(std::int32_t channel)
{
    return IsChannel(channel) ? m_Changed[static_cast<std::size_t>(channel)] : m_NoChannelChanged;
}

bool CMessageRouter::HasMessage(std::int32_t channel) const
{
    ASSERT_HELD(m_cs);
    return IsChannel(channel) && !m_Inboxes[static_cast<std::size_t>(channel)].messages.empty();
}

std::optional<CMessageRouter::Message> CMessageRouter::Take(std::int32_t channel)
{
    ASSERT_HELD(m_cs);
    if (!HasMessage(channel)) return std::nullopt;
    Inbox& inbox = m_Inboxes[static_cast<std::size_t>(channel)];
    Message message = std::move(inbox.messages.front());
    inbox.messages.pop_front();
    inbox.bytes -= Cost(message.data);
    return message;
}

void CMessageRouter::Wake()
{
    {
        // Whoever has asked already but does not wait yet holds the lock.
        const CMutexLock lock(m_cs);
    }
    for (std::condition_variable& changed : m_Changed)
        changed.notify_all();
    m_NoChannelChanged.notify_all();
}
