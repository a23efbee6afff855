#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Writes MPEG-4 headers and macroblocks bit by bit, so that tests can say what no encoder says.

/// The fields of a VOL that tests vary, with the values that the decoder takes.
struct Mpeg4VolFields {
    uint32_t id = 0;
    uint32_t object_type = 1;
    bool has_identifier = false;  ///< writes the two fields below
    uint32_t verid = 1;
    uint32_t priority = 1;
    uint32_t aspect_ratio = 1;
    bool control_parameters = false;  ///< writes chroma_format, low_delay and the field below
    bool low_delay = true;
    bool vbv = false;
    uint32_t shape = 0;
    uint32_t time_resolution = 25;
    bool fixed_rate = false;  ///< writes fixed_increment
    uint32_t fixed_increment = 1;
    int increment_bits = 5;
    uint32_t width = 176;
    uint32_t height = 144;
    bool interlaced = false;
    bool obmc_disable = true;
    uint32_t sprite = 0;
    bool brightness_change = false;
    bool not_8_bit = false;  ///< writes the two fields below
    uint32_t quant_precision = 5;
    uint32_t bits_per_pixel = 8;
    bool quant_type = false;  ///< writes the two fields below
    bool load_intra_matrix = false;
    bool load_inter_matrix = false;
    bool quarter_sample = false;  ///< written when verid isn't 1, as are newpred and reduced_resolution
    bool complexity_disable = true;
    bool resync_disable = true;
    bool data_partitioned = false;
    bool newpred = false;
    bool reduced_resolution = false;
    bool scalability = false;
    uint32_t effective_verid = 1;  ///< what decides on the fields that depend on verid
};

struct Mpeg4VopFields {
    uint32_t type = 0;  ///< 0 I, 1 P, 2 B, 3 S
    int modulo = 0;
    uint32_t increment = 0;
    int increment_bits = 5;
    bool coded = true;
    bool rounding = false;
    uint32_t dc_threshold = 0;
    uint32_t quant = 4;
    int quant_bits = 5;
    uint32_t fcode = 1;
    uint32_t fcode_backward = 1;
};

class CMpeg4Writer
{
  public:
    CMpeg4Writer& Bits(uint32_t value, int n)
    {
        for (int i = n - 1; i >= 0; --i)
            Bit(value >> i & 1);
        return *this;
    }
    /// A code as the standard prints it; blanks are ignored.
    CMpeg4Writer& Code(const std::string& code)
    {
        for (char c : code) {
            if (c != ' ') Bit(c == '1');
        }
        return *this;
    }
    CMpeg4Writer& Flag(bool set) { return Bits(set ? 1 : 0, 1); }
    /// Stuffing up to a byte boundary: a zero and then ones. Nothing on a boundary.
    CMpeg4Writer& Align()
    {
        if (m_Bits % 8 != 0) Bit(0);
        while (m_Bits % 8 != 0)
            Bit(1);
        return *this;
    }
    CMpeg4Writer& StartCode(uint32_t code) { return Align().Bits(code, 32); }

    CMpeg4Writer& Vol(const Mpeg4VolFields& f);
    CMpeg4Writer& Vop(const Mpeg4VopFields& f);
    /// The difference of one vector component, -32..32.
    CMpeg4Writer& Difference(int value);
    /// An inter macroblock with one vector and no residual, in a P-VOP.
    CMpeg4Writer& InterMacroblock(int dx, int dy) { return Code("0 1 11").Difference(dx).Difference(dy); }
    CMpeg4Writer& Skip(int count)
    {
        for (; count > 0; --count)
            Bit(1);
        return *this;
    }

    /// The bytes so far, the last one filled up with stuffing.
    std::vector<uint8_t> Take()
    {
        Align();
        return m_Bytes;
    }

  private:
    void Bit(uint32_t bit)
    {
        if (m_Bits % 8 == 0) m_Bytes.push_back(0);
        if (bit) m_Bytes.back() |= static_cast<uint8_t>(0x80 >> m_Bits % 8);
        ++m_Bits;
    }

    std::vector<uint8_t> m_Bytes;
    size_t m_Bits = 0;
};

inline CMpeg4Writer& CMpeg4Writer::Vol(const Mpeg4VolFields& f)
{
    StartCode(0x120 + f.id).Flag(false).Bits(f.object_type, 8).Flag(f.has_identifier);
    if (f.has_identifier) Bits(f.verid, 4).Bits(f.priority, 3);
    Bits(f.aspect_ratio, 4).Flag(f.control_parameters);
    if (f.control_parameters) Bits(1, 2).Flag(f.low_delay).Flag(f.vbv);
    Bits(f.shape, 2).Flag(true).Bits(f.time_resolution, 16).Flag(true).Flag(f.fixed_rate);
    if (f.fixed_rate) Bits(f.fixed_increment, f.increment_bits);
    Flag(true).Bits(f.width, 13).Flag(true).Bits(f.height, 13).Flag(true);
    Flag(f.interlaced).Flag(f.obmc_disable).Bits(f.sprite, f.effective_verid == 1 ? 1 : 2);
    if (f.sprite == 1) {
        for (int i = 0; i < 4; ++i)
            Bits(16, 13).Flag(true);
    }
    if (f.sprite == 1 || f.sprite == 2) Bits(2, 6).Bits(3, 2).Flag(f.brightness_change);
    if (f.sprite == 1) Flag(false);
    Flag(f.not_8_bit);
    if (f.not_8_bit) Bits(f.quant_precision, 4).Bits(f.bits_per_pixel, 4);
    Flag(f.quant_type);
    if (f.quant_type) Flag(f.load_intra_matrix).Flag(f.load_inter_matrix);
    if (f.effective_verid != 1) Flag(f.quarter_sample);
    Flag(f.complexity_disable).Flag(f.resync_disable).Flag(f.data_partitioned);
    if (f.effective_verid != 1) Flag(f.newpred).Flag(f.reduced_resolution);
    return Flag(f.scalability);
}

inline CMpeg4Writer& CMpeg4Writer::Vop(const Mpeg4VopFields& f)
{
    StartCode(0x1B6).Bits(f.type, 2);
    for (int i = 0; i < f.modulo; ++i)
        Flag(true);
    Flag(false).Flag(true).Bits(f.increment, f.increment_bits).Flag(true).Flag(f.coded);
    if (!f.coded) return *this;
    if (f.type == 1) Flag(f.rounding);
    Bits(f.dc_threshold, 3).Bits(f.quant, f.quant_bits);
    if (f.type != 0) Bits(f.fcode, 3);
    if (f.type == 2) Bits(f.fcode_backward, 3);
    return *this;
}

inline CMpeg4Writer& CMpeg4Writer::Difference(int value)
{
    // magnitudes that tests use; the standard's table B-12 without the sign
    static const char* const codes[33] = {
        "1",           "01",           "001",         "0001",        "000011",      "0000101",
        "0000100",     "0000011",      "000001011",   "000001010",   "000001001",   "0000010001",
        "0000010000",  "0000001111",   "0000001110",  "0000001101",  "0000001100",  "0000001011",
        "0000001010",  "0000001001",   "0000001000",  "0000000111",  "0000000110",  "0000000101",
        "0000000100",  "00000000111",  "00000000110", "00000000101", "00000000100", "00000000011",
        "00000000010", "000000000011", "000000000010"};
    Code(codes[value < 0 ? -value : value]);
    return value == 0 ? *this : Flag(value < 0);
}
