#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/h264_syntax.h"
#include "tests/support/test_picture.h"

// H.264 streams of an encoder, the same with the checksum protocol of the devices, and libavcodec's decoder as
// the oracle and the peer.

/// Cuts a stream of start codes into packets, each up to the end of one slice.
std::vector<H264Packet> SplitH264Stream(const std::vector<uint8_t>& stream);

/// Reads a stream written by scripts/make-test-streams, cut into packets.
std::vector<H264Packet> ReadH264Stream(const std::string& path);

/// One unit with its start code, as offsets into a packet.
struct H264UnitPlace {
    size_t begin = 0;   ///< of the start code, its leading zero included
    size_t header = 0;  ///< of the unit's header
    size_t end = 0;     ///< past the last byte
};
std::vector<H264UnitPlace> FindH264Units(const H264Packet& packet);

/// The payload after the unit's header without its emulation prevention bytes.
std::vector<uint8_t> H264Payload(const H264Packet& packet, const H264UnitPlace& unit);

/// Width of the checksums that a device may put after its units.
enum class EH264Checksum { Bits16 = 1, Bits32 = 2 };

/// The same packet with a checksum in every unit that others refer to, and, when `announce` is set, with the
/// SEI before it that tells the modulus.
H264Packet ProtectH264(const H264Packet& packet, EH264Checksum checksum, uint32_t modulus, bool announce);

/// The SEI unit alone, with two numbers that ought to be the same.
H264Packet H264ChecksumSei(EH264Checksum checksum, uint32_t modulus, uint32_t repeated);

/// libavcodec's H.264 decoder on one thread.
class CLavcH264Decoder
{
  public:
    /// Strict makes it refuse every damage that it notices and export vectors and quantisers.
    enum class EManner { Strict, Default };
    explicit CLavcH264Decoder(EManner manner = EManner::Strict);
    ~CLavcH264Decoder();
    CLavcH264Decoder(const CLavcH264Decoder&) = delete;
    CLavcH264Decoder& operator=(const CLavcH264Decoder&) = delete;

    /// False when the packet was refused or gave no picture.
    bool Decode(const H264Packet& packet);
    /// The last picture.
    TestPicture Picture() const;

    /// A vector of the last picture, in quarter samples, and the top left sample of its block.
    struct Motion {
        int x, y, width, height;
        int mvX, mvY;
    };
    std::vector<Motion> Motions() const;
    /// The quantisers of the last picture's macroblocks, row by row.
    std::vector<int> Quantisers() const;

  private:
    struct State;
    std::unique_ptr<State> m_pState;
};
