#include <gmock/gmock.h>

#include <QApplication>

#include "tests/support/virtual_display.h"
#include "tests/support/window_manager.h"

// The same as display_main.cpp with a window manager on the display, which stands there before the program as
// it does on a user's.
int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    const CVirtualDisplay display;
    const CWindowManager manager(display.Name());
    display.Enter();
    const QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
