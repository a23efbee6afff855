#include "recorder/media/H264Encoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
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
// What the encoder's buffer model holds at most, and so a picture, but for what the encoder misjudges.
constexpr int64_t MOST_BUFFER_BITS = int64_t{8} * MAX_H264_BYTES * 3 / 4;

std::string Parameters(const H264Setup& setup)
{
    return "ref=1:bframes=0:8x8dct=0:weightp=0:slices=1:sliced-threads=0:scenecut=0:open-gop=0:cqm=flat:aud=0:"
           "repeat-headers=1:annexb=1:intra-refresh=0:constrained-intra=0:min-keyint=1:keyint=" +
           std::to_string(setup.group) + ":qpmin=" + std::to_string(MIN_QUANT) +
           ":cabac=" + (setup.entropy == EEntropy::Cabac ? "1" : "0");
}

}  // namespace

struct H264Encoder::State {
    explicit State(const H264Setup& setup);

    H264Setup m_Setup;
    AvCodecContext m_Encoder;
    AvFrame m_Input{av_frame_alloc()};
    AvPacket m_Packet{av_packet_alloc()};
};

H264Encoder::State::State(const H264Setup& setup) : m_Setup(setup)
{
    SayLibAvWarningsOnce();
    const AVCodec* const encoder = avcodec_find_encoder_by_name("libx264");
    if (encoder == nullptr) throw std::runtime_error("libavcodec has no H.264 encoder");
    m_Encoder.reset(avcodec_alloc_context3(encoder));
    if (!m_Encoder || !m_Input || !m_Packet) throw std::runtime_error("no memory for an encoder");

    AVCodecContext& context = *m_Encoder;
    context.width = setup.width;
    context.height = setup.height;
    context.pix_fmt = AV_PIX_FMT_YUV420P;
    context.sample_aspect_ratio = {1, 1};
    context.time_base = {1, setup.rate};
    context.framerate = {setup.rate, 1};
    // The model's buffer holds one picture at least, so no rate may ask for more than fits.
    const int64_t mostRate = MOST_BUFFER_BITS * setup.rate;
    context.bit_rate = std::min(setup.bitRate, mostRate);
    context.rc_max_rate = std::min(setup.bitRate * 3 / 2, mostRate);
    context.rc_buffer_size = static_cast<int>(std::min(setup.bitRate, MOST_BUFFER_BITS));
    context.gop_size = setup.group;
    context.max_b_frames = 0;
    context.thread_count = 1;
    av_opt_set(context.priv_data, "preset", setup.preset.c_str(), 0);
    av_opt_set(context.priv_data, "tune", "zerolatency", 0);
    av_opt_set(context.priv_data, "profile", "main", 0);
    av_opt_set(context.priv_data, "forced-idr", "1", 0);
    av_opt_set(context.priv_data, "x264-params", Parameters(setup).c_str(), 0);
    CheckAv(avcodec_open2(&context, encoder, nullptr), "open the H.264 encoder");

    m_Input->format = context.pix_fmt;
    m_Input->width = setup.width;
    m_Input->height = setup.height;
    CheckAv(av_frame_get_buffer(m_Input.get(), 0), "hold a picture");
}

H264Encoder::H264Encoder(const H264Setup& setup) : m_State(std::make_unique<State>(setup)) {}

H264Encoder::~H264Encoder() = default;

Coded H264Encoder::Encode(const Picture& picture, int64_t pictureNumber, bool key)
{
    AVFrame& frame = *m_State->m_Input;
    CheckAv(av_frame_make_writable(&frame), "hold a picture");
    const std::vector<uint8_t>* const planes[3] = {&picture.y, &picture.u, &picture.v};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? picture.width : picture.width / 2;
        const int height = plane == 0 ? picture.height : picture.height / 2;
        for (int y = 0; y < height; ++y)
            std::memcpy(frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane],
                        planes[plane]->data() + ptrdiff_t{y} * width, static_cast<size_t>(width));
    }
    frame.pts = pictureNumber;
    frame.pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    CheckAv(avcodec_send_frame(m_State->m_Encoder.get(), &frame), "encode a picture");
    AVPacket& packet = *m_State->m_Packet;
    CheckAv(avcodec_receive_packet(m_State->m_Encoder.get(), &packet), "encode a picture at once");
    Coded coded;
    coded.codec = ECodec::H264;
    coded.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    coded.bytes = WithChecksum({packet.data, static_cast<size_t>(packet.size)}, m_State->m_Setup.checksum);
    av_packet_unref(&packet);
    return coded;
}

}  // namespace recorder
