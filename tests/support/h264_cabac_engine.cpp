#include "tests/support/h264_cabac_engine.h"

#include <algorithm>

CH264CabacEngine::CH264CabacEngine(const H264ContextStart* start, int slice_qp, CH264Bits* bits) : m_Bits(*bits)
{
    for (int i = 0; i < H264_CONTEXTS; ++i) {
        const int state = std::clamp((start[i].m * std::clamp(slice_qp, 0, 51) >> 4) + start[i].n, 1, 126);
        m_Contexts[i] = {static_cast<uint8_t>(state <= 63 ? 63 - state : state - 64), state > 63, 0};
    }
}

void CH264CabacEngine::Decision(int context, bool bin)
{
    Context& c = m_Contexts[context];
    ++c.uses;
    const uint32_t lps = H264_RANGE_LPS[c.state][m_ulRange >> 6 & 3];
    m_ulRange -= lps;
    if (bin != c.mostProbable) {
        m_ulLow += m_ulRange;
        m_ulRange = lps;
        if (c.state == 0) c.mostProbable = !c.mostProbable;
        c.state = H264_NEXT_STATE_LPS[c.state];
    } else if (c.state < 62) {
        ++c.state;
    }
    Renormalise();
}

void CH264CabacEngine::Bypass(bool bin)
{
    m_ulLow <<= 1;
    if (bin) m_ulLow += m_ulRange;
    if (m_ulLow >= 1024) {
        PutBit(true);
        m_ulLow -= 1024;
    } else if (m_ulLow < 512) {
        PutBit(false);
    } else {
        m_ulLow -= 512;
        ++m_ulOutstanding;
    }
}

void CH264CabacEngine::Terminate(bool bin)
{
    m_ulRange -= 2;
    if (!bin) {
        Renormalise();
        return;
    }
    m_ulLow += m_ulRange;
    m_ulRange = 2;
    Renormalise();
    PutBit((m_ulLow >> 9 & 1) != 0);
    // the second of these bits is rbsp_stop_one_bit
    m_Bits.Bits((m_ulLow >> 7 & 3) | 1, 2);
}

void CH264CabacEngine::Renormalise()
{
    for (; m_ulRange < 256; m_ulRange <<= 1, m_ulLow <<= 1) {
        if (m_ulLow < 256) {
            PutBit(false);
        } else if (m_ulLow >= 512) {
            m_ulLow -= 512;
            PutBit(true);
        } else {
            m_ulLow -= 256;
            ++m_ulOutstanding;
        }
    }
}

void CH264CabacEngine::PutBit(bool bit)
{
    if (m_bFirst)
        m_bFirst = false;
    else
        m_Bits.Bit(bit);
    for (; m_ulOutstanding > 0; --m_ulOutstanding)
        m_Bits.Bit(!bit);
}
