#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "inc/Mutex.h"
#include "remote/p2p/P2PWire.h"
#include "remote/p2p/PeerList.h"

/// Where the protocol's answers and data go. Called without any lock held.
class IP2POutput
{
  public:
    virtual ~IP2POutput() = default;
    /// Sends one datagram; a failure is ignored.
    virtual void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to) = 0;
    /// A peer's data, at least one byte, valid during the call, and where they came from.
    virtual void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& from) = 0;
};

/// What a client of the peer protocol knows, and what it does with a datagram: a function over bytes, without
/// socket, thread or clock. The handler runs on the receiving thread, everything else on whatever thread uses
/// the client; the list lock guards the records of both, and the flags are relaxed atomics, since a waiting
/// loop that sees a change late only polls once more.
class CP2PProtocol
{
  public:
    /// Takes one received datagram, of any length and content.
    void HandleDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& from, IP2POutput& output);

    /// The own record, as it goes into every message.
    PEER_RECORD GetLocalRecord() const;
    void SetLocalRecord(const PEER_RECORD& record);
    void SetLocalName(std::string_view name);

    /// IPv4 address in network order; the port plays no part in telling the server from peers.
    void SetServerAddress(std::uint32_t address)
    {
        m_ulServerAddress.store(address, std::memory_order_relaxed);
    }
    std::uint32_t GetServerAddress() const { return m_ulServerAddress.load(std::memory_order_relaxed); }

    bool IsLoggedIn() const { return m_bLoggedIn.load(std::memory_order_relaxed); }
    void ClearLoggedIn() { m_bLoggedIn.store(false, std::memory_order_relaxed); }
    bool IsListComplete() const { return m_bListComplete.load(std::memory_order_relaxed); }
    bool IsDataAcknowledged() const { return m_bDataAcknowledged.load(std::memory_order_relaxed); }
    void ClearDataAcknowledged() { m_bDataAcknowledged.store(false, std::memory_order_relaxed); }

    /// Empties the user list and forgets that it was complete.
    void RestartUserList();
    std::size_t GetUserCount() const;
    /// A copy of the user's record, if it is listed.
    std::optional<PEER_RECORD> FindUser(std::string_view name) const;
    /// Forgets the address the user was last seen at.
    void ClearP2PAddress(std::string_view name);
    /// The addresses the listed users were last seen at.
    std::vector<PEER_ADDRESS> GetP2PAddresses() const;

    /// Datagrams dropped for their length or type.
    std::uint64_t GetDroppedDatagrams() const { return m_Dropped.load(std::memory_order_relaxed); }

  private:
    void OnUserEntry(PEER_RECORD record) EXCLUDES(m_csList);
    void OnPunch(const PEER_RECORD& record, const sockaddr_in& from, IP2POutput& output) EXCLUDES(m_csList);
    void NoteSource(const PEER_RECORD& record, const sockaddr_in& from) EXCLUDES(m_csList);
    void Answer(std::uint32_t type, const sockaddr_in& to, IP2POutput& output) const EXCLUDES(m_csList);

    // the list lock: a leaf, never held while anything is sent, delivered or printed
    mutable CMutex m_csList;
    CPeerList m_Users GUARDED_BY(m_csList);
    PEER_RECORD m_LocalRecord GUARDED_BY(m_csList);

    std::atomic<std::uint32_t> m_ulServerAddress{0};
    std::atomic<bool> m_bLoggedIn{false};
    std::atomic<bool> m_bListComplete{false};
    std::atomic<bool> m_bDataAcknowledged{false};
    std::atomic<std::uint64_t> m_Dropped{0};
};
