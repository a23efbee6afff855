// What a direct link's pictures look like in a window: through the link, the decoder's row and the default
// renderer, on a device that keeps the pixels.

#include <gtest/gtest.h>

#include <stdexcept>

#include "recorder/scene/Picture.h"
#include "render/D3DSurfaceRender.h"
#include "render/device/MemorySurfaceDevice.h"
#include "tests/links/tcp_links_support.h"

namespace
{

constexpr HWND CELL{7};
constexpr int CHANNEL = 1;
constexpr double ENOUGH_DB = 28;

class TcpPixels : public CTcpLinksTest, public testing::WithParamInterface<std::int32_t>
{
  protected:
    TcpPixels()
    {
        SetRenderFactory([adapter = m_pAdapter] {
            auto render = std::make_unique<CD3DSurfaceRender>([adapter] { return adapter; });
            if (render->Init(HWND::Null) == 0) throw std::runtime_error("the renderer does not start");
            return render;
        });
    }

    const std::shared_ptr<CMemorySurfaceAdapter> m_pAdapter = std::make_shared<CMemorySurfaceAdapter>();
};

TEST_P(TcpPixels, LivePicturesShowTheSceneWithTheirNumber)
{
    const auto recorder = StartRecorder({"--checksum", "32"});  // of H.264: the decoder refuses what fails it
    CTcpRemote live(GetParam(), -1);
    live.SetRenderWnd(CELL);
    Open(live, CHANNEL);
    // key pictures and predicted ones
    ASSERT_TRUE(WaitUntil([&] { return m_pAdapter->GetPresentCount(CELL) >= 40; }));
    live.Close();

    const MemoryPicture shown = m_pAdapter->GetPicture(CELL);
    ASSERT_EQ(shown.width, recorder->Scene().width);
    ASSERT_EQ(shown.height, recorder->Scene().height);
    recorder::Picture picture;
    picture.Resize(shown.width, shown.height);
    recorder::FromBgra(shown.pixels.data(), shown.width * 4, picture);
    const auto mark = recorder::ReadMark(picture);
    ASSERT_TRUE(mark) << "damaged beyond reading";
    EXPECT_EQ(mark->channel, CHANNEL);
    EXPECT_GE(mark->picture, 39U);
    const recorder::Picture scene = recorder::DrawScene(recorder->Scene(), CHANNEL, mark->picture);
    EXPECT_GE(recorder::LumaPsnr(picture, scene), ENOUGH_DB);
    EXPECT_NE(recorder->End(), "");
}

INSTANTIATE_TEST_SUITE_P(Modes, TcpPixels, testing::Values(MODE_LIVE_MPEG4, MODE_LIVE_H264),
                         [](const auto& mode) { return mode.param == MODE_LIVE_H264 ? "H264" : "Mpeg4"; });

}  // namespace
