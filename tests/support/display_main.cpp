#include <gmock/gmock.h>

#include <QApplication>
#include <optional>

#include "tests/support/virtual_display.h"

// The same as gui_main.cpp on a display of the program's own: its tests look at the screen and use its mouse
// and keyboard, and may run beside others.
int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    const CVirtualDisplay display;
    display.Enter();
    const QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
