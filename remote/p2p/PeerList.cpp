#include "remote/p2p/PeerList.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

CPeerList::CPeerList() : m_pRecords(std::make_unique<PEER_RECORD[]>(FIRST_CAPACITY)) {}

const PEER_RECORD* CPeerList::Find(std::string_view name) const
{
    const std::span<const PEER_RECORD> records(m_pRecords.get(), m_Count);
    const auto found = std::ranges::find_if(
        records, [name](const PEER_RECORD& record) { return IsSamePeer(record.Name(), name); });
    return found == records.end() ? nullptr : &*found;
}

PEER_RECORD* CPeerList::Find(std::string_view name)
{
    return const_cast<PEER_RECORD*>(std::as_const(*this).Find(name));
}

bool CPeerList::Add(const PEER_RECORD& record)
{
    if (Find(record.Name()) != nullptr) return false;
    if (m_Count == m_Capacity) {
        if (m_Capacity == LAST_CAPACITY) return false;
        Grow();
    }
    m_pRecords[m_Count++] = record;
    return true;
}

void CPeerList::Grow()
{
    auto records = std::make_unique<PEER_RECORD[]>(m_Capacity * 2);
    // oddity: growth-copies-bytes. As many bytes as there are records are kept: the 101st user costs the others
    // all but the first bytes of the list.
    std::memcpy(static_cast<void*>(records.get()), m_pRecords.get(), m_Count);
    m_pRecords = std::move(records);
    m_Capacity *= 2;
}
