#include <gtest/gtest.h>

#include <thread>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "tests/model/model_support.h"

// The tree belongs to the thread that made the singleton.

namespace
{

class NodeModelDeathTest : public CModelTest
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

TEST_F(NodeModelDeathTest, RootOfAForeignThreadEndsACheckedBuild)
{
    ExpectRefused([](CNodeModel& model) { model.GetRoot(); });
}

TEST_F(NodeModelDeathTest, WalkOfAForeignThreadEndsACheckedBuild)
{
    ExpectRefused([](CNodeModel& model) { model.FindByName("gate"); });
    ExpectRefused([](CNodeModel& model) { model.Contains(nullptr); });
    ExpectRefused([](CNodeModel& model) { model.GetGlobalSetting(); });
}

TEST_F(NodeModelDeathTest, DeletionOnAForeignThreadEndsACheckedBuild)
{
    ExpectRefused([](CNodeModel& model) { model.DeleteRoot(); });
}

TEST_F(NodeModelDeathTest, StorageValuesAreForEveryThread)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    ASSERT_NE(model, nullptr);
    std::thread([model] { model->GetStorageValues(); }).join();
}

}  // namespace
