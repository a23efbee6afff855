// The store with its thread, over a folder of the test's own.

#include "recorder/store/Store.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <thread>
#include <utility>

#include "tests/recorder/media_support.h"
#include "tests/recorder/store_support.h"
#include "tests/support/plain_rights.h"

namespace
{

using namespace recorder;
using namespace std::chrono;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(StoreTest, GivesBackEveryPictureWithItsTime)
{
    {
        Store store(Setup());
        Keep(store, 3);
    }
    const Store store(Setup());
    ASSERT_THAT(store.Records(), SizeIs(1));
    EXPECT_EQ(store.Records()[0].name, (RecordName{1, 0, START}));
    EXPECT_FALSE(store.Records()[0].open);
    const auto pictures = Read(store.PathOf(1));
    ExpectGroups(pictures, 75);
    CDecoder decoder;
    for (const RecordedPicture& picture : pictures)
        EXPECT_EQ(decoder.Decode(picture.bytes).width, SIZE.width);
    EXPECT_THAT(store.PathOf(2), IsEmpty());
    EXPECT_THAT(store.PathOf(-1), IsEmpty());
}

TEST_F(StoreTest, AfterAPictureThatWasLeftOutTheNextKeyPictureGoesOn)
{
    auto larger = std::make_shared<Coded>(*Group()[1]);
    larger->bytes.resize(Store::MAX_QUEUED_BYTES + 1);
    Store store(Setup());
    Keep(store, 1);
    store.Keep(0, larger, m_At);
    for (size_t i = 2; i < 25; ++i)
        store.Keep(0, Group()[i], m_At);
    Keep(store, 1);
    store.Sync();
    EXPECT_EQ(store.Counts().leftOut, 24U);
    ExpectGroups(Read(store.PathOf(1)), 50);
}

TEST_F(StoreTest, FolderWithAColonIsAFolder)
{
    const CTestCurrentFolder inside(m_Folder.Path());
    StoreSetup setup = Setup();
    setup.folder = "tcp:127.0.0.1:9";
    Store store(setup);
    Keep(store, 1);
    store.Sync();
    ASSERT_THAT(store.Records(), SizeIs(1));
    ExpectGroups(Read(store.PathOf(1)), 25);
}

TEST_F(StoreTest, RecordsBeginWithAKeyPicture)
{
    Store store(Setup());
    store.Keep(0, Group()[1], m_At);
    store.Sync();
    EXPECT_THAT(store.Records(), IsEmpty());
    Keep(store, 1);
    store.Sync();
    ExpectGroups(Read(store.PathOf(1)), 25);
    EXPECT_EQ(store.Counts().leftOut, 1U);
}

TEST_F(StoreTest, H264IsNotKept)
{
    Store store(Setup());
    auto coded = std::make_shared<Coded>(*Group()[0]);
    coded->codec = ECodec::H264;
    store.Keep(0, coded, m_At);
    store.Sync();
    EXPECT_THAT(store.Records(), IsEmpty());
}

TEST_F(StoreTest, AGapEndsARecordAndChannelsHaveTheirOwn)
{
    Store store(Setup(2));
    Keep(store, 1, 0);
    Keep(store, 1, 1);
    m_At += 2s;
    Keep(store, 1, 0);
    store.Sync();
    std::vector<int> channels;
    for (const StoredRecord& record : store.Records())
        channels.push_back(record.name.channel);
    EXPECT_EQ(channels, (std::vector{0, 1, 0}));
    EXPECT_EQ(store.Records()[0].bytes,
              static_cast<int64_t>(std::filesystem::file_size(store.PathOf(store.Records()[0].name.id))))
        << "what was taken for it while it was written is more";
}

TEST_F(StoreTest, ARecordIsCutAtAKeyPictureWhenItIsLongEnough)
{
    StoreSetup setup = Setup();
    setup.longest = 1500ms;
    Store store(setup);
    Keep(store, 4);
    store.Sync();
    ASSERT_THAT(store.Records(), SizeIs(2));
    ExpectGroups(Read(store.PathOf(1)), 50);
    ExpectGroups(Read(store.PathOf(2)), 50);
}

TEST_F(StoreTest, TheOldestMakeRoomAndTheBoundHolds)
{
    StoreSetup setup = Setup(2);
    setup.maxBytes = 512 << 10;
    int64_t most = 0;
    Store store(setup);
    for (int i = 0; i < 60; ++i) {
        Keep(store, 1, i % 2);
        store.Sync();
        most = std::max(most, BytesOnDisk());
    }
    EXPECT_LE(most, setup.maxBytes);
    EXPECT_GT(most, setup.maxBytes / 2);
    EXPECT_GT(store.Counts().removed, 0U);
    EXPECT_THAT(store.PathOf(1), IsEmpty());
    EXPECT_EQ(store.Counts().leftOut, 0U);
    EXPECT_EQ(store.Records().size(), ListRecords(setup.folder).size());
}

TEST_F(StoreTest, TheBoundHoldsWithEachLargePicture)
{
    auto large = std::make_shared<Coded>(*Group()[0]);
    large->bytes.resize(100'000);
    StoreSetup setup = Setup();
    setup.maxBytes = 1 << 20;
    Store store(setup);
    for (int i = 0; i < 40; ++i, m_At += 40ms) {
        store.Keep(0, large, m_At);
        store.Sync();
        EXPECT_LE(BytesOnDisk(), setup.maxBytes) << i;
    }
    EXPECT_EQ(store.Counts().pictures, 40U);
    EXPECT_GT(store.Counts().removed, 0U);
}

TEST_F(StoreTest, ARecordThatIsBeingWrittenMakesNoRoomThoughItIsTheOldest)
{
    StoreSetup setup = Setup(2);
    setup.maxBytes = 512 << 10;
    setup.gap = 1h;
    Store store(setup);
    Keep(store, 1, 0);
    for (int i = 0; i < 60; ++i) {
        Keep(store, 1, 1);
        store.Sync();
    }
    store.Keep(0, Group()[1], m_At);
    store.Sync();
    EXPECT_GT(store.Counts().removed, 0U);
    ASSERT_FALSE(store.PathOf(1).empty());
    EXPECT_THAT(Read(store.PathOf(1)), SizeIs(26));
}

TEST_F(StoreTest, ItsBytesAreThoseOfTheFolder)
{
    StoreSetup setup = Setup(2);
    setup.maxBytes = 512 << 10;
    const auto listed = [](const Store& store) {
        int64_t bytes = 0;
        for (const StoredRecord& record : store.Records())
            bytes += record.bytes;
        return bytes;
    };
    {
        Store store(setup);
        for (int round = 0; round < 30; ++round) {
            Keep(store, 2, 0);
            Keep(store, 1, 1);
            store.Sync();
            EXPECT_EQ(store.Bytes(), listed(store)) << "more is taken for those that are being written";
            m_At += 3s;
            for (const int channel : {0, 1})
                store.Keep(channel, Group()[1], m_At);  // after the gap: no key picture, so it begins no record
            store.Sync();
            EXPECT_EQ(store.Bytes(), BytesOnDisk());
            EXPECT_EQ(store.Bytes(), listed(store));
        }
        EXPECT_GT(store.Counts().removed, 0U);
    }
    m_Folder.Write("store/000999999-ch01-20261122-065500.mkv", "");  // as a crash leaves it
    const int64_t former = BytesOnDisk();
    setup.maxBytes = former / 2;
    Store store(setup);
    EXPECT_EQ(store.Bytes(), former);
    store.Shrink();
    EXPECT_EQ(store.Bytes(), BytesOnDisk());
    EXPECT_LE(store.Bytes(), setup.maxBytes);
}

// As when somebody has put two folders together.
TEST_F(StoreTest, OfTwoRecordsOfOneNumberOneCounts)
{
    m_Folder.Write("store/000000001-ch01-20261122-065500.mkv", "some");
    m_Folder.Write("store/000000001-ch02-20261122-065500.mkv", "more");
    const Store store(Setup());
    ASSERT_THAT(store.Records(), SizeIs(1));
    EXPECT_EQ(store.Bytes(), 4);
}

// It counts until its turn to make room comes, as it stands in the list.
TEST_F(StoreTest, ARecordThatAnotherHandRemovedCountsUntilItWouldMakeRoom)
{
    const StoreSetup setup = TwoRecordsTooMany();
    const int64_t gone = ListRecords(setup.folder).at(0).bytes;
    Store store(setup);
    std::filesystem::remove(store.PathOf(1));
    EXPECT_THAT(store.Records(), SizeIs(4));
    EXPECT_EQ(store.Bytes(), BytesOnDisk() + gone);
    store.Shrink();
    EXPECT_THAT(store.Records(), SizeIs(2));
    EXPECT_EQ(store.Bytes(), BytesOnDisk());
    EXPECT_EQ(store.Counts().removed, 2U);
    EXPECT_EQ(store.Counts().failures, 0U);
}

TEST_F(StoreTest, WhatIsTooMuchAtTheStartGoes)
{
    Store store(TwoRecordsTooMany());
    EXPECT_THAT(store.Records(), SizeIs(4)) << "a recorder that can't begin costs no record";
    store.Shrink();
    ASSERT_THAT(store.Records(), SizeIs(2));
    EXPECT_EQ(store.Records()[0].name.id, 3);
}

TEST_F(StoreTest, ARecordCanBeReadFromItsFirstPictureOn)
{
    Store store(Setup());
    store.Keep(0, Group()[0], m_At);
    while (store.Counts().pictures == 0)
        std::this_thread::yield();
    EXPECT_THAT(Read(store.PathOf(1)), SizeIs(1));
}

TEST_F(StoreTest, NumbersGoOnAfterARestart)
{
    for (int i = 0; i < 3; ++i) {
        Store store(Setup());
        Keep(store, 1);
    }
    const auto records = ListRecords(m_Folder.Path("store"));
    ASSERT_THAT(records, SizeIs(3));
    EXPECT_EQ(records[2].name.id, 3);
}

TEST_F(StoreTest, OtherFilesInTheFolderStay)
{
    m_Folder.Write("store/notes.txt", "mine");
    m_Folder.Write("store/000000001-ch01-20261122-065500.mkv", "");
    Store store(Setup());
    EXPECT_THAT(store.Records(), IsEmpty()) << "an empty file is no record";
    EXPECT_TRUE(std::filesystem::exists(m_Folder.Path("store/notes.txt")));
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Path("store/000000001-ch01-20261122-065500.mkv")));
}

