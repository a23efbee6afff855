// The arithmetic decoder alone, compiled as the decoder's own step for these instructions is.
#if defined(__x86_64__)

#define C264_STEP h264_engine_bench

#include "bench/h264_engine_bins.h"
#include "codec/c264/c264_slice_cabac.h"

namespace
{
/// The decoder's engine with a branch on the bin, or without one.
template <bool BRANCH>
struct CEngine {
    explicit CEngine(const H264CodedBins& coded)
    {
        engine.start(coded.bytes.data(), coded.bytes.data() + coded.size);
    }
    int Bin(uint8_t* context) { return BRANCH ? engine.likely_bin(context) : engine.bin(context); }
    C264_STEP::cabac_engine engine;
};
}  // namespace

uint32_t DecodeMasked(const H264CodedBins& coded)
{
    return DecodeBins<CEngine<false>>(coded);
}

uint32_t DecodeBranching(const H264CodedBins& coded)
{
    return DecodeBins<CEngine<true>>(coded);
}

#endif
