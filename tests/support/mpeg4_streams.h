#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/test_picture.h"
#include "tests/support/test_scene.h"

// MPEG-4 streams for tests and benches, made by libavcodec's encoder on the spot, and libavcodec's decoder as
// the oracle and the peer.

/// One coded picture with the headers before it.
using Mpeg4Packet = std::vector<uint8_t>;

struct Mpeg4StreamShape {
    int width = 176;
    int height = 144;
    int frames = 10;
    int gop = 250;  ///< pictures from I to I
    int quant = 4;
    ETestScene scene = ETestScene::Surveillance;
    bool b4Mv = false;
    bool acPred = false;
    bool varyQuant = false;  ///< another quant for many macroblocks
    uint32_t seed = 1;
    int kbit = 0;  ///< a second; 0: every picture takes `quant`
};

/// Encodes a scene: I and P pictures of fcode 1, the rounding bit of every P picture set to 0.
std::vector<Mpeg4Packet> EncodeMpeg4(const Mpeg4StreamShape& shape);

/// Reads a stream written by scripts/make-test-streams, cut into packets.
std::vector<Mpeg4Packet> ReadMpeg4Stream(const std::string& path);

/// Cuts a stream of start codes into packets, each up to the end of one VOP.
std::vector<Mpeg4Packet> SplitMpeg4Stream(const std::vector<uint8_t>& stream);

/// What the first VOP of a packet tells.
struct Mpeg4VopInfo {
    int codingType = -1;
    int fcode = 0;
    bool rounding = false;
    size_t roundingBit = 0;  ///< its place in the packet, in bits from the start
};
Mpeg4VopInfo ReadVopInfo(const Mpeg4Packet& packet, int timeIncrementBits);

/// libavcodec's decoder on one thread.
class CLavcMpeg4Decoder
{
  public:
    /// Exact takes its bit-exact simple inverse transform, Default what it chooses for speed.
    enum class ETransform { Exact, Default };
    explicit CLavcMpeg4Decoder(ETransform transform = ETransform::Exact);
    ~CLavcMpeg4Decoder();
    CLavcMpeg4Decoder(const CLavcMpeg4Decoder&) = delete;
    CLavcMpeg4Decoder& operator=(const CLavcMpeg4Decoder&) = delete;

    /// False when the packet gave no picture.
    bool Decode(const Mpeg4Packet& packet);
    /// The last picture.
    TestPicture Picture() const;

  private:
    struct State;
    std::unique_ptr<State> m_pState;
};
