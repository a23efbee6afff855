// Pictures of the H.264 decoder on their way to a window: what is shown is what the whole picture converts to,
// though the renderer converts no more of it than the decoder says has changed.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "codec/convert/convert.h"
#include "codec/decoder.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/render/render_support.h"
#include "tests/support/test_places.h"

namespace
{

constexpr HWND CELL{1};

struct TestStream {
    const char* name;
    std::int32_t width, height;
};

std::vector<std::uint8_t> ReadStream(const char* name)
{
    std::ifstream file(SourcePath(std::string("tests/data/h264/") + name), std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    bytes.resize(bytes.size() + 8);  // as a link hands payloads over
    return bytes;
}

/// Pictures as the decoder gives them, one for each slice of the stream.
template <class Function>
void ForEachPicture(const TestStream& shape, Function show)
{
    const std::vector<std::uint8_t> stream = ReadStream(shape.name);
    CC264Decoder decoder(shape.width, shape.height);
    std::size_t begin = 0;
    while (begin + 8 < stream.size()) {
        std::size_t end = begin + 4;
        const auto starts = [&](std::size_t at) {
            return stream[at] == 0 && stream[at + 1] == 0 && stream[at + 2] == 1;
        };
        while (end + 4 < stream.size() && !starts(end))
            ++end;
        const bool last = end + 4 >= stream.size();
        std::vector<std::uint8_t> unit(stream.begin() + static_cast<std::ptrdiff_t>(begin),
                                       last ? stream.end() : stream.begin() + static_cast<std::ptrdiff_t>(end));
        if (!last) unit.resize(unit.size() + 8);
        const CodecFrame* const frame = decoder.Decode(unit.data(), static_cast<std::int32_t>(unit.size()));
        if (frame && frame->data[0]) show(*frame);
        if (last) break;
        begin = end;
    }
}

class H264ShowingTest : public testing::TestWithParam<TestStream>
{
};

TEST_P(H264ShowingTest, EveryPictureIsShownAsTheWholeConvertsTo)
{
    const TestStream& shape = GetParam();
    const CRecordingBackend backend;
    const auto adapter = std::make_shared<CMemorySurfaceAdapter>();
    CD3DSurfaceRender render{[&] { return adapter; }};
    render.Init(CELL);
    CSurface* const surface = render.CreateSurface(shape.width, shape.height);
    std::vector<std::uint8_t> expected(static_cast<std::size_t>(shape.width) *
                                       static_cast<std::size_t>(shape.height) * 4);
    const ConvertTarget target = {
        .data = {expected.data()}, .linesize = {shape.width * 4}, .format = CONVERT_FORMAT_BGR32};
    int pictures = 0;
    ForEachPicture(shape, [&](const CodecFrame& frame) {
        ++pictures;
        ASSERT_EQ(ConvertFrame(target, frame, shape.width, shape.height, false), CONVERT_OK);
        render.DisplayClient(&frame, surface, CELL);
        ASSERT_EQ(surface->m_Showing, EShowing::Shown);
        ASSERT_EQ(adapter->GetPicture(CELL).pixels, expected) << "picture " << pictures;
    });
    EXPECT_GT(pictures, 1);
    EXPECT_EQ(adapter->GetPresentCount(CELL), static_cast<std::uint32_t>(pictures));
}

INSTANTIATE_TEST_SUITE_P(Streams, H264ShowingTest,
                         testing::Values(TestStream{"cavlc_varied_q.h264", 176, 144},
                                         TestStream{"cabac_long_gop.h264", 64, 48},
                                         TestStream{"cabac_cif.h264", 352, 288},
                                         TestStream{"cavlc_d1.h264", 704, 576}));

}  // namespace
