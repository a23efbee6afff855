#include "remote/p2p/MyP2P.h"

#include <algorithm>
#include <chrono>

#include "inc/Mutex.h"

namespace
{

constexpr std::size_t PACKET_COST_BYTES = 128;

std::size_t Cost(const Packet& packet)
{
    return packet.m_ulLength + PACKET_COST_BYTES;
}

}  // namespace

void CMyP2P::OnRecv(const char* name, std::span<const std::uint8_t> data)
{
    CLinkCounters::Count(m_Counters.datagrams);
    CLinkCounters::Count(m_Counters.bytes, data.size());
    auto packet = std::make_unique<Packet>();
    packet->m_pData = std::make_unique_for_overwrite<std::uint8_t[]>(data.size());
    packet->m_ulLength = static_cast<std::uint32_t>(data.size());
    std::ranges::copy(data, packet->m_pData.get());
    std::string_view(name).copy(packet->m_szName, P2P_NAME_BYTES - 1);
    {
        const CMutexLock lock(m_csQueue);
        if (m_QueuedBytes + Cost(*packet) > QUEUE_LIMIT_BYTES) {
            CLinkCounters::Count(m_Counters.dropped);
            return;
        }
        m_QueuedBytes += Cost(*packet);
        m_Queue.push_back(std::move(packet));
    }
    m_Arrived.notify_all();
}

const Packet* CMyP2P::Front()
{
    const CMutexLock lock(m_csQueue);
    m_pCurrent = m_Queue.empty() ? nullptr : m_Queue.front().get();
    return m_pCurrent;
}

void CMyP2P::Pop()
{
    std::unique_ptr<Packet> packet;  // freed outside the lock
    const CMutexLock lock(m_csQueue);
    if (m_Queue.empty()) return;
    packet = std::move(m_Queue.front());
    m_Queue.pop_front();
    m_QueuedBytes -= Cost(*packet);
    if (m_pCurrent == packet.get()) m_pCurrent = nullptr;
}

void CMyP2P::WaitForPacket(std::uint32_t ms, const P2PCancel* cancel)
{
    CMutexLock lock(m_csQueue);
    ++m_iWaiting;
    lock.WaitFor(m_Arrived, std::chrono::milliseconds(ms), [this, cancel]() REQUIRES(m_csQueue) {
        return !m_Queue.empty() || IsStopping() ||
               (cancel != nullptr && cancel->load(std::memory_order_relaxed));
    });
    --m_iWaiting;
}

bool CMyP2P::HasWaitingReader()
{
    const CMutexLock lock(m_csQueue);
    return m_iWaiting > 0;
}

void CMyP2P::WakeReaders()
{
    {
        // A thread that has looked at the flags but does not wait yet holds the lock.
        const CMutexLock lock(m_csQueue);
    }
    m_Arrived.notify_all();
}
