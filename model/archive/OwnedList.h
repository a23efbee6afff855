#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

/// An ordered list of objects that it owns. An entry may be null: an archive gives a null entry for an `item`
/// without content. Copying a list copies its objects (for objects that can be copied).
template <class T>
class COwnedList
{
  public:
    COwnedList() = default;
    ~COwnedList() = default;
    COwnedList(COwnedList&&) noexcept = default;
    COwnedList& operator=(COwnedList&&) noexcept = default;
    COwnedList(const COwnedList& other)
    {
        m_Entries.reserve(other.size());
        for (const auto& entry : other.m_Entries)
            m_Entries.push_back(entry ? std::make_unique<T>(*entry) : nullptr);
    }
    COwnedList& operator=(const COwnedList& other)
    {
        if (this != &other) *this = COwnedList(other);
        return *this;
    }

    std::size_t size() const { return m_Entries.size(); }
    bool empty() const { return m_Entries.empty(); }
    /// The object at `index`, which must be below size(); may be null.
    T* operator[](std::size_t index) const { return m_Entries[index].get(); }

    void Clear() { m_Entries.clear(); }
    void Append(std::unique_ptr<T> entry) { m_Entries.push_back(std::move(entry)); }
    /// Puts the entry before the one at `index`, at most size().
    void Insert(std::size_t index, std::unique_ptr<T> entry)
    {
        m_Entries.insert(m_Entries.begin() + static_cast<std::ptrdiff_t>(index), std::move(entry));
    }
    /// Takes the entry at `index` out of the list.
    std::unique_ptr<T> Take(std::size_t index)
    {
        auto entry = std::move(m_Entries[index]);
        m_Entries.erase(m_Entries.begin() + static_cast<std::ptrdiff_t>(index));
        return entry;
    }
    /// Puts `entry` in the place of the one at `index` and returns that one.
    std::unique_ptr<T> Exchange(std::size_t index, std::unique_ptr<T> entry)
    {
        return std::exchange(m_Entries[index], std::move(entry));
    }
    /// Index of the first entry that is this very object, or size().
    std::size_t Find(const T* object) const
    {
        std::size_t index = 0;
        while (index < m_Entries.size() && m_Entries[index].get() != object)
            ++index;
        return index;
    }

  private:
    std::vector<std::unique_ptr<T>> m_Entries;
};
