#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "model/settings/SettingLeaves.h"
#include "model/tree/Leaf.h"
#include "platform/files/profile.h"
#include "platform/os/drives.h"
#include "platform/os/paths.h"
#include "tests/model/model_support.h"

namespace
{

using testing::ElementsAre;

class Settings : public CModelTest
{
};

TEST_F(Settings, HaveTheirDefaultsWithoutAnyFile)
{
    const CGlobalSetting& setting = *CNodeModel::GetInstance()->GetGlobalSetting();
    EXPECT_EQ(setting.m_szDDNS, "");
    EXPECT_EQ(setting.m_ulCtrlPort, 10060u);
    EXPECT_EQ(setting.m_ulDataPort, 10061u);
    EXPECT_EQ(setting.m_ulHttpPort, 80u);
    EXPECT_EQ(setting.m_limitDiskSpace, 2500u);
    EXPECT_EQ(setting.m_iHdfAction, 0);
    EXPECT_FALSE(setting.m_bSoundAlarm);
    EXPECT_EQ(setting.m_iCycleInterval, 10);
    EXPECT_EQ(setting.m_iDisplayMode, 0);
    EXPECT_FALSE(setting.m_bAutoShutdown);
    EXPECT_FALSE(setting.m_bAutoRun);
    EXPECT_FALSE(setting.m_bAutoLogon);
    EXPECT_FALSE(setting.m_bMinimizeToTray);
    EXPECT_EQ(setting.m_iPackInterval, 0);
    EXPECT_EQ(setting.m_szAccount, "admin");
    EXPECT_EQ(setting.m_szPicPath, GetModuleDirectory() + "snapshot");
    EXPECT_FALSE(setting.m_bVisible);
}

TEST_F(Settings, AreOneObjectUnderTheRoot)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    AddChild<CFolder>(*model->GetRoot(), "station");
    CGlobalSetting* const setting = model->GetGlobalSetting();
    EXPECT_EQ(model->GetGlobalSetting(), setting);
    EXPECT_EQ(model->GetRoot()->GetCount(), 2);
    EXPECT_EQ(setting->GetParent(), model->GetRoot());
}

TEST_F(Settings, HaveFourLeavesInOrderWithTheNamesOfTheLanguage)
{
    m_Folder.Write("config/system.ini", "[System]\nLanguage=eng.ini\n");
    m_Folder.Write(
        "config/eng.ini",
        "[String]\nIDS_GlobalSetting=global\nIDS_StorageSetting=storage\nIDS_NetworkSetting=network\n"
        "IDS_SystemSetting=system\nIDS_LogSetting=log\n");
    CGlobalSetting* const setting = CNodeModel::GetInstance()->GetGlobalSetting();
    EXPECT_THAT(WalkNames(*CNodeModel::GetInstance()->GetRoot()),
                ElementsAre("global", "storage", "network", "system", "log"));
    const auto walk = setting->CreateIterator();
    EXPECT_NE(dynamic_cast<CStorageSetting*>(walk->CurrentItem()), nullptr);
    walk->Next();
    EXPECT_NE(dynamic_cast<CNetworkSetting*>(walk->CurrentItem()), nullptr);
    walk->Next();
    EXPECT_NE(dynamic_cast<CSystemSetting*>(walk->CurrentItem()), nullptr);
    walk->Next();
    EXPECT_NE(dynamic_cast<CLogSetting*>(walk->CurrentItem()), nullptr);
}

TEST_F(Settings, AreCalledNotFoundWithoutALanguage)
{
    EXPECT_EQ(CNodeModel::GetInstance()->GetGlobalSetting()->GetName(), "Not found");
}

TEST_F(Settings, ThoseThatStandInTheTreeAlreadyAreTaken)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    CFolder* const folder = AddChild<CFolder>(*model->GetRoot(), "folder");
    CGlobalSetting* const setting = AddChild<CGlobalSetting>(*folder, "mine");
    EXPECT_EQ(model->GetGlobalSetting(), setting);
    EXPECT_EQ(setting->GetCount(), 0);
}

TEST_F(Settings, FindsTheFirstSettingsOfTheWalkAtEachCall)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    auto* const folder = AddChild<CFolder>(*model->GetRoot(), "station");
    CGlobalSetting* const later = model->GetGlobalSetting();
    later->m_limitDiskSpace = 7;
    CGlobalSetting* const first = AddChild<CGlobalSetting>(*folder, "earlier in the walk");
    EXPECT_EQ(model->GetGlobalSetting(), first);
    first->m_bsStorageDrive = 5;
    first->m_limitDiskSpace = 11;
    first->m_iHdfAction = 1;
    first->m_szPicPath = "e:\\pictures";
    StorageValues seen;
    std::thread([&] { seen = model->GetStorageValues(); }).join();
    EXPECT_EQ(seen.drives, DriveSet(5)) << "what the panels' thread has found last";
    EXPECT_EQ(seen.limitMiB, 11U);
    EXPECT_EQ(seen.hdfAction, 1);
    EXPECT_EQ(seen.picPath, "e:\\pictures");
    folder->Remove(first);
    EXPECT_EQ(model->GetStorageValues().limitMiB, 7U);
    EXPECT_EQ(model->GetGlobalSetting(), later);
    EXPECT_EQ(model->GetRoot()->GetCount(), 2) << "none was made";
}

