#include <gtest/gtest.h>

#include <QFile>
#include <string>
#include <vector>

#include "activex/ActiveXApp.h"
#include "activex/ActiveXCtrl.h"
#include "platform/os/module_count.h"
#include "tests/activex/home_support.h"

namespace
{

struct StartRow {
    std::int32_t start;
    std::int32_t load;
    bool starts;
    std::vector<std::string> calls;
};

class StartTest : public testing::TestWithParam<StartRow>
{
};

TEST_P(StartTest, SkinIsStartedLoadedAndStoppedInOrder)
{
    CTestHome home;
    std::vector<std::string> calls;
    {
        CActiveXApp app({[&](const void* module, std::intptr_t first, std::intptr_t second) {
                             EXPECT_NE(module, nullptr);
                             EXPECT_EQ(first, 0);
                             EXPECT_EQ(second, 0);
                             calls.push_back("start");
                             return GetParam().start;
                         },
                         [&](const std::string& path) {
                             EXPECT_TRUE(path.ends_with("\\config\\skin.smf")) << path;
                             calls.push_back("load");
                             return GetParam().load;
                         },
                         [&] { calls.push_back("stop"); }});
        EXPECT_EQ(app.InitInstance(), GetParam().starts);
        EXPECT_EQ(app.IsSkinStarted(), GetParam().start != 0);
        app.ExitInstance();
        EXPECT_FALSE(app.IsSkinStarted());
    }
    EXPECT_EQ(calls, GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(Rows, StartTest,
                         testing::Values(StartRow{1, 1, true, {"start", "load", "stop"}},
                                         StartRow{1, 0, false, {"start", "load", "stop"}},
                                         StartRow{0, 1, false, {"start"}}));

HRESULT GetControlFactory(void** factory)
{
    return GetClassObject(CLSID_ActiveXCtrl, IClassFactory::IID, factory);
}

TEST(ModuleStartTest, SkinStopsWithTheLastObjectOrLockAndStartsAgainWithTheNext)
{
    const CTestHome home;
    for (int round = 0; round < 2; ++round) {
        CComPtr<IClassFactory> factory;
        ASSERT_EQ(factory.Receive(GetControlFactory), S_OK);
        EXPECT_TRUE(GetApp().IsSkinStarted());
        CComPtr<IDispatch> control;
        ASSERT_EQ(control.Create(*factory), S_OK);
        factory->LockServer(true);
        control.Reset();
        factory.Reset();
        EXPECT_TRUE(GetApp().IsSkinStarted()) << "a lock is left";
        UnlockComponentModule();
        EXPECT_FALSE(GetApp().IsSkinStarted());
    }
    void* none = nullptr;
    EXPECT_EQ(GetClassObject(CLSID_ActiveXCtrl, IDispatch::IID, &none), E_NOINTERFACE);
    EXPECT_FALSE(GetApp().IsSkinStarted()) << "a call that made no object leaves nothing started";
}

TEST(ModuleStartTest, SkinThatStartedHalfWayIsStoppedWithTheCall)
{
    const CTestHome home;
    ASSERT_TRUE(QFile::remove(home.File("config/skin.smf")));
    CComPtr<IClassFactory> factory;
    EXPECT_EQ(factory.Receive(GetControlFactory), E_FAIL);
    EXPECT_FALSE(GetApp().IsSkinStarted());
}

}  // namespace
