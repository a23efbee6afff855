#pragma once

#include <cstdint>
#include <map>

#include "recorder/store/RecordName.h"

namespace recorder
{

struct StoredRecord {
    RecordName name;
    int64_t bytes = 0;
    bool open = false;  // it is being written
};

/// The records of a store by their numbers, and how many bytes they have together.
class RecordTable
{
  public:
    /// In the place of one that has its number.
    void Put(const StoredRecord& record)
    {
        Remove(record.name.id);
        m_Records[record.name.id] = record;
        m_Bytes += record.bytes;
    }
    void SetBytes(int id, int64_t bytes)
    {
        StoredRecord& record = m_Records.at(id);
        m_Bytes += bytes - record.bytes;
        record.bytes = bytes;
    }
    void Close(int id) { m_Records.at(id).open = false; }
    void Remove(int id)
    {
        const auto it = m_Records.find(id);
        if (it == m_Records.end()) return;
        m_Bytes -= it->second.bytes;
        m_Records.erase(it);
    }

    int64_t Bytes() const { return m_Bytes; }
    /// Of those that aren't open, or 0.
    int Oldest() const
    {
        for (const auto& [id, record] : m_Records)
            if (!record.open) return id;
        return 0;
    }
    /// Oldest first.
    const std::map<int, StoredRecord>& All() const { return m_Records; }

  private:
    std::map<int, StoredRecord> m_Records;
    int64_t m_Bytes = 0;
};

}  // namespace recorder
