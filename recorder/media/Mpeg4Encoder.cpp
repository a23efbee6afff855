#include "recorder/media/Mpeg4Encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "recorder/media/LibAv.h"
#include "recorder/media/Mpeg4Headers.h"

namespace recorder
{

namespace
{

constexpr int TICKS = 8;          // of the stream's clock to a picture: room for repeats between two pictures
constexpr int SEARCH_RANGE = 15;  // whole samples; fcode 1 reaches from -16 to 15.5
constexpr int REPEAT_QUANT = 31;

}  // namespace

struct Mpeg4Encoder::State {
    State(int width, int height, int rate, EMotion motion);

    std::vector<uint8_t> Code(AVFrame* frame, bool key, int quant, int64_t tick);
    // What a decoder makes of the bytes becomes m_Shown.
    void Decode(const std::vector<uint8_t>& bytes);
    // Lets the encoder spend its turn with rounding type 1; false when it changed its reference by it.
    bool SpendTurn();

    int m_Rate;
    EMotion m_Motion;
    AvCodecContext m_Encoder;
    AvCodecContext m_Decoder;
    AvFrame m_Input{av_frame_alloc()};
    AvFrame m_Shown{av_frame_alloc()};
    AvPacket m_Packet{av_packet_alloc()};
    int64_t m_Tick = -1;
    bool m_First = true;
    bool m_TurnSpent = false;
};

Mpeg4Encoder::State::State(int width, int height, int rate, EMotion motion) : m_Rate(rate), m_Motion(motion)
{
    const AVCodec* const encoder = avcodec_find_encoder_by_name("mpeg4");
    const AVCodec* const decoder = avcodec_find_decoder_by_name("mpeg4");
    if (encoder == nullptr || decoder == nullptr) throw std::runtime_error("libavcodec has no MPEG-4");
    m_Encoder.reset(avcodec_alloc_context3(encoder));
    m_Decoder.reset(avcodec_alloc_context3(decoder));
    if (!m_Encoder || !m_Decoder || !m_Input || !m_Shown || !m_Packet)
        throw std::runtime_error("no memory for an encoder");

    AVCodecContext& context = *m_Encoder;
    context.width = width;
    context.height = height;
    context.pix_fmt = AV_PIX_FMT_YUV420P;
    context.sample_aspect_ratio = {1, 1};
    context.time_base = {1, rate * TICKS};
    context.gop_size = 600;  // the most it takes; key pictures come when they are asked for
    context.max_b_frames = 0;
    context.thread_count = 1;
    context.me_range = SEARCH_RANGE;
    context.flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_BITEXACT | AV_CODEC_FLAG_AC_PRED;
    if (motion == EMotion::Half) context.flags |= AV_CODEC_FLAG_4MV;
    av_opt_set(context.priv_data, "motion_est", motion == EMotion::None ? "zero" : "epzs", 0);
    CheckAv(avcodec_open2(&context, encoder, nullptr), "open the MPEG-4 encoder");

    m_Decoder->thread_count = 1;
    CheckAv(avcodec_open2(m_Decoder.get(), decoder, nullptr), "open the MPEG-4 decoder");

    m_Input->format = context.pix_fmt;
    m_Input->width = width;
    m_Input->height = height;
    CheckAv(av_frame_get_buffer(m_Input.get(), 0), "allocate a picture");
}

std::vector<uint8_t> Mpeg4Encoder::State::Code(AVFrame* frame, bool key, int quant, int64_t tick)
{
    m_Tick = std::max(m_Tick + 1, tick);
    frame->pts = m_Tick;
    frame->quality = quant * FF_QP2LAMBDA;
    frame->pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    CheckAv(avcodec_send_frame(m_Encoder.get(), frame), "encode a picture");
    CheckAv(avcodec_receive_packet(m_Encoder.get(), m_Packet.get()), "encode a picture");
    std::vector<uint8_t> bytes(m_Packet->data, m_Packet->data + m_Packet->size);
    av_packet_unref(m_Packet.get());
    return bytes;
}

void Mpeg4Encoder::State::Decode(const std::vector<uint8_t>& bytes)
{
    CheckAv(av_new_packet(m_Packet.get(), static_cast<int>(bytes.size())), "decode a picture");
    std::memcpy(m_Packet->data, bytes.data(), bytes.size());
    const int sent = avcodec_send_packet(m_Decoder.get(), m_Packet.get());
    av_packet_unref(m_Packet.get());
    CheckAv(sent, "decode a picture");
    CheckAv(avcodec_receive_frame(m_Decoder.get(), m_Shown.get()), "decode a picture");
}

bool Mpeg4Encoder::State::SpendTurn()
{
    if (m_TurnSpent) return true;
    m_TurnSpent = true;
    const AvFrame input(av_frame_clone(m_Shown.get()));
    if (!input) throw std::runtime_error("no memory for a picture");
    const auto bytes = Code(input.get(), false, REPEAT_QUANT, m_Tick + 1);
    const auto headers = ReadHeaders(bytes, m_Rate * TICKS);
    const int macroblocks = m_Encoder->width / 16 * (m_Encoder->height / 16);
    return headers.vop && RepeatsReference(bytes, *headers.vop, macroblocks);
}

Mpeg4Encoder::Mpeg4Encoder(int width, int height, int rate, EMotion motion)
    : m_State(std::make_unique<State>(width, height, rate, motion))
{
}

Mpeg4Encoder::~Mpeg4Encoder() = default;

Coded Mpeg4Encoder::Encode(const Picture& picture, int64_t pictureNumber, bool isKey, int quant)
{
    State& state = *m_State;
    AVFrame& input = *state.m_Input;
    CheckAv(av_frame_make_writable(&input), "allocate a picture");
    const uint8_t* const planes[3] = {picture.y.data(), picture.u.data(), picture.v.data()};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? picture.width : picture.width / 2;
        const int height = plane == 0 ? picture.height : picture.height / 2;
        for (int y = 0; y < height; ++y)
            std::memcpy(input.data[plane] + ptrdiff_t{y} * input.linesize[plane],
                        planes[plane] + ptrdiff_t{y} * width, static_cast<size_t>(width));
    }

    bool key = isKey || state.m_First || (state.m_Motion == EMotion::Half && !state.SpendTurn());
    for (;;) {
        Coded coded;
        coded.bytes = state.Code(&input, key, quant, pictureNumber * TICKS);
        const auto headers = ReadHeaders(coded.bytes, state.m_Rate * TICKS);
        if (!headers.vop) throw std::runtime_error("the MPEG-4 encoder gave no picture");
        const Vop& vop = *headers.vop;
        coded.key = vop.vop_coding_type == EVop::I;
        coded.quant = vop.vop_quant;
        if (state.m_Motion == EMotion::None &&
            vop.vop_rounding_type)  // nothing is interpolated: the bit is free
            coded.bytes[vop.rounding_bit / 8] &= static_cast<uint8_t>(~(0x80U >> vop.rounding_bit % 8));
        else if (!coded.key && (vop.vop_rounding_type || vop.vop_fcode_forward != 1)) {
            key = true;  // not within the limits
            continue;
        }
        if (state.m_Motion == EMotion::Half) state.Decode(coded.bytes);
        state.m_First = false;
        state.m_TurnSpent = false;
        return coded;
    }
}

}  // namespace recorder
