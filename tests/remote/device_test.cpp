#include "remote/Device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "model/tree/Observer.h"
#include "remote/Remote.h"
#include "remote/TcpRemote.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Params = std::vector<std::int32_t>;

Params AllParams(IDevice& device)
{
    Params values;
    for (const std::int32_t id : {26, 27, 28, 29, 30, 55})
        values.push_back(device.GetParam(id));
    return values;
}

class CRecorder : public CObserver
{
  public:
    CRecorder() { AttachObserver(this); }
    ~CRecorder() override { DetachObserver(this); }
    void Update(CNode* node, std::string message) override
    {
        m_Nodes.push_back(node);
        m_Messages.push_back(message);
    }
    std::vector<CNode*> m_Nodes;
    std::vector<std::string> m_Messages;
};

// Opens up what is for devices with a link.
class CLinked : public CRemote
{
  public:
    using CDevice::LeaveStateBehind;
};

template <class T>
class EveryDevice : public testing::Test
{
  protected:
    T m_Device;
};
using Devices = testing::Types<CDevice, CRemote, CTcpRemote>;
TYPED_TEST_SUITE(EveryDevice, Devices);

TYPED_TEST(EveryDevice, IsBornClosedVisibleAndWithoutChannel)
{
    auto& device = this->m_Device;
    EXPECT_TRUE(device.m_bVisible);
    EXPECT_EQ(device.GetStatus(), 0);
    EXPECT_EQ(device.m_iNetID, -1);
    EXPECT_EQ(device.m_iDevID, -1);
    EXPECT_EQ(device.GetRenderWnd(), HWND::Null);
    EXPECT_FALSE(device.GetState()->m_bRunning);
    EXPECT_EQ(device.GetState()->m_nFlags, 0u);
    EXPECT_EQ(device.GetState()->m_pMuxer, nullptr);
    EXPECT_EQ(device.GetState()->m_pDecoder, nullptr);
    EXPECT_THAT(AllParams(device), ElementsAre(0, 0, 0, 1, 1, 0));
}

TYPED_TEST(EveryDevice, HasAScheduleOf168Elements)
{
    Params schedule;
    EXPECT_EQ(this->m_Device.GetArray(47, schedule), 1);
    EXPECT_EQ(schedule, Params(168));
}

TYPED_TEST(EveryDevice, AnUnknownParameterGivesMinus2AndChangesNothing)
{
    auto& device = this->m_Device;
    const Params before = AllParams(device);
    for (const std::int32_t id : {99, 25, 31, 54, 56, 47, 0, -1, 7}) {
        EXPECT_EQ(device.SetParam(id, 5), -2) << id;
        EXPECT_EQ(device.GetParam(id), -2) << id;
    }
    EXPECT_EQ(AllParams(device), before);
}

TYPED_TEST(EveryDevice, EachParameterIsItsOwnFieldAndSetParamGivesTheValueBack)
{
    auto& device = this->m_Device;
    std::int32_t value = 100;
    for (const std::int32_t id : {26, 27, 28, 29, 30, 55})
        EXPECT_EQ(device.SetParam(id, ++value), value);
    EXPECT_THAT(AllParams(device), ElementsAre(101, 102, 103, 104, 105, 106));
    EXPECT_EQ(device.m_tBeginDateTime, 101);
    EXPECT_EQ(device.m_tEndDateTime, 102);
    EXPECT_EQ(device.m_iAutoRecordType, 103);
    EXPECT_EQ(device.m_iAutoRecordMode, 104);
    EXPECT_EQ(device.m_bRecordModeAuto, 105);
    EXPECT_EQ(device.GetRenderWnd(), static_cast<HWND>(106));
    EXPECT_EQ(device.SetParam(28, -2), -2);
    EXPECT_EQ(device.m_iAutoRecordType, -2);
}

TYPED_TEST(EveryDevice, TheArrayIsReplacedAndCopiedOut)
{
    auto& device = this->m_Device;
    EXPECT_EQ(device.SetArray(47, {1, 2, 3}), 1);
    Params schedule = {9};
    EXPECT_EQ(device.GetArray(47, schedule), 1);
    EXPECT_THAT(schedule, ElementsAre(1, 2, 3));
}

TYPED_TEST(EveryDevice, AnotherArrayAnswers1AndChangesNothing)
{
    auto& device = this->m_Device;
    EXPECT_EQ(device.SetArray(48, {1}), 1);
    EXPECT_EQ(device.m_arrayAutoRecordMode.size(), 168u);
    Params out = {9};
    EXPECT_EQ(device.GetArray(48, out), 1);
    EXPECT_THAT(out, ElementsAre(9));
}

TYPED_TEST(EveryDevice, SlotsWithoutAMeaningAnswerNothing)
{
    IDevice& device = this->m_Device;
    EXPECT_EQ(device.Slot13(), 0);
    EXPECT_EQ(device.Slot14(), 0);
    device.Slot15();
    device.Slot16();
    device.Slot22(1, 2);
    EXPECT_FALSE(device.Slot23());
    EXPECT_FALSE(device.Slot25());
    EXPECT_FALSE(device.Slot26());
    EXPECT_FALSE(device.Slot27());
    device.Slot28();
}

TYPED_TEST(EveryDevice, StoresItsStatusAndTellsNobody)
{
    const CRecorder recorder;
    this->m_Device.SetStatus(2);
    EXPECT_EQ(this->m_Device.GetStatus(), 2);
    EXPECT_THAT(recorder.m_Messages, IsEmpty());
}

