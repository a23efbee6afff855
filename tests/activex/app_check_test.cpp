// What the module object does on a foreign thread ends a checked build.

#include <gtest/gtest.h>

#include <thread>

#include "activex/ActiveXApp.h"

namespace
{

struct CallRow {
    const char* name;
    void (*call)(CActiveXApp& app);
};

class AppDeathTest : public testing::TestWithParam<CallRow>
{
};

TEST_P(AppDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    CActiveXApp app({[](const void*, std::intptr_t, std::intptr_t) { return 1; },
                     [](const std::string&) { return 1; }, [] {}});
    EXPECT_DEBUG_DEATH(std::thread([&app] { GetParam().call(app); }).join(), "called on a foreign thread");
}

std::string NameOf(const testing::TestParamInfo<CallRow>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Calls, AppDeathTest,
                         testing::Values(CallRow{"Init", [](CActiveXApp& app) { app.InitInstance(); }},
                                         CallRow{"Exit", [](CActiveXApp& app) { app.ExitInstance(); }},
                                         CallRow{"Ensure", [](CActiveXApp& app) { app.EnsureStarted(); }}),
                         NameOf);

}  // namespace
