#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

namespace recorder::h264
{

/// What can't be read: bits are missing, or have no meaning.
class Damaged : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// Reads the payload of a unit, most significant bit first. Reading beyond the end throws Damaged.
class BitReader
{
  public:
    explicit BitReader(std::span<const uint8_t> payload) : m_Payload(payload), m_End(8 * payload.size())
    {
        // The end is the last bit that is set, the stop bit.
        while (m_End > 0 && BitAt(m_End - 1) == 0)
            --m_End;
    }

    size_t At() const { return m_At; }
    /// Whether anything stands before the stop bit.
    bool More() const { return m_At + 1 < m_End; }
    /// Only the stop bit is left.
    bool AtStop() const { return m_At + 1 == m_End; }

    /// What was read ends in the last byte: encoders fill that up after the stop bit as they like.
    bool InLastByte() const { return m_At <= m_End && m_End - m_At < 8; }

    /// 0 to 32 bits
    uint32_t Bits(int count)
    {
        if (m_At + static_cast<size_t>(count) > 8 * m_Payload.size()) throw Damaged("a unit ends too early");
        uint32_t value = 0;
        for (; count > 0; --count)
            value = value << 1 | BitAt(m_At++);
        return value;
    }
    bool Flag() { return Bits(1) != 0; }
    /// The next bits without taking them; zeros past the end. At most 16.
    uint32_t Peek(int count) const
    {
        const size_t byte = m_At / 8;
        uint32_t window = 0;
        for (size_t i = 0; i < 3; ++i)
            window = window << 8 | (byte + i < m_Payload.size() ? m_Payload[byte + i] : 0U);
        return window >> (24 - static_cast<int>(m_At % 8) - count) & ((1U << count) - 1);
    }
    /// An Exp-Golomb code (9.1).
    uint32_t Ue()
    {
        int zeros = 0;
        while (!Flag())
            if (++zeros > 31) throw Damaged("a number is too large");
        return (1U << zeros) - 1 + Bits(zeros);
    }
    uint32_t Ue(uint32_t most, const char* what)
    {
        const uint32_t value = Ue();
        if (value > most) throw Damaged(what);
        return value;
    }
    int32_t Se()
    {
        const uint32_t code = Ue();
        const auto half = static_cast<int32_t>(code / 2 + code % 2);
        return code % 2 != 0 ? half : -half;
    }
    int32_t Se(int32_t least, int32_t most, const char* what)
    {
        const int32_t value = Se();
        if (value < least || value > most) throw Damaged(what);
        return value;
    }
    void Align() { m_At = (m_At + 7) / 8 * 8; }
    /// Whole bytes from the next one on, as raw samples are.
    void SkipBytes(size_t count)
    {
        Align();
        if (m_At + 8 * count > 8 * m_Payload.size()) throw Damaged("a unit ends too early");
        m_At += 8 * count;
    }

  private:
    uint32_t BitAt(size_t bit) const { return m_Payload[bit / 8] >> (7 - bit % 8) & 1U; }

    std::span<const uint8_t> m_Payload;
    size_t m_End;
    size_t m_At = 0;
};

}  // namespace recorder::h264
