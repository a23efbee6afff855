// The variable length codes and scans of ISO/IEC 14496-2 as the MPEG-4 decoder looks them up. All tables are
// built at compile time.
#pragma once

#include <array>
#include <cstdint>

/// A plain code: its length in bits (0: no such code) and what it stands for.
struct mpeg4_code {
    int8_t length;
    int8_t value;
};

/// Table B-6 by the next 6 bits. The value has the macroblock type in bits 0 to 2 and the chroma pattern from
/// bit 4 up.
extern const std::array<mpeg4_code, 64> mpeg4_mcbpc_intra;

/// Table B-7 by the next 9 bits, where everything from 256 up is the code "1".
extern const std::array<mpeg4_code, 257> mpeg4_mcbpc_inter;

/// The stuffing code of both, 9 bits.
inline constexpr uint32_t MPEG4_MCBPC_STUFFING = 1;

/// Table B-8, the intra sense, by the next 6 bits.
extern const std::array<mpeg4_code, 64> mpeg4_cbpy;

/// Table B-12 in half samples and with the sign, by the next 8 bits when the first 4 aren't all zero ...
extern const std::array<mpeg4_code, 256> mpeg4_mvd_short;
/// ... and by the next 13 bits when they are.
extern const std::array<mpeg4_code, 512> mpeg4_mvd_long;

/// Tables B-13 and B-14: the size of the DC difference by the next 12 bits.
extern const std::array<std::array<mpeg4_code, 4096>, 2 /* luma, chroma */> mpeg4_dc_size;

/// An entry of the run-level tables: what one code makes of the position in the scan.
struct mpeg4_run_level {
    int8_t level;    ///< without its sign; 0: no such code, or an escape
    uint8_t length;  ///< bits, the sign's among them; 0: no such code, or an escape
    uint8_t step;    ///< run + 1, and MPEG4_LAST_STEP more on the block's last code
    uint8_t reserved;
};

/// Above every position that codes without the last flag lead to.
inline constexpr int MPEG4_LAST_STEP = 128;

/// Tables B-16 and B-17 by the next 12 bits.
extern const std::array<std::array<mpeg4_run_level, 4096>, 2 /* intra, inter */> mpeg4_run_level_codes;

/// What the next 12 bits hold of whole run-level codes, their signs among them: up to two, the second one only
/// after a first without the last flag.
struct mpeg4_run_level_pair {
    uint32_t packed;
    /// Bits of both; 0: an escape, no code, or one of 13 bits.
    constexpr int length() const { return static_cast<int>(packed & 15); }
    /// As in mpeg4_run_level; the second one's is 0 when there is no second code.
    constexpr int first_step() const { return static_cast<int>(packed >> 4 & 255); }
    constexpr int second_step() const { return static_cast<int>(packed >> 18 & 255); }
    /// MPEG4_PAIR_ZERO + the level with its sign.
    constexpr uint32_t first_level() const { return packed >> 12 & 63; }
    constexpr uint32_t second_level() const { return packed >> 26; }
};

/// What stands for the level 0 in a pair, and the number of values a level of a pair has.
inline constexpr int MPEG4_PAIR_ZERO = 32;
inline constexpr int MPEG4_PAIR_LEVELS = 64;

/// mpeg4_run_level_codes two at a time, by the same 12 bits.
extern const std::array<std::array<mpeg4_run_level_pair, 4096>, 2 /* intra, inter */> mpeg4_run_level_pairs;

/// The code that all three forms of escape begin with, 7 bits.
inline constexpr uint32_t MPEG4_ESCAPE = 3;

/// Tables B-19 to B-22: the largest level of a run and the largest run of a level that have codes of their own,
/// 0 where there is none.
struct mpeg4_escape_limits {
    uint8_t max_level[2 /* last */][64 /* run */];
    uint8_t max_run[2 /* last */][32 /* level */];
};
extern const std::array<mpeg4_escape_limits, 2 /* intra, inter */> mpeg4_escapes;

/// Figure 7-3: position in the block (8 x row + column) by position in the scan.
enum mpeg4_scan_kind { MPEG4_SCAN_ZIGZAG, MPEG4_SCAN_HORIZONTAL, MPEG4_SCAN_VERTICAL };
extern const std::array<std::array<uint8_t, 64>, 3> mpeg4_scan_raster;

/// The order in which a block's coefficients lie in memory. The inverse transform takes two columns of the same
/// row as a pair, columns (0,4), (2,6), (1,3), (5,7), and in each group the rows 0, 4, 2, 6, 1, 3, 5, 7: so no
/// vector kernel has to rearrange what it loads.
constexpr int mpeg4_coefficient_index(int row, int column)
{
    constexpr uint8_t group[8] = {0, 2, 1, 2, 0, 3, 1, 3};
    constexpr uint8_t half[8] = {0, 0, 0, 1, 1, 0, 1, 1};
    constexpr uint8_t lane[8] = {0, 4, 2, 5, 1, 6, 3, 7};
    return group[column] * 16 + lane[row] * 2 + half[column];
}

/// mpeg4_scan_raster in this order: index of the coefficient by position in the scan.
extern const std::array<std::array<uint8_t, 64>, 3> mpeg4_scan;