// As when a disk stood still for longer than a gap lasts.
TEST_F(StoreTest, APictureThatHasWaitedGoesOnWithItsRecord)
{
    const auto at = Store::Clock::now() - 10s;
    std::function<void()> meanwhile;
    StoreSetup setup = Setup();
    setup.clock = [&] {  // asked when a record begins, on the store's thread
        std::exchange(meanwhile, [] {})();
        return START;
    };
    Store store(std::move(setup));
    meanwhile = [&] { store.Keep(0, Group()[1], at + 40ms); };
    store.Keep(0, Group()[0], at);
    store.Sync();
    store.Sync();  // the first may have been asked for before the second picture was given
    EXPECT_EQ(store.Counts().pictures, 2U);
    EXPECT_EQ(store.Counts().leftOut, 0U);
    ASSERT_THAT(store.Records(), SizeIs(1));
    EXPECT_FALSE(store.Records()[0].open) << "no more waits, and the gap is long over";
    ExpectGroups(Read(store.PathOf(1)), 2);
}

// As when a disk is slower than what the channels stream: the end of a recorder waits for a sync.
TEST_F(StoreTest, ASyncEndsThoughPicturesKeepComing)
{
    const auto until = steady_clock::now() + 10s;
    std::atomic<bool> synced = false;
    std::function<void()> more;
    StoreSetup setup = Setup();
    setup.clock = [&] {  // asked for each record, on the store's thread
        more();
        return START;
    };
    Store store(std::move(setup));
    more = [&] {
        m_At += 3s;  // a gap, so that each picture begins a record
        if (!synced && steady_clock::now() < until) store.Keep(0, Group()[0], m_At);
    };
    store.Keep(0, Group()[0], m_At);
    store.Sync();
    synced = true;
    EXPECT_LT(steady_clock::now(), until) << "as long as there were more";
    EXPECT_GE(store.Counts().pictures, 1U);
}

