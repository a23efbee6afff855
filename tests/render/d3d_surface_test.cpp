#include "render/D3DSurfaceRender.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <optional>

#include "model/settings/Language.h"
#include "platform/os/paths.h"
#include "tests/render/d3d_surface_support.h"
#include "tests/support/model_state.h"
#include "tests/support/test_folder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr HWND OTHER_CELL{2};

class D3DSurfaceTest : public D3DSurfaceFixture
{
  protected:
    D3DSurfaceTest()
    {
        m_Home.Write("config/eng.ini", "[String]\nIDS_NoDirectX9=no graphics\nIDS_NoDisplayDriver=no driver\n");
        CLanguage::SetLanguage("eng");
    }

    std::uint32_t Pixel(HWND window, std::int32_t x, std::int32_t y) const
    {
        const MemoryPicture picture = m_pAdapter->GetPicture(window);
        std::uint32_t pixel = 0xFFFFFFFF;
        if (x < picture.width && y < picture.height)
            std::memcpy(&pixel, &picture.pixels[static_cast<std::size_t>(y * picture.width + x) * 4], 4);
        return pixel;
    }

    CTestFolder m_Home;
    const CModelState m_Model{m_Home.System()};
};

TEST_F(D3DSurfaceTest, InitCreatesAWindowedDeviceOfTheScreensSize)
{
    EXPECT_NE(m_Render.Init(HWND{7}), 0);
    const PresentParameters parameters = m_pAdapter->GetDeviceParameters();
    EXPECT_EQ(parameters.backBufferWidth, 1280);
    EXPECT_EQ(parameters.backBufferHeight, 1024);
    EXPECT_EQ(parameters.backBufferCount, 1U);
    EXPECT_EQ(parameters.deviceWindow, HWND{7});
    EXPECT_TRUE(parameters.windowed);
    EXPECT_EQ(m_pAdapter->GetBehaviourFlags(), CREATE_HARDWARE_VERTEXPROCESSING);
    EXPECT_THAT(m_Backend.TakeTexts(), IsEmpty());
}

TEST_F(D3DSurfaceTest, AdapterWithoutVertexWorkGetsTheSoftwareFlag)
{
    m_pAdapter->SetVertexProcessingCaps(0);
    EXPECT_NE(m_Render.Init(CELL), 0);
    EXPECT_EQ(m_pAdapter->GetBehaviourFlags(), CREATE_SOFTWARE_VERTEXPROCESSING);
}

TEST_F(D3DSurfaceTest, NoAdapterAtAllShowsItsText)
{
    CD3DSurfaceRender render([] { return nullptr; });
    EXPECT_EQ(render.Init(CELL), 0);
    EXPECT_THAT(m_Backend.TakeTexts(), ElementsAre("no graphics"));
}

struct StepRow {
    EDeviceStep step;
    EDeviceResult result;
    const char* text;
};

class InitFailureTest : public D3DSurfaceTest, public testing::WithParamInterface<StepRow>
{
};

