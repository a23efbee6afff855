#pragma once

#include <cstddef>
#include <cstdint>

#include "tests/support/h264_bits.h"
#include "tests/support/h264_tables.h"

/// The arithmetic encoder of 9.3.4 with its contexts.
class CH264CabacEngine
{
  public:
    /// Clause 9.3.1.1 for a slice; the bits must stand on a byte boundary.
    CH264CabacEngine(const H264ContextStart* start, int slice_qp, CH264Bits* bits);

    void Decision(int context, bool bin);
    void Bypass(bool bin);
    /// end_of_slice_flag, and the second bin of an intra 16x16 mb_type. True ends the slice with its stop bit.
    void Terminate(bool bin);

    /// How often a context was used.
    uint32_t Uses(size_t context) const { return m_Contexts[context].uses; }

  private:
    struct Context {
        uint8_t state;
        bool mostProbable;
        uint32_t uses;
    };

    void Renormalise();
    void PutBit(bool bit);

    Context m_Contexts[H264_CONTEXTS];
    CH264Bits& m_Bits;
    uint32_t m_ulLow = 0;
    uint32_t m_ulRange = 510;
    uint32_t m_ulOutstanding = 0;
    bool m_bFirst = true;
};
