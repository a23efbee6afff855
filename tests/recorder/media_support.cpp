#include "tests/recorder/media_support.h"

#include <cstring>

namespace recorder
{

CDecoder::CDecoder(const char* name) : m_pFrame(av_frame_alloc()), m_pPacket(av_packet_alloc())
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
    CheckAv(avcodec_receive_frame(m_pContext.get(), m_pFrame.get()), "decode");
    Picture picture;
    picture.Resize(m_pFrame->width, m_pFrame->height);
    std::vector<uint8_t>* const planes[3] = {&picture.y, &picture.u, &picture.v};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? m_pFrame->width : m_pFrame->width / 2;
        const int height = plane == 0 ? m_pFrame->height : m_pFrame->height / 2;
        for (int y = 0; y < height; ++y)
            std::memcpy(planes[plane]->data() + ptrdiff_t{y} * width,
                        m_pFrame->data[plane] + ptrdiff_t{y} * m_pFrame->linesize[plane],
                        static_cast<size_t>(width));
    }
    return picture;
}

}  // namespace recorder
