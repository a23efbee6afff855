// The bit reader of parameter sets and slice headers: bounded, and zeros beyond the unit.
#pragma once

#include <cstddef>
#include <cstdint>

/// Reads an unescaped payload from its most significant bit on. Reads beyond the end give zeros.
class c264_bits
{
  public:
    c264_bits(const uint8_t* data, size_t bytes) : first(data), end(bytes * 8) {}

    /// The next bit.
    uint32_t flag()
    {
        const uint32_t bit = at < end ? first[at >> 3] >> (7 - (at & 7)) & 1u : 0;
        if (at < end) ++at;
        return bit;
    }

    /// The next `count` bits, 0 to 32.
    uint32_t bits(uint32_t count)
    {
        uint32_t value = 0;
        for (uint32_t i = 0; i < count; ++i)
            value = value << 1 | flag();
        return value;
    }

    void skip(uint32_t count) { bits(count); }

    /// An unsigned Exp-Golomb code (9.1). oddity: golomb-too-long; one of more than 31 leading zeros is 0.
    uint32_t ue()
    {
        uint32_t zeros = 0;
        while (zeros < 32 && flag() == 0)
            ++zeros;
        if (zeros == 32) return 0;
        return (1u << zeros) - 1 + bits(zeros);
    }

    /// A signed Exp-Golomb code (9.1.1).
    int32_t se()
    {
        const uint32_t code = ue();
        return code & 1 ? static_cast<int32_t>((code >> 1) + 1) : -static_cast<int32_t>(code >> 1);
    }

    /// The place of the next bit, counted from the first one.
    size_t position() const { return at; }

  private:
    const uint8_t* first;
    size_t end;
    size_t at = 0;
};
