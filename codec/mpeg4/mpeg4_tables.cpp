#include "codec/mpeg4/mpeg4_tables.h"

#include <array>
#include <cstddef>

namespace
{
// The codes stand here as the standard prints them, as texts of zeros and ones, and are spread over the lookup
// tables at compile time.

struct code_row {
    int8_t value;
    const char* code;
};

constexpr int text_length(const char* code)
{
    int length = 0;
    while (code[length] == '0' || code[length] == '1')
        ++length;
    return length;
}

constexpr int text_value(const char* code)
{
    int value = 0;
    for (int i = 0; i < text_length(code); ++i)
        value = value * 2 + (code[i] - '0');
    return value;
}

/// Writes `entry` wherever an index of `width` bits begins with the code, as far as the table goes.
template <class Entry, size_t Size>
constexpr void spread(std::array<Entry, Size>& table, int width, int value, int length, Entry entry)
{
    const size_t first = static_cast<size_t>(value) << (width - length);
    const size_t count = size_t{1} << (width - length);
    for (size_t i = first; i < first + count && i < Size; ++i)
        table[i] = entry;
}

template <size_t Size, size_t Rows>
constexpr std::array<mpeg4_code, Size> spread_codes(const code_row (&rows)[Rows], int width)
{
    std::array<mpeg4_code, Size> table = {};
    for (const code_row& row : rows)
        spread(table, width, text_value(row.code), text_length(row.code),
               mpeg4_code{static_cast<int8_t>(text_length(row.code)), row.value});
    return table;
}

constexpr int8_t mcbpc(int type, int chroma_pattern)
{
    return static_cast<int8_t>(type | chroma_pattern << 4);
}

// Table B-6
constexpr code_row mcbpc_intra_rows[] = {
    {mcbpc(3, 0), "1"},    {mcbpc(3, 1), "001"},    {mcbpc(3, 2), "010"},    {mcbpc(3, 3), "011"},
    {mcbpc(4, 0), "0001"}, {mcbpc(4, 1), "000001"}, {mcbpc(4, 2), "000010"}, {mcbpc(4, 3), "000011"},
};

// Table B-7
constexpr code_row mcbpc_inter_rows[] = {
    {mcbpc(0, 0), "1"},      {mcbpc(0, 1), "0011"},      {mcbpc(0, 2), "0010"},      {mcbpc(0, 3), "000101"},
    {mcbpc(1, 0), "011"},    {mcbpc(1, 1), "0000111"},   {mcbpc(1, 2), "0000110"},   {mcbpc(1, 3), "000000101"},
    {mcbpc(2, 0), "010"},    {mcbpc(2, 1), "0000101"},   {mcbpc(2, 2), "0000100"},   {mcbpc(2, 3), "00000101"},
    {mcbpc(3, 0), "00011"},  {mcbpc(3, 1), "00000100"},  {mcbpc(3, 2), "00000011"},  {mcbpc(3, 3), "0000011"},
    {mcbpc(4, 0), "000100"}, {mcbpc(4, 1), "000000100"}, {mcbpc(4, 2), "000000011"}, {mcbpc(4, 3), "000000010"},
};

// Table B-8, the intra column
constexpr code_row cbpy_rows[] = {
    {0, "0011"},   {1, "00101"}, {2, "00100"}, {3, "1001"},   {4, "00011"}, {5, "0111"},
    {6, "000010"}, {7, "1011"},  {8, "00010"}, {9, "000011"}, {10, "0101"}, {11, "1010"},
    {12, "0100"},  {13, "1000"}, {14, "0110"}, {15, "11"},
};

// Table B-12: the codes of the magnitudes 0 to 32; all but the first are followed by the sign
constexpr const char* mvd_codes[33] = {
    "1",           "01",          "001",         "0001",         "000011",       "0000101",     "0000100",
    "0000011",     "000001011",   "000001010",   "000001001",    "0000010001",   "0000010000",  "0000001111",
    "0000001110",  "0000001101",  "0000001100",  "0000001011",   "0000001010",   "0000001001",  "0000001000",
    "0000000111",  "0000000110",  "0000000101",  "0000000100",   "00000000111",  "00000000110", "00000000101",
    "00000000100", "00000000011", "00000000010", "000000000011", "000000000010",
};

/// The vector difference codes by `Width` bits; codes that are longer are left out.
template <size_t Size, int Width>
constexpr std::array<mpeg4_code, Size> spread_mvd()
{
    std::array<mpeg4_code, Size> table = {};
    spread(table, Width, 1, 1, mpeg4_code{1, 0});
    for (int magnitude = 1; magnitude <= 32; ++magnitude) {
        const char* const code = mvd_codes[magnitude];
        const int length = text_length(code) + 1;
        if (length > Width) continue;
        const int value = text_value(code) * 2;
        spread(table, Width, value, length,
               mpeg4_code{static_cast<int8_t>(length), static_cast<int8_t>(magnitude)});
        spread(table, Width, value + 1, length,
               mpeg4_code{static_cast<int8_t>(length), static_cast<int8_t>(-magnitude)});
    }
    return table;
}

// Tables B-13 and B-14
constexpr code_row dc_size_luma_rows[] = {
    {0, "011"},        {1, "11"},          {2, "10"},           {3, "010"},     {4, "001"},
    {5, "0001"},       {6, "00001"},       {7, "000001"},       {8, "0000001"}, {9, "00000001"},
    {10, "000000001"}, {11, "0000000001"}, {12, "00000000001"},
};
constexpr code_row dc_size_chroma_rows[] = {
    {0, "11"},
    {1, "10"},
    {2, "01"},
    {3, "001"},
    {4, "0001"},
    {5, "00001"},
    {6, "000001"},
    {7, "0000001"},
    {8, "00000001"},
    {9, "000000001"},
    {10, "0000000001"},
    {11, "00000000001"},
    {12, "000000000001"},
};

/// The codes of one run, for the levels from 1 up, each without its sign.
struct run_row {
    int8_t last;
    int8_t run;
    const char* codes;
};

// Table B-16
constexpr run_row intra_rows[] = {
    {0, 0,
     "10 110 1111 01101 01100 010101 010011 010010 0010111 00011111 00011110 00011101 000100101 000100100 "
     "000100011 000100001 0000100001 0000100000 0000001111 0000001110 00000000111 00000000110 00000100000 "
     "00000100001 000001010000 000001010001 000001010010"},
    {0, 1, "1110 010100 0010110 00011100 000100000 000011111 0000001101 00000100010 000001010011 000001010101"},
    {0, 2, "01011 0010101 000011110 0000001100 000001010110"},
    {0, 3, "010001 00011011 000011101 0000001011"},
    {0, 4, "010000 000100010 0000001010"},
    {0, 5, "001101 000011100 0000001000"},
    {0, 6, "0010010 000011011 000001010100"},
    {0, 7, "0010100 000011010 000001010111"},
    {0, 8, "00011001 0000001001"},
    {0, 9, "00011000 00000100011"},
    {0, 10, "00010111"},
    {0, 11, "000011001"},
    {0, 12, "000011000"},
    {0, 13, "0000000111"},
    {0, 14, "000001011000"},
    {1, 0, "0111 001100 00010110 000010111 0000000110 00000000101 00000000100 000001011001"},
    {1, 1, "001111 000010110 0000000101"},
    {1, 2, "001110 0000000100"},
    {1, 3, "0010001 00000100100"},
    {1, 4, "0010000 00000100101"},
    {1, 5, "0010011 000001011010"},
    {1, 6, "00010101 000001011011"},
    {1, 7, "00010100"},
    {1, 8, "00010011"},
    {1, 9, "00011010"},
    {1, 10, "000010101"},
    {1, 11, "000010100"},
    {1, 12, "000010011"},
    {1, 13, "000010010"},
    {1, 14, "000010001"},
    {1, 15, "00000100110"},
    {1, 16, "00000100111"},
    {1, 17, "000001011100"},
    {1, 18, "000001011101"},
    {1, 19, "000001011110"},
    {1, 20, "000001011111"},
};

// Table B-17
constexpr run_row inter_rows[] = {
    {0, 0,
     "10 1111 010101 0010111 00011111 000100101 000100100 0000100001 0000100000 00000000111 00000000110 "
     "00000100000"},
    {0, 1, "110 010100 00011110 0000001111 00000100001 000001010000"},
    {0, 2, "1110 00011101 0000001110 000001010001"},
    {0, 3, "01101 000100011 0000001101"},
    {0, 4, "01100 000100010 000001010010"},
    {0, 5, "01011 0000001100 000001010011"},
    {0, 6, "010011 0000001011 000001010100"},
    {0, 7, "010010 0000001010"},
    {0, 8, "010001 0000001001"},
    {0, 9, "010000 0000001000"},
    {0, 10, "0010110 000001010101"},
    {0, 11, "0010101"},
    {0, 12, "0010100"},
    {0, 13, "00011100"},
    {0, 14, "00011011"},
    {0, 15, "000100001"},
    {0, 16, "000100000"},
    {0, 17, "000011111"},
    {0, 18, "000011110"},
    {0, 19, "000011101"},
    {0, 20, "000011100"},
    {0, 21, "000011011"},
    {0, 22, "000011010"},
    {0, 23, "00000100010"},
    {0, 24, "00000100011"},
    {0, 25, "000001010110"},
    {0, 26, "000001010111"},
    {1, 0, "0111 000011001 00000000101"},
    {1, 1, "001111 00000000100"},
    {1, 2, "001110"},
    {1, 3, "001101"},
    {1, 4, "001100"},
    {1, 5, "0010011"},
    {1, 6, "0010010"},
    {1, 7, "0010001"},
    {1, 8, "0010000"},
    {1, 9, "00011010"},
    {1, 10, "00011001"},
    {1, 11, "00011000"},
    {1, 12, "00010111"},
    {1, 13, "00010110"},
    {1, 14, "00010101"},
    {1, 15, "00010100"},
    {1, 16, "00010011"},
    {1, 17, "000011000"},
    {1, 18, "000010111"},
    {1, 19, "000010110"},
    {1, 20, "000010101"},
    {1, 21, "000010100"},
    {1, 22, "000010011"},
    {1, 23, "000010010"},
    {1, 24, "000010001"},
    {1, 25, "0000000111"},
    {1, 26, "0000000110"},
    {1, 27, "0000000101"},
    {1, 28, "0000000100"},
    {1, 29, "00000100100"},
    {1, 30, "00000100101"},
    {1, 31, "00000100110"},
    {1, 32, "00000100111"},
    {1, 33, "000001011000"},
    {1, 34, "000001011001"},
    {1, 35, "000001011010"},
    {1, 36, "000001011011"},
    {1, 37, "000001011100"},
    {1, 38, "000001011101"},
    {1, 39, "000001011110"},
    {1, 40, "000001011111"},
};

/// Calls visit(last, run, level, code) for each code of the rows.
template <size_t Rows, class Visit>
constexpr void for_each_code(const run_row (&rows)[Rows], Visit visit)
{
    for (const run_row& row : rows) {
        int level = 1;
        const char* code = row.codes;
        for (;;) {
            visit(row.last, row.run, level++, code);
            code += text_length(code);
            if (!*code) break;
            ++code;
        }
    }
}

using run_level_table = std::array<mpeg4_run_level, 4096>;

template <size_t Rows>
constexpr run_level_table spread_run_levels(const run_row (&rows)[Rows])
{
    run_level_table table = {};
    for_each_code(rows, [&table](int last, int run, int level, const char* code) {
        spread(table, 12, text_value(code), text_length(code),
               mpeg4_run_level{static_cast<int8_t>(level), static_cast<uint8_t>(text_length(code) + 1),
                               static_cast<uint8_t>(run + 1 + (last ? MPEG4_LAST_STEP : 0)), 0});
    });
    return table;
}

using run_level_pairs = std::array<mpeg4_run_level_pair, 4096>;

/// The level of the code that `bits`, 12 of them, begin with, as a pair holds it.
constexpr uint32_t pair_level(const mpeg4_run_level& code, size_t bits)
{
    const bool negative = bits >> (12 - code.length) & 1;
    return static_cast<uint32_t>(MPEG4_PAIR_ZERO + (negative ? -code.level : code.level));
}

constexpr run_level_pairs pair_run_levels(const run_level_table& codes)
{
    run_level_pairs pairs = {};
    for (size_t bits = 0; bits < pairs.size(); ++bits) {
        const mpeg4_run_level& first = codes[bits];
        if (first.length == 0 || first.length > 12) continue;
        uint32_t length = first.length;
        uint32_t second_step = 0;
        uint32_t second_level = MPEG4_PAIR_ZERO;
        const size_t rest = bits << length & 4095;
        const mpeg4_run_level& second = codes[rest];
        if (first.step < MPEG4_LAST_STEP && second.length != 0 && length + second.length <= 12) {
            length += second.length;
            second_step = second.step;
            second_level = pair_level(second, rest);
        }
        pairs[bits].packed = length | static_cast<uint32_t>(first.step) << 4 | pair_level(first, bits) << 12 |
                             second_step << 18 | second_level << 26;
    }
    return pairs;
}

template <size_t Rows>
constexpr mpeg4_escape_limits find_limits(const run_row (&rows)[Rows])
{
    mpeg4_escape_limits limits = {};
    for_each_code(rows, [&limits](int last, int run, int level, const char*) {
        uint8_t& max_level = limits.max_level[last][run];
        uint8_t& max_run = limits.max_run[last][level];
        if (level > max_level) max_level = static_cast<uint8_t>(level);
        if (run > max_run) max_run = static_cast<uint8_t>(run);
    });
    return limits;
}

using scan_table = std::array<std::array<uint8_t, 64>, 3>;

// Figure 7-3 and table 7-2
constexpr scan_table scan_raster = {
    {{0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
      41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
      30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63},
     {0,  1,  2,  3,  8,  9,  16, 17, 10, 11, 4,  5,  6,  7,  15, 14, 13, 12, 19, 18, 24, 25,
      32, 33, 26, 27, 20, 21, 22, 23, 28, 29, 30, 31, 34, 35, 40, 41, 48, 49, 42, 43, 36, 37,
      38, 39, 44, 45, 46, 47, 50, 51, 56, 57, 58, 59, 52, 53, 54, 55, 60, 61, 62, 63},
     {0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49, 41, 33, 26, 18, 3,  11,
      4,  12, 19, 27, 34, 42, 50, 58, 35, 43, 51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44,
      52, 60, 37, 45, 53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63}}};

constexpr scan_table reorder_scans()
{
    scan_table scans = {};
    for (size_t kind = 0; kind < 3; ++kind) {
        for (size_t i = 0; i < 64; ++i) {
            const int raster = scan_raster[kind][i];
            scans[kind][i] = static_cast<uint8_t>(mpeg4_coefficient_index(raster / 8, raster % 8));
        }
    }
    return scans;
}
}  // namespace

