#include "remote/ChannelMerge.h"

#include <gtest/gtest.h>

#include "model/settings/Language.h"
#include "model/tree/Leaf.h"
#include "platform/os/paths.h"
#include "remote/Device.h"
#include "tests/support/model_state.h"
#include "tests/support/test_places.h"

namespace
{

using Capabilities = std::array<bool, 5>;

class ChannelMerge : public testing::Test
{
  protected:
    ChannelMerge() { CLanguage::SetLanguage("eng"); }

    const CModelState m_Model{SourcePath()};

    CDevices m_Devices;
};

TEST_F(ChannelMerge, ANewChannelGoesToTheEndWithItsPlaceInItsName)
{
    m_Devices.Add(new CLeaf, nullptr);
    const CDevice* const device = MergeChannel(m_Devices, 1001, 3, "10.0.0.1", 0);
    EXPECT_EQ(m_Devices.GetCount(), 2);
    EXPECT_EQ(device->GetParent(), &m_Devices);
    EXPECT_EQ(const_cast<CDevice*>(device)->GetName(), "Camera02");
    EXPECT_EQ(device->m_iNetID, 1001);
    EXPECT_EQ(device->m_iDevID, 3);
    EXPECT_EQ(device->m_Channel.address, "10.0.0.1");
    EXPECT_TRUE(device->m_bVisible);
}

TEST_F(ChannelMerge, AChannelWithTheSameTwoNumbersIsTakenAgain)
{
    CDevice* const first = MergeChannel(m_Devices, 1001, 3, "old", 0);
    first->m_bVisible = false;
    const std::int32_t serial = first->m_Channel.serial;
    EXPECT_EQ(MergeChannel(m_Devices, 1001, 3, "new", 1), first);
    EXPECT_EQ(m_Devices.GetCount(), 1);
    EXPECT_TRUE(first->m_bVisible);
    EXPECT_EQ(first->m_Channel.address, "new");
    EXPECT_EQ(first->m_Channel.serial, serial + 1);
    EXPECT_NE(MergeChannel(m_Devices, 1001, 4, "", 0), first);
    EXPECT_NE(MergeChannel(m_Devices, 1002, 3, "", 0), first);
    EXPECT_EQ(m_Devices.GetCount(), 3);
}

TEST_F(ChannelMerge, TheCapabilitiesAreBits0To2And9And10)
{
    const auto merged = [&](std::uint32_t word) {
        return MergeChannel(m_Devices, 1, 1, "", word)->m_Channel.capabilities;
    };
    EXPECT_EQ(merged(0), (Capabilities{}));
    EXPECT_EQ(merged(0x607), (Capabilities{true, true, true, true, true}));
    EXPECT_EQ(merged(~0x607u), (Capabilities{}));
    EXPECT_EQ(merged(1 << 9), (Capabilities{false, false, false, true, false}));
}

}  // namespace
