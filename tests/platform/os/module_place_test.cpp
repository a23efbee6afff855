#include "platform/os/module_place.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>

#include "inc/OutputDebugString.h"
#include "platform/files/profile.h"
#include "platform/os/disk_space.h"
#include "platform/os/paths.h"
#include "tests/support/forwarding_operations.h"
#include "tests/support/plain_rights.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_variable.h"

namespace fs = std::filesystem;

using testing::HasSubstr;

namespace
{

bool Never(const std::string& /*folder*/)
{
    return false;
}
bool NotTheModule(const std::string& folder)
{
    return !folder.ends_with("/module");
}
bool Always(const std::string& /*folder*/)
{
    return true;
}
bool OnlyAUsersFolder(const std::string& folder)
{
    return folder.find("/data/watchwall") != std::string::npos;
}

void FillModule(const CTestFolder& folder)
{
    folder.Write("module/config/eng.ini", "[String]\nIDS_OK=OK\n");
    folder.Write("module/osd/ASC16.hzk", "font");
    folder.Write("module/dvr.bmp", "BM");
    folder.Write("module/dvr.db", "SQLite");
    folder.Write("module/activex.ocx", "ELF");
}

TEST(ModulePlace, WhereItCanBeWrittenThereIsNoUsersFolder)
{
    const CTestFolder folder;
    FillModule(folder);
    const UserPlace place = ChooseUserPlace(folder.Path("module"), folder.Path("user"), Always);
    EXPECT_EQ(place.folder, "");
    EXPECT_EQ(place.notice, "");
    EXPECT_FALSE(fs::exists(folder.Path("user")));
}

TEST(ModulePlace, TheUsersFolderBeginsWithTheDatabaseAlone)
{
    const CTestFolder folder;
    FillModule(folder);
    const UserPlace place = ChooseUserPlace(folder.Path("module"), folder.Path("user/w"), NotTheModule);
    EXPECT_EQ(place.folder, folder.Path("user/w"));
    EXPECT_EQ(place.notice,
              folder.Path("module") + " can't be written; settings and records go to " + place.folder);
    EXPECT_FALSE(place.fault);
    EXPECT_EQ(folder.Read("user/w/dvr.db"), "SQLite");
    EXPECT_TRUE(fs::is_directory(folder.Path("user/w/config")));
    const auto count = std::distance(fs::recursive_directory_iterator(folder.Path("user/w")), {});
    EXPECT_EQ(count, 2) << "what is shipped stays where it is, and nothing is left over from the copying";
}

TEST(ModulePlace, WhatTheUserHasIsNeverWrittenOver)
{
    const CTestFolder folder;
    FillModule(folder);
    folder.Write("user/dvr.db", "mine");
    EXPECT_FALSE(ChooseUserPlace(folder.Path("module"), folder.Path("user"), NotTheModule).fault);
    EXPECT_EQ(folder.Read("user/dvr.db"), "mine");
    fs::remove(folder.Path("user/dvr.db"));
    ASSERT_EQ(::symlink("/nowhere", folder.Path("user/dvr.db").c_str()), 0);
    ChooseUserPlace(folder.Path("module"), folder.Path("user"), NotTheModule);
    EXPECT_TRUE(fs::is_symlink(folder.Path("user/dvr.db")));
}

TEST(ModulePlace, TheCopyOfAReadOnlyDatabaseCanBeWritten)
{
    const CTestFolder folder;
    FillModule(folder);
    fs::permissions(folder.Path("module/dvr.db"), fs::perms::owner_read);
    ChooseUserPlace(folder.Path("module"), folder.Path("user"), NotTheModule);
    EXPECT_NE(fs::status(folder.Path("user/dvr.db")).permissions() & fs::perms::owner_write, fs::perms::none);
}

TEST(ModulePlace, WithoutAUsersFolderTheModulesOwnIsKeptAndReported)
{
    const CTestFolder folder;
    FillModule(folder);
    folder.Write("file", "");
    const UserPlace place = ChooseUserPlace(folder.Path("module"), folder.Path("file/user"), Never);
    EXPECT_EQ(place.folder, "");
    EXPECT_TRUE(place.fault);
    EXPECT_THAT(place.notice, HasSubstr("can't be made"));
}

TEST(ModulePlace, AUsersFolderThatCantBeWrittenIsReadAndReported)
{
    const CTestFolder folder;
    FillModule(folder);
    folder.Write("user/dvr.db", "mine");
    const UserPlace place = ChooseUserPlace(folder.Path("module"), folder.Path("user"), Never);
    EXPECT_EQ(place.folder, folder.Path("user"));
    EXPECT_TRUE(place.fault);
    EXPECT_EQ(place.notice, folder.Path("module") + " can't be written, nor can " + folder.Path("user") +
                                "; settings and records aren't kept");
    folder.Write("other/config", "in the way of the folder");
    EXPECT_TRUE(ChooseUserPlace(folder.Path("module"), folder.Path("other"), NotTheModule).fault);
}

TEST(ModulePlace, ADatabaseThatCantBeCopiedIsReported)
{
    const CTestFolder folder;
    FillModule(folder);
    const std::string part = "user/dvr.db." + std::to_string(::getpid()) + ".part";
    folder.Write(part + "/in the way", "");
    const UserPlace place = ChooseUserPlace(folder.Path("module"), folder.Path("user"), NotTheModule);
    EXPECT_EQ(place.folder, folder.Path("user"));
    EXPECT_TRUE(place.fault);
    EXPECT_THAT(place.notice, HasSubstr("without dvr.db: "));
}

// A home that can't be written, with a user's folder in front of it.
class UserFolder : public testing::Test
{
  protected:
    UserFolder()
    {
        FillModule(m_Folder);
        SetFolderTest(OnlyAUsersFolder);
        m_Former = SetDebugListener([this](std::string_view text) { m_strHeard += text; });
    }
    ~UserFolder() override
    {
        SetDebugListener(m_Former);
        SetFolderTest(nullptr);
        SetModuleDirectory("");
    }

