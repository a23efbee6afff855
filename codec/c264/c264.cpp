#include "codec/c264/c264.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <utility>

#include "codec/c264/c264_context.h"
#include "codec/c264/c264_log.h"
#include "codec/c264/c264_nal.h"
#include "codec/codec_memory.h"
#include "codec/convert/convert.h"

/// A handle is a context, and what the caller opened it with.
struct C264Handle {
    C264Context context;
};

namespace
{
constexpr size_t MAX_UNITS = 16;            // parameter sets and slices of one call
constexpr size_t UNIT_GAP = 8;              // bytes of the scratch between two units
constexpr size_t SCRATCH_MORE = 64 * 1024;  // small pictures may have units larger than themselves
constexpr uint8_t BLACK = 16;
constexpr uint8_t GREY = 128;

constexpr size_t round_up(size_t bytes)
{
    return (bytes + CODEC_ALIGN - 1) / CODEC_ALIGN * CODEC_ALIGN;
}

/// Hands out aligned pieces of one block, or, without a block, adds up how large it has to be.
class memory_plan
{
  public:
    explicit memory_plan(uint8_t* block) : memory(block) {}

    template <class T>
    T* take(size_t count)
    {
        uint8_t* const at = memory ? memory + used : nullptr;
        used += round_up(count * sizeof(T));
        return reinterpret_cast<T*>(at);
    }

    size_t bytes() const { return used; }

  private:
    uint8_t* memory;
    size_t used = 0;
};

void lay_out_frame(const C264Context& dec, memory_plan* plan, C264Frame* frame)
{
    const auto luma =
        static_cast<size_t>(dec.stride[0]) * static_cast<size_t>(dec.mb_down * 16 + 2 * C264_BORDER);
    const auto chroma = static_cast<size_t>(dec.stride[1]) * static_cast<size_t>(dec.mb_down * 8 + C264_BORDER);
    uint8_t* const memory = plan->take<uint8_t>(luma + 2 * chroma + CODEC_ALIGN);
    if (!memory) return;
    std::memset(memory, BLACK, luma);
    std::memset(memory + luma, GREY, 2 * chroma);
    const ptrdiff_t chroma_origin = C264_BORDER / 2 * dec.stride[1] + C264_BORDER / 2;
    frame->plane[0] = memory + C264_BORDER * dec.stride[0] + C264_BORDER;
    frame->plane[1] = memory + luma + chroma_origin;
    frame->plane[2] = memory + luma + chroma + chroma_origin;
}

void lay_out(C264Context* dec, memory_plan* plan)
{
    const auto macroblocks = static_cast<size_t>(dec->mb_across) * static_cast<size_t>(dec->mb_down);
    // the rim: a row above, a column that serves both sides, and one more at either end
    const auto records = static_cast<size_t>(dec->mb_stride) * static_cast<size_t>(dec->mb_down + 1) + 2;
    lay_out_frame(*dec, plan, &dec->current);
    lay_out_frame(*dec, plan, &dec->reference);
    dec->mbs = plan->take<c264_mb>(records);
    dec->mvds = plan->take<c264_mvd>(records);
    dec->edges = plan->take<c264_edges>(2 * static_cast<size_t>(dec->mb_across));
    dec->same = plan->take<uint8_t>(macroblocks);
    dec->changed = plan->take<uint32_t>(macroblocks);
    dec->scratch_bytes = macroblocks * 16 * 16 * 2 + SCRATCH_MORE;
    dec->scratch = plan->take<uint8_t>(dec->scratch_bytes + C264_SLICE_PADDING);
    if (!dec->mbs) return;

    // the coded block pattern of what isn't available counts as set for the contexts of its neighbours
    const c264_mb never = {
        .cls = C264_NEVER,
        .ref = C264_REF_NONE,
        .qp = 0,
        .chroma_qp = 0,
        .cbp = 15,
        .dc_coded = 7,
        .chroma_mode = 0,
        .flags = 0,
        .mode_bottom = {C264_MODE_NONE, C264_MODE_NONE, C264_MODE_NONE, C264_MODE_NONE},
        .mode_right = {C264_MODE_NONE, C264_MODE_NONE, C264_MODE_NONE, C264_MODE_NONE},
        .count_bottom = {C264_COUNT_NONE, C264_COUNT_NONE, C264_COUNT_NONE, C264_COUNT_NONE},
        .count_right = {C264_COUNT_NONE, C264_COUNT_NONE, C264_COUNT_NONE, C264_COUNT_NONE},
        .chroma_count_bottom = {{C264_COUNT_NONE, C264_COUNT_NONE}, {C264_COUNT_NONE, C264_COUNT_NONE}},
        .chroma_count_right = {{C264_COUNT_NONE, C264_COUNT_NONE}, {C264_COUNT_NONE, C264_COUNT_NONE}},
        .mv_bottom = {},
        .mv_right = {}};
    std::uninitialized_fill_n(dec->mbs, records, never);
    std::uninitialized_fill_n(dec->mvds, records, c264_mvd{});
    std::uninitialized_fill_n(dec->edges, 2 * static_cast<size_t>(dec->mb_across), c264_edges{});
    std::memset(dec->same, C264_SAME, macroblocks);  // both black
    std::fill_n(dec->changed, macroblocks, 0u);
    dec->mbs += dec->mb_stride + 1;
    dec->mvds += dec->mb_stride + 1;
    std::memset(dec->scratch, 0, dec->scratch_bytes + C264_SLICE_PADDING);
}

/// The loop of one call over the units in a buffer.
class unit_loop
{
  public:
    unit_loop(C264Context* decoder, const uint8_t* bytes, size_t count) : dec(decoder), data(bytes), size(count)
    {
    }

