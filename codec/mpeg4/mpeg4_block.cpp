#include "codec/mpeg4/mpeg4_block.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "codec/mpeg4/mpeg4_kernels.h"
#include "codec/mpeg4/mpeg4_quant.h"
#include "codec/mpeg4/mpeg4_tables.h"

// A macroblock's codes are all read before the first of its blocks is transformed: the levels are stored one by
// one and loaded many at once, which the processor does much faster when some time has passed between the two.

namespace
{
enum { TABLE_INTRA, TABLE_INTER };

/// What an invalid code takes: the bits that were looked at. Zeros read past the end of the data are an
/// invalid code everywhere, so that this always shows as an overrun.
constexpr int BAD_CODE_BITS = 12;

struct coefficient {
    int level;
    int step;    ///< as in mpeg4_run_level; 0: an invalid code
    int length;  ///< bits
};

/// 7.4.1.3: the three forms of escape, a code too long for the pairs, or an invalid one.
coefficient read_long(uint64_t window, int table)
{
    if (window >> 57 != MPEG4_ESCAPE) {
        const mpeg4_run_level code = mpeg4_run_level_codes[table][window >> 52];
        if (code.length == 0) return {0, 0, BAD_CODE_BITS};
        const bool negative = window >> (64 - code.length) & 1;
        return {negative ? -code.level : code.level, code.step, code.length};
    }
    window <<= 7;
    if (window >> 62 == 3) {
        window <<= 2;
        const int last = static_cast<int>(window >> 63);
        const int run = static_cast<int>(window >> 57 & 63);
        const int level = static_cast<int32_t>(static_cast<uint32_t>(window >> 44) << 20) >> 20;
        return {level, run + 1 + last * MPEG4_LAST_STEP, 30};
    }
    const bool add_run = window >> 63;
    const int prefix = add_run ? 2 : 1;
    window <<= prefix;
    const mpeg4_run_level code = mpeg4_run_level_codes[table][window >> 52];
    if (code.length == 0) return {0, 0, 7 + prefix + BAD_CODE_BITS};
    const mpeg4_escape_limits& limits = mpeg4_escapes[table];
    const int last = code.step / MPEG4_LAST_STEP;
    const int run = code.step % MPEG4_LAST_STEP - 1;
    coefficient found = {code.level, code.step, 7 + prefix + code.length};
    if (add_run) {
        found.step += limits.max_run[last][code.level] + 1;
    } else {
        found.level += limits.max_level[last][run];
    }
    if (window >> (64 - code.length) & 1) found.level = -found.level;
    return found;
}

int16_t clip_level(int level)
{
    return static_cast<int16_t>(std::clamp(level, -2048, 2047));
}

/// 7.4.1.2: reads levels into their places until the last one, each as `value` makes it, or `pair_value` of a
/// pair's. A bad code or a run that leaves the block ends the block there. The result is the position in the
/// scan of the block's last level, or 63 after a bad code.
template <class PairValue, class Value>
MPEG4_INLINE int read_levels(mpeg4_bits* from, int table, const uint8_t* scan, int position, int16_t* block,
                             PairValue pair_value, Value value)
{
    // what a window of 56 bits holds for certain
    constexpr unsigned PAIRS_A_REFILL = 4;
    const auto& pairs = mpeg4_run_level_pairs[table];
    mpeg4_bits bits = *from;
    int last = 63;
    for (unsigned taken = 0;; ++taken) {
        if (taken % PAIRS_A_REFILL == 0) mpeg4_bits_refill(&bits);
        const mpeg4_run_level_pair pair = pairs[bits.window >> 52];
        if (pair.length() == 0) [[unlikely]] {
            mpeg4_bits_refill(&bits);
            const coefficient found = read_long(bits.window, table);
            mpeg4_bits_skip(&bits, found.length);
            position += found.step;
            const bool ends = position >= MPEG4_LAST_STEP;
            if (ends) position -= MPEG4_LAST_STEP;
            if (found.step == 0 || position < 0 || position >= 64) break;
            block[scan[position]] = value(found.level);
            if (ends) {
                last = position;
                break;
            }
            taken = PAIRS_A_REFILL - 1;
            continue;
        }
        const int first = position + pair.first_step();
        const int second = first + pair.second_step();
        if (second < 64) {
            mpeg4_bits_skip(&bits, pair.length());
            // without a second level this is the first one's place, which that one takes at once
            block[scan[second]] = pair_value(pair.second_level());
            block[scan[first]] = pair_value(pair.first_level());
            position = second;
            continue;
        }
        const unsigned end = static_cast<unsigned>(second - MPEG4_LAST_STEP);
        if (end < 64 && !(first & 64)) [[likely]] {
            mpeg4_bits_skip(&bits, pair.length());
            block[scan[end]] = pair_value(pair.second_level());
            block[scan[first & 63]] = pair_value(pair.first_level());
            last = static_cast<int>(end);
        } else if (first < 64) {
            mpeg4_bits_skip(&bits, pair.length());
            block[scan[first]] = pair_value(pair.first_level());
        } else {
            mpeg4_bits_skip(&bits, mpeg4_run_level_codes[table][bits.window >> 52].length);
        }
        break;
    }
    *from = bits;
    return last;
}

/// The levels of a pair dequantised, by quant.
using pair_values = std::array<int16_t, MPEG4_PAIR_LEVELS>;

constexpr pair_values dequantise_pair_levels(int quant)
{
    pair_values values = {};
    for (int i = 0; i < MPEG4_PAIR_LEVELS; ++i)
        values[static_cast<size_t>(i)] = mpeg4_dequantise(i - MPEG4_PAIR_ZERO, quant);
    return values;
}

constexpr int QUANTS = 32;

constexpr std::array<pair_values, QUANTS> inter_values = [] {
    std::array<pair_values, QUANTS> values = {};
    for (int quant = 0; quant < QUANTS; ++quant)
        values[static_cast<size_t>(quant)] = dequantise_pair_levels(quant);
    return values;
}();

/// What stands for a neighbour that isn't intra.
constexpr mpeg4_prediction_store no_neighbour = {1024, {}, {}};

/// A block beside the one at hand, and the quant of its macroblock.
struct neighbour {
    const mpeg4_prediction_store* store;
    int32_t quant;
};

struct neighbours {
    neighbour left;
    neighbour top;
    const mpeg4_prediction_store* corner;
};

/// What a macroblock predicts its neighbours from; null when it is outside of the picture or not intra.
struct intra_source {
    const mpeg4_intra_store* store;
    int32_t quant;
};

struct intra_neighbours {
    intra_source left;
    intra_source top;
    intra_source corner;
};

intra_neighbours find_intra_neighbours(const Mpeg4Decoder* dec, int mb_x, int mb_y)
{
    const ptrdiff_t at = ptrdiff_t{mb_y} * dec->mb_across + mb_x;
    const auto intra = [&](bool inside, ptrdiff_t index) -> intra_source {
        if (!inside || !mpeg4_is_intra(dec->macroblocks[index].mode)) return {nullptr, 1};
        return {dec->stores + index, dec->macroblocks[index].quant};
    };
    return {intra(mb_x > 0, at - 1), intra(mb_y > 0, at - dec->mb_across),
            intra(mb_x > 0 && mb_y > 0, at - dec->mb_across - 1)};
}

/// Figure 7-5: the three blocks that block `n` is predicted from.
neighbours find_neighbours(const intra_source& mb, const intra_neighbours& around, int n)
{
    const auto in = [](const intra_source& there, int block) -> neighbour {
        return there.store ? neighbour{&there.store->block[block], there.quant} : neighbour{&no_neighbour, 1};
    };
    switch (n) {
        case 0:
            return {in(around.left, 1), in(around.top, 2), in(around.corner, 3).store};
        case 1:
            return {in(mb, 0), in(around.top, 3), in(around.top, 2).store};
        case 2:
            return {in(around.left, 3), in(mb, 0), in(around.left, 1).store};
        case 3:
            return {in(mb, 2), in(mb, 1), in(mb, 0).store};
        default:
            return {in(around.left, n), in(around.top, n), in(around.corner, n).store};
    }
}

/// Table 7-1, and a scaler of 8 for whatever damage makes of the quant below it.
int dc_scaler(int quant, bool luma)
{
    if (quant < 5) return 8;
    if (quant > 24) return luma ? 2 * quant - 16 : quant - 6;
    if (!luma) return (quant + 13) / 2;
    return quant < 9 ? 2 * quant : quant + 8;
}

/// Division that rounds to the nearest, halves away from zero; `divisor` is above 0.
int divide_rounded(int value, int divisor)
{
    return value < 0 ? -((-value + divisor / 2) / divisor) : (value + divisor / 2) / divisor;
}

/// 7.4.1.1: the difference of the DC from its prediction. False: a bad code.
bool read_dc_difference(mpeg4_bits* bits, bool luma, int* difference)
{
    mpeg4_bits_refill(bits);
    const mpeg4_code code = mpeg4_dc_size[luma ? 0 : 1][mpeg4_bits_show(bits, 12)];
    *difference = 0;
    mpeg4_bits_skip(bits, code.length ? code.length : BAD_CODE_BITS);
    if (code.length == 0) return false;
    const int size = int{code.value};
    if (size == 0) return true;
    const int value = static_cast<int>(mpeg4_bits_show(bits, size));
    *difference = value >> (size - 1) ? value : value - (1 << size) + 1;
    mpeg4_bits_skip(bits, size > 8 ? size + 1 : size);  // a marker follows the long ones
    return true;
}

/// 7.4.3.3: adds the first row or column of the predicting block, scaled to this block's quant.
void add_ac_prediction(int16_t* block, const neighbour& from, bool from_top, int quant)
{
    const int16_t* const levels = from_top ? from.store->row : from.store->column;
    const bool scaled = from.quant != quant;
    const int from_quant = mpeg4_bounded_quant(from.quant);
    const int divisor = std::max(mpeg4_bounded_quant(quant), 1);
    for (int i = 1; i < 8; ++i) {
        int level = levels[i - 1];
        if (level == 0) continue;
        if (scaled) level = divide_rounded(level * from_quant, divisor);
        int16_t& to = block[from_top ? mpeg4_coefficient_index(0, i) : mpeg4_coefficient_index(i, 0)];
        to = clip_level(to + level);
    }
}

void store_levels(mpeg4_prediction_store* store, const int16_t* block)
{
    for (int i = 1; i < 8; ++i) {
        store->row[i - 1] = block[mpeg4_coefficient_index(0, i)];
        store->column[i - 1] = block[mpeg4_coefficient_index(i, 0)];
    }
}

/// Reads one block and leaves its levels, the predicted ones added, in its place. The result is its DC,
/// dequantised, and whether there is any other level.
struct intra_block {
    int dc;
    bool has_ac;
};
intra_block read_intra_block(Mpeg4Decoder* dec, const Mpeg4Macroblock* mb, mpeg4_intra_store* stores,
                             const intra_neighbours& around, int n, bool ac_pred)
{
    const bool luma = n < 4;
    const int scaler = dc_scaler(mpeg4_bounded_quant(mb->quant), luma);

    // 7.4.3.1: the smaller gradient tells the direction
    const neighbours beside = find_neighbours({stores, mb->quant}, around, n);
    const int corner = beside.corner->dc;
    const bool from_top = std::abs(beside.left.store->dc - corner) < std::abs(corner - beside.top.store->dc);
    const neighbour& from = from_top ? beside.top : beside.left;

    int difference;
    const bool readable = read_dc_difference(&dec->bits, luma, &difference);
    const int dc = clip_level((divide_rounded(from.store->dc, scaler) + difference) * scaler);

    int16_t* const block = dec->block[n];
    bool has_ac = false;
    if (readable && mb->cbp & 32 >> n) {
        const mpeg4_scan_kind scan = !ac_pred   ? MPEG4_SCAN_ZIGZAG
                                     : from_top ? MPEG4_SCAN_HORIZONTAL
                                                : MPEG4_SCAN_VERTICAL;
        read_levels(
            &dec->bits, TABLE_INTRA, mpeg4_scan[scan].data(), 0, block,
            [](uint32_t level) { return static_cast<int16_t>(static_cast<int>(level) - MPEG4_PAIR_ZERO); },
            [](int level) { return static_cast<int16_t>(level); });
        has_ac = true;
    }
    if (ac_pred) {
        add_ac_prediction(block, from, from_top, mb->quant);
        has_ac = true;
    }
    mpeg4_prediction_store* const store = &stores->block[n];
    store->dc = static_cast<int16_t>(dc);
    if (has_ac) {
        store_levels(store, block);
    } else {
        std::memset(store->row, 0, sizeof store->row);
        std::memset(store->column, 0, sizeof store->column);
    }
    return {dc, has_ac};
}

/// The six blocks of a macroblock, each with where it begins and its stride.
template <class Visit>
void for_each_block(const Mpeg4Decoder* dec, int mb_x, int mb_y, Visit visit)
{
    const mpeg4_picture at = mpeg4_at_macroblock(dec, &dec->current, mb_x, mb_y);
    for (int n = 0; n < 4; ++n)
        visit(n, at.plane[0] + (n & 1) * 8 + (n >> 1) * 8 * dec->stride[0], dec->stride[0]);
    visit(4, at.plane[1], dec->stride[1]);
    visit(5, at.plane[2], dec->stride[2]);
}
}  // namespace

