#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "remote/p2p/P2PWire.h"

/// The users that the server or their own messages made known: an array searched from its start, since few are
/// listed and a look-up costs next to nothing beside the datagram that asks for it. No lock of its own.
class CPeerList
{
  public:
    static constexpr std::size_t FIRST_CAPACITY = 100;
    /// A list that has doubled to this many records takes no more, so that a flood of made-up users can't take
    /// all memory.
    static constexpr std::size_t LAST_CAPACITY = FIRST_CAPACITY << 6;

    CPeerList();

    std::size_t GetCount() const { return m_Count; }
    PEER_RECORD& operator[](std::size_t index) { return m_pRecords[index]; }
    const PEER_RECORD& operator[](std::size_t index) const { return m_pRecords[index]; }

    /// The first record of that name, without regard to case, or null. Valid until the next Add or Clear.
    const PEER_RECORD* Find(std::string_view name) const;
    PEER_RECORD* Find(std::string_view name);

    /// Appends the record. False, with nothing changed, when the name is listed already or the list takes no
    /// more.
    bool Add(const PEER_RECORD& record);

    void Clear() { m_Count = 0; }

  private:
    void Grow();

    std::unique_ptr<PEER_RECORD[]> m_pRecords;
    std::size_t m_Count = 0;
    std::size_t m_Capacity = FIRST_CAPACITY;
};
