#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recorder/media/CodecStream.h"
#include "recorder/scene/Scene.h"
#include "recorder/store/Store.h"
#include "tests/support/test_folder.h"

namespace recorder
{

inline constexpr std::chrono::local_seconds START = std::chrono::local_days(std::chrono::year(2026) / 11 / 22) +
                                                    std::chrono::hours(6) + std::chrono::minutes(55);
inline constexpr PictureSize SIZE = {176, 144};

// A second's pictures, encoded once; the first is a key picture.
inline const std::vector<std::shared_ptr<const Coded>>& Group()
{
    static const auto group = [] {
        SceneSetup scene;
        scene.width = SIZE.width;
        scene.height = SIZE.height;
        const auto stream = MakeCodecStream(ECodec::Mpeg4, {});
        std::vector<std::shared_ptr<const Coded>> pictures;
        for (int i = 0; i < 25; ++i)
            pictures.push_back(stream->Make(DrawScene(scene, 0, i), i, i == 0));
        return pictures;
    }();
    return group;
}

class StoreTest : public testing::Test
{
  protected:
    StoreSetup Setup(int channels = 1)
    {
        StoreSetup setup;
        setup.folder = m_Folder.Path("store");
        setup.sizes.assign(static_cast<size_t>(channels), SIZE);
        setup.clock = [] { return START; };
        return setup;
    }
    // Whole groups, each a second, at the times at which they would come.
    void Keep(Store& store, int groups, int channel = 0)
    {
        for (int i = 0; i < groups * 25; ++i, m_At += std::chrono::milliseconds(40))
            store.Keep(channel, Group()[static_cast<size_t>(i % 25)], m_At);
    }
    // Leaves four records in the folder, where there is room for the two latest.
    StoreSetup TwoRecordsTooMany()
    {
        StoreSetup setup = Setup();
        {
            Store store(setup);
            for (int i = 0; i < 4; ++i, m_At += std::chrono::seconds(3))
                Keep(store, 1);
        }
        const auto records = ListRecords(setup.folder);
        EXPECT_EQ(records.size(), 4U);
        setup.maxBytes = records.at(2).bytes + records.at(3).bytes;
        return setup;
    }
    static std::vector<RecordedPicture> Read(const std::string& path)
    {
        RecordReader reader(path);
        EXPECT_EQ(reader.Size(), SIZE);
        std::vector<RecordedPicture> pictures;
        while (auto picture = reader.Next())
            pictures.push_back(std::move(*picture));
        return pictures;
    }
    static void ExpectGroups(const std::vector<RecordedPicture>& pictures, size_t count)
    {
        ASSERT_EQ(pictures.size(), count);
        for (size_t i = 0; i < count; ++i) {
            EXPECT_EQ(pictures[i].bytes, Group()[i % 25]->bytes) << i;
            EXPECT_EQ(pictures[i].key, i % 25 == 0) << i;
            EXPECT_EQ(pictures[i].at, i * std::chrono::milliseconds(40));
        }
    }
    int64_t BytesOnDisk() const
    {
        int64_t bytes = 0;
        for (const StoredRecord& record : ListRecords(m_Folder.Path("store")))
            bytes += record.bytes;
        return bytes;
    }

    CTestFolder m_Folder;
    Store::Clock::time_point m_At = Store::Clock::now();
};

}  // namespace recorder
