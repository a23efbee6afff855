#pragma once

#include <cstdint>
#include <string_view>

// Tables of ITU-T H.264 that the test encoder writes by, typed apart from the decoder's own: each side is the
// other's check, and libavcodec is both sides'.

/// Table 8-15: QPC by qPI, from 0 on.
extern const uint8_t H264_CHROMA_QP[52];

/// 8.5.9 with flat matrices: the factor of the k-th coefficient in zig-zag order, sixteen of LevelScale4x4.
int H264LevelScale(int qp, int k);

/// Table 9-4: coded_block_pattern by codeNum, for intra 4x4 and for inter.
extern const uint8_t H264_CBP_INTRA[48];
extern const uint8_t H264_CBP_INTER[48];

/// Table 9-5 for nC 0, 2 and 4, by [total_coeff][trailing ones]; empty where there is no code.
extern const std::string_view H264_COEFF_TOKEN[3][17][4];
/// Table 9-5 for the DC levels of chroma.
extern const std::string_view H264_COEFF_TOKEN_CHROMA_DC[5][4];
/// Tables 9-7 and 9-8 by [tzVlcIndex - 1][total_zeros].
extern const std::string_view H264_TOTAL_ZEROS[15][16];
/// Table 9-9 (a) by [tzVlcIndex - 1][total_zeros].
extern const std::string_view H264_TOTAL_ZEROS_CHROMA_DC[3][4];
/// Table 9-10 by [zerosLeft - 1, 7 and above alike][run_before].
extern const std::string_view H264_RUN_BEFORE[7][15];

/// Tables 9-12 to 9-23: m and n of the contexts that frames without the 8x8 transform use.
inline constexpr int H264_CONTEXTS = 277;
struct H264ContextStart {
    int8_t m;
    int8_t n;
};
extern const H264ContextStart H264_CONTEXT_START_I[H264_CONTEXTS];
extern const H264ContextStart H264_CONTEXT_START_P[3][H264_CONTEXTS];

/// Table 9-44 by [pStateIdx][qCodIRangeIdx].
extern const uint8_t H264_RANGE_LPS[64][4];
/// Table 9-45: the state after a less probable symbol.
extern const uint8_t H264_NEXT_STATE_LPS[64];
