#include "recorder/media/H264Encoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cstring>
#include <stdexcept>
#include <string>

#include "recorder/media/LibAv.h"
#include "recorder/media/LibAvLog.h"

namespace recorder
{

namespace
{

// A coarser quantiser than this never needs a macroblock without transform.
constexpr int MIN_QUANT = 14;

std::string Parameters(const XH264Setup& setup)
{
    return "ref=1:bframes=0:8x8dct=0:weightp=0:slices=1:sliced-threads=0:scenecut=0:open-gop=0:cqm=flat:aud=0:"
           "repeat-headers=1:annexb=1:intra-refresh=0:constrained-intra=0:min-keyint=1:keyint=" +
           std::to_string(setup.m_iGroup) + ":qpmin=" + std::to_string(MIN_QUANT) +
           ":cabac=" + (setup.m_Entropy == EEntropy::Cabac ? "1" : "0");
}

}  // namespace

struct CH264Encoder::XState {
    explicit XState(const XH264Setup& setup);

    XH264Setup m_Setup;
    AvCodecContext m_pEncoder;
    AvFrame m_pInput{av_frame_alloc()};
    AvPacket m_pPacket{av_packet_alloc()};
};

CH264Encoder::XState::XState(const XH264Setup& setup) : m_Setup(setup)
{
    SayLibAvWarningsOnce();
    const AVCodec* const encoder = avcodec_find_encoder_by_name("libx264");
    if (encoder == nullptr) throw std::runtime_error("libavcodec has no H.264 encoder");
    m_pEncoder.reset(avcodec_alloc_context3(encoder));
    if (!m_pEncoder || !m_pInput || !m_pPacket) throw std::runtime_error("no memory for an encoder");

    AVCodecContext& context = *m_pEncoder;
    context.width = setup.m_iWidth;
    context.height = setup.m_iHeight;
    context.pix_fmt = AV_PIX_FMT_YUV420P;
    context.sample_aspect_ratio = {1, 1};
    context.time_base = {1, setup.m_iRate};
    context.framerate = {setup.m_iRate, 1};
    context.bit_rate = setup.m_iBitRate;
    context.rc_max_rate = setup.m_iBitRate * 3 / 2;
    context.rc_buffer_size = static_cast<int>(setup.m_iBitRate);
    context.gop_size = setup.m_iGroup;
    context.max_b_frames = 0;
    context.thread_count = 1;
    av_opt_set(context.priv_data, "preset", setup.m_strPreset.c_str(), 0);
    av_opt_set(context.priv_data, "tune", "zerolatency", 0);
    av_opt_set(context.priv_data, "profile", "main", 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    av_opt_set(context.priv_data, "x264-params", Parameters(setup).c_str(), 0);
    CheckAv(avcodec_open2(&context, encoder, nullptr), "open the H.264 encoder");

    m_pInput->format = context.pix_fmt;
    m_pInput->width = setup.m_iWidth;
    m_pInput->height = setup.m_iHeight;
    CheckAv(av_frame_get_buffer(m_pInput.get(), 0), "hold a picture");
}

CH264Encoder::CH264Encoder(const XH264Setup& setup) : m_p(std::make_unique<XState>(setup)) {}

CH264Encoder::~CH264Encoder() = default;

XCoded CH264Encoder::Encode(const XPicture& picture, int64_t iPicture, bool bKey)
{
    AVFrame& frame = *m_p->m_pInput;
    CheckAv(av_frame_make_writable(&frame), "hold a picture");
    const std::vector<uint8_t>* const planes[3] = {&picture.m_Y, &picture.m_U, &picture.m_V};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? picture.m_iWidth : picture.m_iWidth / 2;
        const int height = plane == 0 ? picture.m_iHeight : picture.m_iHeight / 2;
        for (int y = 0; y < height; ++y)
            std::memcpy(frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane],
                        planes[plane]->data() + ptrdiff_t{y} * width, static_cast<size_t>(width));
    }
    frame.pts = iPicture;
    frame.pict_type = bKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    CheckAv(avcodec_send_frame(m_p->m_pEncoder.get(), &frame), "encode a picture");
    AVPacket& packet = *m_p->m_pPacket;
    CheckAv(avcodec_receive_packet(m_p->m_pEncoder.get(), &packet), "encode a picture at once");
    XCoded coded;
    coded.m_Codec = ECodec::H264;
    coded.m_bKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    coded.m_Bytes = WithChecksum({packet.data, static_cast<size_t>(packet.size)}, m_p->m_Setup.m_Checksum);
    av_packet_unref(&packet);
    return coded;
}

}  // namespace recorder