TEST_F(Settings, AnotherThreadThatAsksFirstTouchesNoTreeAndGetsWhatThePanelsGet)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    const auto elsewhere = [model] {
        StorageValues values;
        std::thread([&] { values = model->GetStorageValues(); }).join();
        return values;
    };
    const StorageValues early = elsewhere();
    EXPECT_EQ(model->GetRoot()->GetCount(), 0) << "the tree is the panels' thread's";
    CGlobalSetting* const setting = model->GetGlobalSetting();
    EXPECT_EQ(early.drives, setting->m_bsStorageDrive);
    EXPECT_EQ(early.limitMiB, setting->m_limitDiskSpace);
    EXPECT_EQ(early.hdfAction, setting->m_iHdfAction);
    EXPECT_EQ(early.picPath, setting->m_szPicPath);
    setting->m_limitDiskSpace = 11;
    EXPECT_EQ(elsewhere().limitMiB, 11U);
    std::make_unique<CGlobalSetting>().reset();
    EXPECT_EQ(elsewhere().limitMiB, 11U) << "others that go are none that were found";
    model->GetRoot()->Remove(setting);
    EXPECT_EQ(elsewhere().limitMiB, early.limitMiB) << "those that are gone aren't asked";
    EXPECT_EQ(model->GetRoot()->GetCount(), 0);
}

TEST_F(Settings, AreMadeAnewWhenTheyWereRemovedOrTheRootWentDown)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    model->GetGlobalSetting()->m_iCycleInterval = 99;
    model->GetRoot()->Remove(model->GetGlobalSetting());
    EXPECT_EQ(model->GetGlobalSetting()->m_iCycleInterval, 10);
    model->GetGlobalSetting()->m_iCycleInterval = 99;
    model->DeleteRoot();
    EXPECT_EQ(model->GetGlobalSetting()->m_iCycleInterval, 10);
}

TEST_F(Settings, ARestartSeesTheDefaultsAgain)
{
    CNodeModel::GetInstance()->GetGlobalSetting()->m_iCycleInterval = 99;
    CNodeModel::DestroyInstance();
    EXPECT_EQ(CNodeModel::GetInstance()->GetGlobalSetting()->m_iCycleInterval, 10);
}

TEST_F(Settings, ThePicturePathOfTheIniIsAnotherValue)
{
    m_Folder.Write("config/system.ini", "[System]\nPicturePath=e:\\pictures\n");
    const std::string ini = GetModuleDirectory() + "config\\system.ini";
    EXPECT_EQ(GetProfileText("System", "PicturePath", "", 260, ini), "e:\\pictures");
    EXPECT_EQ(CNodeModel::GetInstance()->GetGlobalSetting()->m_szPicPath, GetModuleDirectory() + "snapshot");
}

TEST_F(Settings, AllowTheDrivesOfThisMachineThatAreFixedAndNotTheSystems)
{
    const CGlobalSetting& setting = *CNodeModel::GetInstance()->GetGlobalSetting();
    EXPECT_EQ(setting.m_bsStorageDrive,
              GetFixedDataDrives(GetLogicalDrives(), GetSystemDirectoryA(), GetDriveTypeA));
    EXPECT_FALSE(setting.m_bsStorageDrive.test(2));  // c is the system's
}

// Two disks beside the system's, and a share.
class CFourDrives final : public IDriveSource
{
  public:
    CFourDrives() : m_pFormer(SetDriveSource(this)) {}
    ~CFourDrives() override { SetDriveSource(m_pFormer); }
    CFourDrives(const CFourDrives&) = delete;
    CFourDrives& operator=(const CFourDrives&) = delete;

    std::vector<Drive> GetDrives() override
    {
        return {{'c', DRIVE_FIXED, ""},
                {'d', DRIVE_FIXED, "/srv"},
                {'e', DRIVE_FIXED, "/var"},
                {'f', DRIVE_REMOTE, "/net"}};
    }
    bool GetSpace(const std::string&, std::uint64_t&, std::uint64_t&) override { return false; }

  private:
    IDriveSource* const m_pFormer;
};

TEST_F(Settings, AllowEachFurtherDiskOfTheMachineFromTheStart)
{
    const CFourDrives drives;
    CNodeModel* const model = CNodeModel::GetInstance();
    EXPECT_EQ(model->GetGlobalSetting()->m_bsStorageDrive, DriveSet(0b11000));
    EXPECT_EQ(model->GetStorageValues().drives, DriveSet(0b11000));
}

std::uint32_t AllFixed(const char* /*root*/)
{
    return DRIVE_FIXED;
}

TEST(FixedDataDrives, WithOnlyTheSystemDriveTheSetIsEmpty)
{
    EXPECT_TRUE(GetFixedDataDrives(1 << 2, "c:\\windows\\system32", AllFixed).none());
}

TEST(FixedDataDrives, TheSystemDriveIsLeftOutInEitherCase)
{
    EXPECT_EQ(GetFixedDataDrives(0b1100, "C:\\Windows", AllFixed).to_ulong(), 0b1000u);
    EXPECT_EQ(GetFixedDataDrives(0b1100, "d:\\windows", AllFixed).to_ulong(), 0b0100u);
}

TEST(FixedDataDrives, OnlyFixedDrivesCountAndOnlyExistingOnesAreAsked)
{
    std::vector<std::string> asked;
    const auto type = [&](const char* root) {
        asked.emplace_back(root);
        return std::string(root) == "e:\\" ? DRIVE_FIXED : DRIVE_REMOTE;
    };
    EXPECT_EQ(GetFixedDataDrives(1 << 25 | 0b11100, "c:\\windows", type).to_ulong(), 1u << 4);
    EXPECT_THAT(asked, ElementsAre("d:\\", "e:\\", "z:\\"));
}

TEST(FixedDataDrives, ADriveAAndADriveZHaveTheirBits)
{
    EXPECT_EQ(GetFixedDataDrives(0xFFFFFFFF, "c:\\", AllFixed).to_ulong(), 0x3FFFFFBu);
    EXPECT_EQ(GetFixedDataDrives(0xFFFFFFFF, "", AllFixed).to_ulong(), 0x3FFFFFFu);
}

}  // namespace
