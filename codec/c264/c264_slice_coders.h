// The two entropy coders as the macroblock layer uses them. Belongs to the step that includes it.
#pragma once

#include "codec/c264/c264_cabac_tables.h"
#include "codec/c264/c264_context.h"
#include "codec/c264/c264_slice_cabac.h"
#include "codec/c264/c264_slice_cavlc.h"
#include "codec/c264/c264_slice_macroblock.h"
#include "codec/c264/c264_slice_residual.h"

namespace C264_STEP
{
class cavlc_coder
{
  public:
    cavlc_coder(C264Slice* slice, const uint8_t* data, size_t bytes, size_t first_bit)
        : s(slice), reader{data, first_bit, bytes * 8}
    {
    }

    /// 7.3.4: skip run and mb_type. \returns false for a skipped macroblock.
    bool begin_macroblock()
    {
        reader.bound();
        if (s->intra_slice) {
            set_intra_type(s, reader.ue());
            return true;
        }
        if (s->skip_run < 0) s->skip_run = static_cast<int32_t>(std::min(reader.ue(), 0x7FFFFFFFu));
        if (s->skip_run > 0) {
            --s->skip_run;
            return false;
        }
        s->skip_run = -1;
        const uint32_t type = reader.ue();
        if (type >= 5) {
            set_intra_type(s, type - 5);
        } else {
            static constexpr c264_class CLASSES[5] = {C264_P_16X16, C264_P_16X8, C264_P_8X16, C264_P_8X8,
                                                      C264_P_8X8};
            s->cls = CLASSES[type];
        }
        return true;
    }

    int intra_mode(int predicted)
    {
        if (reader.bits(1)) return predicted;
        const int rem = static_cast<int>(reader.bits(3));
        return rem + (rem >= predicted ? 1 : 0);
    }

    /// A mode beyond the table is another index of the kernels: a variant of DC, or the constant.
    uint8_t intra_chroma_mode() { return static_cast<uint8_t>(std::min(reader.ue(), 15u)); }

    uint8_t coded_block_pattern(bool intra)
    {
        const uint32_t code = reader.ue();
        return code < 48 ? C264_CBP_OF_CODE[intra ? 0 : 1][code] : 0;
    }

    int32_t qp_delta() { return reader.se(); }

    uint8_t sub_class() { return static_cast<uint8_t>(C264_SUB_8X8 + std::min(reader.ue(), 4u)); }

    void load_differences() {}

    uint32_t vector_difference(int /*at*/, int /*width*/, int /*height*/)
    {
        const int32_t x = reader.se();
        const int32_t y = reader.se();
        return make_vector(x, y);
    }

    bool luma_dc(int16_t* to)
    {
        return read_block<16, false>(&reader, count_class(s->count, c264_at(0, 0)), {C264_SCAN, nullptr}, to) !=
               0;
    }

    template <int FIRST>
    int luma_block(int at, const int16_t* factors, int16_t* to)
    {
        return read_block<16 - FIRST, true>(&reader, count_class(s->count, at), {C264_SCAN + FIRST, factors},
                                            to);
    }

    bool chroma_dc(int /*plane*/, int16_t* to)
    {
        return read_block<4, false>(&reader, 0, {IN_ORDER, nullptr}, to) != 0;
    }

    int chroma_block(int plane, int at, const int16_t* factors, int16_t* to)
    {
        return read_block<15, true>(&reader, count_class(s->chroma_count[plane], at), {C264_SCAN + 1, factors},
                                    to);
    }

    /// The residual's blocks, up to `close`.
    cavlc_coder& open() { return *this; }
    void close(const cavlc_coder& /*blocks*/) {}

  private:
    /// nC of 9.2.1.
    static int count_class(const uint8_t* count, int at)
    {
        const int sum = count[at - 1] + count[at - 8];
        return (sum < C264_COUNT_NONE ? (sum + 1) >> 1 : sum) & 0x1F;
    }

