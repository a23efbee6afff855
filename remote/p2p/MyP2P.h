#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>

#include "inc/Mutex.h"
#include "remote/p2p/LinkCounters.h"
#include "remote/p2p/P2PClient.h"

/// The data of one datagram.
struct Packet {
    std::unique_ptr<std::uint8_t[]> m_pData;  // at least one byte
    std::uint32_t m_ulLength = 0;
    char m_szName[P2P_NAME_BYTES] = {};  // the sender

    std::span<const std::uint8_t> Data() const { return {m_pData.get(), m_ulLength}; }
};

/// A client of the peer protocol that queues what it receives, for a link thread to drain.
class CMyP2P : public CP2PClient
{
  public:
    /// The queue takes no more when its packets hold so many bytes, each packet's own record counted as 128:
    /// memory stays bounded when nobody reads. What comes then is lost like any datagram.
    static constexpr std::size_t QUEUE_LIMIT_BYTES = std::size_t{16} << 20;

    using CP2PClient::CP2PClient;
    ~CMyP2P() override { Stop(); }

    /// The oldest packet, or null when there is none. It stays valid until the next Pop.
    const Packet* Front();

    /// Removes the oldest packet, if there is one.
    void Pop();

    /// What arrived and what the full queue lost.
    const CLinkCounters& GetCounters() const { return m_Counters; }

    /// Whether a reader found the queue empty and waits for a packet.
    bool HasWaitingReader();

  protected:
    void OnRecv(const char* name, std::span<const std::uint8_t> data) override;

    /// Waits until the queue isn't empty, for at most `ms` milliseconds. Ends early when `cancel` is set or
    /// the client stops, at once if WakeReaders is called thereafter.
    void WaitForPacket(std::uint32_t ms, const P2PCancel* cancel);

    /// Lets every WaitForPacket look again whether it is to end.
    void WakeReaders();

    CLinkCounters m_Counters;

  private:
    CMutex m_csQueue;  // a leaf lock
    std::condition_variable m_Arrived;
    std::deque<std::unique_ptr<Packet>> m_Queue GUARDED_BY(m_csQueue);
    std::size_t m_QueuedBytes GUARDED_BY(m_csQueue) = 0;
    const Packet* m_pCurrent GUARDED_BY(m_csQueue) = nullptr;  // what Front gave last
    int m_iWaiting GUARDED_BY(m_csQueue) = 0;                  // threads in WaitForPacket
};