TEST_P(InitFailureTest, ShowsItsTextAndFails)
{
    m_pAdapter->SetFault(GetParam().step, true, GetParam().result);
    EXPECT_EQ(m_Render.Init(CELL), 0);
    EXPECT_THAT(m_Backend.TakeTexts(), ElementsAre(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Steps, InitFailureTest,
    testing::Values(
        StepRow{EDeviceStep::GetAdapterDisplayMode, EDeviceResult::Failed, "GetAdapterDisplayMode failed"},
        StepRow{EDeviceStep::GetDeviceCaps, EDeviceResult::Failed, "no driver"},
        StepRow{EDeviceStep::CreateDevice, EDeviceResult::NotAvailable, "CreateDevice failed: Not Available"},
        StepRow{EDeviceStep::CreateDevice, EDeviceResult::OutOfVideoMemory,
                "CreateDevice failed: Out Of Video Memory"},
        StepRow{EDeviceStep::CreateDevice, EDeviceResult::DeviceLost, "CreateDevice failed: Device Lost"},
        StepRow{EDeviceStep::CreateDevice, EDeviceResult::InvalidCall, "CreateDevice failed: Invalid Call"},
        StepRow{EDeviceStep::CreateDevice, EDeviceResult::Failed, "CreateDevice failed: Unknown Error"}));

TEST_F(D3DSurfaceTest, FrameIsShownInTheWindowOfTheCall)
{
    m_Render.Init(CELL);
    for (const std::int32_t width : {352, 704}) {
        CSurface* const surface = m_Render.CreateSurface(width, HEIGHT);
        const CTestFrame frame(width, HEIGHT, 200);
        EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
        EXPECT_EQ(m_pAdapter->GetPicture(CELL).width, width);
        EXPECT_EQ(m_pAdapter->GetPicture(CELL).height, HEIGHT);
        EXPECT_EQ(Pixel(CELL, 0, 0), GreyPixel(200));
        EXPECT_EQ(Pixel(CELL, width - 1, HEIGHT - 1), GreyPixel(200));
        m_Render.DestroySurface(surface);
    }
}

TEST_F(D3DSurfaceTest, StreamMovesBetweenWindows)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame first(WIDTH, HEIGHT, 100);
    const CTestFrame second(WIDTH, HEIGHT, 150);
    m_Render.DisplayClient(&first.m_Frame, surface, CELL);
    m_Render.DisplayClient(&second.m_Frame, surface, OTHER_CELL);
    EXPECT_EQ(Pixel(CELL, 5, 5), GreyPixel(100));
    EXPECT_EQ(Pixel(OTHER_CELL, 5, 5), GreyPixel(150));
}

// A multiple of 8 only: the conversion refuses it.
TEST_F(D3DSurfaceTest, WidthOf360IsNotShownAndTheSurfaceKeepsItsContents)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(360, HEIGHT);
    const CTestFrame frame(360, HEIGHT, 200);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
        EXPECT_EQ(Pixel(CELL, 0, 0), 0U);
    }
}

TEST_F(D3DSurfaceTest, PictureOfChangesIsShownWholeWhateverTheSurfaceHeldBefore)
{
    ASSERT_NE(m_Render.Init(HWND::Null), 0);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    constexpr std::int32_t ACROSS = WIDTH / 16;
    constexpr std::int32_t DOWN = HEIGHT / 16;
    std::vector<std::uint32_t> numbers(std::size_t{ACROSS} * DOWN, 1);
    CodecChanges changes{1, 1, ACROSS, DOWN, numbers.data()};
    CTestFrame frame(WIDTH, HEIGHT, 40);
    frame.m_Frame.changes = &changes;
    const auto fill = [&](int column, std::uint8_t luma) {
        for (int row = 0; row < 16; ++row)
            std::memset(frame.m_Frame.data[0] + row * WIDTH + column * 16, luma, 16);
    };
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    // Each picture changes one macroblock; the device writes into other pixels in turn.
    for (int column = 0; column < 12; ++column) {
        const auto luma = static_cast<std::uint8_t>(100 + column);
        fill(column, luma);
        numbers[static_cast<std::size_t>(column)] = ++changes.picture;
        EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
        for (int before = 0; before <= column; ++before)
            EXPECT_EQ(Pixel(CELL, before * 16 + 3, 5), GreyPixel(static_cast<std::uint8_t>(100 + before)))
                << column;
        EXPECT_EQ(Pixel(CELL, (column + 1) * 16, 5), GreyPixel(40)) << column;
    }
    // A frame that doesn't tell, and then one of another stream with the same number.
    CTestFrame other(WIDTH, HEIGHT, 200);
    EXPECT_EQ(m_Render.DisplayClient(&other.m_Frame, surface, CELL), 0);
    EXPECT_EQ(Pixel(CELL, 3, 5), GreyPixel(200));
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_EQ(Pixel(CELL, 3, 5), GreyPixel(100));
    EXPECT_EQ(Pixel(CELL, WIDTH - 1, HEIGHT - 1), GreyPixel(40));
    CodecChanges foreign = changes;
    foreign.stream = 2;
    other.m_Frame.changes = &foreign;
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(m_Render.DisplayClient(&other.m_Frame, surface, CELL), 0);
        EXPECT_EQ(Pixel(CELL, 3, 5), GreyPixel(200));
        EXPECT_EQ(Pixel(CELL, WIDTH - 1, HEIGHT - 1), GreyPixel(200));
    }
}

