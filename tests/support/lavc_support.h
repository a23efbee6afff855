#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include "tests/support/test_scene.h"

// Owning pointers for libavcodec, and pictures in and out of its frames.

inline void Require(bool good, const char* what)
{
    if (!good) throw std::runtime_error(what);
}

struct FreeContext {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct FreeFrame {
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct FreePacket {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
using ContextPtr = std::unique_ptr<AVCodecContext, FreeContext>;
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;
using PacketPtr = std::unique_ptr<AVPacket, FreePacket>;

TestPicture CopyLavcFrame(const AVFrame& frame);

/// Encodes the first `frames` pictures of a scene, each with the context's global_quality. One packet a
/// picture.
std::vector<std::vector<uint8_t>> EncodeScene(AVCodecContext* context, const TestSceneShape& shape, int frames);

/// Points a packet at a copy of `bytes` with the padding that libavcodec asks for.
void PadPacket(const std::vector<uint8_t>& bytes, std::vector<uint8_t>* padded, AVPacket* packet);