    /// \returns false when a checksum or its announcement is wrong.
    bool run()
    {
        while (consumed + 5 < size && !slice) {
            if (units == MAX_UNITS) break;  // oddity: seventeenth-unit; it ends the call
            C264Nal nal;
            const size_t room = dec->scratch_bytes - std::min(offset, dec->scratch_bytes);
            const size_t used = split(room, &nal);
            std::memset(nal.payload + nal.size, 0, C264_SLICE_PADDING - UNIT_GAP);
            offset = std::min(offset + UNIT_GAP + nal.size, dec->scratch_bytes);
            if (!check(&nal) || !take(nal)) return false;
            consumed += used;
        }
        return true;
    }

    size_t used() const { return consumed; }
    const C264Nal* found_slice() const { return slice ? &slice_unit : nullptr; }
    size_t slice_bit() const { return first_bit; }

  private:
    size_t split(size_t room, C264Nal* nal)
    {
        uint8_t* const to = dec->scratch + std::min(offset, dec->scratch_bytes);
        if (dec->stream_mode == 0)
            return c264_split_start_code(data + consumed, size - consumed, to, room, nal);
        const c264_wanted wanted = !dec->sps_seen   ? c264_wanted::sps
                                   : !dec->pps_seen ? c264_wanted::pps
                                                    : c264_wanted::nothing;
        return c264_split_length(data + consumed, size - consumed, wanted, to, room, nal);
    }

    /// The devices' checksum, where it is in force. The payload loses it.
    bool check(C264Nal* nal) const
    {
        if (nal->nal_ref_idc == 0 || dec->check.mode == 0 || dec->check.modulus == 0) return true;
        if (c264_checksum(nal->payload, nal->size, dec->check.modulus) != 0) {
            c264_log(C264_WARNING_CHECKSUM);
            return false;
        }
        const size_t length = std::min<size_t>(dec->check.mode == 1 ? 2 : 4, nal->size);
        nal->size -= length;
        std::memset(nal->payload + nal->size, 0, length);
        return true;
    }

