#include <gtest/gtest.h>

#include <new>
#include <string>

#include "remote/p2p/PeerList.h"
#include "tests/remote/p2p/p2p_support.h"
#include "tests/support/allocation_count.h"

namespace
{

PEER_RECORD Numbered(std::size_t i)
{
    PEER_RECORD record = MakeRecord("user" + std::to_string(1000 + i));
    record.m_P2PAddress = {static_cast<std::uint32_t>(i + 1), 1, 0};
    return record;
}

TEST(P2PList, KnownNameIsNotAddedAndItsRecordStays)
{
    CPeerList list;
    PEER_RECORD first = MakeRecord("abc");
    first.m_P2PAddress = {1, 1, 0};
    ASSERT_TRUE(list.Add(first));
    PEER_RECORD second = MakeRecord("ABC");
    second.m_P2PAddress = {2, 2, 0};
    EXPECT_FALSE(list.Add(second));
    EXPECT_EQ(list.GetCount(), 1U);
    ASSERT_NE(list.Find("aBc"), nullptr);
    EXPECT_EQ(list.Find("aBc")->m_P2PAddress.address, 1U);
}

TEST(P2PList, HoldsAHundredUsersWhole)
{
    CPeerList list;
    for (std::size_t i = 0; i < 100; ++i)
        ASSERT_TRUE(list.Add(Numbered(i)));
    for (std::size_t i = 0; i < 100; ++i) {
        ASSERT_NE(list.Find(Numbered(i).Name()), nullptr) << i;
        EXPECT_EQ(list.Find(Numbered(i).Name())->m_P2PAddress.address, i + 1);
    }
}

// oddity: growth-copies-bytes
TEST(P2PList, The101stUserLosesTheOthersButForTheFirstBytesAsIntended)
{
    CPeerList list;
    for (std::size_t i = 0; i < 101; ++i)
        ASSERT_TRUE(list.Add(Numbered(i)));
    EXPECT_EQ(list.GetCount(), 101U);
    // 100 bytes: the first record, and 8 bytes of the second's name, which is "user1001"
    ASSERT_NE(list.Find("user1000"), nullptr);
    EXPECT_EQ(list.Find("user1000")->m_P2PAddress.address, 1U);
    ASSERT_NE(list.Find("user1001"), nullptr);
    EXPECT_FALSE(list.Find("user1001")->m_P2PAddress.IsKnown());
    for (std::size_t i = 2; i < 100; ++i)
        EXPECT_EQ(list.Find(Numbered(i).Name()), nullptr) << i;
    ASSERT_NE(list.Find("user1100"), nullptr);
    EXPECT_EQ(list.Find("user1100")->m_P2PAddress.address, 101U);
}

TEST(P2PList, GrowthKeepsOnlyTheStartOfALongSecondNameAsIntended)
{
    CPeerList list;
    list.Add(MakeRecord("first"));
    list.Add(MakeRecord("longer than eight"));
    for (std::size_t i = 2; i < 101; ++i)
        list.Add(Numbered(i));
    EXPECT_EQ(list.Find("longer than eight"), nullptr);
    EXPECT_NE(list.Find("longer t"), nullptr);
}

TEST(P2PList, GrowsAgainAt201)
{
    CPeerList list;
    for (std::size_t i = 0; i < 201; ++i)
        ASSERT_TRUE(list.Add(Numbered(i)));
    EXPECT_EQ(list.GetCount(), 201U);
    EXPECT_NE(list.Find(Numbered(1).Name()), nullptr);  // 200 bytes: two records whole
    EXPECT_EQ(list.Find(Numbered(100).Name()), nullptr);
    EXPECT_NE(list.Find(Numbered(200).Name()), nullptr);
}

TEST(P2PList, WithoutMemoryToGrowItStaysAsItIs)
{
    CPeerList list;
    for (std::size_t i = 0; i < 100; ++i)
        ASSERT_TRUE(list.Add(Numbered(i)));
    {
        const CAllocationLimit limit(1024);
        EXPECT_THROW(list.Add(Numbered(100)), std::bad_alloc);
        EXPECT_EQ(list.GetCount(), 100U);
        EXPECT_NE(list.Find(Numbered(99).Name()), nullptr);
    }
    // It has to grow still: a record behind the end of the old array would leave the others whole.
    ASSERT_TRUE(list.Add(Numbered(100)));
    EXPECT_EQ(list.GetCount(), 101U);
    EXPECT_EQ(list.Find(Numbered(99).Name()), nullptr);
}

TEST(P2PList, ClearedListFindsNobody)
{
    CPeerList list;
    list.Add(MakeRecord("a"));
    list.Clear();
    EXPECT_EQ(list.GetCount(), 0U);
    EXPECT_EQ(list.Find("a"), nullptr);
    EXPECT_TRUE(list.Add(MakeRecord("a")));
}

TEST(P2PList, FloodOfMadeUpUsersIsBounded)
{
    CPeerList list;
    std::size_t added = 0;
    // Growth blanks most names, so the look-up stays the cost; the bound is met all the same.
    for (std::size_t i = 0; i < CPeerList::LAST_CAPACITY + 10; ++i)
        added += list.Add(Numbered(i)) ? 1 : 0;
    EXPECT_EQ(added, CPeerList::LAST_CAPACITY);
    EXPECT_EQ(list.GetCount(), CPeerList::LAST_CAPACITY);
}

}  // namespace
