#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "inc/EntryCheck.h"
#include "remote/p2p/P2PSession.h"
#include "remote/udp/StreamReply.h"

/// Gives a link the messages of its channel, one after the other. Which of the two kinds a link has is chosen
/// once, by how its session receives. Both end their waits when the session ends or `cancel` is set. Link
/// thread only.
class CChannelReceiver
{
  public:
    /// All are borrowed for the life of the object.
    static std::unique_ptr<CChannelReceiver> Make(CP2PSession& session, CLinkCounters& counters,
                                                  std::int32_t channel, const P2PCancel& cancel);
    virtual ~CChannelReceiver() = default;

    /// Asks for the stream and waits for the reply. Width and height are 0 when the wait was ended instead.
    virtual StreamReply ReceiveReply(const std::function<void()>& ask) = 0;

    /// Waits for the next message after the reply, its header word included; valid until the next call. Empty
    /// when the wait was ended, or for a message that has nothing in it.
    virtual std::span<const std::uint8_t> ReceiveMessage() = 0;

    /// When what ReceiveMessage gave last is too old to be shown.
    virtual std::chrono::steady_clock::time_point ShowBefore() const = 0;

  protected:
    CThreadMark m_LinkThread;
};
