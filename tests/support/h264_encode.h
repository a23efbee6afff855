#pragma once

#include <string>
#include <vector>

#include "tests/support/h264_syntax.h"
#include "tests/support/test_scene.h"

// H.264 streams for benches, made on the spot by libavcodec's x264 inside what our decoder reads: one slice,
// one reference, no B, no 8x8 transform, no weighted prediction.

struct H264StreamShape {
    TestSceneShape scene;
    int frames = 50;
    int gop = 50;
    bool cabac = true;
    int kilobits = 3000;  ///< a second at 25 pictures a second; 0 takes `quantiser`
    int quantiser = 28;   ///< of P pictures
};

struct H264EncodedStream {
    std::vector<H264Packet> packets;
    double skippedPercent = 0;  ///< of the macroblocks of its P pictures, as the encoder counted them
};

H264EncodedStream EncodeH264(const H264StreamShape& shape);
