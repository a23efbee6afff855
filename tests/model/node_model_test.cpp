#include "model/NodeModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "model/settings/GlobalSetting.h"
#include "model/tree/Devices.h"
#include "model/tree/Leaf.h"
#include "platform/os/paths.h"
#include "tests/model/model_support.h"
#include "tests/support/thread_state.h"

namespace
{

using testing::HasSubstr;
using testing::IsEmpty;

class NodeModel : public CModelTest
{
  protected:
    void PlaceDatabase() const { std::filesystem::copy_file(WATCHWALL_DATABASE, m_Folder.Path("dvr.db")); }
};

int Execute(const std::string& sql)
{
    return sqlite3_exec(CNodeModel::GetDatabase().get(), sql.c_str(), nullptr, nullptr, nullptr);
}

TEST_F(NodeModel, IsOneObject)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(CNodeModel::GetInstance(), model);
}

TEST_F(NodeModel, BeginsWithAnEmptyInvisibleRoot)
{
    CFolder* const root = CNodeModel::GetInstance()->GetRoot();
    EXPECT_EQ(CNodeModel::GetInstance()->GetRoot(), root);
    EXPECT_EQ(root->GetCount(), 0);
    EXPECT_EQ(root->GetName(), "Unknown");
    EXPECT_FALSE(root->m_bVisible);
    EXPECT_EQ(CNodeModel::GetInstance()->GetCurrent(), nullptr);
}

TEST_F(NodeModel, DeletesTheRootAndMakesANewOne)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    AddChild<CLeaf>(*model->GetRoot(), "a");
    model->SetCurrent(model->GetRoot());
    model->DeleteRoot();
    EXPECT_EQ(model->GetCurrent(), nullptr);
    EXPECT_EQ(model->GetRoot()->GetCount(), 0);
    EXPECT_NE(CNodeModel::GetDatabase(), nullptr);  // stays open until the process ends
}

TEST_F(NodeModel, FindsTheFirstOfAName)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    CFolder* const station = AddChild<CFolder>(*model->GetRoot(), "station");
    CLeaf* const inner = AddChild<CLeaf>(*station, "twice");
    AddChild<CLeaf>(*model->GetRoot(), "twice");
    EXPECT_EQ(model->FindByName("twice"), inner);
    EXPECT_EQ(model->FindByName("Twice"), nullptr);
    EXPECT_EQ(model->FindByName("twic"), nullptr) << "no part of a name";
    EXPECT_EQ(model->FindByName("Unknown"), nullptr);  // the root itself isn't looked at
}

TEST_F(NodeModel, FindsAStationBeforeASettingOfTheSameNameWhenItStandsEarlier)
{
    m_Folder.Write("config/system.ini", "[System]\nLanguage=eng.ini\n");
    m_Folder.Write("config/eng.ini", "[String]\nIDS_LogSetting=same\n");
    CNodeModel* const model = CNodeModel::GetInstance();
    CFolder* const station = AddChild<CFolder>(*model->GetRoot(), "same");
    model->GetGlobalSetting();
    EXPECT_EQ(model->FindByName("same"), station);
    model->GetRoot()->Remove(station);
    ASSERT_NE(model->FindByName("same"), nullptr);
    EXPECT_EQ(model->FindByName("same")->GetParent(), model->GetGlobalSetting());
}

TEST_F(NodeModel, ContainsComparesByPointer)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    CLeaf* const inside = AddChild<CLeaf>(*AddChild<CFolder>(*model->GetRoot(), "f"), "a");
    CLeaf outside;
    outside.SetName("a");
    EXPECT_TRUE(model->Contains(inside));
    EXPECT_FALSE(model->Contains(&outside));
    EXPECT_FALSE(model->Contains(model->GetRoot()));
}

TEST_F(NodeModel, OpensTheDeliveredDatabase)
{
    PlaceDatabase();
    const CDebugCapture debug;
    ASSERT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_EQ(Execute("insert into record values(NULL, 'cam1', 'd:\\a.avi', 20130115, 30605, 300, 1)"),
              SQLITE_OK);
    EXPECT_THAT(debug.Text(), IsEmpty());
}

TEST_F(NodeModel, IsNullWithoutAUsablePathAndTriesAgainOnTheNextCall)
{
    SetModuleDirectory(m_Folder.Path("not/there"));
    const CDebugCapture debug;
    EXPECT_EQ(CNodeModel::GetInstance(), nullptr);
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);
    EXPECT_THAT(debug.Text(), HasSubstr("dvr.db"));
    std::filesystem::create_directories(m_Folder.Path("not/there"));
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
}