void mpeg4_intra_blocks(Mpeg4Decoder* dec, int mb_x, int mb_y, bool ac_pred)
{
    const ptrdiff_t index = ptrdiff_t{mb_y} * dec->mb_across + mb_x;
    const Mpeg4Macroblock* const mb = dec->macroblocks + index;
    const intra_neighbours around = find_intra_neighbours(dec, mb_x, mb_y);
    intra_block blocks[6];
    for (int n = 0; n < 6; ++n)
        blocks[n] = read_intra_block(dec, mb, dec->stores + index, around, n, ac_pred);

    const int quant = mpeg4_bounded_quant(mb->quant);
    for_each_block(dec, mb_x, mb_y, [&](int n, uint8_t* to, ptrdiff_t stride) {
        if (!blocks[n].has_ac) {
            dec->dsp->dc_put(to, stride, blocks[n].dc);
            return;
        }
        dec->dsp->dequant_h263_intra(dec->block[n], quant);
        dec->block[n][0] = static_cast<int16_t>(blocks[n].dc);
        dec->dsp->idct_put(to, stride, dec->block[n]);
    });
}

void mpeg4_prefetch_codes(bool intra)
{
    constexpr size_t LINE = 64 / sizeof(mpeg4_run_level_pair);
    const auto& codes = mpeg4_run_level_pairs[intra ? TABLE_INTRA : TABLE_INTER];
    for (size_t i = 0; i < codes.size(); i += LINE)
        __builtin_prefetch(&codes[i]);
}

