#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Bins that the test encoder coded with the contexts of a slice, each context with a probability of its own.
struct H264CodedBins {
    std::vector<uint8_t> bytes;  ///< with padding after them
    size_t size = 0;             ///< without it
    std::vector<uint16_t> contexts;
    std::vector<uint8_t> start;  ///< states of the contexts
    uint32_t set = 0;            ///< how many of the bins are 1
};

/// \returns how many bins are 1, by an Engine that is made from the bins and has Bin(context).
template <class Engine>
uint32_t DecodeBins(const H264CodedBins& coded)
{
    uint8_t contexts[460];
    std::copy(coded.start.begin(), coded.start.end(), contexts);
    Engine engine(coded);
    uint32_t set = 0;
    for (const uint16_t context : coded.contexts)
        set += static_cast<uint32_t>(engine.Bin(contexts + context));
    return set;
}

uint32_t DecodeMasked(const H264CodedBins& coded);
uint32_t DecodeBranching(const H264CodedBins& coded);