TEST_F(NodeModel, IsNullWhenTheDatabaseIsAFolder)
{
    std::filesystem::create_directories(m_Folder.Path("dvr.db"));
    EXPECT_EQ(CNodeModel::GetInstance(), nullptr);
}

TEST_F(NodeModel, ADatabaseThatCannotBeOpenedIsReportedOnce)
{
    std::filesystem::create_directories(m_Folder.Path("dvr.db"));
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(CNodeModel::GetInstance(), nullptr);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(told, '\n'), 1) << told;
}

TEST_F(NodeModel, OpensAFileThatIsNoDatabaseAndLeavesItAlone)
{
    const std::string content = "this is not a database, but somebody's file\n" + std::string(5000, 'x');
    m_Folder.Write("dvr.db", content);
    const CDebugCapture debug;
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_THAT(debug.Text(), HasSubstr("file is not a database; records are not kept"));
    EXPECT_NE(Execute("insert into record values(NULL, '', '', 0, 0, 0, 0)"), SQLITE_OK);
    CNodeModel::DestroyInstance();
    EXPECT_EQ(m_Folder.Read("dvr.db"), content);
}

TEST_F(NodeModel, TellsOfADatabaseWithoutTheTableOfRecords)
{
    const CDebugCapture debug;
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_THAT(debug.Text(), HasSubstr("no such table: record"));
}

TEST_F(NodeModel, ADatabaseThatAnotherProgramWritesToAtTheStartIsNoFault)
{
    PlaceDatabase();
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open(m_Folder.Path("dvr.db").c_str(), &opened), SQLITE_OK);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> other(opened, &sqlite3_close);
    ASSERT_EQ(sqlite3_exec(opened, "begin exclusive", nullptr, nullptr, nullptr), SQLITE_OK);
    const CDebugCapture debug;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5)) << "it waited as a statement";
    EXPECT_THAT(debug.Text(), IsEmpty());
    ASSERT_EQ(sqlite3_exec(opened, "rollback", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(Execute("insert into record values(NULL, 'cam1', 'd:\\a.avi', 20130115, 30605, 300, 1)"),
              SQLITE_OK);
}

TEST_F(NodeModel, AClosedDatabaseStaysClosedForTheRestOfTheRunAsIntended)
{
    ASSERT_NE(CNodeModel::GetInstance(), nullptr);
    CNodeModel::CloseDatabase();
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);
    EXPECT_NE(CNodeModel::GetInstance(), nullptr);
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);
    CNodeModel::CloseDatabase();
}

TEST_F(NodeModel, AStatementUnderWayKeepsItsDatabaseOpen)
{
    PlaceDatabase();
    ASSERT_NE(CNodeModel::GetInstance(), nullptr);
    const std::shared_ptr<sqlite3> held = CNodeModel::GetDatabase();
    CNodeModel::CloseDatabase();
    EXPECT_EQ(sqlite3_exec(held.get(), "select * from record", nullptr, nullptr, nullptr), SQLITE_OK);
}

TEST_F(NodeModel, AStatementWaitsForAnotherProcessThatWrites)
{
    PlaceDatabase();
    ASSERT_NE(CNodeModel::GetInstance(), nullptr);
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open(m_Folder.Path("dvr.db").c_str(), &opened), SQLITE_OK);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> other(opened, &sqlite3_close);
    ASSERT_EQ(sqlite3_exec(opened, "begin immediate", nullptr, nullptr, nullptr), SQLITE_OK);
    const std::atomic<pid_t> waiter = ::gettid();
    std::thread writer([&] {
        AwaitSleep(waiter);
        sqlite3_exec(opened, "commit", nullptr, nullptr, nullptr);
    });
    EXPECT_EQ(Execute("insert into record values(NULL, 'cam1', 'd:\\a.avi', 20130115, 30605, 300, 1)"),
              SQLITE_OK);
    writer.join();
}

TEST_F(NodeModel, FillsTheGreyWhetherTheStartSucceedsOrNot)
{
    SetModuleDirectory(m_Folder.Path("not/there"));
    ASSERT_EQ(CNodeModel::GetInstance(), nullptr);
    const auto grey = CNodeModel::GetGrey();
    EXPECT_EQ(grey.size(), 460800u);
    EXPECT_TRUE(std::ranges::all_of(grey, [](std::uint8_t byte) { return byte == 0x80; }));
}

TEST_F(NodeModel, DestroyingAModelThatIsNotThereDoesNothing)
{
    CNodeModel::DestroyInstance();
    EXPECT_EQ(CNodeModel::GetDatabase(), nullptr);
}

}  // namespace