TEST_F(StoreTest, WhatComesAfterItsEndIsNeitherKeptNorCounted)
{
    {
        Store store(Setup());
        Keep(store, 1);
        store.Finish();
        EXPECT_EQ(store.Counts().pictures, 25U);
        Keep(store, 1);
        store.Sync();
        EXPECT_EQ(store.Counts().pictures, 25U);
        EXPECT_EQ(store.Counts().leftOut, 0U);
    }
    const Store store(Setup());
    ASSERT_THAT(store.Records(), SizeIs(1));
    ExpectGroups(Read(store.PathOf(1)), 25);
}

TEST_F(StoreTest, TwoRecordersDoNotShareAFolder)
{
    const Store store(Setup());
    EXPECT_THROW(Store second(Setup()), std::runtime_error);
}

TEST_F(StoreTest, AFolderThatCanNotBeMadeIsReported)
{
    m_Folder.Write("store", "a file stands there");
    EXPECT_THROW(Store store(Setup()), std::runtime_error);
}

// Its records would be taken for none, and their numbers given once more.
TEST_F(StoreTest, AFolderThatCanNotBeReadIsReported)
{
    EXPECT_THROW(ListRecords(m_Folder.Path("not there")), std::runtime_error);
    const std::string folder = m_Folder.Path("store");
    std::filesystem::create_directory(folder);
    std::filesystem::permissions(folder,
                                 std::filesystem::perms::owner_write | std::filesystem::perms::owner_exec);
    {
        const CPlainRights rights;
        EXPECT_THROW(ListRecords(folder), std::runtime_error);
        EXPECT_THROW(Store store(Setup()), std::runtime_error);
    }
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    const Store store(Setup());
    EXPECT_THAT(store.Records(), IsEmpty());
}