    bool take(const C264Nal& nal)
    {
        c264_bits bits(nal.payload, nal.size);
        switch (nal.nal_unit_type) {
            case 7:
                ++units;
                c264_parse_sps(&bits, &dec->sps);
                dec->sps_seen = true;
                break;
            case 8:
                ++units;
                if (!dec->sps_seen) break;
                c264_parse_pps(&bits, dec->sps, &dec->pps);
                dec->pps_seen = true;
                break;
            case 1:
            case 5:
                ++units;
                if (!dec->sps_seen || !dec->pps_seen) break;
                c264_parse_slice_header(&bits, dec->sps, dec->pps, nal.nal_unit_type == 5, &dec->slice.header);
                slice_unit = nal;
                first_bit = bits.position();
                slice = true;
                break;
            case 6:
                return c264_scan_sei(nal.payload, nal.size, &dec->check);
            default:
                break;
        }
        return true;
    }

    C264Context* dec;
    const uint8_t* data;
    size_t size;
    size_t consumed = 0;
    size_t offset = 0;  // in the scratch
    size_t units = 0;
    bool slice = false;
    C264Nal slice_unit = {};
    size_t first_bit = 0;
};

/// Lends the picture just decoded, or converts it into the caller's planes.
void hand_out(const C264Context& dec, C264Picture* picture)
{
    C264Picture own = {CONVERT_FORMAT_I420, 0, dec.width, dec.height, {}, {}};
    for (int plane = 0; plane < 3; ++plane) {
        own.plane[plane] = dec.current.plane[plane];
        own.stride[plane] = static_cast<int32_t>(dec.stride[plane == 0 ? 0 : 1]);
    }
    if (!picture->plane[0]) {
        *picture = own;
        return;
    }
    ConvertTarget target = {{}, {}, static_cast<int32_t>(picture->format)};
    CodecFrame frame = {};
    for (int plane = 0; plane < 4; ++plane) {
        target.data[plane] = picture->plane[plane];
        target.linesize[plane] = picture->stride[plane];
        frame.data[plane] = own.plane[plane];
        frame.linesize[plane] = own.stride[plane];
    }
    frame.format = CONVERT_FORMAT_I420;
    frame.width = dec.width;
    frame.height = dec.height;
    convert_decoder_picture(target, frame, dec.width, dec.height);
}

int32_t picture_type(int32_t slice_type)
{
    switch (slice_type) {
        case C264_SLICE_P:
            return 2;
        case C264_SLICE_B:
            return 3;
        case C264_SLICE_I:
            return 1;
        default:
            return 0;  // oddity: switching-slices; decoded as P, told as nothing
    }
}

void decode_picture(C264Context* dec, const C264Nal& slice, size_t first_bit, C264Picture* picture)
{
    dec->dsp->decode_slice(dec, slice.payload, slice.size, first_bit);
    dec->dsp->state_clear();
    ++dec->changes.picture;
    hand_out(*dec, picture);
    if (dec->slice.header.slice_type == C264_SLICE_I) dec->frames_since_i = 0;
    ++dec->frames;
    ++dec->frames_since_i;
    dec->average_qp = dec->slice.header.slice_qp;
    std::swap(dec->current, dec->reference);
}
}  // namespace

