// The variable-length entropy decoder of the macroblock layer (ITU-T H.264 9.1, 9.2). Belongs to the step that
// includes it.
#pragma once

#include "codec/c264/c264_cavlc_tables.h"
#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_cabac.h"

namespace C264_STEP
{
inline int leading_zeros(uint64_t nonzero)
{
    return __builtin_clzll(nonzero);
}

/// Reads without a bound: more zeros than one macroblock can use follow the data, and `bound` is called
/// before each macroblock.
struct cavlc_reader {
    const uint8_t* data;
    size_t at;   // the next bit
    size_t end;  // bits of data

    void bound() { at = at < end ? at : end; }

    /// The next 57 bits or more, from the top.
    uint64_t peek() const { return load_be64(data + (at >> 3)) << (at & 7); }

    uint32_t bits(int count)  // 1 to 32
    {
        const uint64_t window = peek();
        at += static_cast<size_t>(count);
        return static_cast<uint32_t>(window >> (64 - count));
    }

    uint32_t ue()
    {
        const uint64_t window = peek();
        // oddity: golomb-too-long; one of more than 31 leading zeros is 0
        if (window >> 32 == 0) {
            at += 32;
            return 0;
        }
        const int zeros = leading_zeros(window);
        if (zeros > 28) [[unlikely]] {
            at += static_cast<size_t>(zeros) + 1;
            return (1u << zeros) - 1 + bits(zeros);
        }
        at += static_cast<size_t>(2 * zeros + 1);
        return static_cast<uint32_t>(window >> (63 - 2 * zeros)) - 1;
    }

    int32_t se()
    {
        const uint32_t code = ue();
        const uint32_t half = (code >> 1) + (code & 1);
        return static_cast<int32_t>(code & 1 ? half : 0 - half);
    }
};

/// What residual blocks have in common, by where their coefficients go.
struct block_shape {
    const uint8_t* places;   // by position in decoding order
    const int16_t* factors;  // by place; null: unscaled
};

inline int16_t scaled(int level, int factor)
{
    return static_cast<int16_t>(static_cast<uint32_t>(level) * static_cast<uint32_t>(factor));
}

struct coefficients {
    int total;
    int ones;
};

/// The bits at hand of a block: those of one peek, counted as they are used.
struct cavlc_window {
    cavlc_reader* reader;
    uint64_t bits;  // from the top
    int used = 0;

    explicit cavlc_window(cavlc_reader* from) : reader(from), bits(from->peek()) {}