    static std::string User() { return fs::path(At("config")).parent_path(); }
    std::string Module(const std::string& name) const { return m_Folder.Path("module/" + name); }
    static std::string At(const std::string& name) { return HostPath(GetModuleDirectory() + name); }

    const CTestFolder m_Folder;
    const CTestVariable m_Data{"XDG_DATA_HOME", m_Folder.Path("data").c_str()};
    const CTestVariable m_Home{"WATCHWALL_HOME", m_Folder.Path("module").c_str()};
    std::string m_strHeard;
    CDebugListener m_Former;
};

TEST_F(UserFolder, LeavesThePathsTextTheModules)
{
    EXPECT_EQ(GetModuleDirectory(), m_Folder.System("module/"));
    EXPECT_EQ(GetModuleFileNameA(), m_Folder.System("module/activex.ocx"));
    EXPECT_TRUE(User().starts_with(m_Folder.Path("data/watchwall/homes/module-"))) << User();
}

TEST_F(UserFolder, AnUpgradesTextIsSeenAndTheUsersOwnStaysInFront)
{
    EXPECT_EQ(At("config\\eng.ini"), Module("config/eng.ini"));
    EXPECT_EQ(GetProfileText("String", "IDS_OK", "", 16, GetModuleDirectory() + "config\\eng.ini"), "OK");
    m_Folder.Write("module/config/eng.ini", "[String]\nIDS_OK=Fine\n");
    EXPECT_EQ(GetProfileText("String", "IDS_OK", "", 16, GetModuleDirectory() + "config\\eng.ini"), "Fine");
    fs::create_directories(User() + "/config");
    m_Folder.Write(fs::relative(User(), m_Folder.Path()).native() + "/config/eng.ini",
                   "[String]\nIDS_OK=Mine\n");
    EXPECT_EQ(At("config\\eng.ini"), User() + "/config/eng.ini");
    EXPECT_EQ(GetProfileText("String", "IDS_OK", "", 16, GetModuleDirectory() + "config\\eng.ini"), "Mine");
}

TEST_F(UserFolder, WhatIsWrittenGoesThere)
{
    const std::string settings = GetModuleDirectory() + "config\\system.ini";
    EXPECT_TRUE(WritePrivateProfileStringA("System", "Language", "eng.ini", settings.c_str()));
    EXPECT_FALSE(fs::exists(Module("config/system.ini")));
    EXPECT_EQ(At("config\\system.ini"), User() + "/config/system.ini");
    EXPECT_EQ(GetProfileText("System", "Language", "", 16, settings), "eng.ini");
    EXPECT_EQ(At("dvr.db"), User() + "/dvr.db");
    EXPECT_TRUE(MakeSureDirectoryPathExists(GetModuleDirectory() + "snapshot\\day\\"));
    EXPECT_TRUE(fs::is_directory(User() + "/snapshot/day"));
    EXPECT_FALSE(fs::exists(Module("snapshot")));
    EXPECT_TRUE(PathIsDirectoryA(GetModuleDirectory() + "snapshot"));
}

TEST_F(UserFolder, AShippedSettingsFileBecomesTheUsersWithItsFirstChange)
{
    const std::string shipped = "; of the site\n[System]\nDirectoryServer=10.0.0.1\n";
    m_Folder.Write("module/config/system.ini", shipped);
    const std::string settings = GetModuleDirectory() + "config\\system.ini";
    EXPECT_EQ(GetProfileText("System", "DirectoryServer", "", 16, settings), "10.0.0.1");
    EXPECT_TRUE(WritePrivateProfileStringA("System", "Language", "eng.ini", settings.c_str()));
    EXPECT_EQ(GetProfileText("System", "DirectoryServer", "", 16, settings), "10.0.0.1");
    EXPECT_EQ(GetProfileText("System", "Language", "", 16, settings), "eng.ini");
    EXPECT_EQ(m_Folder.Read("module/config/system.ini"), shipped);
}

// The user's own would stand in front of the site's from then on, without what the site has chosen.
TEST_F(UserFolder, AShippedSettingsFileThatCanNotBeReadIsNotReplacedByTheUsers)
{
    m_Folder.Write("module/config/system.ini", "[System]\nDirectoryServer=10.0.0.1\n");
    const std::string settings = GetModuleDirectory() + "config\\system.ini";
    ASSERT_EQ(::chmod(Module("config/system.ini").c_str(), 0), 0);
    {
        const CPlainRights rights;
        EXPECT_FALSE(WritePrivateProfileStringA("System", "Language", "eng.ini", settings.c_str()));
    }
    EXPECT_THAT(m_strHeard, HasSubstr(settings + " not written: Permission denied"));
    ASSERT_EQ(::chmod(Module("config/system.ini").c_str(), 0644), 0);
    EXPECT_EQ(GetProfileText("System", "DirectoryServer", "", 16, settings), "10.0.0.1");
}

class CFaultyDisk final : public CForwardingOperations
{
  public:
    ssize_t Read(int, void*, std::size_t) override
    {
        errno = EIO;
        return -1;
    }
};

TEST_F(UserFolder, AShippedSettingsFileOnAFaultyDiskIsNotReplacedByTheUsers)
{
    m_Folder.Write("module/config/system.ini", "[System]\nDirectoryServer=10.0.0.1\n");
    const std::string settings = GetModuleDirectory() + "config\\system.ini";
    {
        const CFaultyDisk disk;
        EXPECT_FALSE(WritePrivateProfileStringA("System", "Language", "eng.ini", settings.c_str()));
    }
    EXPECT_EQ(GetProfileText("System", "DirectoryServer", "", 16, settings), "10.0.0.1");
}

TEST_F(UserFolder, NothingOutsideTheModulesFolderIsConcerned)
{
    m_Folder.Write("modules/x", "");
    EXPECT_EQ(HostPath(m_Folder.System("modules/x")), m_Folder.Path("modules/x"));
    EXPECT_EQ(At("..\\other"), m_Folder.Path("module/../other"));
}

TEST_F(UserFolder, HoldsWhatIsNamedWithDotsInFront)
{
    for (const char* const name : {"..cam", ".._.._etc", "...", ".cam"}) {
        const std::string place = std::string("records\\") + name;
        EXPECT_EQ(At(place), User() + "/records/" + name);
        EXPECT_EQ(At(place + "\\day.avi"), User() + "/records/" + name + "/day.avi");
        EXPECT_TRUE(MakeSureDirectoryPathExists(GetModuleDirectory() + place + "\\"));
        EXPECT_FALSE(fs::exists(Module("records")));
    }
    EXPECT_EQ(At("records\\.."), Module("records/.."));
    EXPECT_EQ(At("records\\..\\..\\other"), Module("records/../../other"));
}

TEST_F(UserFolder, IsReportedInOneLine)
{
    At("config\\eng.ini");
    At("dvr.db");
    const std::string line =
        "): " + m_Folder.Path("module") + " can't be written; settings and records go to " + User();
    EXPECT_THAT(m_strHeard, HasSubstr(" Error paths.cpp(GetModuleDirectory, "));
    EXPECT_THAT(m_strHeard, HasSubstr(line));
    EXPECT_EQ(std::count(m_strHeard.begin(), m_strHeard.end(), '\n'), 1) << m_strHeard;
}

TEST_F(UserFolder, OfOneHomeIsNotUsedWithAnother)
{
    const std::string settings = "config\\system.ini";
    EXPECT_TRUE(
        WritePrivateProfileStringA("System", "Language", "chs.ini", (GetModuleDirectory() + settings).c_str()));
    m_Folder.Write("data/watchwall/config/system.ini", "[System]\nLanguage=old.ini\n");
    m_Folder.Write("other/module/config/eng.ini", "");
    const CTestVariable other("WATCHWALL_HOME", m_Folder.Path("other/module").c_str());
    EXPECT_EQ(GetProfileText("System", "Language", "none", 16, GetModuleDirectory() + settings), "none");
}

TEST_F(UserFolder, IsTheSameHoweverTheHomeIsNamed)
{
    const std::string user = User();
    for (const char* const end : {"module/", "module/.", "module/config/../"}) {
        const CTestVariable home("WATCHWALL_HOME", m_Folder.Path(end).c_str());
        EXPECT_EQ(HostPathForWriting(GetModuleDirectory() + "dvr.db"), user + "/dvr.db") << end;
    }
}

TEST_F(UserFolder, OfTheInstallationLiesDirectlyInTheDataHomeAndIsNoFault)
{
    const CTestVariable none("WATCHWALL_HOME", nullptr);
    EXPECT_EQ(User(), m_Folder.Path("data/watchwall"));
    EXPECT_THAT(m_strHeard, HasSubstr(" Message paths.cpp(GetModuleDirectory, "));
}

TEST_F(UserFolder, IsNotInFrontOfAFolderWhoseNameBeginsLikeTheModules)
{
    EXPECT_EQ(HostPathForWriting(m_Folder.System("module2/dvr.db")), m_Folder.Path("module2/dvr.db"));
}

// A host may name the module as it likes.
TEST_F(UserFolder, IsInFrontOfAModuleWhosePathLeadsBack)
{
    const CTestVariable none("WATCHWALL_HOME", nullptr);
    fs::copy_file(WATCHWALL_TEST_MODULE, Module("activex.ocx"), fs::copy_options::overwrite_existing);
    void* const module = ::dlopen(Module("config/../activex.ocx").c_str(), RTLD_NOW);
    ASSERT_NE(module, nullptr) << ::dlerror();
    const std::string settings = GetModuleDirectory() + "config\\system.ini";
    EXPECT_TRUE(settings.ends_with("\\..\\config\\system.ini")) << settings;
    EXPECT_EQ(HostPathForWriting(settings), m_Folder.Path("data/watchwall/config/system.ini"));
    ::dlclose(module);
}

TEST_F(UserFolder, DoesNotOverlayAFolderThatATestNames)
{
    SetModuleDirectory(m_Folder.Path("module"));
    EXPECT_EQ(HostPathForWriting(GetModuleDirectory() + "config\\eng.ini"), Module("config/eng.ini"));
}

TEST_F(UserFolder, SpaceIsThatOfTheUsersDisk)
{
    std::uint64_t freeBytes = 0;
    std::uint64_t totalBytes = 0;
    EXPECT_TRUE(GetDiskFreeSpaceExA(GetModuleDirectory().c_str(), freeBytes, totalBytes));
    EXPECT_TRUE(fs::is_directory(User()));
}

}  // namespace
