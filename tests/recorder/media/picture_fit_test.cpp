#include "recorder/media/PictureFit.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace recorder;

struct Part {
    int width = 0;
    int height = 0;
    bool operator==(const Part&) const = default;
};

// How much of a channel's picture a white one from elsewhere fills.
Part Filled(int channelWidth, int channelHeight, int width, int height, AVRational pixel = {1, 1})
{
    const AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_GRAY8;
    frame->sample_aspect_ratio = pixel;
    CheckAv(av_frame_get_buffer(frame.get(), 0), "hold a picture");
    for (int y = 0; y < height; ++y)
        std::fill_n(frame->data[0] + ptrdiff_t{y} * frame->linesize[0], width, uint8_t{255});
    PictureFit fit(channelWidth, channelHeight);
    const auto& pixels = fit.Fit(*frame);
    const auto white = [&](int x, int y) {
        return pixels[4 * (static_cast<size_t>(y) * static_cast<size_t>(channelWidth) +
                           static_cast<size_t>(x))] > 200;
    };
    Part part;
    for (int x = 0; x < channelWidth; ++x)
        part.width += white(x, channelHeight / 2) ? 1 : 0;
    for (int y = 0; y < channelHeight; ++y)
        part.height += white(channelWidth / 2, y) ? 1 : 0;
    return part;
}

TEST(PictureFitTest, AWideSourceFillsAWideChannel)
{
    EXPECT_EQ(Filled(1280, 720, 640, 360), (Part{1280, 720}));
    EXPECT_EQ(Filled(640, 480, 1280, 720), (Part{640, 360}));
    EXPECT_EQ(Filled(1920, 1088, 1920, 1080), (Part{1920, 1088}));
}

TEST(PictureFitTest, AWideSourceHasBarsAboveAndBelowInANarrowChannel)
{
    EXPECT_EQ(Filled(704, 576, 1280, 720), (Part{704, 432}));
}

TEST(PictureFitTest, ANarrowSourceHasBarsBesideItInAWideChannel)
{
    EXPECT_EQ(Filled(1280, 720, 640, 480), (Part{960, 720}));
    EXPECT_EQ(Filled(1280, 720, 704, 576, {12, 11}), (Part{960, 720}));
}

TEST(PictureFitTest, TheOldSizesAreAllOfOneShape)
{
    EXPECT_EQ(Filled(704, 576, 640, 480), (Part{704, 576}));
    EXPECT_EQ(Filled(352, 288, 704, 576, {12, 11}), (Part{352, 288}));
    EXPECT_EQ(Filled(176, 144, 640, 480), (Part{176, 144}));
}

}  // namespace
