// The store on a disk that takes no more, or gives nothing away, and at the end of the numbers.

#include "recorder/store/Store.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <thread>

#include "tests/recorder/store_support.h"
#include "tests/support/file_limit.h"

namespace
{

using namespace recorder;
using namespace std::chrono;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(StoreTest, ARecordThatCanNotBeBegunLeavesNoFile)
{
    Store store(Setup());
    testing::internal::CaptureStderr();
    {
        const CFileLimit full(100);
        Keep(store, 1);
        store.Sync();
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("channel 1 is not kept"));
    EXPECT_THAT(store.Records(), IsEmpty());
    EXPECT_THAT(ListRecords(m_Folder.Path("store")), IsEmpty());
}

TEST_F(StoreTest, WhatAFullDiskRefusesIsNotCountedAsKept)
{
    for (const int seconds : {1, 3}) {  // the disk refuses them at a record's end, or in its course
        std::filesystem::remove_all(m_Folder.Path("store"));
        Store store(Setup());
        testing::internal::CaptureStderr();
        {
            const CFileLimit full(8192);
            for (int record = 0; record < 2; ++record) {
                Keep(store, seconds);
                m_At += 6s;
                store.Keep(0, Group()[1], m_At);  // after the gap: no key picture, so it begins no record
            }
            store.Sync();
        }
        testing::internal::GetCapturedStderr();
        ASSERT_THAT(store.Records(), SizeIs(2));
        const StoreCounts counts = store.Counts();
        EXPECT_LE(counts.pictures, Read(store.PathOf(1)).size() + Read(store.PathOf(2)).size());
        EXPECT_EQ(counts.pictures + counts.leftOut, 2 * (static_cast<uint64_t>(seconds) * 25 + 1));
    }
}

// Only what it has taken since the last flush.
TEST_F(StoreTest, AFullDiskTakesNothingBack)
{
    for (const bool synced : {false, true}) {
        SCOPED_TRACE(synced);
        std::filesystem::remove_all(m_Folder.Path("store"));
        Store store(Setup());
        Keep(store, 2);
        while (store.Counts().pictures < 50)
            std::this_thread::sleep_for(1ms);
        if (synced) store.Sync();
        testing::internal::CaptureStderr();
        {
            const CFileLimit full(std::filesystem::file_size(store.PathOf(1)));
            store.Keep(0, Group()[1], m_At);
            store.Sync();
        }
        testing::internal::GetCapturedStderr();
        const uint64_t flushed = synced ? 50 : 26;
        EXPECT_EQ(store.Counts().pictures, flushed);
        EXPECT_EQ(store.Counts().leftOut, 51 - flushed);
        EXPECT_EQ(Read(store.PathOf(1)).size(), flushed);
    }
}

TEST_F(StoreTest, EachTimeTheDiskIsFullIsTold)
{
    Store store(Setup());
    testing::internal::CaptureStderr();
    for (const int record : {1, 2}) {
        Keep(store, 1);
        store.Sync();
        const CFileLimit full(std::filesystem::file_size(store.PathOf(record)));
        store.Keep(0, Group()[1], m_At - 20ms);  // is refused when it is flushed
        store.Sync();
        m_At += 5s;
    }
    const std::string said = testing::internal::GetCapturedStderr();
    const size_t first = said.find("channel 1 is not kept");
    ASSERT_NE(first, std::string::npos) << said;
    EXPECT_THAT(said.substr(first + 1), HasSubstr("channel 1 is not kept"));
    EXPECT_EQ(store.Counts().failures, 2U);
    for (const int record : {1, 2})
        ExpectGroups(Read(store.PathOf(record)), 25);
}

// Others shall find room beside it.
TEST_F(StoreTest, ARecordWithoutFurtherKeyPicturesTakesHalfOfTheRoomAtMost)
{
    StoreSetup setup = Setup();
    setup.maxBytes = 256 << 10;
    Store store(setup);
    store.Keep(0, Group()[0], m_At);
    for (int64_t bytes = 0; bytes < 2 * setup.maxBytes;) {
        m_At += 40ms;
        store.Keep(0, Group()[1], m_At);
        bytes += static_cast<int64_t>(Group()[1]->bytes.size());
    }
    store.Sync();
    ASSERT_THAT(store.Records(), SizeIs(1));
    EXPECT_LE(store.Bytes(), setup.maxBytes / 2);
    EXPECT_GT(store.Bytes(), setup.maxBytes / 4);
}

// It is given up, so that the store doesn't try again with each picture.
TEST_F(StoreTest, ARecordThatCanNotBeRemovedIsAFailure)
{
    const std::string record = "store/000000001-ch01-20261122-065500.mkv";
    m_Folder.Write(record, "a record");
    StoreSetup setup = Setup();
    setup.maxBytes = 4;
    Store store(setup);
    std::filesystem::remove(m_Folder.Path(record));
    m_Folder.Write(record + "/file", "in the way");
    store.Shrink();
    EXPECT_EQ(store.Bytes(), 0);
    EXPECT_EQ(store.Counts().failures, 1U);
    EXPECT_EQ(store.Counts().removed, 0U);
}

TEST_F(StoreTest, NothingIsKeptWhenTheNumbersAreUsedUp)
{
    m_Folder.Write("store/999999999-ch01-20261122-065500.mkv", "a record");
    Store store(Setup());
    testing::internal::CaptureStderr();
    Keep(store, 1);
    store.Sync();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("the numbers of records are used up"));
    EXPECT_THAT(store.Records(), SizeIs(1));
    EXPECT_EQ(store.Counts().leftOut, 25U);
}

}  // namespace