TEST_F(D3DSurfaceTest, NullFrameShowsWhatTheSurfaceHolds)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_Render.DisplayClient(&frame.m_Frame, surface, CELL);
    EXPECT_EQ(m_Render.DisplayClient(nullptr, surface, OTHER_CELL), 0);
    EXPECT_EQ(Pixel(OTHER_CELL, 9, 9), GreyPixel(90));
}

// The upload goes by the surface's size, the stretch by the frame's.
TEST_F(D3DSurfaceTest, SmallerFrameIsStretchedFromItsOwnRectangle)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    CTestFrame frame(WIDTH, HEIGHT, 200);
    std::memset(frame.m_Frame.data[0] + WIDTH * HEIGHT / 2, 50, WIDTH * HEIGHT / 2);
    frame.m_Frame.height = HEIGHT / 2;
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_EQ(m_pAdapter->GetPicture(CELL).height, HEIGHT);
    EXPECT_EQ(Pixel(CELL, 0, HEIGHT - 1), GreyPixel(200));
}

TEST_F(D3DSurfaceTest, BadArgumentsAreMinusOne)
{
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, nullptr, CELL), -1) << "no device yet";
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, HWND::Null), -1);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, nullptr, CELL), -1);
    EXPECT_EQ(m_pAdapter->GetPresentCount(), 0U);
}

struct SurfaceStepRow {
    EDeviceStep step;
    const char* text;
};

class SurfaceFailureTest : public D3DSurfaceTest, public testing::WithParamInterface<SurfaceStepRow>
{
};

TEST_P(SurfaceFailureTest, PartlyBuiltSurfaceIsHandedOutRefusedAndDestroyed)
{
    m_Render.Init(CELL);
    m_pAdapter->SetFault(GetParam().step, true);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    ASSERT_NE(surface, nullptr);
    EXPECT_THAT(m_Backend.TakeTexts(), ElementsAre(GetParam().text));
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), -1);
    m_Render.DestroySurface(surface);
    EXPECT_THAT(m_Backend.TakeTexts(), IsEmpty()) << "frames fail silently";
}

INSTANTIATE_TEST_SUITE_P(Steps, SurfaceFailureTest,
                         testing::Values(SurfaceStepRow{EDeviceStep::CreateOffscreenPlainSurface,
                                                        "Create Off Screen Surface failed!"},
                                         SurfaceStepRow{EDeviceStep::CreateAdditionalSwapChain,
                                                        "Create Additional Swap Chain failed!"},
                                         SurfaceStepRow{EDeviceStep::GetBackBuffer,
                                                        "Get Back Buffer failed!"}));

TEST_F(D3DSurfaceTest, LostDeviceDropsFramesAndIsLeftAlone)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_pAdapter->SetState(EDeviceState::Lost);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_EQ(m_pAdapter->GetPresentCount(), 0U);
    EXPECT_EQ(m_pAdapter->GetCallCount(EDeviceStep::CreateDevice), 1U);
    EXPECT_EQ(m_iOpened, 1);
}

TEST_F(D3DSurfaceTest, FirstFrameAfterTheLossRebuildsAllSurfacesAndTheSecondIsShown)
{
    m_Render.Init(CELL);
    CSurface* const first = m_Render.CreateSurface(WIDTH, HEIGHT);
    CSurface* const second = m_Render.CreateSurface(704, 576);
    const CTestFrame small(WIDTH, HEIGHT, 90);
    const CTestFrame large(704, 576, 120);
    m_pAdapter->SetState(EDeviceState::NotReset);

    EXPECT_EQ(m_Render.DisplayClient(&small.m_Frame, first, CELL), 0);
    EXPECT_EQ(m_pAdapter->GetPresentCount(), 0U) << "the frame that rebuilds is dropped";
    EXPECT_EQ(m_iOpened, 2) << "made afresh from the adapter on, not reset";
    EXPECT_EQ(m_pAdapter->GetCallCount(EDeviceStep::CreateOffscreenPlainSurface), 4U);

    EXPECT_EQ(m_Render.DisplayClient(&small.m_Frame, first, CELL), 0);
    EXPECT_EQ(m_Render.DisplayClient(&large.m_Frame, second, OTHER_CELL), 0);
    EXPECT_EQ(Pixel(CELL, 0, 0), GreyPixel(90));
    EXPECT_EQ(m_pAdapter->GetPicture(OTHER_CELL).width, 704);
    EXPECT_EQ(Pixel(OTHER_CELL, 703, 575), GreyPixel(120));
}

