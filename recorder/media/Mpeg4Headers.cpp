#include "recorder/media/Mpeg4Headers.h"

#include <algorithm>
#include <bit>

namespace recorder
{

namespace
{

// Reads bits, most significant first; zeros past the end.
class Bits
{
  public:
    Bits(std::span<const uint8_t> bytes, size_t byte) : m_Bytes(bytes), m_Bit(8 * byte) {}

    uint32_t Read(int count)
    {
        uint32_t value = 0;
        for (; count > 0; --count, ++m_Bit) {
            const size_t byte = m_Bit / 8;
            const int bit = byte < m_Bytes.size() ? m_Bytes[byte] >> (7 - m_Bit % 8) & 1 : 0;
            value = value << 1 | static_cast<uint32_t>(bit);
        }
        return value;
    }
    bool Flag() { return Read(1) != 0; }
    size_t At() const { return m_Bit; }
    bool AtEnd() const { return m_Bit >= 8 * m_Bytes.size(); }

  private:
    std::span<const uint8_t> m_Bytes;
    size_t m_Bit;
};

// 6.2.3
Vol ReadVol(Bits bits)
{
    Vol vol;
    bits.Read(1);  // random_accessible_vol
    vol.video_object_type_indication = static_cast<int>(bits.Read(8));
    uint32_t verid = 1;
    if (bits.Flag()) {  // is_object_layer_identifier
        verid = bits.Read(4);
        bits.Read(3);
    }
    vol.aspect_ratio_info = static_cast<int>(bits.Read(4));
    if (vol.aspect_ratio_info == 15) bits.Read(16);
    if (bits.Flag()) {  // vol_control_parameters
        bits.Read(3);   // chroma_format, low_delay
        vol.vbv_parameters = bits.Flag();
        if (vol.vbv_parameters) {
            for (int part = 0; part < 3; ++part)
                bits.Read(
                    32);  // bit rate, buffer size and occupancy with their markers: 79 bits less 32 + 32 + 15
            return vol;   // refused by clients; the rest is of no interest
        }
    }
    vol.video_object_layer_shape = static_cast<int>(bits.Read(2));
    bits.Read(1);
    vol.vop_time_increment_resolution = static_cast<int>(bits.Read(16));
    bits.Read(1);
    vol.fixed_vop_rate = bits.Flag();
    if (vol.fixed_vop_rate)
        bits.Read(std::bit_width(static_cast<uint32_t>(std::max(1, vol.vop_time_increment_resolution - 1))));
    bits.Read(1);
    vol.width = static_cast<int>(bits.Read(13));
    bits.Read(1);
    vol.height = static_cast<int>(bits.Read(13));
    bits.Read(1);
    vol.interlaced = bits.Flag();
    vol.obmc_disable = bits.Flag();
    vol.sprite_enable = static_cast<int>(bits.Read(verid == 1 ? 1 : 2));
    vol.not_8_bit = bits.Flag();
    if (vol.not_8_bit) bits.Read(8);
    vol.quant_type = bits.Flag();
    if (vol.quant_type)
        bits.Read(2);  // matrices: none are loaded by an encoder that keeps to H.263 quantisation
    if (verid != 1) vol.quarter_sample = bits.Flag();
    vol.complexity_estimation_disable = bits.Flag();
    vol.resync_marker_disable = bits.Flag();
    vol.data_partitioned = bits.Flag();
    if (verid != 1) bits.Read(2);  // newpred_enable, reduced_resolution_vop_enable
    vol.scalability = bits.Flag();
    return vol;
}

// 6.2.5
Vop ReadVop(Bits bits, int resolution)
{
    Vop vop;
    vop.vop_coding_type = static_cast<EVop>(bits.Read(2));
    while (bits.Flag() && !bits.AtEnd()) {
    }
    bits.Read(1);
    bits.Read(std::bit_width(static_cast<uint32_t>(std::max(1, resolution - 1))));
    bits.Read(1);
    vop.vop_coded = bits.Flag();
    if (!vop.vop_coded) return vop;
    if (vop.vop_coding_type == EVop::P) {
        vop.rounding_bit = bits.At();
        vop.vop_rounding_type = bits.Flag();
    }
    vop.intra_dc_vlc_thr = static_cast<int>(bits.Read(3));
    vop.vop_quant = static_cast<int>(bits.Read(5));
    if (vop.vop_coding_type != EVop::I) vop.vop_fcode_forward = static_cast<int>(bits.Read(3));
    if (vop.vop_coding_type == EVop::B) bits.Read(3);
    vop.macroblock_bit = bits.At();
    return vop;
}

}  // namespace

CodedPicture ReadHeaders(std::span<const uint8_t> bytes, int resolution)
{
    CodedPicture picture;
    for (size_t i = 0; i + 3 < bytes.size(); ++i) {
        if (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1) continue;
        const uint8_t code = bytes[i + 3];
        picture.start_codes.push_back(code);
        if (code >= 0x20 && code <= 0x2F) {
            picture.vol = ReadVol(Bits(bytes, i + 4));
            resolution = picture.vol->vop_time_increment_resolution;
        } else if (code == 0xB6) {
            ++picture.vops;
            if (!picture.vop) picture.vop = ReadVop(Bits(bytes, i + 4), resolution);
        }
        i += 3;
    }
    return picture;
}

bool RepeatsReference(std::span<const uint8_t> bytes, const Vop& vop, int macroblocks)
{
    if (vop.vop_coding_type != EVop::P || !vop.vop_coded) return false;
    Bits bits(bytes.subspan(std::min(bytes.size(), vop.macroblock_bit / 8)), 0);
    bits.Read(static_cast<int>(vop.macroblock_bit % 8));
    for (int i = 0; i < macroblocks; ++i)
        if (!bits.Flag()) return false;
    return true;
}

}  // namespace recorder
