// What a container is told of the control's channels.

#include <gmock/gmock.h>

#include <memory>

#include "activex/ActiveXCtrl.h"
#include "model/NodeModel.h"
#include "model/tree/Folder.h"
#include "remote/UdpRemote.h"
#include "tests/activex/home_support.h"
#include "tests/support/model_state.h"

namespace
{

// Of a channel that did each thing another number of times.
void Fill(const CUdpRemote& channel)
{
    auto& counters = const_cast<CLinkCounters&>(channel.GetCounters());
    counters.width = 352;
    counters.height = 288;
    counters.decoded = 11;
    counters.shown = 12;
    counters.withoutCell = 13;
    counters.notConvertible = 14;
    counters.skipped = 15;
    counters.refused = 16;
    counters.bytes = 17;
    counters.firstPictureMs = 18;
}

TEST(ControlReport, EachCountOfAChannelIsItsOwn)
{
    const CTestHome home;
    const CModelState model;
    CFolder& root = *CNodeModel::GetInstance()->GetRoot();
    root.Add(new CFolder, nullptr);
    for (int i = 0; i < 2; ++i) {
        auto* const channel = new CUdpRemote;
        channel->SetName("gate " + std::to_string(i));
        channel->m_iDevID = i;
        root.Add(channel, nullptr);
        if (i == 1) Fill(*channel);
    }
    auto* const control = new CActiveXCtrl;
    std::vector<ChannelReport> channels(3);
    EXPECT_EQ(control->GetChannels(channels), S_OK);
    control->Release();
    ASSERT_EQ(channels.size(), 2U);
    EXPECT_EQ(channels[0].name, "gate 0");
    EXPECT_EQ(channels[0].skipped, 0U);
    EXPECT_EQ(channels[0].firstPictureMs, -1);
    const ChannelReport& told = channels[1];
    EXPECT_EQ(told.name, "gate 1");
    EXPECT_EQ(told.channel, 1);
    EXPECT_EQ(told.width, 352);
    EXPECT_EQ(told.height, 288);
    EXPECT_EQ(told.decoded, 11U);
    EXPECT_EQ(told.shown, 12U);
    EXPECT_EQ(told.withoutCell, 13U);
    EXPECT_EQ(told.notConvertible, 14U);
    EXPECT_EQ(told.skipped, 15U);
    EXPECT_EQ(told.refused, 16U);
    EXPECT_EQ(told.bytes, 17U);
    EXPECT_EQ(told.firstPictureMs, 18);
}

}  // namespace
