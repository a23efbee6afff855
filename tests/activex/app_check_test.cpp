// What the module object and the control do on a foreign thread ends a checked build.

#include <gtest/gtest.h>

#include <thread>

#include "activex/ActiveXApp.h"
#include "activex/ActiveXCtrl.h"
#include "tests/activex/home_support.h"

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

struct ControlRow {
    const char* name;
    void (*call)(CActiveXCtrl& control);  // does nothing without a window
};

class ControlDeathTest : public testing::TestWithParam<ControlRow>
{
};

TEST_P(ControlDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    const CTestHome home;
    CActiveXCtrl control;
    EXPECT_DEBUG_DEATH(std::thread([&control] { GetParam().call(control); }).join(),
                       "called on a foreign thread");
}

std::string NameOfControl(const testing::TestParamInfo<ControlRow>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Calls, ControlDeathTest,
    testing::Values(ControlRow{"Invoke",
                               [](CActiveXCtrl& control) {
                                   control.Invoke(DISPID_InputParameter, EDispatch::PropertyGet, {}, nullptr);
                               }},
                    ControlRow{"Site", [](CActiveXCtrl& control) { control.SetClientSite(nullptr); }},
                    ControlRow{"Create", [](CActiveXCtrl& control) { control.CreateControlWindow(nullptr); }},
                    ControlRow{"Profile", [](CActiveXCtrl& control) { control.SetProfile(""); }},
                    ControlRow{"Bounds", [](CActiveXCtrl& control) { control.SetBounds(0, 0, 1, 1); }},
                    ControlRow{"Destroy", [](CActiveXCtrl& control) { control.DestroyControlWindow(); }},
                    ControlRow{"Window", [](CActiveXCtrl& control) { control.GetControlWindow(); }}),
    NameOfControl);

}  // namespace
