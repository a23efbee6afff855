#include "codec/c264/c264_cavlc_tables.h"

#include <span>

const uint8_t C264_CBP_OF_CODE[2][48] = {
    {47, 31, 15, 0,  23, 27, 29, 30, 7, 11, 13, 14, 39, 43, 45, 46, 16, 3,  5,  10, 12, 19, 21, 26,
     28, 35, 37, 42, 44, 1,  2,  4,  8, 17, 18, 20, 24, 6,  9,  22, 25, 32, 33, 34, 36, 40, 38, 41},
    {0,  16, 1,  2,  4,  8,  32, 3,  5,  10, 12, 15, 47, 7,  11, 13, 14, 6,  9,  31, 35, 37, 42, 44,
     33, 34, 36, 40, 39, 43, 45, 46, 17, 18, 20, 24, 19, 21, 26, 28, 23, 27, 29, 30, 22, 25, 38, 41}};

namespace
{
/// Length and bits of every coeff_token of one class, by TrailingOnes and TotalCoeff; length 0: no code.
struct token_codes {
    uint8_t length[4][17];
    uint8_t bits[4][17];
};

// Table 9-5
constexpr token_codes TOKEN_CODES[4] = {{{{1, 6, 8, 9, 10, 11, 13, 13, 13, 14, 14, 15, 15, 16, 16, 16, 16},
                                          {0, 2, 6, 8, 9, 10, 11, 13, 13, 14, 14, 15, 15, 15, 16, 16, 16},
                                          {0, 0, 3, 7, 8, 9, 10, 11, 13, 13, 14, 14, 15, 15, 16, 16, 16},
                                          {0, 0, 0, 5, 6, 7, 8, 9, 10, 11, 13, 14, 14, 15, 15, 16, 16}},
                                         {{1, 5, 7, 7, 7, 7, 15, 11, 8, 15, 11, 15, 11, 15, 11, 7, 4},
                                          {0, 1, 4, 6, 6, 6, 6, 14, 10, 14, 10, 14, 10, 1, 14, 10, 6},
                                          {0, 0, 1, 5, 5, 5, 5, 5, 13, 9, 13, 9, 13, 9, 13, 9, 5},
                                          {0, 0, 0, 3, 3, 4, 4, 4, 4, 4, 12, 12, 8, 12, 8, 12, 8}}},
                                        {{{2, 6, 6, 7, 8, 8, 9, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14},
                                          {0, 2, 5, 6, 6, 7, 8, 9, 11, 11, 12, 12, 13, 13, 14, 14, 14},
                                          {0, 0, 3, 6, 6, 7, 8, 9, 11, 11, 12, 12, 13, 13, 13, 14, 14},
                                          {0, 0, 0, 4, 4, 5, 6, 6, 7, 9, 11, 11, 12, 13, 13, 13, 14}},
                                         {{3, 11, 7, 7, 7, 4, 7, 15, 11, 15, 11, 8, 15, 11, 7, 9, 7},
                                          {0, 2, 7, 10, 6, 6, 6, 6, 14, 10, 14, 10, 14, 10, 11, 8, 6},
                                          {0, 0, 3, 9, 5, 5, 5, 5, 13, 9, 13, 9, 13, 9, 6, 10, 5},
                                          {0, 0, 0, 5, 4, 6, 8, 4, 4, 4, 12, 8, 12, 12, 8, 1, 4}}},
                                        {{{4, 6, 6, 6, 7, 7, 7, 7, 8, 8, 9, 9, 9, 10, 10, 10, 10},
                                          {0, 4, 5, 5, 5, 5, 6, 6, 7, 8, 8, 9, 9, 9, 10, 10, 10},
                                          {0, 0, 4, 5, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 10},
                                          {0, 0, 0, 4, 4, 4, 4, 4, 5, 6, 7, 8, 8, 9, 10, 10, 10}},
                                         {{15, 15, 11, 8, 15, 11, 9, 8, 15, 11, 15, 11, 8, 13, 9, 5, 1},
                                          {0, 14, 15, 12, 10, 8, 14, 10, 14, 14, 10, 14, 10, 7, 12, 8, 4},
                                          {0, 0, 13, 14, 11, 9, 13, 9, 13, 10, 13, 9, 13, 9, 11, 7, 3},
                                          {0, 0, 0, 12, 11, 10, 9, 8, 13, 12, 12, 12, 8, 12, 10, 6, 2}}},
                                        {{{2, 6, 6, 6, 6}, {0, 1, 6, 7, 8}, {0, 0, 3, 7, 8}, {0, 0, 0, 6, 7}},
                                         {{1, 7, 4, 3, 2}, {0, 1, 6, 3, 3}, {0, 0, 1, 2, 2}, {0, 0, 0, 5, 0}}}};

constexpr int leading_zeros(unsigned bits, int length)
{
    int zeros = length;
    for (; bits != 0; bits >>= 1)
        --zeros;
    return zeros;
}

/// Enters a code at all places of its number of leading zeros that the bits after its first one fit.
constexpr void enter(c264_token_table* table, unsigned bits, int length, c264_token token)
{
    // a code of zeros alone is entered at every place with as many zeros or more
    if (bits == 0) {
        for (int place = 8 * length; place < 128; ++place)
            (*table)[static_cast<size_t>(place)] = token;
        return;
    }
    const int zeros = leading_zeros(bits, length);
    const int behind = length - zeros - 1;
    const unsigned tail = bits & ((1u << behind) - 1);
    for (unsigned rest = 0; rest < 1u << (3 - behind); ++rest)
        (*table)[static_cast<size_t>(8 * zeros) + (tail << (3 - behind) | rest)] = token;
}

constexpr std::array<c264_token_table, 4> token_tables()
{
    std::array<c264_token_table, 4> tables{};
    for (size_t kind = 0; kind < 4; ++kind) {
        tables[kind].fill({16, 0, 0});
        for (uint8_t ones = 0; ones < 4; ++ones) {
            for (uint8_t total = 0; total < 17; ++total) {
                const uint8_t length = TOKEN_CODES[kind].length[ones][total];
                if (length != 0)
                    enter(&tables[kind], TOKEN_CODES[kind].bits[ones][total], length, {length, total, ones});
            }
        }
    }
    return tables;
}

struct zeros_codes {
    uint8_t count;
    uint8_t length[16];
    uint8_t bits[16];
};

// Tables 9-7, 9-8, then 9-9 (a)
constexpr zeros_codes ZEROS_CODES[18] = {
    {16, {1, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 9}, {1, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 1}},
    {15, {3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 6, 6, 6, 6}, {7, 6, 5, 4, 3, 5, 4, 3, 2, 3, 2, 3, 2, 1, 0}},
    {14, {4, 3, 3, 3, 4, 4, 3, 3, 4, 5, 5, 6, 5, 6}, {5, 7, 6, 5, 4, 3, 4, 3, 2, 3, 2, 1, 1, 0}},
    {13, {5, 3, 4, 4, 3, 3, 3, 4, 3, 4, 5, 5, 5}, {3, 7, 5, 4, 6, 5, 4, 3, 3, 2, 2, 1, 0}},
    {12, {4, 4, 4, 3, 3, 3, 3, 3, 4, 5, 4, 5}, {5, 4, 3, 7, 6, 5, 4, 3, 2, 1, 1, 0}},
    {11, {6, 5, 3, 3, 3, 3, 3, 3, 4, 3, 6}, {1, 1, 7, 6, 5, 4, 3, 2, 1, 1, 0}},
    {10, {6, 5, 3, 3, 3, 2, 3, 4, 3, 6}, {1, 1, 5, 4, 3, 3, 2, 1, 1, 0}},
    {9, {6, 4, 5, 3, 2, 2, 3, 3, 6}, {1, 1, 1, 3, 3, 2, 2, 1, 0}},
    {8, {6, 6, 4, 2, 2, 3, 2, 5}, {1, 0, 1, 3, 2, 1, 1, 1}},
    {7, {5, 5, 3, 2, 2, 2, 4}, {1, 0, 1, 3, 2, 1, 1}},
    {6, {4, 4, 3, 3, 1, 3}, {0, 1, 1, 2, 1, 3}},
    {5, {4, 4, 2, 1, 3}, {0, 1, 1, 1, 1}},
    {4, {3, 3, 1, 2}, {0, 1, 1, 1}},
    {3, {2, 2, 1}, {0, 1, 1}},
    {2, {1, 1}, {0, 1}},
    {4, {1, 2, 3, 3}, {1, 1, 1, 0}},
    {3, {1, 2, 2}, {1, 1, 0}},
    {2, {1, 1}, {1, 0}}};

/// Enters each code at all places that begin with it.
constexpr void enter_all(std::span<uint8_t> places, int bits, const zeros_codes& codes)
{
    for (int value = 0; value < codes.count; ++value) {
        const int rest = bits - codes.length[value];
        const size_t first = static_cast<size_t>(codes.bits[value]) << rest;
        for (size_t place = first; place < first + (size_t{1} << rest); ++place)
            places[place] = static_cast<uint8_t>(codes.length[value] << 4 | value);
    }
}

constexpr c264_total_zeros_table total_zeros()
{
    c264_total_zeros_table table{};
    size_t used = 0;
    for (size_t row = 0; row < 18; ++row) {
        uint8_t bits = 0;
        for (int value = 0; value < ZEROS_CODES[row].count; ++value)
            bits = ZEROS_CODES[row].length[value] > bits ? ZEROS_CODES[row].length[value] : bits;
        const c264_short_codes codes = {static_cast<uint16_t>(used), bits};
        (row < 15 ? table.luma[row + 1] : table.chroma_dc[row - 14]) = codes;
        const size_t places = size_t{1} << bits;
        for (size_t place = used; place < used + places; ++place)
            table.entries[place] = static_cast<uint8_t>(bits << 4);  // what is no code has no zeros
        enter_all(std::span(table.entries).subspan(used, places), bits, ZEROS_CODES[row]);
        used += places;
    }
    return table;
}

// Table 9-10
constexpr zeros_codes RUN_CODES[7] = {{2, {1, 1}, {1, 0}},
                                      {3, {1, 2, 2}, {1, 1, 0}},
                                      {4, {2, 2, 2, 2}, {3, 2, 1, 0}},
                                      {5, {2, 2, 2, 3, 3}, {3, 2, 1, 1, 0}},
                                      {6, {2, 2, 3, 3, 3, 3}, {3, 2, 3, 2, 1, 0}},
                                      {7, {2, 3, 3, 3, 3, 3, 3}, {3, 0, 1, 3, 2, 5, 4}},
                                      {7, {3, 3, 3, 3, 3, 3, 3}, {7, 6, 5, 4, 3, 2, 1}}};

constexpr std::array<std::array<uint8_t, 8>, 8> run_before()
{
    std::array<std::array<uint8_t, 8>, 8> table{};
    for (size_t row = 0; row < 7; ++row)
        enter_all(table[row + 1], 3, RUN_CODES[row]);
    return table;
}
}  // namespace

constexpr std::array<c264_token_table, 4> C264_TOKENS = token_tables();
constexpr c264_total_zeros_table C264_TOTAL_ZEROS = total_zeros();
constexpr std::array<std::array<uint8_t, 8>, 8> C264_RUN_BEFORE = run_before();
