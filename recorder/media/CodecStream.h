#pragma once

#include <memory>

#include "recorder/media/H264Encoder.h"
#include "recorder/media/Mpeg4Encoder.h"
#include "recorder/media/RateControl.h"

namespace recorder
{

// What a client's buffer for one stream message holds, the 4 bytes of its header word included.
inline constexpr size_t MAX_MESSAGE_BYTES = 101376;
// One coded picture on the data port, as large as what a client's decoder takes at once.
inline constexpr size_t MAX_H264_BYTES = 262136;

struct XStreamSetup {
    int m_iRate = 25;
    int64_t m_iBitRate = 1'500'000;  // bits a second
    int m_iGroup = 25;               // pictures from key to key
    EMotion m_Motion = EMotion::Half;
    EEntropy m_Entropy = EEntropy::Cabac;
    std::string m_strPreset = H264_PRESET;        // of H.264
    EChecksum m_Checksum = EChecksum::None;       // of H.264
    size_t m_ulMaxBytes = MAX_MESSAGE_BYTES - 4;  // of one coded picture of MPEG-4
};

struct XChannelCounts {
    uint64_t m_ulPictures = 0;
    uint64_t m_ulKeys = 0;
    uint64_t m_ulBytes = 0;
    uint64_t m_ulLargest = 0;   // bytes
    uint64_t m_ulCoarser = 0;   // too large at first and encoded again
    uint64_t m_ulTooLarge = 0;  // dropped, since no quantiser made them small enough
    uint64_t m_ulSkipped = 0;   // not made in time
    int m_iQuant = 0;           // of the latest

    void Add(const XCoded& coded);
};

// Encoder and rate control of one codec. One thread at a time.
class ICodecStream
{
  public:
    virtual ~ICodecStream() = default;
    // The coded picture; nothing when it could not be made small enough. Numbers only grow.
    virtual std::shared_ptr<const XCoded> Make(const XPicture& picture, int64_t iPicture, bool bKey) = 0;
    // The next picture begins a stream of its own, as after a time in which nothing was encoded.
    virtual void Restart() = 0;
    virtual const XChannelCounts& Counts() const = 0;
};

std::unique_ptr<ICodecStream> MakeCodecStream(ECodec codec, const XStreamSetup& setup);

}  // namespace recorder