TEST_F(D3DSurfaceTest, FailedRebuildingShowsItsTextsAndRefusesFrames)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_pAdapter->SetState(EDeviceState::NotReset);
    m_pAdapter->SetFault(EDeviceStep::CreateDevice, true, EDeviceResult::DeviceLost);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_THAT(m_Backend.TakeTexts(),
                ElementsAre("CreateDevice failed: Device Lost", "Create Off Screen Surface failed!"));
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), -1);
    m_Render.DestroySurface(surface);
}

struct RebuildRow {
    EDeviceStep step;
    std::vector<std::string> texts;
};

class RebuildFailureTest : public D3DSurfaceTest, public testing::WithParamInterface<RebuildRow>
{
};

// What fails while the device is rebuilt is reported once, on the link thread that hit it; frames stay silent.
TEST_P(RebuildFailureTest, ShowsItsTextsOnceAndRefusesFrames)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_pAdapter->SetState(EDeviceState::NotReset);
    m_pAdapter->SetFault(GetParam().step, true);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_EQ(m_Backend.TakeTexts(), GetParam().texts);
    m_pAdapter->SetFault(GetParam().step, false);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), -1);
    EXPECT_THAT(m_Backend.TakeTexts(), IsEmpty());
    EXPECT_EQ(m_pAdapter->GetPresentCount(), 0U);
    m_Render.DestroySurface(surface);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, RebuildFailureTest,
    testing::Values(RebuildRow{EDeviceStep::GetAdapterDisplayMode,
                               {"GetAdapterDisplayMode failed", "Create Off Screen Surface failed!"}},
                    RebuildRow{EDeviceStep::GetDeviceCaps, {"no driver", "Create Off Screen Surface failed!"}},
                    RebuildRow{EDeviceStep::CreateDevice,
                               {"CreateDevice failed: Unknown Error", "Create Off Screen Surface failed!"}},
                    RebuildRow{EDeviceStep::CreateOffscreenPlainSurface, {"Create Off Screen Surface failed!"}},
                    RebuildRow{EDeviceStep::CreateAdditionalSwapChain,
                               {"Create Additional Swap Chain failed!"}},
                    RebuildRow{EDeviceStep::GetBackBuffer, {"Get Back Buffer failed!"}}));

TEST_F(D3DSurfaceTest, UninitGivesTheDeviceBackAndInitTakesAnother)
{
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_Render.Init(CELL);
    EXPECT_NE(m_Render.Uninit(), 0);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, nullptr, CELL), -1);
    CSurface* const without = m_Render.CreateSurface(WIDTH, HEIGHT);
    ASSERT_NE(without, nullptr);
    EXPECT_THAT(m_Backend.TakeTexts(), ElementsAre("Create Off Screen Surface failed!"));
    EXPECT_NE(m_Render.Init(CELL), 0);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, without, CELL), -1) << "it was never built";
    CSurface* const with = m_Render.CreateSurface(WIDTH, HEIGHT);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, with, CELL), 0);
    EXPECT_EQ(m_pAdapter->GetPresentCount(CELL), 1U);
}

// The flags are only ever or-ed, so a device that is rebuilt keeps what it had.
TEST_F(D3DSurfaceTest, BehaviourFlagsAddUpOverRebuildings)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_pAdapter->SetVertexProcessingCaps(0);
    m_pAdapter->SetState(EDeviceState::NotReset);
    m_Render.DisplayClient(&frame.m_Frame, surface, CELL);
    EXPECT_EQ(m_pAdapter->GetBehaviourFlags(),
              CREATE_HARDWARE_VERTEXPROCESSING | CREATE_SOFTWARE_VERTEXPROCESSING);
}

TEST_F(D3DSurfaceTest, BusyPictureIsShownAsItIs)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame first(WIDTH, HEIGHT, 90);
    const CTestFrame second(WIDTH, HEIGHT, 180);
    m_Render.DisplayClient(&first.m_Frame, surface, CELL);
    m_pAdapter->SetFault(EDeviceStep::LockRect, true);
    EXPECT_EQ(m_Render.DisplayClient(&second.m_Frame, surface, CELL), 0);
    EXPECT_EQ(m_pAdapter->GetPresentCount(CELL), 2U);
    EXPECT_EQ(Pixel(CELL, 0, 0), GreyPixel(90));
}

