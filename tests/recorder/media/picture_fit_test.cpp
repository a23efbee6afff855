#include "recorder/media/PictureFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace
{

using namespace recorder;

struct Part {
    int width = 0;
    int height = 0;
    bool operator==(const Part&) const = default;
};

AvFrame White(int width, int height, AVRational pixel = {1, 1})
{
    AvFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->sample_aspect_ratio = pixel;
    CheckAv(av_frame_get_buffer(frame.get(), 0), "hold a picture");
    std::fill_n(frame->data[0], ptrdiff_t{height} * frame->linesize[0], uint8_t{255});
    for (const int chroma : {1, 2})
        std::fill_n(frame->data[chroma], ptrdiff_t{height / 2} * frame->linesize[chroma], uint8_t{128});
    return frame;
}

// How much of a channel's picture a white one from elsewhere fills.
Part Filled(int channelWidth, int channelHeight, int width, int height, AVRational pixel = {1, 1})
{
    const AvFrame frame = White(width, height, pixel);
    PictureFit fit(channelWidth, channelHeight);
    const auto& pixels = fit.Fit(*frame);
    const auto filled = [&](int x, int y) {
        return pixels[4 * (static_cast<size_t>(y) * static_cast<size_t>(channelWidth) +
                           static_cast<size_t>(x))] > 0;
    };
    Part part;
    for (int x = 0; x < channelWidth; ++x)
        part.width += filled(x, channelHeight / 2) ? 1 : 0;
    for (int y = 0; y < channelHeight; ++y)
        part.height += filled(channelWidth / 2, y) ? 1 : 0;
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

TEST(PictureFitTest, BarsAreBlackToTheEdgeOfAPictureOfAnyWidth)
{
    EXPECT_EQ(Filled(704, 576, 1280, 1024), (Part{660, 576}));
    EXPECT_EQ(Filled(352, 288, 1280, 1024), (Part{330, 288}));
}

// The bytes that the scaler writes behind rows of this width, of a picture of the same size.
size_t ExcessOf(int width)
{
    constexpr int HEIGHT = 16;
    const AvFrame frame = White(width, HEIGHT);
    const SwsScaler scaler(sws_getContext(width, HEIGHT, AV_PIX_FMT_YUV420P, width, HEIGHT, AV_PIX_FMT_BGR0,
                                          SWS_BILINEAR, nullptr, nullptr, nullptr));
    const size_t size = size_t{4} * static_cast<size_t>(width) * HEIGHT;
    std::vector<uint8_t> pixels(size + 4096, uint8_t{0xA5});
    uint8_t* const to[4] = {pixels.data()};
    const int strides[4] = {4 * width};
    sws_scale(scaler.get(), frame->data, frame->linesize, 0, HEIGHT, to, strides);
    while (pixels.back() == 0xA5 && pixels.size() > size)
        pixels.pop_back();
    return pixels.size() - size;
}

// A picture that is a little narrower than the channel ends its last row close to the end of the pixels.
TEST(PictureFitTest, ThereIsRoomForWhatTheScalerWritesBehindTheLastRow)
{
    PictureFit fit(352, 288);
    const auto& pixels = fit.Fit(*White(478, 360));
    size_t excess = 0;
    for (int width = 338; width < 352; width += 2)
        excess = std::max(excess, ExcessOf(width));
    EXPECT_GE(pixels.capacity() - pixels.size(), excess);
}

TEST(PictureFitTest, TheOldSizesAreAllOfOneShape)
{
    EXPECT_EQ(Filled(704, 576, 640, 480), (Part{704, 576}));
    EXPECT_EQ(Filled(352, 288, 704, 576, {12, 11}), (Part{352, 288}));
    EXPECT_EQ(Filled(176, 144, 640, 480), (Part{176, 144}));
    EXPECT_EQ(Filled(528, 432, 640, 480), (Part{528, 432})) << "and so are those of their proportions";
}

}  // namespace
