#include "tests/support/h264_encode.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "tests/support/lavc_support.h"

namespace
{
constexpr int FRAME_RATE = 25;

/// The share that the encoder's closing words tell: "mb P  I16..4: ... skip:93.1%". libavcodec has one log for
/// the process.
std::mutex g_csLog;
double g_Skipped = 0;

void ReadLog(void* /*context*/, int /*level*/, const char* format, va_list arguments)
{
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    const char* const skip = std::strstr(line, "skip:");
    if (skip && std::strstr(line, "mb P")) std::sscanf(skip, "skip:%lf", &g_Skipped);
}

ContextPtr OpenEncoder(const H264StreamShape& shape)
{
    const AVCodec* const codec = avcodec_find_encoder_by_name("libx264");
    Require(codec, "libavcodec has no x264");
    ContextPtr context(avcodec_alloc_context3(codec));
    context->width = shape.scene.width;
    context->height = shape.scene.height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {1, FRAME_RATE};
    context->framerate = {FRAME_RATE, 1};
    context->gop_size = shape.gop;
    context->max_b_frames = 0;
    context->thread_count = 1;
    if (shape.kilobits > 0) context->bit_rate = int64_t{shape.kilobits} * 1000;
    av_opt_set(context->priv_data, "preset", "fast", 0);
    if (shape.kilobits == 0) av_opt_set_int(context->priv_data, "qp", shape.quantiser, 0);
    const std::string params =
        std::string("ref=1:weightp=0:8x8dct=0:slices=1:scenecut=0:rc-lookahead=0:mbtree=0:") +
        (shape.cabac ? "cabac=1" : "cabac=0");
    av_opt_set(context->priv_data, "x264-params", params.c_str(), 0);
    Require(avcodec_open2(context.get(), codec, nullptr) == 0, "x264 doesn't open");
    return context;
}
}  // namespace

H264EncodedStream EncodeH264(const H264StreamShape& shape)
{
    const std::lock_guard lock(g_csLog);
    g_Skipped = 0;
    const int level = av_log_get_level();
    av_log_set_level(AV_LOG_INFO);
    av_log_set_callback(ReadLog);
    H264EncodedStream stream;
    {
        const ContextPtr context = OpenEncoder(shape);
        stream.packets = EncodeScene(context.get(), shape.scene, shape.frames);
    }
    av_log_set_callback(av_log_default_callback);
    av_log_set_level(level);
    stream.skippedPercent = g_Skipped;
    return stream;
}
