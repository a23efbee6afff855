// The code tables of the H.264 decoder's variable-length entropy coding (ITU-T H.264 9.1.2, 9.2), laid out for
// look-up: each entry is found by the number of leading zeros or by the next bits, and holds length and value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Table 9-4 for 4:2:0: coded_block_pattern by codeNum, [0] for intra 4x4, [1] for inter.
extern const uint8_t C264_CBP_OF_CODE[2][48];

/// A coeff_token: its length in bits, TotalCoeff and TrailingOnes.
struct c264_token {
    uint8_t length;
    uint8_t total;
    uint8_t ones;
};

/// Table 9-5 for nC below 2, below 4, below 8 and for chroma DC, by 8 x leading zeros (at most 15) + the three
/// bits after the first one. What is no code has no coefficients.
using c264_token_table = std::array<c264_token, 128>;
extern const std::array<c264_token_table, 4> C264_TOKENS;
inline constexpr int C264_TOKENS_CHROMA_DC = 3;

/// A code of at most 9 bits: length in the upper four bits, value in the lower four.
struct c264_short_codes {
    uint16_t first;  ///< place in `entries` of C264_TOTAL_ZEROS
    uint8_t bits;    ///< length of the longest code
};

/// Tables 9-7 and 9-8 by TotalCoeff 1 to 15, then Table 9-9 (a) by TotalCoeff 1 to 3.
struct c264_total_zeros_table {
    c264_short_codes luma[16];
    c264_short_codes chroma_dc[4];
    uint8_t entries[1200];
};
extern const c264_total_zeros_table C264_TOTAL_ZEROS;

/// Table 9-10 by zerosLeft 1 to 6 and the next three bits; from 7 on, the row 7 serves unless the three bits
/// are 0.
extern const std::array<std::array<uint8_t, 8>, 8> C264_RUN_BEFORE;
