#include "tests/recorder/media_support.h"

#include <algorithm>
#include <cstring>
#include <random>

#include "recorder/media/LibAvLog.h"
#include "recorder/scene/Scene.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace recorder
{

CDecoder::CDecoder(const char* name) : m_Frame(av_frame_alloc()), m_pPacket(av_packet_alloc())
{
    const AVCodec* const codec = avcodec_find_decoder_by_name(name);
    m_pContext.reset(avcodec_alloc_context3(codec));
    m_pContext->thread_count = 1;
    CheckAv(avcodec_open2(m_pContext.get(), codec, nullptr), "open a decoder");
}

Picture CDecoder::Decode(const std::vector<uint8_t>& bytes)
{
    CheckAv(av_new_packet(m_pPacket.get(), static_cast<int>(bytes.size())), "decode");
    std::memcpy(m_pPacket->data, bytes.data(), bytes.size());
    CheckAv(avcodec_send_packet(m_pContext.get(), m_pPacket.get()), "decode");
    av_packet_unref(m_pPacket.get());
    CheckAv(avcodec_receive_frame(m_pContext.get(), m_Frame.get()), "decode");
    Picture picture;
    picture.Resize(m_Frame->width, m_Frame->height);
    std::vector<uint8_t>* const planes[3] = {&picture.y, &picture.u, &picture.v};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? m_Frame->width : m_Frame->width / 2;
        const int height = plane == 0 ? m_Frame->height : m_Frame->height / 2;
        for (int y = 0; y < height; ++y)
            std::memcpy(planes[plane]->data() + ptrdiff_t{y} * width,
                        m_Frame->data[plane] + ptrdiff_t{y} * m_Frame->linesize[plane],
                        static_cast<size_t>(width));
    }
    return picture;
}

namespace
{

constexpr int GROUP = 5;  // pictures from one key picture to the next
constexpr int MACROBLOCK = 16;

bool IsNoise(EShows shows, int picture, int x, int y)
{
    if (shows == EShows::Scene) return false;
    if (shows == EShows::LaterSpecks && picture % GROUP == 0) return false;
    return shows == EShows::Noise || (x / MACROBLOCK + y / MACROBLOCK) % 2 == 0;
}

void AddNoise(EShows shows, int picture, std::mt19937& random, Picture& drawn)
{
    for (auto* const plane : {&drawn.y, &drawn.u, &drawn.v}) {
        const int scale = plane == &drawn.y ? 1 : 2;
        const int width = drawn.width / scale;
        for (int i = 0; i < static_cast<int>(plane->size()); ++i)
            if (IsNoise(shows, picture, i % width * scale, i / width * scale))
                (*plane)[static_cast<size_t>(i)] = static_cast<uint8_t>(random());
    }
}

}  // namespace

AccessUnits EncodeH264(const std::string& options, int pictures, AVPixelFormat format, EShows shows)
{
    SayLibAvWarningsOnce();
    const AVCodec* const codec = avcodec_find_encoder_by_name("libx264");
    const AvCodecContext encoder(avcodec_alloc_context3(codec));
    encoder->width = H264_TEST_WIDTH;
    encoder->height = H264_TEST_HEIGHT;
    encoder->pix_fmt = format;
    encoder->time_base = {1, 25};
    encoder->thread_count = 1;
    encoder->gop_size = GROUP;
    const bool once = options.find("repeat-headers=0") != std::string::npos;
    if (once) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(encoder->priv_data, "preset", "medium", 0);
    av_opt_set(encoder->priv_data, "x264-params",
               ("log=-1:ref=1:bframes=0:8x8dct=0:weightp=0:scenecut=0:slices=1:" + options).c_str(), 0);
    CheckAv(avcodec_open2(encoder.get(), codec, nullptr), "open an encoder");
    const AvFrame frame(av_frame_alloc());
    const AvPacket packet(av_packet_alloc());
    frame->width = H264_TEST_WIDTH;
    frame->height = H264_TEST_HEIGHT;
    frame->format = format;
    CheckAv(av_frame_get_buffer(frame.get(), 0), "hold a picture");
    AccessUnits stream;
    const auto take = [&] {
        while (avcodec_receive_packet(encoder.get(), packet.get()) == 0) {
            stream.emplace_back(packet->data, packet->data + packet->size);
            av_packet_unref(packet.get());
        }
    };
    std::mt19937 random(5);
    SceneSetup scene;
    scene.width = H264_TEST_WIDTH;
    scene.height = H264_TEST_HEIGHT;
    for (int i = 0; i < pictures; ++i) {
        Picture drawn = DrawScene(scene, 0, 5 * i);
        AddNoise(shows, i, random, drawn);
        CheckAv(av_frame_make_writable(frame.get()), "hold a picture");
        for (int y = 0; y < H264_TEST_HEIGHT; ++y)
            std::copy_n(drawn.y.begin() + ptrdiff_t{y} * H264_TEST_WIDTH, H264_TEST_WIDTH,
                        frame->data[0] + ptrdiff_t{y} * frame->linesize[0]);
        for (int plane = 1; plane < 3; ++plane)
            for (int y = 0; y < (format == AV_PIX_FMT_YUV420P ? H264_TEST_HEIGHT / 2 : H264_TEST_HEIGHT); ++y)
                std::copy_n((plane == 1 ? drawn.u : drawn.v).begin() + ptrdiff_t{y / 2} * (H264_TEST_WIDTH / 2),
                            H264_TEST_WIDTH / 2, frame->data[plane] + ptrdiff_t{y} * frame->linesize[plane]);
        frame->pts = i;
        CheckAv(avcodec_send_frame(encoder.get(), frame.get()), "encode");
        take();
    }
    avcodec_send_frame(encoder.get(), nullptr);
    take();
    if (once)
        stream[0].insert(stream[0].begin(), encoder->extradata, encoder->extradata + encoder->extradata_size);
    return stream;
}

}  // namespace recorder
