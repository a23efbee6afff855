#pragma once

#include <atomic>

/// A plain field that two threads read and write without a lock, by design: each access is whole, nothing else
/// is promised. Whoever needs an order between fields takes a lock.
template <class T>
class CRelaxed
{
  public:
    constexpr CRelaxed(T value)
        : m_Value(value) {}  // NOLINT(google-explicit-constructor): stands for the field
    CRelaxed(const CRelaxed&) = delete;
    CRelaxed& operator=(const CRelaxed&) = delete;

    operator T() const { return m_Value.load(std::memory_order_relaxed); }
    T operator=(T value)
    {
        m_Value.store(value, std::memory_order_relaxed);
        return value;
    }
    T Exchange(T value) { return m_Value.exchange(value, std::memory_order_relaxed); }
    void SetBits(T bits) { m_Value.fetch_or(bits, std::memory_order_relaxed); }
    void ClearBits(T bits) { m_Value.fetch_and(static_cast<T>(~bits), std::memory_order_relaxed); }

  private:
    std::atomic<T> m_Value;
};