TEST(Device, HasNoTransportAndDoesNotRecord)
{
    CDevice device;
    const CRecorder recorder;
    EXPECT_FALSE(device.CanRecord());
    EXPECT_EQ(device.GetPtz(), nullptr);
    device.Open();
    EXPECT_EQ(device.GetStatus(), 0);
    device.SetStatus(1);
    device.StartRecord(0x10);
    device.SnapShot();
    device.SetStatus(2);
    device.StopRecord(0x40);
    device.Close();
    EXPECT_EQ(device.GetStatus(), 2);
    EXPECT_EQ(device.GetState()->m_nFlags, 0u);
    EXPECT_THAT(recorder.m_Messages, IsEmpty());
}

TEST(Remote, CanRecordButHasNoLinkAndNoPtz)
{
    CRemote remote;
    EXPECT_TRUE(remote.CanRecord());
    EXPECT_EQ(remote.GetPtz(), nullptr);
    remote.Open();
    EXPECT_EQ(remote.GetStatus(), 0);
    remote.SetStatus(1);
    remote.Close();
    EXPECT_EQ(remote.GetStatus(), 1);
}

struct RequestCase {
    std::int32_t status;
    std::uint32_t afterStart;
    std::uint32_t afterStop;
    std::uint32_t afterSnapShot;
};

class RemoteRequest : public testing::TestWithParam<RequestCase>
{
};

TEST_P(RemoteRequest, IsTakenOnlyInItsStatus)
{
    const auto flagsAfter = [](void (*request)(CRemote&)) {
        CRemote remote;
        remote.SetStatus(GetParam().status);
        request(remote);
        return std::uint32_t{remote.GetState()->m_nFlags};
    };
    EXPECT_EQ(flagsAfter([](CRemote& remote) { remote.StartRecord(0x10); }), GetParam().afterStart);
    EXPECT_EQ(flagsAfter([](CRemote& remote) { remote.StopRecord(0x40); }), GetParam().afterStop);
    EXPECT_EQ(flagsAfter([](CRemote& remote) { remote.SnapShot(); }), GetParam().afterSnapShot);
}

INSTANTIATE_TEST_SUITE_P(Status, RemoteRequest,
                         testing::Values(RequestCase{0, 0, 0, 0}, RequestCase{1, 0x10, 0, 0x04},
                                         RequestCase{2, 0, 0x40, 0x04}));

TEST(Remote, RequestsAddUpAndTheReasonIsNotLookedAt)
{
    CRemote remote;
    remote.SetStatus(1);
    remote.StartRecord(0);
    remote.SnapShot();
    EXPECT_EQ(remote.GetState()->m_nFlags, FLAG_START_RECORD | FLAG_SNAPSHOT);
    remote.GetState()->m_nFlags.ClearBits(FLAG_SNAPSHOT);
    EXPECT_EQ(remote.GetState()->m_nFlags, FLAG_START_RECORD);
}

TEST(TcpRemote, IsALiveChannelUnlessBuiltForPlayback)
{
    const CTcpRemote live;
    EXPECT_EQ(live.GetMode(), 3);
    EXPECT_EQ(live.GetRecordID(), -1);
    EXPECT_TRUE(live.m_bVisible);
    const CTcpRemote playback(MODE_PLAYBACK, 17);
    EXPECT_EQ(playback.GetMode(), 2);
    EXPECT_EQ(playback.GetRecordID(), 17);
    EXPECT_FALSE(playback.m_bVisible);  // stays out of the tree
}

TEST(DeviceState, TellsTheObserversOfItsDevice)
{
    const CRecorder recorder;
    CDevice device;
    device.GetState()->Tell("IDS_DeviceOpened");
    EXPECT_THAT(recorder.m_Nodes, ElementsAre(&device));
    EXPECT_THAT(recorder.m_Messages, ElementsAre("IDS_DeviceOpened"));
}

TEST(DeviceState, OutlivesItsDeviceAndThenTellsNothing)
{
    const CRecorder recorder;
    auto device = std::make_unique<CDevice>();
    device->SetRenderWnd(static_cast<HWND>(5));
    const std::shared_ptr<CDeviceState> state = device->GetState();
    device.reset();
    EXPECT_EQ(state->m_hRenderWnd.Exchange(HWND::Null), static_cast<HWND>(5));
    state->m_iStatus = 0;
    state->Tell("");
    EXPECT_THAT(recorder.m_Nodes, IsEmpty());
}

TEST(DeviceState, LeftToALateThreadItDisturbsNothingThatComesAfter)
{
    const CRecorder recorder;
    CLinked device;
    device.SetStatus(1);
    device.SetRenderWnd(static_cast<HWND>(5));
    const std::shared_ptr<CDeviceState> late = device.GetState();
    late->m_bRunning = true;
    device.LeaveStateBehind();
    EXPECT_FALSE(late->m_bRunning);
    EXPECT_EQ(device.GetStatus(), 0);
    EXPECT_EQ(device.GetRenderWnd(), HWND::Null);  // the late thread gives its cell back
    EXPECT_EQ(late->m_hRenderWnd, static_cast<HWND>(5));

    device.SetStatus(1);
    device.SetRenderWnd(static_cast<HWND>(6));
    device.GetState()->m_bRunning = true;
    late->m_hRenderWnd = HWND::Null;
    late->m_iStatus = 0;
    late->Tell("");
    EXPECT_EQ(device.GetStatus(), 1);
    EXPECT_EQ(device.GetRenderWnd(), static_cast<HWND>(6));
    EXPECT_FALSE(late->m_bRunning);
    EXPECT_THAT(recorder.m_Nodes, IsEmpty());
}

}  // namespace
