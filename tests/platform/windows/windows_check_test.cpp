#include <gtest/gtest.h>

#include <thread>

#include "platform/windows/windows.h"

namespace
{

TEST(WindowsDeathTest, NativeWindowAskedForOnAForeignThreadEndsACheckedBuild)
{
    const HWND window = RegisterWindow([](std::uint32_t, WPARAM, LPARAM) -> LRESULT { return 0; });
    EXPECT_DEBUG_DEATH(std::thread([&] { GetNativeWindow(window); }).join(), "asked on a foreign thread");
    UnregisterWindow(window);
}

}  // namespace
