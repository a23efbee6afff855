#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// Writes the payload of an H.264 unit bit by bit, and puts it into a unit.

class CH264Bits
{
  public:
    CH264Bits& Bit(bool set)
    {
        if (m_Bits % 8 == 0) m_Bytes.push_back(0);
        if (set) m_Bytes.back() |= static_cast<uint8_t>(0x80 >> m_Bits % 8);
        ++m_Bits;
        return *this;
    }
    CH264Bits& Bits(uint32_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i)
            Bit(value >> i & 1);
        return *this;
    }
    /// A code as the standard prints it.
    CH264Bits& Code(std::string_view code)
    {
        for (const char c : code)
            Bit(c == '1');
        return *this;
    }
    /// 9.1: unsigned and signed Exp-Golomb codes.
    CH264Bits& Ue(uint32_t value)
    {
        int length = 0;
        while ((uint64_t{value} + 1) >> (length + 1))
            ++length;
        return Bits(0, length).Bits(value + 1, length + 1);
    }
    CH264Bits& Se(int value)
    {
        return Ue(value > 0 ? 2 * static_cast<uint32_t>(value) - 1 : 2 * static_cast<uint32_t>(-value));
    }
    CH264Bits& AlignWith(bool set)
    {
        while (m_Bits % 8 != 0)
            Bit(set);
        return *this;
    }
    /// rbsp_trailing_bits
    CH264Bits& Trailing() { return Bit(true).AlignWith(false); }

    size_t Count() const { return m_Bits; }
    const std::vector<uint8_t>& Bytes() const { return m_Bytes; }

  private:
    std::vector<uint8_t> m_Bytes;
    size_t m_Bits = 0;
};

/// Appends a start code of 3 or 4 bytes, the unit's header and the payload with its emulation prevention bytes.
inline void H264AppendUnit(std::vector<uint8_t>* to, int nal_ref_idc, int nal_unit_type,
                           const std::vector<uint8_t>& payload, bool longStartCode = true)
{
    if (longStartCode) to->push_back(0);
    const int header = nal_ref_idc << 5 | nal_unit_type;
    for (const int byte : {0, 0, 1, header})
        to->push_back(static_cast<uint8_t>(byte));
    int zeros = 0;
    for (const uint8_t byte : payload) {
        if (zeros == 2 && byte <= 3) {
            to->push_back(3);
            zeros = 0;
        }
        to->push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
}