C264Handle* c264_open(int32_t width, int32_t height, int32_t stream_mode)
{
    c264_dsp_init();
    // the codec table lets a size of which one is 0 through to here
    if (!codec_check_size(std::max(width, 1), std::max(height, 1))) return nullptr;
    void* const memory = codec_alloc(sizeof(C264Handle));
    if (!memory) return nullptr;
    C264Handle* const handle = new (memory) C264Handle();
    C264Context* const dec = &handle->context;
    dec->dsp = c264_dsp();
    dec->width = width;
    dec->height = height;
    dec->stream_mode = stream_mode;
    dec->mb_across = std::max((width + 15) / 16, 1);
    dec->mb_down = std::max((height + 15) / 16, 1);
    dec->stride[0] = dec->mb_across * 16 + 2 * C264_BORDER;
    dec->stride[1] = dec->stride[0] / 2;
    dec->mb_stride = dec->mb_across + 1;
    memory_plan size(nullptr);
    lay_out(dec, &size);
    dec->memory = static_cast<uint8_t*>(codec_alloc(size.bytes()));
    if (!dec->memory) {
        codec_free(handle);
        return nullptr;
    }
    memory_plan plan(dec->memory);
    lay_out(dec, &plan);
    dec->changes = {codec_next_stream(), 0, dec->mb_across, dec->mb_down, dec->changed};
    return handle;
}

int32_t c264_decode(C264Handle* handle, const uint8_t* data, int32_t size, C264Picture* picture, int32_t* got,
                    C264Stats* stats)
{
    stats->picture_type = 0;
    *got = 0;
    if (!handle || !data || size < 0) return -1;
    C264Context* const dec = &handle->context;
    unit_loop units(dec, data, static_cast<size_t>(size));
    if (!units.run()) return -1;
    const auto used = static_cast<int32_t>(units.used());
    const C264Nal* const slice = units.found_slice();
    if (!slice) return used;
    stats->picture_type = picture_type(dec->slice.header.slice_type);
    if (dec->slice.header.slice_type == C264_SLICE_B) return used;
    decode_picture(dec, *slice, units.slice_bit(), picture);
    stats->average_qp = dec->average_qp;
    *got = used > 0 ? 1 : 0;
    return used;
}

const CodecChanges* c264_changes(const C264Handle* handle)
{
    return &handle->context.changes;
}

int32_t c264_close(C264Handle* handle)
{
    if (!handle) return -1;
    codec_free(handle->context.memory);
    codec_free(handle);
    return 0;
}

namespace
{
/// What the codec table keeps of an open decoder.
struct c264_private {
    int32_t width;
    int32_t height;
    C264Handle* handle;
    C264Stats stats;
};
static_assert(sizeof(c264_private) == 8 * sizeof(uint32_t));

constexpr int32_t GOT_PICTURE = 4;

int32_t open_hook(CodecContext* context)
{
    auto* const priv = new (context->priv) c264_private{context->width, context->height, nullptr, {1, 0, 0}};
    priv->handle = c264_open(context->width, context->height, 0);
    return priv->handle ? 0 : -1;
}

int32_t close_hook(CodecContext* context)
{
    return c264_close(static_cast<c264_private*>(context->priv)->handle);
}

int32_t decode_hook(CodecContext* context, CodecFrame* frame, int32_t* got, const uint8_t* data, int32_t size)
{
    auto* const priv = static_cast<c264_private*>(context->priv);
    C264Picture picture = {CONVERT_FORMAT_I420, 0, priv->width, priv->height, {}, {}};
    int32_t has_picture = 0;
    const int32_t used = c264_decode(priv->handle, data, size, &picture, &has_picture, &priv->stats);
    if (!has_picture) return used;
    for (int plane = 0; plane < 3; ++plane) {
        frame->data[plane] = picture.plane[plane];
        frame->linesize[plane] = picture.stride[plane];
    }
    frame->width = priv->width;
    frame->height = priv->height;
    frame->key_frame = priv->stats.picture_type == 1;
    frame->changes = c264_changes(priv->handle);
    *got = GOT_PICTURE;
    return used;
}
}  // namespace

CodecEntry c264_codec_entry()
{
    return {.name = "c264",
            .kind = CODEC_KIND_VIDEO,
            .id = CODEC_ID_H264,
            .priv_size = sizeof(c264_private),
            .open = open_hook,
            .encode = nullptr,
            .close = close_hook,
            .decode = decode_hook,
            .capabilities = 0x0a,
            .next = nullptr};
}