TEST_F(StoreTest, AFolderThatGoesAwayCostsRecordsOnly)
{
    Store store(Setup());
    std::filesystem::remove_all(m_Folder.Path("store"));
    testing::internal::CaptureStderr();
    Keep(store, 2);
    store.Sync();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("channel 1 is not kept"));
    EXPECT_EQ(store.Counts().failures, 1U) << "tried again after a while only";
    EXPECT_EQ(store.Counts().leftOut, 50U);
    m_At += 5s;
    testing::internal::CaptureStderr();
    Keep(store, 1);
    store.Sync();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty()) << "told once";
    EXPECT_EQ(store.Counts().failures, 2U);
    std::filesystem::create_directories(m_Folder.Path("store"));
    m_At += 5s;
    Keep(store, 1);
    store.Sync();
    ASSERT_THAT(store.Records(), SizeIs(1));
    ExpectGroups(Read(store.PathOf(store.Records()[0].name.id)), 25);
}

// The writer dies at some moment; a second was flushed at the latest with the picture after it.
TEST_F(StoreTest, AKilledRecorderLosesTheLastSecondAtMost)
{
    std::mt19937 random(1);
    for (int round = 0; round < 10; ++round) {
        const int pictures = 26 + static_cast<int>(random() % 100);
        std::filesystem::remove_all(m_Folder.Path("store"));
        Group();
        const pid_t child = fork();
        if (child == 0) {
            Store store(Setup());
            for (int i = 0; i < pictures; ++i, m_At += 40ms)
                store.Keep(0, Group()[static_cast<size_t>(i % 25)], m_At);
            // Not Sync, which would flush: only until the thread has nothing in hand.
            while (store.Counts().pictures < static_cast<uint64_t>(pictures))
                usleep(1000);
            kill(getpid(), SIGKILL);
        }
        ASSERT_GT(child, 0);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        const Store store(Setup());
        ASSERT_THAT(store.Records(), SizeIs(1));
        const auto read = Read(store.PathOf(1));
        EXPECT_GE(read.size() + 25, static_cast<size_t>(pictures));
        ExpectGroups(read, read.size());
    }
}