constexpr std::array<mpeg4_code, 64> mpeg4_mcbpc_intra = spread_codes<64>(mcbpc_intra_rows, 6);
constexpr std::array<mpeg4_code, 257> mpeg4_mcbpc_inter = spread_codes<257>(mcbpc_inter_rows, 9);
constexpr std::array<mpeg4_code, 64> mpeg4_cbpy = spread_codes<64>(cbpy_rows, 6);
constexpr std::array<mpeg4_code, 256> mpeg4_mvd_short = spread_mvd<256, 8>();
constexpr std::array<mpeg4_code, 512> mpeg4_mvd_long = spread_mvd<512, 13>();
constexpr std::array<std::array<mpeg4_code, 4096>, 2> mpeg4_dc_size = {
    spread_codes<4096>(dc_size_luma_rows, 12), spread_codes<4096>(dc_size_chroma_rows, 12)};
constexpr std::array<run_level_table, 2> mpeg4_run_level_codes = {spread_run_levels(intra_rows),
                                                                  spread_run_levels(inter_rows)};
constexpr std::array<run_level_pairs, 2> mpeg4_run_level_pairs = {pair_run_levels(mpeg4_run_level_codes[0]),
                                                                  pair_run_levels(mpeg4_run_level_codes[1])};
constexpr std::array<mpeg4_escape_limits, 2> mpeg4_escapes = {find_limits(intra_rows), find_limits(inter_rows)};
constexpr scan_table mpeg4_scan_raster = scan_raster;
constexpr scan_table mpeg4_scan = reorder_scans();
