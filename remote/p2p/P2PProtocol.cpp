#include "remote/p2p/P2PProtocol.h"

#include <arpa/inet.h>

#include <cstdio>

#include "inc/EscapeControls.h"
#include "inc/Mutex.h"

void CP2PProtocol::HandleDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& from,
                                  IP2POutput& output)
{
    P2PMessage message;
    if (!ReadP2PMessage(datagram, message)) {
        m_Dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    switch (message.type) {
        case P2PMSG_LOGIN_ACK:
            SetLocalRecord(message.record);
            m_bLoggedIn.store(true, std::memory_order_relaxed);
            break;
        case P2PMSG_USER_ENTRY:
            OnUserEntry(message.record);
            break;
        case P2PMSG_USER_END:
            m_bListComplete.store(true, std::memory_order_relaxed);
            break;
        case P2PMSG_PING:
            Answer(P2PMSG_PONG, from, output);
            break;
        case P2PMSG_PONG:
            break;
        case P2PMSG_PUNCH:
            OnPunch(message.record, from, output);
            break;
        case P2PMSG_PUNCH_ACK:
            NoteSource(message.record, from);
            break;
        case P2PMSG_DATA:
            // A message without data is a probe: it is acknowledged and reaches nobody.
            if (!message.body.empty()) output.DeliverData(message.record.m_szName, message.body, from);
            Answer(P2PMSG_DATA_ACK, from, output);
            break;
        case P2PMSG_DATA_ACK:
            m_bDataAcknowledged.store(true, std::memory_order_relaxed);
            break;
        default:
            m_Dropped.fetch_add(1, std::memory_order_relaxed);
            break;
    }
}

void CP2PProtocol::OnUserEntry(PEER_RECORD record)
{
    record.m_P2PAddress = {};
    const CMutexLock lock(m_csList);
    m_Users.Add(record);
}

void CP2PProtocol::OnPunch(const PEER_RECORD& record, const sockaddr_in& from, IP2POutput& output)
{
    if (from.sin_addr.s_addr == GetServerAddress()) {
        // The server tells of a user who wants to reach this client; its record alone is enough for an answer.
        for (const auto& address : record.Addresses())
            Answer(P2PMSG_PUNCH_ACK, address.ToSocketAddress(), output);
        return;
    }
    NoteSource(record, from);
    Answer(P2PMSG_PUNCH_ACK, from, output);
}

void CP2PProtocol::NoteSource(const PEER_RECORD& record, const sockaddr_in& from)
{
    const auto source = PEER_ADDRESS::From(from);
    {
        const CMutexLock lock(m_csList);
        PEER_RECORD* const known = m_Users.Find(record.Name());
        if (known == nullptr) {
            PEER_RECORD added = record;
            if (!added.m_P2PAddress.IsKnown()) added.m_P2PAddress = source;
            m_Users.Add(added);
            return;
        }
        // The first source heard wins until ClearP2PAddress.
        if (known->m_P2PAddress.IsKnown()) return;
        known->m_P2PAddress = source;
    }
    char address[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &from.sin_addr, address, sizeof address);
    std::printf(" Set P2P address for %s -> %s:%ld \n", EscapeControls(record.Name()).c_str(), address,
                long{source.port});
}

void CP2PProtocol::Answer(std::uint32_t type, const sockaddr_in& to, IP2POutput& output) const
{
    output.SendDatagram(MakeP2PHeader(type, GetLocalRecord()), to);
}

PEER_RECORD CP2PProtocol::GetLocalRecord() const
{
    const CMutexLock lock(m_csList);
    return m_LocalRecord;
}

void CP2PProtocol::SetLocalRecord(const PEER_RECORD& record)
{
    const CMutexLock lock(m_csList);
    m_LocalRecord = record;
}

void CP2PProtocol::SetLocalName(std::string_view name)
{
    const CMutexLock lock(m_csList);
    m_LocalRecord.SetName(name);
}

void CP2PProtocol::RestartUserList()
{
    {
        const CMutexLock lock(m_csList);
        m_Users.Clear();
    }
    m_bListComplete.store(false, std::memory_order_relaxed);
}

std::size_t CP2PProtocol::GetUserCount() const
{
    const CMutexLock lock(m_csList);
    return m_Users.GetCount();
}

std::optional<PEER_RECORD> CP2PProtocol::FindUser(std::string_view name) const
{
    const CMutexLock lock(m_csList);
    const PEER_RECORD* const record = m_Users.Find(name);
    if (record == nullptr) return std::nullopt;
    return *record;
}

void CP2PProtocol::ClearP2PAddress(std::string_view name)
{
    const CMutexLock lock(m_csList);
    if (PEER_RECORD* const record = m_Users.Find(name)) record->m_P2PAddress = {};
}

std::vector<PEER_ADDRESS> CP2PProtocol::GetP2PAddresses() const
{
    const CMutexLock lock(m_csList);
    std::vector<PEER_ADDRESS> addresses;
    for (std::size_t i = 0; i < m_Users.GetCount(); ++i)
        if (m_Users[i].m_P2PAddress.IsKnown()) addresses.push_back(m_Users[i].m_P2PAddress);
    return addresses;
}
