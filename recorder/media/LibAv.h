#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace recorder
{

/// Owners of what libav allocates.
template <auto Free>
struct AvFree {
    template <class T>
    void operator()(T* p) const
    {
        Free(&p);
    }
};
using AvCodecContext = std::unique_ptr<AVCodecContext, AvFree<avcodec_free_context>>;
using AvCodecParameters = std::unique_ptr<AVCodecParameters, AvFree<avcodec_parameters_free>>;
using AvFormatContext = std::unique_ptr<AVFormatContext, AvFree<avformat_close_input>>;
using AvFrame = std::unique_ptr<AVFrame, AvFree<av_frame_free>>;
using AvPacket = std::unique_ptr<AVPacket, AvFree<av_packet_free>>;
struct SwsFree {
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};
using SwsScaler = std::unique_ptr<SwsContext, SwsFree>;

/// "End of file" and the like.
std::string AvErrorText(int error);
/// Throws std::runtime_error "can't <what>: <why>" for a negative result; gives back any other.
int CheckAv(int result, const char* what);

}  // namespace recorder