// Whoever plays it counts on in nanoseconds.
TEST_F(StoreTest, AStampBeyondAYearIsTakenForAYear)
{
    const std::string path = m_Folder.Path("late.mkv");
    {
        RecordWriter writer(path, SIZE, Group()[0]->bytes);
        writer.Write(Group()[0]->bytes, 0ms, true);
        writer.Write(Group()[1]->bytes, hours(24) * 365 * 400, false);
    }
    const auto pictures = Read(path);
    ASSERT_THAT(pictures, SizeIs(2));
    EXPECT_EQ(pictures[1].at, hours(24) * 366);
}

TEST_F(StoreTest, PicturesOfAFileBeforeItsFirstKeyPictureAreLeftOut)
{
    const std::string path = m_Folder.Path("late.mkv");
    {
        RecordWriter writer(path, SIZE, Group()[0]->bytes);
        writer.Write(Group()[1]->bytes, 0ms, false);
        writer.Write(Group()[0]->bytes, 40ms, true);
        writer.Write(Group()[1]->bytes, 80ms, false);
    }
    ExpectGroups(Read(path), 2);
}

TEST_F(StoreTest, PictureThatNoClientsBufferHoldsEndsItsRecord)
{
    const std::string path = m_Folder.Path("large.mkv");
    {
        RecordWriter writer(path, SIZE, Group()[0]->bytes);
        writer.Write(Group()[0]->bytes, 0ms, true);
        std::vector<uint8_t> large = Group()[1]->bytes;
        large.resize(MAX_MESSAGE_BYTES);
        writer.Write(large, 40ms, false);
        large.push_back(0);
        writer.Write(large, 80ms, false);
        writer.Write(Group()[1]->bytes, 120ms, false);
    }
    EXPECT_THAT(Read(path), SizeIs(2));
}

// Any damage ends in pictures or in none, never in more than what a client's buffer holds.
TEST_F(StoreTest, DamagedFilesAreReadAsFarAsTheyGo)
{
    {
        Store store(Setup());
        Keep(store, 2);
    }
    const std::string path = m_Folder.Path("store/" + FileNameOf({1, 0, START}));
    std::ifstream in(path, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    std::mt19937 random(7);
    size_t opened = 0;
    testing::internal::CaptureStderr();
    for (int round = 0; round < 200; ++round) {
        std::string bytes = whole.substr(0, round % 2 == 0 ? whole.size() : random() % whole.size());
        for (size_t i = 0; i < 1 + random() % 16 && !bytes.empty(); ++i)
            bytes[random() % (i % 2 == 0 ? std::min<size_t>(600, bytes.size()) : bytes.size())] =
                static_cast<char>(random());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        try {
            RecordReader reader(path);
            ++opened;
            for (int i = 0; i < 1000; ++i) {
                const auto picture = reader.Next();
                if (!picture) break;
                ASSERT_LE(picture->bytes.size(), MAX_MESSAGE_BYTES);
            }
        } catch (const std::runtime_error&) {
            continue;
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(opened, 0U);
    EXPECT_LT(opened, 200U);
}

}  // namespace
