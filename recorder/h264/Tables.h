#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The numbers of the two entropy codings (ITU-T H.264 9.1 to 9.3), as far as frames of I and P slices without
// the 8x8 transform need them.
namespace recorder::h264
{

/// Table 9-4 for 4:2:0: coded_block_pattern by codeNum, [0] for intra 4x4, [1] for inter.
extern const uint8_t CBP_OF_CODE[2][48];

/// Length and bits of every coeff_token of one class, by TrailingOnes and TotalCoeff; length 0: no code.
struct TokenCodes {
    uint8_t length[4][17];
    uint8_t bits[4][17];
};
/// Table 9-5 for nC below 2, below 4, below 8, and for chroma DC.
extern const TokenCodes TOKEN_CODES[4];

/// Codes by their values.
struct ValueCodes {
    uint8_t count;
    uint8_t length[16];
    uint8_t bits[16];
};
/// Tables 9-7 and 9-8 by TotalCoeff from 1 on, then Table 9-9 (a) likewise.
extern const ValueCodes ZEROS_CODES[18];
inline constexpr size_t ZEROS_CHROMA_DC = 15;
/// Table 9-10 by zerosLeft from 1 on, the last for 7 and more: longer codes follow by a rule.
extern const ValueCodes RUN_CODES[7];

inline constexpr size_t CONTEXTS = 276;
struct ContextStart {
    int8_t m;
    int8_t n;
};
/// Tables 9-12 to 9-22: [0] for I slices, then by cabac_init_idc. Zeros for contexts of other slices.
extern const std::array<std::array<ContextStart, 4>, CONTEXTS> CONTEXT_STARTS;
/// Table 9-44
extern const uint8_t RANGE_LPS[64][4];
/// Table 9-45 after the less probable symbol; after the more probable one it is the next, up to 62.
extern const uint8_t NEXT_LPS[64];

}  // namespace recorder::h264
