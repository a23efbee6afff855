// What a window of the memory device shows is its own: the stream goes on with other pixels.

#include "render/device/MemorySurfaceDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace
{

constexpr std::int32_t WIDTH = 32;
constexpr std::int32_t HEIGHT = 16;
constexpr HWND WINDOW{7};

class MemoryDeviceTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_EQ(m_Adapter.CreateDevice(HWND::Null, 0, {}, m_pDevice), EDeviceResult::Ok);
        m_pSurface = m_pDevice->CreateOffscreenPlainSurface(WIDTH, HEIGHT, ESurfaceFormat::X8R8G8B8);
        m_pChain = m_pDevice->CreateAdditionalSwapChain({WIDTH, HEIGHT});
        m_pBuffer = m_pChain->GetBackBuffer(0);
    }

    void Fill(std::uint8_t value)
    {
        LockedRect locked;
        ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
        std::fill_n(locked.bits, std::ptrdiff_t{locked.pitch} * HEIGHT, value);
        m_pSurface->Unlock(true);
    }

    void Show(const RECT& source = {0, 0, WIDTH, HEIGHT})
    {
        ASSERT_TRUE(m_pDevice->StretchRect(*m_pSurface, source, *m_pBuffer, ETextureFilter::Linear));
        ASSERT_TRUE(m_pChain->Present(WINDOW));
    }

    bool ShowsNothingBut(std::uint8_t value) const
    {
        const MemoryPicture picture = m_Adapter.GetPicture(WINDOW);
        return picture.pixels.size() == std::size_t{WIDTH} * HEIGHT * 4 &&
               std::ranges::all_of(picture.pixels, [value](std::uint8_t byte) { return byte == value; });
    }

    CMemorySurfaceAdapter m_Adapter;
    std::shared_ptr<ISurfaceDevice> m_pDevice;
    std::shared_ptr<IOffscreenSurface> m_pSurface;
    std::shared_ptr<ISwapChain> m_pChain;
    std::shared_ptr<IBackBuffer> m_pBuffer;
};

TEST_F(MemoryDeviceTest, WindowKeepsItsPictureWhileTheNextOnesAreWritten)
{
    for (std::uint8_t value = 1; value < 10; ++value) {
        Fill(value);
        Show();
        for (std::uint8_t next = 100; next < 104; ++next) {
            Fill(next);
            EXPECT_TRUE(ShowsNothingBut(value)) << int{value};
        }
    }
}

TEST_F(MemoryDeviceTest, LockThatWroteNothingLeavesThePicture)
{
    Fill(5);
    LockedRect locked;
    ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
    m_pSurface->Unlock(false);
    Show();
    EXPECT_TRUE(ShowsNothingBut(5));
}

TEST_F(MemoryDeviceTest, NoteOfWhatPixelsHoldStaysWithThesePixels)
{
    std::map<const std::uint8_t*, std::uint32_t> noted;
    for (std::uint32_t picture = 1; picture < 8; ++picture) {
        LockedRect locked;
        ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
        ASSERT_NE(locked.held, nullptr);
        EXPECT_EQ(locked.held->picture, noted[locked.bits]) << "0 for fresh pixels";
        noted[locked.bits] = locked.held->picture = picture;
        m_pSurface->Unlock(true);
        Show();
    }
    EXPECT_EQ(noted.size(), 2U) << "one shown, one written";
}

TEST_F(MemoryDeviceTest, ReadingLockGivesThePresentPicture)
{
    Fill(1);
    Show();
    Fill(2);
    LockedRect locked;
    ASSERT_TRUE(m_pSurface->Lock(ELockMode::ReadOnly, locked));
    EXPECT_EQ(locked.bits[0], 2);
    LockedRect again;
    EXPECT_FALSE(m_pSurface->Lock(ELockMode::Discard, again));
    m_pSurface->Unlock(false);
}

TEST_F(MemoryDeviceTest, PartOfThePictureIsStretchedOverTheWholeWindow)
{
    LockedRect locked;
    ASSERT_TRUE(m_pSurface->Lock(ELockMode::Discard, locked));
    for (std::int32_t y = 0; y < HEIGHT; ++y)
        for (std::int32_t x = 0; x < WIDTH * 4; ++x)
            locked.bits[y * locked.pitch + x] = x < WIDTH / 2 * 4 && y < HEIGHT / 2 ? 9 : 1;
    m_pSurface->Unlock(true);
    Show({0, 0, WIDTH / 2, HEIGHT / 2});
    EXPECT_TRUE(ShowsNothingBut(9));
}

TEST_F(MemoryDeviceTest, PresentationWithoutPictureIsBlackAndDiscardsTheBuffer)
{
    Fill(5);
    Show();
    ASSERT_TRUE(m_pChain->Present(WINDOW));
    EXPECT_TRUE(ShowsNothingBut(0));
}

}  // namespace
