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

struct CMpeg4Encoder::XState {
    XState(int iWidth, int iHeight, int iRate, EMotion motion);

    std::vector<uint8_t> Code(AVFrame* pFrame, bool bKey, int iQuant, int64_t iTick);
    // What a decoder makes of the bytes becomes m_pShown.
    void Decode(const std::vector<uint8_t>& bytes);
    // Lets the encoder spend its turn with rounding type 1; false when it changed its reference by it.
    bool SpendTurn();

    int m_iRate;
    EMotion m_Motion;
    AvCodecContext m_pEncoder;
    AvCodecContext m_pDecoder;
    AvFrame m_pInput{av_frame_alloc()};
    AvFrame m_pShown{av_frame_alloc()};
    AvPacket m_pPacket{av_packet_alloc()};
    int64_t m_iTick = -1;
    bool m_bFirst = true;
    bool m_bTurnSpent = false;
};

CMpeg4Encoder::XState::XState(int iWidth, int iHeight, int iRate, EMotion motion)
    : m_iRate(iRate), m_Motion(motion)
{
    const AVCodec* const encoder = avcodec_find_encoder_by_name("mpeg4");
    const AVCodec* const decoder = avcodec_find_decoder_by_name("mpeg4");
    if (encoder == nullptr || decoder == nullptr) throw std::runtime_error("libavcodec has no MPEG-4");
    m_pEncoder.reset(avcodec_alloc_context3(encoder));
    m_pDecoder.reset(avcodec_alloc_context3(decoder));
    if (!m_pEncoder || !m_pDecoder || !m_pInput || !m_pShown || !m_pPacket)
        throw std::runtime_error("no memory for an encoder");

    AVCodecContext& context = *m_pEncoder;
    context.width = iWidth;
    context.height = iHeight;
    context.pix_fmt = AV_PIX_FMT_YUV420P;
    context.sample_aspect_ratio = {1, 1};
    context.time_base = {1, iRate * TICKS};
    context.gop_size = 600;  // the most it takes; key pictures come when they are asked for
    context.max_b_frames = 0;
    context.thread_count = 1;
    context.me_range = SEARCH_RANGE;
    context.flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_BITEXACT | AV_CODEC_FLAG_AC_PRED;
    if (motion == EMotion::Half) context.flags |= AV_CODEC_FLAG_4MV;
    av_opt_set(context.priv_data, "motion_est", motion == EMotion::None ? "zero" : "epzs", 0);
    CheckAv(avcodec_open2(&context, encoder, nullptr), "open the MPEG-4 encoder");

    m_pDecoder->thread_count = 1;
    CheckAv(avcodec_open2(m_pDecoder.get(), decoder, nullptr), "open the MPEG-4 decoder");

    m_pInput->format = context.pix_fmt;
    m_pInput->width = iWidth;
    m_pInput->height = iHeight;
    CheckAv(av_frame_get_buffer(m_pInput.get(), 0), "allocate a picture");
}

std::vector<uint8_t> CMpeg4Encoder::XState::Code(AVFrame* pFrame, bool bKey, int iQuant, int64_t iTick)
{
    m_iTick = std::max(m_iTick + 1, iTick);
    pFrame->pts = m_iTick;
    pFrame->quality = iQuant * FF_QP2LAMBDA;
    pFrame->pict_type = bKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    CheckAv(avcodec_send_frame(m_pEncoder.get(), pFrame), "encode a picture");
    CheckAv(avcodec_receive_packet(m_pEncoder.get(), m_pPacket.get()), "encode a picture");
    std::vector<uint8_t> bytes(m_pPacket->data, m_pPacket->data + m_pPacket->size);
    av_packet_unref(m_pPacket.get());
    return bytes;
}

void CMpeg4Encoder::XState::Decode(const std::vector<uint8_t>& bytes)
{
    CheckAv(av_new_packet(m_pPacket.get(), static_cast<int>(bytes.size())), "decode a picture");
    std::memcpy(m_pPacket->data, bytes.data(), bytes.size());
    const int sent = avcodec_send_packet(m_pDecoder.get(), m_pPacket.get());
    av_packet_unref(m_pPacket.get());
    CheckAv(sent, "decode a picture");
    CheckAv(avcodec_receive_frame(m_pDecoder.get(), m_pShown.get()), "decode a picture");
}

bool CMpeg4Encoder::XState::SpendTurn()
{
    if (m_bTurnSpent) return true;
    m_bTurnSpent = true;
    const AvFrame input(av_frame_clone(m_pShown.get()));
    if (!input) throw std::runtime_error("no memory for a picture");
    const auto bytes = Code(input.get(), false, REPEAT_QUANT, m_iTick + 1);
    const auto headers = ReadHeaders(bytes, m_iRate * TICKS);
    const int macroblocks = m_pEncoder->width / 16 * (m_pEncoder->height / 16);
    return headers.vop && RepeatsReference(bytes, *headers.vop, macroblocks);
}

CMpeg4Encoder::CMpeg4Encoder(int iWidth, int iHeight, int iRate, EMotion motion)
    : m_p(std::make_unique<XState>(iWidth, iHeight, iRate, motion))
{
}

CMpeg4Encoder::~CMpeg4Encoder() = default;

XCoded CMpeg4Encoder::Encode(const XPicture& picture, int64_t iPicture, bool bKey, int iQuant)
{
    XState& state = *m_p;
    AVFrame& input = *state.m_pInput;
    CheckAv(av_frame_make_writable(&input), "allocate a picture");
    const uint8_t* const planes[3] = {picture.m_Y.data(), picture.m_U.data(), picture.m_V.data()};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? picture.m_iWidth : picture.m_iWidth / 2;
        const int height = plane == 0 ? picture.m_iHeight : picture.m_iHeight / 2;
        for (int y = 0; y < height; ++y)
            std::memcpy(input.data[plane] + ptrdiff_t{y} * input.linesize[plane],
                        planes[plane] + ptrdiff_t{y} * width, static_cast<size_t>(width));
    }

    bool key = bKey || state.m_bFirst || (state.m_Motion == EMotion::Half && !state.SpendTurn());
    for (;;) {
        XCoded coded;
        coded.m_Bytes = state.Code(&input, key, iQuant, iPicture * TICKS);
        const auto headers = ReadHeaders(coded.m_Bytes, state.m_iRate * TICKS);
        if (!headers.vop) throw std::runtime_error("the MPEG-4 encoder gave no picture");
        const XVop& vop = *headers.vop;
        coded.m_bKey = vop.vop_coding_type == EVop::I;
        coded.m_iQuant = vop.vop_quant;
        if (state.m_Motion == EMotion::None &&
            vop.vop_rounding_type)  // nothing is interpolated: the bit is free
            coded.m_Bytes[vop.rounding_bit / 8] &= static_cast<uint8_t>(~(0x80U >> vop.rounding_bit % 8));
        else if (!coded.m_bKey && (vop.vop_rounding_type || vop.vop_fcode_forward != 1)) {
            key = true;  // not within the limits
            continue;
        }
        if (state.m_Motion == EMotion::Half) state.Decode(coded.m_Bytes);
        state.m_bFirst = false;
        state.m_bTurnSpent = false;
        return coded;
    }
}

}  // namespace recorder
