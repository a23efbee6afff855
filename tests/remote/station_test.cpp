#include <gtest/gtest.h>

#include <vector>

#include "model/tree/Leaf.h"
#include "remote/RemoteStation.h"
#include "remote/Station.h"

namespace
{

template <class T>
class EveryStation : public testing::Test
{
  protected:
    T m_Station;
};
using Stations = testing::Types<CStation, CRemoteStation>;
TYPED_TEST_SUITE(EveryStation, Stations);

TYPED_TEST(EveryStation, IsBornVisibleAndEmpty)
{
    auto& station = this->m_Station;
    EXPECT_TRUE(station.m_bVisible);
    EXPECT_TRUE(station.IsComposite());
    EXPECT_EQ(station.GetCount(), 0);
    EXPECT_EQ(station.m_szUserName, "");
    EXPECT_EQ(station.m_szPassWord, "");
    EXPECT_EQ(station.m_szDDNS, "");
    EXPECT_EQ(station.m_iNetID, 0);
    EXPECT_FALSE(station.GetFlag());
    station.SetFlag(true);
    EXPECT_TRUE(station.GetFlag());
}

TYPED_TEST(EveryStation, SucceedsInEverythingAndDoesNothing)
{
    CStation& station = this->m_Station;
    EXPECT_TRUE(station.Connect("1001", 10060, 10061));
    EXPECT_TRUE(station.Logon("admin", "secret"));
    EXPECT_TRUE(station.Disconnect());
    EXPECT_EQ(station.EnumDevices(), nullptr);
    EXPECT_EQ(station.m_szUserName, "");
    EXPECT_EQ(station.m_szPassWord, "");
}

TYPED_TEST(EveryStation, ARecordSearchSucceedsAndLeavesTheListUntouched)
{
    std::vector<XTimeSpan> results(2);
    results[1].recordId = 7;
    EXPECT_TRUE(this->m_Station.SearchRecord("SQL:select * from record", results));
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[1].recordId, 7);
}

}  // namespace
