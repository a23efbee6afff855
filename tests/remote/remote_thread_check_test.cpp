// What belongs to the panels' thread, or to a link's, ends a checked build when another thread calls it.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "codec/decoder.h"
#include "remote/ChannelMerge.h"
#include "remote/Device.h"
#include "remote/LinkThreads.h"
#include "remote/Recording.h"
#include "remote/TcpRemote.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"
#include "remote/link/LinkPicture.h"
#include "remote/tcp/Rollover.h"
#include "remote/tcp/TcpLink.h"
#include "remote/udp/LatePictures.h"
#include "remote/udp/UdpLink.h"

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
    CUdpRemote udp;
    CTcpRemote tcp;
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
    objects.udp.GetStatus();
    objects.tcp.GetStatus();
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
        ThreadRow{"MergeChannel", [](Objects& objects) { MergeChannel(objects.devices, 1, 0, "", 0); }},
        ThreadRow{"DeviceSetName", [](Objects& objects) { objects.tcp.SetName("gate"); }},
        ThreadRow{"DeviceSetStatus", [](Objects& objects) { objects.tcp.SetStatus(STATUS_CLOSED); }},
        ThreadRow{"DeviceSetParam", [](Objects& objects) { objects.tcp.SetParam(0, 0); }},
        ThreadRow{"DeviceGetParam", [](Objects& objects) { objects.tcp.GetParam(0); }},
        ThreadRow{"DeviceSetArray", [](Objects& objects) { objects.tcp.SetArray(0, {}); }},
        ThreadRow{"DeviceGetArray",
                  [](Objects& objects) {
                      std::vector<std::int32_t> values;
                      objects.tcp.GetArray(0, values);
                  }},
        ThreadRow{"DeviceStartRecord", [](Objects& objects) { objects.tcp.StartRecord(0); }},
        ThreadRow{"DeviceStopRecord", [](Objects& objects) { objects.tcp.StopRecord(0); }},
        ThreadRow{"DeviceSnapShot", [](Objects& objects) { objects.tcp.SnapShot(); }},
        ThreadRow{"DeviceLetGo", [](Objects& objects) { objects.tcp.LetGo(); }},
        ThreadRow{"DeviceGetRenderWnd", [](Objects& objects) { objects.tcp.GetRenderWnd(); }},
        ThreadRow{"DeviceSetRenderWnd", [](Objects& objects) { objects.tcp.SetRenderWnd(HWND::Null); }},
        ThreadRow{"TcpClose", [](Objects& objects) { objects.tcp.Close(); }},
        ThreadRow{"TcpGetPtz", [](Objects& objects) { objects.tcp.GetPtz(); }},
        ThreadRow{"UdpOpen", [](Objects& objects) { objects.udp.Open(); }},
        ThreadRow{"UdpClose", [](Objects& objects) { objects.udp.Close(); }}),
    NameOf);

struct LinkObjects {
    const std::shared_ptr<CDeviceState> state = std::make_shared<CDeviceState>(nullptr);
    const std::shared_ptr<CLinkCounters> counters = std::make_shared<CLinkCounters>();
    CLinkPicture picture{state, counters, SystemClock()};
    CLatePictures late;
};

struct LinkRow {
    const char* name;
    void (*call)(LinkObjects& objects);  // does nothing while the device is closed
};

class RemoteLinkThreadDeathTest : public testing::TestWithParam<LinkRow>
{
};

TEST_P(RemoteLinkThreadDeathTest, CallOfAForeignThreadEndsACheckedBuild)
{
    LinkObjects objects;
    WriteVideo(*objects.state, nullptr, 0, 0);
    objects.late.IsSkipped({}, 0);
    EXPECT_DEBUG_DEATH(std::thread([&objects] { GetParam().call(objects); }).join(),
                       "called on a foreign thread");
}

TEST(RemoteLinkDeathTest, TakesTheStateForItsThreadAsItBegins)
{
    LinkObjects objects;
    WriteVideo(*objects.state, nullptr, 0, 0);
    CUdpLink link(objects.state, nullptr, objects.counters, 7, 0);
    std::thread([&link] { link.Run(); }).join();
    EXPECT_DEBUG_DEATH(WriteVideo(*objects.state, nullptr, 0, 0), "called on a foreign thread");
}

TEST(RemoteLinkDeathTest, TakesTheStateForItsThreadAsItBeginsAlsoOverTcp)
{
    LinkObjects objects;
    WriteVideo(*objects.state, nullptr, 0, 0);
    CTcpLink link(objects.state, objects.counters, INVALID_SOCKET, {});
    std::thread([&link] { link.Run(); }).join();
    EXPECT_DEBUG_DEATH(WriteVideo(*objects.state, nullptr, 0, 0), "called on a foreign thread");
}

std::string NameOfLinkRow(const testing::TestParamInfo<LinkRow>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Calls, RemoteLinkThreadDeathTest,
    testing::Values(
        LinkRow{"StartRecording",
                [](LinkObjects& objects) { StartRecording(*objects.state, 13, 176, 144, 0, "a.avi"); }},
        LinkRow{"StopRecording", [](LinkObjects& objects) { StopRecording(*objects.state); }},
        LinkRow{"WriteVideo", [](LinkObjects& objects) { WriteVideo(*objects.state, nullptr, 0, 0); }},
        LinkRow{"WriteAudio", [](LinkObjects& objects) { WriteAudio(*objects.state, nullptr, 0); }},
        LinkRow{"CheckRollover", [](LinkObjects& objects) { CheckRollover(*objects.state, 0, 1); }},
        LinkRow{"LatePictures", [](LinkObjects& objects) { objects.late.IsSkipped({}, 0); }},
        LinkRow{"PictureOpen", [](LinkObjects& objects) { objects.picture.Open(13, -1, -1, "gate"); }},
        LinkRow{"PictureDecode", [](LinkObjects& objects) { objects.picture.Decode(nullptr, 0); }},
        LinkRow{"PictureShow", [](LinkObjects& objects) { objects.picture.Show({}); }},
        LinkRow{"PictureSaveSnapshot", [](LinkObjects& objects) { objects.picture.SaveSnapshot(""); }},
        LinkRow{"PictureClose", [](LinkObjects& objects) { objects.picture.Close(); }}),
    NameOfLinkRow);

}  // namespace