    void use(int count)
    {
        bits <<= count;
        used += count;
    }
    void give_back()
    {
        reader->at += static_cast<size_t>(used);
        used = 0;
    }
    void refill()
    {
        give_back();
        bits = reader->peek();
    }
    /// At least `count` bits, at most 57, are there from here on.
    void need(int count)
    {
        if (used > 57 - count) refill();
    }
};

/// 9.2.1 for luma and chroma AC blocks, and with a table of its own for chroma DC.
template <bool CHROMA_DC_BLOCK>
coefficients read_token(cavlc_window* window, int count_class)
{
    if (!CHROMA_DC_BLOCK && count_class >= 8) {
        const auto code = static_cast<int>(window->bits >> 58);
        window->use(6);
        if (code == 3) return {0, 0};
        const int total = (code >> 2) + 1;
        return {total, std::min(code & 3, total)};
    }
    const size_t table = CHROMA_DC_BLOCK    ? C264_TOKENS_CHROMA_DC
                         : count_class >= 4 ? 2
                         : count_class >= 2 ? 1
                                            : 0;
    const int zeros = leading_zeros(window->bits | uint64_t{1} << 48);
    const c264_token token =
        C264_TOKENS[table][static_cast<size_t>(8 * zeros) + (window->bits << (zeros + 1) >> 61)];
    window->use(token.length);
    return {token.total, token.ones};
}

/// A level code with an escape: prefixes of 14 and more.
inline int read_long_level(cavlc_window* window, int suffix_length)
{
    window->refill();
    // a prefix of more than 25 zeros is cut there: no conforming stream has one
    const int prefix = leading_zeros(window->bits | uint64_t{1} << 38);
    window->use(prefix + 1);
    int code = std::min(prefix, 15) << suffix_length;
    int suffix_bits = suffix_length;
    if (prefix == 14 && suffix_length == 0) suffix_bits = 4;
    if (prefix >= 15) {
        suffix_bits = prefix - 3;
        if (suffix_length == 0) code += 15;
        if (prefix >= 16) code += (1 << (prefix - 3)) - 4096;
    }
    code += static_cast<int>(window->bits >> 1 >> (63 - suffix_bits));
    window->use(suffix_bits);
    window->refill();
    return code;
}

/// 9.2.2: levels from the highest frequency down.
inline void read_levels(cavlc_window* window, coefficients count, int* levels)
{
    for (int i = 0; i < 3; ++i)  // those beyond `ones` are written over
        levels[i] = 1 - 2 * static_cast<int>(window->bits >> (63 - i) & 1);
    window->use(count.ones);

    int suffix_length = count.total > 10 && count.ones < 3 ? 1 : 0;
    int offset = count.ones < 3 ? 2 : 0;
    for (int i = count.ones; i < count.total; ++i, offset = 0) {
        window->need(14 + 6);
        const int prefix = leading_zeros(window->bits | 1);
        int code = offset;
        if (prefix < 14) [[likely]] {
            window->use(prefix + 1);
            code += (prefix << suffix_length) + static_cast<int>(window->bits >> 1 >> (63 - suffix_length));
            window->use(suffix_length);
        } else {
            code += read_long_level(window, suffix_length);
        }
        const int sign = -(code & 1);
        const int magnitude = (code + 2) >> 1;
        levels[i] = (magnitude ^ sign) - sign;
        if (suffix_length == 0) suffix_length = 1;
        if (magnitude > 3 << (suffix_length - 1) && suffix_length < 6) ++suffix_length;
    }
}

/// 9.2.4: the runs of zeros put the levels into their places.
template <bool SCALED>
void place_levels(cavlc_window* window, const int* levels, int total, int zeros_left, block_shape shape,
                  int16_t* to)
{
    const auto put = [&](int position, int level) {
        const uint8_t place = shape.places[position];
        to[place] = SCALED ? scaled(level, shape.factors[place]) : static_cast<int16_t>(level);
    };
    int position = total + zeros_left - 1;
    put(position, levels[0]);
    if (zeros_left == 0) {
        for (int i = 1; i < total; ++i)
            put(--position, levels[i]);
        return;
    }
    window->refill();  // all runs of a block are at most 53 bits
    for (int i = 1; i < total; ++i) {
        int run = 0;
        if (zeros_left > 0) {
            int length = 3;
            if (zeros_left > 6 && window->bits >> 61 == 0) {
                const int zeros = leading_zeros(window->bits | uint64_t{1} << 52);
                run = zeros + 4;
                length = zeros + 1;
            } else {
                const uint8_t code =
                    C264_RUN_BEFORE[static_cast<size_t>(std::min(zeros_left, 7))][window->bits >> 61];
                run = code & 15;
                length = code >> 4;
            }
            run = std::min(run, zeros_left);
            window->use(length);
            zeros_left -= run;
        }
        position -= run + 1;
        put(position, levels[i]);
    }
}

/// 9.2.3
inline int read_total_zeros(cavlc_window* window, c264_short_codes codes)
{
    window->need(9);
    const uint8_t code = C264_TOTAL_ZEROS.entries[codes.first + (window->bits >> (64 - codes.bits))];
    window->use(code >> 4);
    return code & 15;
}

/// 7.3.5.3.3 of a block of up to MAX coefficients. `to` holds zeros. \returns how many coefficients it has.
template <int MAX, bool SCALED>
int read_block(cavlc_reader* reader, int count_class, block_shape shape, int16_t* to)
{
    cavlc_window window(reader);
    coefficients count = read_token<MAX == 4>(&window, count_class);
    if (count.total != 0) {
        count.total = std::min(count.total, MAX);
        int levels[16];
        read_levels(&window, count, levels);
        int zeros = 0;
        if (count.total < MAX) {
            zeros = read_total_zeros(&window, MAX == 4 ? C264_TOTAL_ZEROS.chroma_dc[count.total]
                                                       : C264_TOTAL_ZEROS.luma[count.total]);
            zeros = std::min(zeros, MAX - count.total);
        }
        place_levels<SCALED>(&window, levels, count.total, zeros, shape, to);
    }
    window.give_back();
    return count.total;
}
}  // namespace C264_STEP
