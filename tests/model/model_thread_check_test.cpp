#include <gtest/gtest.h>

#include <thread>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "tests/model/model_support.h"

// The tree belongs to the thread that made the singleton.

namespace
{

class CNodeModelDeathTest : public CModelTest
{
  protected:
    // The call on another thread, which ends a checked build; in a release the tree stands still meanwhile.
    template <class Call>
    void ExpectRefused(Call call)
    {
        m_Folder.Write("dvr.db", "");
        CNodeModel* const model = CNodeModel::GetInstance();
        ASSERT_NE(model, nullptr);
        EXPECT_DEBUG_DEATH(std::thread([&] { call(*model); }).join(), "called on a foreign thread");
    }
};

TEST_F(CNodeModelDeathTest, RootOfAForeignThreadEndsACheckedBuild)
{
    ExpectRefused([](CNodeModel& model) { model.GetRoot(); });
}

TEST_F(CNodeModelDeathTest, WalkOfAForeignThreadEndsACheckedBuild)
{
    ExpectRefused([](CNodeModel& model) { model.FindByName("gate"); });
    ExpectRefused([](CNodeModel& model) { model.Contains(nullptr); });
    ExpectRefused([](CNodeModel& model) { model.GetGlobalSetting(); });
}

TEST_F(CNodeModelDeathTest, DeletionOnAForeignThreadEndsACheckedBuild)
{
    ExpectRefused([](CNodeModel& model) { model.DeleteRoot(); });
}

TEST_F(CNodeModelDeathTest, StorageValuesAreForEveryThread)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    ASSERT_NE(model, nullptr);
    std::thread([model] { model->GetStorageValues(); }).join();
}

}  // namespace