mpeg4_residuals mpeg4_read_residuals(Mpeg4Decoder* dec, const Mpeg4Macroblock* mb)
{
    const int quant = mpeg4_bounded_quant(mb->quant);
    pair_values damaged;
    const int16_t* values = damaged.data();
    if (quant >= 0 && quant < QUANTS) [[likely]]
        values = inter_values[static_cast<size_t>(quant)].data();
    else
        damaged = dequantise_pair_levels(quant);
    mpeg4_residuals residuals = {static_cast<uint32_t>(mb->cbp), 0};
    for (int n = 0; n < 6; ++n) {
        if (!(mb->cbp & 32 >> n)) continue;
        const int last = read_levels(
            &dec->bits, TABLE_INTER, mpeg4_scan[MPEG4_SCAN_ZIGZAG].data(), -1, dec->block[n],
            [values](uint32_t level) { return values[level]; },
            [quant](int level) { return mpeg4_dequantise(level, quant); });
        if (last == 0) residuals.dc_only |= 32u >> n;
    }
    return residuals;
}

void mpeg4_add_residuals(Mpeg4Decoder* dec, int mb_x, int mb_y, mpeg4_residuals residuals)
{
    for_each_block(dec, mb_x, mb_y, [&](int n, uint8_t* to, ptrdiff_t stride) {
        if (!(residuals.coded & 32 >> n)) return;
        int16_t* const block = dec->block[n];
        if (residuals.dc_only & 32 >> n) {
            dec->dsp->dc_add(to, stride, block[0]);
            block[0] = 0;
        } else {
            dec->dsp->idct_add(to, stride, block);
        }
    });
}
