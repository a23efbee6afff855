#pragma once

#include <memory>

#include "recorder/media/H264Encoder.h"
#include "recorder/media/Mpeg4Encoder.h"
#include "recorder/media/RateControl.h"

namespace recorder
{

/// What a client's buffer for one stream message holds, the 4 bytes of its header word included.
inline constexpr size_t MAX_MESSAGE_BYTES = 101376;

struct StreamSetup {
    int rate = 25;
    int64_t bitRate = 1'500'000;  // bits a second
    int group = 25;               // pictures from key to key
    EMotion motion = EMotion::Half;
    EEntropy entropy = EEntropy::Cabac;
    std::string preset = H264_PRESET;         // of H.264
    EChecksum checksum = EChecksum::None;     // of H.264
    size_t maxBytes = MAX_MESSAGE_BYTES - 4;  // of one coded picture of MPEG-4
};

struct ChannelCounts {
    uint64_t pictures = 0;
    uint64_t keys = 0;
    uint64_t bytes = 0;
    uint64_t largest = 0;   // bytes
    uint64_t coarser = 0;   // too large at first and encoded again
    uint64_t tooLarge = 0;  // dropped, since no quantiser made them small enough
    uint64_t skipped = 0;   // not made in time
    uint64_t leftOut = 0;   // made, but the network's thread was late
    int quant = 0;          // of the latest

    void Add(const Coded& coded);
};

/// Encoder and rate control of one codec. One thread at a time.
class ICodecStream
{
  public:
    virtual ~ICodecStream() = default;
    /// The coded picture; nothing when it could not be made small enough. Numbers only grow.
    virtual std::shared_ptr<const Coded> Make(const Picture& picture, int64_t pictureNumber, bool key) = 0;
    /// The next picture begins a stream of its own, as after a time in which nothing was encoded.
    virtual void Restart() = 0;
    virtual const ChannelCounts& Counts() const = 0;
};

std::unique_ptr<ICodecStream> MakeCodecStream(ECodec codec, const StreamSetup& setup);

}  // namespace recorder