    C264Slice* s;
    cavlc_reader reader;
};

class cabac_coder
{
  public:
    cabac_coder(const C264Context* decoder, C264Slice* slice, const uint8_t* data, size_t bytes,
                size_t first_bit)
        : s(slice), mb_stride(decoder->mb_stride)
    {
        const int kind = s->intra_slice ? 0 : 1 + std::clamp(s->header.cabac_init_idc, 0, 2);
        std::memcpy(contexts, c264_cabac_start(kind, s->header.slice_qp), C264_CONTEXTS);
        engine.start(data + std::min((first_bit + 7) / 8, bytes), data + bytes);
    }

    bool terminate() { return engine.terminate() != 0; }

    bool begin_macroblock()
    {
        cabac_engine e = engine;
        const bool coded = macroblock_type(&e);
        engine = e;
        return coded;
    }

    int intra_mode(int predicted)
    {
        cabac_engine e = engine;
        int mode = predicted;
        if (!e.bin(contexts + 68)) {
            int rem = e.bin(contexts + 69);
            rem |= e.bin(contexts + 69) << 1;
            rem |= e.bin(contexts + 69) << 2;
            mode = rem + (rem >= predicted ? 1 : 0);
        }
        engine = e;
        return mode;
    }

    uint8_t intra_chroma_mode()
    {
        const int beside = (s->mb[-1].chroma_mode != 0) + (s->mb[-mb_stride].chroma_mode != 0);
        if (!engine.bin(contexts + 64 + beside)) return 0;
        if (!engine.bin(contexts + 67)) return 1;
        return static_cast<uint8_t>(2 + engine.bin(contexts + 67));
    }

    uint8_t coded_block_pattern(bool /*intra*/)
    {
        cabac_engine e = engine;
        const unsigned left = s->mb[-1].cbp;
        const unsigned above = s->mb[-mb_stride].cbp;
        // 9.3.3.1.1.4: by quadrants, from those left and above that are not coded
        unsigned luma = static_cast<unsigned>(e.bin(contexts + 73 + (~left >> 1 & 1) + (~above >> 1 & 2)));
        luma |= static_cast<unsigned>(e.bin(contexts + 73 + (~luma & 1) + (~above >> 2 & 2))) << 1;
        luma |= static_cast<unsigned>(e.bin(contexts + 73 + (~left >> 3 & 1) + (~luma << 1 & 2))) << 2;
        luma |= static_cast<unsigned>(e.bin(contexts + 73 + (~luma >> 2 & 1) + (~luma & 2))) << 3;
        const unsigned left_chroma = left >> 4;
        const unsigned above_chroma = above >> 4;
        unsigned chroma = 0;
        if (e.bin(contexts + 77 + (left_chroma != 0) + 2 * (above_chroma != 0)))
            chroma =
                1u + static_cast<unsigned>(e.bin(contexts + 81 + (left_chroma == 2) + 2 * (above_chroma == 2)));
        engine = e;
        return static_cast<uint8_t>(luma | chroma << 4);
    }

    int32_t qp_delta()
    {
        if (!engine.likely_bin(contexts + 60 + (s->qp_changed ? 1 : 0))) return 0;
        // the mapped value of a conforming stream is at most 53; a longer code ends there
        int32_t code = 1;
        for (uint8_t* context = contexts + 62; code < 104 && engine.bin(context); context = contexts + 63)
            ++code;
        return code & 1 ? (code + 1) >> 1 : -(code >> 1);
    }

    uint8_t sub_class()
    {
        if (engine.bin(contexts + 21)) return C264_SUB_8X8;
        if (!engine.bin(contexts + 22)) return C264_SUB_8X4;
        return engine.bin(contexts + 23) ? C264_SUB_4X8 : C264_SUB_4X4;
    }

    void load_differences()
    {
        const c264_mvd& left = s->mvd_at[-1];
        const c264_mvd& above = s->mvd_at[-mb_stride];
        std::memcpy(s->mvd + c264_at(-1, 0), above.bottom, sizeof above.bottom);
        for (int y = 0; y < 4; ++y)
            s->mvd[c264_at(y, -1)] = left.right[y];
    }

