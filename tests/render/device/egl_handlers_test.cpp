// The X library has one handler of errors for the whole process, which an open adapter shares with its host.

#include <gtest/gtest.h>

#include "render/device/EglSurfaceDevice.h"
#include "tests/render/x_windows_support.h"

namespace
{

constexpr Window NO_WINDOW = 1;

int g_iErrors = 0;
int g_iPassed = 0;
XErrorHandler g_pFound = nullptr;

int Count(Display*, XErrorEvent*)
{
    ++g_iErrors;
    return 0;
}

// As a host's handler does that knows only some errors itself. A ring of handlers ends here.
int PassOn(Display* display, XErrorEvent* event)
{
    return ++g_iPassed < 10 ? g_pFound(display, event) : 0;
}

class EglHandlersTest : public testing::Test
{
  protected:
    EglHandlersTest() : m_pBefore(XSetErrorHandler(Count))
    {
        g_iErrors = 0;
        g_iPassed = 0;
    }
    ~EglHandlersTest() override { XSetErrorHandler(m_pBefore); }
    void SetUp() override
    {
        ASSERT_NE(m_Windows.m_pDisplay, nullptr) << "these tests need a display: run them by ./test";
        m_pAdapter = OpenEglSurfaceAdapter();
        ASSERT_NE(m_pAdapter, nullptr);
    }

    // An error of the host's own connection.
    void Fail()
    {
        XMapWindow(m_Windows.m_pDisplay, NO_WINDOW);
        XSync(m_Windows.m_pDisplay, 0);
    }

    CXWindows m_Windows;
    std::shared_ptr<ISurfaceAdapter> m_pAdapter;

  private:
    XErrorHandler m_pBefore;
};

TEST_F(EglHandlersTest, HostsErrorsReachItsHandlerAlsoWithTwoAdapters)
{
    Fail();
    EXPECT_EQ(g_iErrors, 1);
    const std::shared_ptr<ISurfaceAdapter> second = OpenEglSurfaceAdapter();
    m_pAdapter.reset();
    Fail();
    EXPECT_EQ(g_iErrors, 2);
    m_pAdapter = second;
}

TEST_F(EglHandlersTest, FormerHandlerComesBackWithTheLastDisplayEachTime)
{
    for (int i = 0; i < 10; ++i) {
        std::shared_ptr<ISurfaceAdapter> second = OpenEglSurfaceAdapter();
        const XErrorHandler present = XSetErrorHandler(Count);
        EXPECT_NE(present, Count) << "round " << i;
        XSetErrorHandler(present);
        m_pAdapter.reset();
        second.reset();
        EXPECT_EQ(XSetErrorHandler(Count), Count) << "round " << i;
        m_pAdapter = OpenEglSurfaceAdapter();
    }
}

TEST_F(EglHandlersTest, HandlerThatAHostPutsInFrontStaysAndPassesOnWhateverIsOpenedAfterwards)
{
    g_pFound = XSetErrorHandler(PassOn);
    m_pAdapter.reset();
    Fail();
    EXPECT_EQ(g_iPassed, 1);
    EXPECT_EQ(g_iErrors, 1);
    m_pAdapter = OpenEglSurfaceAdapter();
    Fail();
    EXPECT_EQ(g_iPassed, 2);
    EXPECT_EQ(g_iErrors, 2);
}

}  // namespace
