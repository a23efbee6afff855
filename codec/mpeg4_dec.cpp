#include "codec/mpeg4_dec.h"

#include <cstring>
#include <new>
#include <utility>

#include "codec/codec_memory.h"
#include "codec/mpeg4/mpeg4_mb.h"

namespace
{
constexpr size_t round_up(size_t bytes)
{
    return (bytes + CODEC_ALIGN - 1) / CODEC_ALIGN * CODEC_ALIGN;
}

/// Whoever draws on or converts a lent picture of odd height may go one row too far; two luma rows of slack
/// keep that inside.
size_t picture_bytes(size_t width, size_t height)
{
    return round_up(width * height + 2 * (width / 2) * (height / 2) + 2 * width + CODEC_ALIGN);
}

/// Lays the planes out, packed, and makes them black.
mpeg4_picture lay_out_picture(uint8_t* memory, size_t width, size_t height)
{
    const size_t chroma = (width / 2) * (height / 2);
    std::memset(memory, 128, picture_bytes(width, height));
    std::memset(memory, 16, width * height);
    return {{memory, memory + width * height, memory + width * height + chroma}};
}

int32_t open(CodecContext* context)
{
    Mpeg4Decoder* const dec = new (context->priv) Mpeg4Decoder();
    dec->context = context;
    dec->dsp = mpeg4_dsp();
    if (context->width <= 0 || context->height <= 0) return 0;  // decodes headers only

    const size_t width = static_cast<size_t>(context->width);
    const size_t height = static_cast<size_t>(context->height);
    const size_t macroblocks = (width / 16) * (height / 16);
    const size_t picture = picture_bytes(width, height);
    const size_t records = round_up(macroblocks * sizeof(Mpeg4Macroblock));
    const size_t stores = round_up(macroblocks * sizeof(mpeg4_intra_store));
    const size_t numbers = round_up(macroblocks * sizeof(uint32_t));
    const size_t bytes = 2 * picture + records + stores + numbers + round_up(macroblocks);
    dec->memory = static_cast<uint8_t*>(codec_alloc(bytes));
    if (!dec->memory) return MPEG4_ERROR_MEMORY;
    dec->current = lay_out_picture(dec->memory, width, height);
    dec->reference = lay_out_picture(dec->memory + picture, width, height);
    dec->macroblocks = new (dec->memory + 2 * picture) Mpeg4Macroblock[macroblocks]();
    for (size_t i = 0; i < macroblocks; ++i)
        dec->macroblocks[i].mode = MPEG4_MODE_NOT_CODED;
    dec->stores = new (dec->memory + 2 * picture + records) mpeg4_intra_store[macroblocks]();
    dec->changed = new (dec->memory + 2 * picture + records + stores) uint32_t[macroblocks]();
    dec->same = dec->memory + 2 * picture + records + stores + numbers;
    std::memset(dec->same, 1, macroblocks);  // both black
    dec->width = context->width;
    dec->height = context->height;
    dec->mb_across = context->width / 16;
    dec->mb_down = context->height / 16;
    dec->stride[0] = context->width;
    dec->stride[1] = dec->stride[2] = context->width / 2;
    dec->changes = {codec_next_stream(), 0, dec->mb_across, dec->mb_down, dec->changed};
    dec->header.width = context->width;
    dec->header.height = context->height;
    return 0;
}

int32_t close(CodecContext* context)
{
    codec_free(static_cast<Mpeg4Decoder*>(context->priv)->memory);
    return 0;
}

/// Lends the picture just written. Its size is the opened one: a VOL that tells another size changes the
/// header's fields, but the planes stay what they are, and the frame describes the planes.
void fill_frame(const Mpeg4Decoder* dec, CodecFrame* frame)
{
    for (int plane = 0; plane < 3; ++plane) {
        frame->data[plane] = dec->current.plane[plane];
        frame->linesize[plane] = static_cast<int32_t>(dec->stride[plane]);
    }
    frame->width = dec->width;
    frame->height = dec->height;
}

/// The next picture will be predicted from one that is not the last delivered: what differs between the two
/// counts as changed by it.
void note_swap_without_picture(Mpeg4Decoder* dec)
{
    const ptrdiff_t macroblocks = ptrdiff_t{dec->mb_across} * dec->mb_down;
    for (ptrdiff_t i = 0; i < macroblocks; ++i) {
        if (!dec->same[i]) dec->changed[i] = dec->changes.picture + 1;
    }
}

/// \returns the bytes used, which *got takes too, after an I or P VOP; 0 after another one; an mpeg4_error. A
/// VOP whose data ends early uses all bytes and gives no picture: frame and reference stay those of the last
/// one.
int32_t decode(CodecContext* context, CodecFrame* frame, int32_t* got, const uint8_t* data, int32_t size)
{
    Mpeg4Decoder* const dec = static_cast<Mpeg4Decoder*>(context->priv);
    if (!data || size < 0) return MPEG4_ERROR_END;
    mpeg4_bits_init(&dec->bits, data, static_cast<size_t>(size));
    const int32_t type = mpeg4_parse_headers(&dec->bits, &dec->header);
    if (type < 0) return type;

    dec->standard_chroma = (context->options & CODEC_OPTION_STANDARD_CHROMA) != 0;
    int32_t used = 0;
    if (type == MPEG4_I_VOP || type == MPEG4_P_VOP) {
        const bool complete = type == MPEG4_I_VOP ? mpeg4_decode_i_vop(dec) : mpeg4_decode_p_vop(dec);
        dec->dsp->state_clear();
        if (!complete) return size;
        used = static_cast<int32_t>(mpeg4_bits_bytes_used(&dec->bits));
        frame->key_frame = type == MPEG4_I_VOP;
        ++dec->changes.picture;
        frame->changes = &dec->changes;
    } else {
        note_swap_without_picture(dec);
        frame->changes = nullptr;
    }
    // oddity: hidden-picture-swaps. A B-VOP or one that isn't coded shows nothing, but it swaps the pictures
    // like any other, so that the next P-VOP predicts from the older one.
    fill_frame(dec, frame);
    std::swap(dec->current, dec->reference);
    *got = used;
    return used;
}
}  // namespace

CodecEntry mpeg4_codec_entry()
{
    return {.name = "mpeg4",
            .kind = CODEC_KIND_VIDEO,
            .id = CODEC_ID_MPEG4,
            .priv_size = sizeof(Mpeg4Decoder),
            .open = open,
            .encode = nullptr,
            .close = close,
            .decode = decode,
            .capabilities = 0,
            .next = nullptr};
}
