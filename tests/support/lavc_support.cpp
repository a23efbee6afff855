#include "tests/support/lavc_support.h"

#include <cstring>

namespace
{
/// A planar 4:2:0 frame with buffers of its own.
FramePtr MakeLavcFrame(int width, int height)
{
    FramePtr frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    Require(av_frame_get_buffer(frame.get(), 0) == 0, "no memory for a frame");
    return frame;
}

/// Sizes must agree.
void FillLavcFrame(const TestPicture& picture, AVFrame* frame)
{
    Require(av_frame_make_writable(frame) == 0, "no memory for a frame");
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? picture.width : picture.width / 2;
        const int height = plane == 0 ? picture.height : picture.height / 2;
        for (int row = 0; row < height; ++row)
            std::memcpy(frame->data[plane] + static_cast<ptrdiff_t>(row) * frame->linesize[plane],
                        picture.plane[plane].data() + static_cast<ptrdiff_t>(row) * width,
                        static_cast<size_t>(width));
    }
}

}  // namespace

TestPicture CopyLavcFrame(const AVFrame& frame)
{
    CodecFrame asOurs = {};
    asOurs.width = frame.width;
    asOurs.height = frame.height;
    for (int plane = 0; plane < 3; ++plane) {
        asOurs.data[plane] = frame.data[plane];
        asOurs.linesize[plane] = frame.linesize[plane];
    }
    return CopyPicture(asOurs);
}

std::vector<std::vector<uint8_t>> EncodeScene(AVCodecContext* context, const TestSceneShape& shape, int frames)
{
    const FramePtr frame = MakeLavcFrame(shape.width, shape.height);
    const PacketPtr packet(av_packet_alloc());
    frame->quality = context->global_quality;
    std::vector<std::vector<uint8_t>> packets;
    TestPicture picture;
    for (int i = 0; i <= frames; ++i) {
        const bool flush = i == frames;
        if (!flush) {
            DrawScene(shape, i, &picture);
            FillLavcFrame(picture, frame.get());
            frame->pts = i;
        }
        Require(avcodec_send_frame(context, flush ? nullptr : frame.get()) == 0, "the encoder refuses a frame");
        while (avcodec_receive_packet(context, packet.get()) == 0) {
            packets.emplace_back(packet->data, packet->data + packet->size);
            av_packet_unref(packet.get());
        }
    }
    return packets;
}

void PadPacket(const std::vector<uint8_t>& bytes, std::vector<uint8_t>* padded, AVPacket* packet)
{
    padded->assign(bytes.begin(), bytes.end());
    padded->resize(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    packet->data = padded->data();
    packet->size = static_cast<int>(bytes.size());
}
