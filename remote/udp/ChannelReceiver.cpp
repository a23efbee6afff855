#include "remote/udp/ChannelReceiver.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "remote/udp/LatePictures.h"

namespace
{

constexpr std::int32_t DIRECTION_CLIENT = 1;  // in all that the client accepts
using Time = std::chrono::steady_clock::time_point;

constexpr std::size_t REPLY_BYTES = 1024;

/// The system's own queue, which all channels of a session take turns to read.
class CQueueReceiver final : public CChannelReceiver
{
  public:
    CQueueReceiver(CP2PSession& session, std::int32_t channel, const P2PCancel& cancel)
        : m_Session(session), m_iChannel(channel), m_Cancel(cancel)
    {
    }
    /// The calling thread keeps the receive lock for as long as the receiver stands.
    ~CQueueReceiver() override { m_Session.ReleaseReceiveLock(); }
    CQueueReceiver(const CQueueReceiver&) = delete;
    CQueueReceiver& operator=(const CQueueReceiver&) = delete;

    StreamReply ReceiveReply(const std::function<void()>& ask) override
    {
        ASSERT_THREAD(m_LinkThread);
        ask();
        return ReadStreamReply(Receive(REPLY_BYTES));
    }
    std::span<const std::uint8_t> ReceiveMessage() override
    {
        ASSERT_THREAD(m_LinkThread);
        return Receive(m_Buffer.size());
    }
    Time ShowBefore() const override { return Time::max(); }

  private:
    std::span<const std::uint8_t> Receive(std::size_t limit)
    {
        const std::int32_t count = m_Session.ReceiveChannel(m_szName, std::span(m_Buffer).first(limit),
                                                            m_iChannel, DIRECTION_CLIENT, &m_Cancel);
        return std::span(m_Buffer).first(static_cast<std::size_t>(std::max(count, 0)));
    }

    CP2PSession& m_Session;
    const std::int32_t m_iChannel;
    const P2PCancel& m_Cancel;
    char m_szName[P2P_NAME_BYTES] = {};
    std::array<std::uint8_t, MESSAGE_LIMIT_BYTES> m_Buffer{};
};

/// The channel's own inbox, which is kept live: beyond an age it is left out up to the next key picture.
class CInboxReceiver final : public CChannelReceiver
{
  public:
    CInboxReceiver(CP2PSession& session, CLinkCounters& counters, std::int32_t channel, const P2PCancel& cancel)
        : m_Session(session), m_Counters(counters), m_iChannel(channel), m_Cancel(cancel)
    {
        m_Session.OpenChannel(m_iChannel);
    }
    ~CInboxReceiver() override { m_Session.CloseChannel(m_iChannel); }
    CInboxReceiver(const CInboxReceiver&) = delete;
    CInboxReceiver& operator=(const CInboxReceiver&) = delete;

    StreamReply ReceiveReply(const std::function<void()>& ask) override
    {
        ASSERT_THREAD(m_LinkThread);
        // Request and reply are single datagrams that may be lost: the request is repeated.
        do {
            ask();
            const auto deadline =
                std::chrono::steady_clock::now() + std::chrono::milliseconds(m_Session.GetRequestRepeatMs());
            while (const auto message =
                       m_Session.TakeMessage(m_iChannel, DIRECTION_CLIENT, &m_Cancel, deadline)) {
                // A channel that is opened again while the machine still streams receives pictures before the
                // reply. They begin with a start code, where the reply has its width.
                const auto reply = ReadStreamReply(message->data);
                if (message->data.size() <= REPLY_BYTES && reply.width != 0) return reply;
            }
        } while (m_Session.IsConnected() && !m_Cancel.load(std::memory_order_relaxed));
        return {};
    }

    std::span<const std::uint8_t> ReceiveMessage() override
    {
        ASSERT_THREAD(m_LinkThread);
        while (auto message = m_Session.TakeMessage(m_iChannel, DIRECTION_CLIENT, &m_Cancel)) {
            // Whatever keeps the link from its inbox counts into the age: other channels' decoding as well as a
            // slow renderer.
            m_Message = std::move(*message);
            const auto payload =
                std::span<const std::uint8_t>(m_Message.data)
                    .subspan(std::min<std::size_t>(m_Message.data.size(), MESSAGE_HEADER_BYTES));
            if (!m_LatePictures.IsSkipped(payload, m_Session.AgeOf(m_Message))) return m_Message.data;
            CLinkCounters::Count(m_Counters.skipped);
        }
        return {};
    }

    Time ShowBefore() const override
    {
        return std::chrono::steady_clock::now() + std::chrono::milliseconds(OLDEST_MS + 1) -
               std::chrono::milliseconds(m_Session.AgeOf(m_Message));
    }

  private:
    CP2PSession& m_Session;
    CLinkCounters& m_Counters;
    const std::int32_t m_iChannel;
    const P2PCancel& m_Cancel;
    CMessageRouter::Message m_Message;
    CLatePictures m_LatePictures;
};

}  // namespace

std::unique_ptr<CChannelReceiver> CChannelReceiver::Make(CP2PSession& session, CLinkCounters& counters,
                                                         std::int32_t channel, const P2PCancel& cancel)
{
    if (session.IsSharedReceive()) return std::make_unique<CInboxReceiver>(session, counters, channel, cancel);
    return std::make_unique<CQueueReceiver>(session, channel, cancel);
}
