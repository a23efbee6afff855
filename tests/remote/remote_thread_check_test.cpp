// What belongs to the panels' thread ends a checked build when another thread calls it.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "remote/ChannelMerge.h"
#include "remote/Device.h"
#include "remote/LinkThreads.h"
#include "remote/UdpRemoteStation.h"

namespace
{

class CNoLink final : public ILink
{
  public:
    void Run() override {}
    void Cancel() override {}
};

struct Objects {
    ~Objects() { threads.PutAside(1000); }

    CLinkThreads threads;
    CUdpRemoteStation station;
    CStation plain;
    CDevices devices;
};

struct ThreadRow {
    const char* name;
    void (*call)(Objects& objects);  // does nothing while there is no link and no session
};

class RemotePanelsThreadDeathTest : public testing::TestWithParam<ThreadRow>
{
};

TEST_P(RemotePanelsThreadDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    Objects objects;
    objects.threads.Cancel();
    objects.station.Logon("", "");
    objects.plain.Logon("", "");
    MergeChannel(objects.devices, 1, 0, "", 0);
    EXPECT_DEBUG_DEATH(std::thread([&objects] { GetParam().call(objects); }).join(),
                       "called on a foreign thread");
}

std::string NameOf(const testing::TestParamInfo<ThreadRow>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Calls, RemotePanelsThreadDeathTest,
    testing::Values(
        ThreadRow{"Start",
                  [](Objects& objects) { objects.threads.Start(std::make_shared<CNoLink>(), "none"); }},
        ThreadRow{"Cancel", [](Objects& objects) { objects.threads.Cancel(); }},
        ThreadRow{"PutAside", [](Objects& objects) { objects.threads.PutAside(0); }},
        ThreadRow{"EndLate", [](Objects& objects) { objects.threads.EndLate(); }},
        ThreadRow{"Logon", [](Objects& objects) { objects.station.Logon("", ""); }},
        ThreadRow{"EnumDevices", [](Objects& objects) { objects.station.EnumDevices(); }},
        ThreadRow{"StationConnect", [](Objects& objects) { objects.plain.Connect("", 0, 0); }},
        ThreadRow{"StationDisconnect", [](Objects& objects) { objects.plain.Disconnect(); }},
        ThreadRow{"StationLogon", [](Objects& objects) { objects.plain.Logon("", ""); }},
        ThreadRow{"StationEnumDevices", [](Objects& objects) { objects.plain.EnumDevices(); }},
        ThreadRow{"StationSearchRecord",
                  [](Objects& objects) {
                      std::vector<XTimeSpan> found;
                      objects.plain.SearchRecord("", found);
                  }},
        ThreadRow{"MergeChannel", [](Objects& objects) { MergeChannel(objects.devices, 1, 0, "", 0); }}),
    NameOf);

}  // namespace
