// Link threads ask for places of recordings and snapshots while the panels take their tree down.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "record/FileNames.h"
#include "record/RecordFolder.h"
#include "tests/record/record_support.h"

namespace
{

class RecordSettings : public CRecordTest
{
};

TEST_F(RecordSettings, MayGoWithTheirTreeWhileALinkThreadReadsThem)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    const std::string folder = GetFolderName("cam1", ExampleTime());
    ASSERT_NE(folder, "");
    std::atomic<bool> end = false;
    std::atomic<int> asked = 0;
    std::thread link([&] {
        while (!end) {
            EXPECT_TRUE(GetSnapshotFileName("cam1").starts_with(m_Folder.System("snapshot") + "\\cam1-"));
            EXPECT_EQ(GetFolderName("cam1", ExampleTime()), folder);
            ++asked;
        }
    });
    while (asked < 200) {
        model->DeleteRoot();
        model->GetGlobalSetting();
    }
    end = true;
    link.join();
}

}  // namespace