    uint32_t vector_difference(int at, int width, int height)
    {
        cabac_engine e = engine;
        const unsigned left = s->mvd[at - 1];
        const unsigned above = s->mvd[at - 8];
        const int32_t x = difference(&e, contexts + 40, (left & 0xFF) + (above & 0xFF));
        const int32_t y = difference(&e, contexts + 47, (left >> 8) + (above >> 8));
        engine = e;
        const auto cut = [](int32_t value) {
            return static_cast<uint16_t>(std::min(value < 0 ? -value : value, 127));
        };
        const auto both = static_cast<uint16_t>(cut(x) | cut(y) << 8);
        for (int row = 0; row < height; ++row)
            std::fill_n(s->mvd + at + 8 * row, width, both);
        return make_vector(x, y);
    }

    /// The residual's blocks, up to `close`.
    cabac_blocks open() { return {s, mb_stride, contexts, engine}; }
    void close(const cabac_blocks& blocks) { engine = blocks.engine; }

  private:
    /// mb_skip_flag and mb_type. \returns false for a skipped macroblock.
    [[gnu::always_inline]] bool macroblock_type(cabac_engine* e)
    {
        const c264_mb& left = s->mb[-1];
        const c264_mb& above = s->mb[-mb_stride];
        if (s->intra_slice) {
            const int beside = (left.cls != C264_NEVER && left.cls != C264_INTRA_4X4) +
                               (above.cls != C264_NEVER && above.cls != C264_INTRA_4X4);
            intra_type(e, contexts + 3 + beside, contexts + 6, contexts + 8);
            return true;
        }
        const int beside = (left.cls != C264_NEVER && left.cls != C264_P_SKIP) +
                           (above.cls != C264_NEVER && above.cls != C264_P_SKIP);
        if (e->likely_bin(contexts + 11 + beside)) return false;
        if (e->likely_bin(contexts + 14)) {
            intra_type(e, contexts + 17, contexts + 18, nullptr);
        } else if (e->bin(contexts + 15)) {
            s->cls = e->bin(contexts + 17) ? C264_P_16X8 : C264_P_8X16;
        } else {
            s->cls = e->bin(contexts + 16) ? C264_P_8X8 : C264_P_16X16;
        }
        return true;
    }

    /// The intra tree of mb_type (9.3.2.5): `first` and the contexts after it; in I slices the prediction mode
    /// has two of its own.
    [[gnu::always_inline]] void intra_type(cabac_engine* e, uint8_t* first, uint8_t* rest, uint8_t* mode)
    {
        if (!e->bin(first)) {
            set_intra_type(s, 0);
            return;
        }
        if (e->terminate()) {
            s->cls = C264_I_PCM;
            return;
        }
        // I slices: contexts 6, 7, 8, 9, 10; P slices: 18, 19, 19, 20, 20
        const bool i_slice = mode != nullptr;
        int type = 1 + 12 * e->bin(rest);
        if (e->bin(rest + 1)) type += 4 + 4 * e->bin(i_slice ? rest + 2 : rest + 1);
        type += 2 * e->bin(i_slice ? rest + 3 : rest + 2);
        type += e->bin(i_slice ? rest + 4 : rest + 2);
        set_intra_type(s, static_cast<uint32_t>(type));
    }

    /// mvd_l0 (9.3.2.3, UEG3 with 9), `sum` of the neighbours' magnitudes.
    [[gnu::always_inline]] static int32_t difference(cabac_engine* e, uint8_t* context, unsigned sum)
    {
        if (!e->bin(context + (sum < 3 ? 0 : sum > 32 ? 2 : 1))) return 0;
        static constexpr uint8_t NEXT[9] = {0, 3, 4, 5, 6, 6, 6, 6, 6};
        int32_t value = 1;
        while (value < 9 && e->bin(context + NEXT[value]))
            ++value;
        if (value == 9) value += suffix(e, 3);
        return e->bypass() ? -value : value;
    }

    /// The Exp-Golomb suffix of 9.3.2.3, at most 20 steps long: no conforming stream has a longer one.
    [[gnu::always_inline]] static int32_t suffix(cabac_engine* e, int k)
    {
        int32_t value = 0;
        while (k < 20 && e->bypass())
            value += 1 << k++;
        while (k-- > 0)
            value += e->bypass() << k;
        return value;
    }

    C264Slice* s;
    ptrdiff_t mb_stride;
    cabac_engine engine;
    uint8_t contexts[C264_CONTEXTS];
};
}  // namespace C264_STEP