TEST_F(D3DSurfaceTest, FailuresOfStretchAndPresentationAreSilent)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    const CTestFrame frame(WIDTH, HEIGHT, 90);
    m_pAdapter->SetFault(EDeviceStep::StretchRect, true);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    m_pAdapter->SetFault(EDeviceStep::Present, true);
    EXPECT_EQ(m_Render.DisplayClient(&frame.m_Frame, surface, CELL), 0);
    EXPECT_THAT(m_Backend.TakeTexts(), IsEmpty());
}

// oddity: snapshot-named-jpg
TEST_F(D3DSurfaceTest, SnapshotIsABmpOfTheSurfaceWhateverItsName)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    CTestFrame frame(WIDTH, HEIGHT, 90);
    std::memset(frame.m_Frame.data[0], 200, WIDTH * 2);  // the two top rows
    m_Render.DisplayClient(&frame.m_Frame, surface, CELL);

    EXPECT_EQ(m_Render.SaveSnapshot(m_Home.System("snapshot.jpg"), surface), 0);
    const std::string bytes = m_Home.Read("snapshot.jpg").value_or("");
    ASSERT_EQ(bytes.size(), 54U + WIDTH * HEIGHT * 4U);
    EXPECT_EQ(bytes.substr(0, 2), "BM");
    const auto word = [&bytes](std::size_t at) {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data() + at, 4);
        return value;
    };
    EXPECT_EQ(word(2), bytes.size());
    EXPECT_EQ(word(10), 54U) << "where the pixels begin";
    EXPECT_EQ(word(14), 40U);
    EXPECT_EQ(word(18), static_cast<std::uint32_t>(WIDTH));
    EXPECT_EQ(word(22), static_cast<std::uint32_t>(HEIGHT));
    EXPECT_EQ(word(26), 1U | 32U << 16);
    EXPECT_EQ(word(30), 0U) << "not compressed";
    EXPECT_EQ(word(54), GreyPixel(90) | 0xFF000000) << "the bottom row comes first";
    EXPECT_EQ(word(bytes.size() - 4), GreyPixel(200) | 0xFF000000);

    const CTestFrame next(WIDTH, HEIGHT, 120);
    m_Render.DisplayClient(&next.m_Frame, surface, CELL);
    EXPECT_EQ(m_Render.SaveSnapshot(m_Home.System("snapshot.jpg"), surface), 0);
    const std::string again = m_Home.Read("snapshot.jpg").value_or("");
    EXPECT_EQ(again.size(), bytes.size());
    EXPECT_NE(again, bytes) << "a second one within its second takes the place of the first";
}

TEST_F(D3DSurfaceTest, SnapshotBeforeTheFirstPictureIsBlack)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    EXPECT_EQ(m_Render.SaveSnapshot(m_Home.System("snapshot.jpg"), surface), 0);
    const std::string bytes = m_Home.Read("snapshot.jpg").value_or("");
    ASSERT_EQ(bytes.size(), 54U + WIDTH * HEIGHT * 4U);
    for (std::size_t i = 54; i < bytes.size(); i += 4)
        ASSERT_EQ(bytes.substr(i, 4), std::string("\0\0\0\xFF", 4)) << i;
}

TEST_F(D3DSurfaceTest, SnapshotThatCantBeWrittenLeavesNoTrace)
{
    m_Render.Init(CELL);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    EXPECT_EQ(m_Render.SaveSnapshot("c:\\proc\\no such folder\\a.jpg", surface), 0);
    EXPECT_EQ(m_Render.SaveSnapshot("c:\\tmp\\never.jpg", nullptr), 0);
    EXPECT_FALSE(std::filesystem::exists("/tmp/never.jpg"));
}

TEST_F(D3DSurfaceTest, ForeignAndNullSurfacesAreNotDestroyed)
{
    m_Render.Init(CELL);
    m_Render.DestroySurface(nullptr);
    CSurface* const surface = m_Render.CreateSurface(WIDTH, HEIGHT);
    m_Render.DestroySurface(surface);
    m_Render.DestroySurface(surface);  // not in the list any more
}

}  // namespace
