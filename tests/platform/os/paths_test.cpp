#include "platform/os/paths.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "inc/OutputDebugString.h"
#include "platform/os/drives.h"
#include "platform/os/module_place.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_variable.h"

namespace fs = std::filesystem;

namespace
{

class CTwoDrives final : public IDriveSource
{
  public:
    CTwoDrives() : m_pFormer(SetDriveSource(this)) {}
    ~CTwoDrives() override { SetDriveSource(m_pFormer); }
    CTwoDrives(const CTwoDrives&) = delete;
    CTwoDrives& operator=(const CTwoDrives&) = delete;

    std::vector<XDrive> GetDrives() override
    {
        return {{'c', DRIVE_FIXED, ""}, {'d', DRIVE_FIXED, "/mnt/disk"}};
    }
    bool GetSpace(const std::string&, std::uint64_t&, std::uint64_t&) override { return false; }

  private:
    IDriveSource* m_pFormer;
};

struct XPathCase {
    const char* szName;
    const char* szPath;
    const char* szHost;
};

class HostPaths : public testing::TestWithParam<XPathCase>
{
};

TEST_P(HostPaths, StandForTheSystemsOwn)
{
    const CTwoDrives drives;
    EXPECT_EQ(HostPath(GetParam().szPath), GetParam().szHost);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, HostPaths,
    testing::Values(XPathCase{"drive_c", "c:\\a\\b.ini", "/a/b.ini"}, XPathCase{"capital", "C:\\a", "/a"},
                    XPathCase{"other_drive", "d:\\DVR Files\\a", "/mnt/disk/DVR Files/a"},
                    XPathCase{"other_capital", "D:\\a", "/mnt/disk/a"},
                    XPathCase{"missing_drive", "e:\\a\\b", "/dev/null/e/a/b"}, XPathCase{"root", "c:\\", "/"},
                    XPathCase{"drive_alone", "c:", "/"}, XPathCase{"other_root", "d:\\", "/mnt/disk/"},
                    XPathCase{"drive_without_backslash", "d:a", "/mnt/disk/a"},
                    XPathCase{"drive_and_slashes", "c:/a/b", "/a/b"}, XPathCase{"no_drive", "\\a\\b", "/a/b"},
                    XPathCase{"relative", "a\\b", "a/b"}, XPathCase{"here", ".\\log\\", "./log/"},
                    XPathCase{"of_this_machine", "/a/b", "/a/b"}, XPathCase{"mixed", "/a/b\\c", "/a/b/c"},
                    XPathCase{"empty", "", ""}, XPathCase{"digit_is_no_drive", "1:\\a", "1:/a"}),
    [](const auto& row) { return std::string(row.param.szName); });

TEST(Paths, SystemPathIsOnDriveC)
{
    EXPECT_EQ(SystemPath("/a/b"), "c:\\a\\b");
    EXPECT_EQ(SystemPath("/"), "c:\\");
    EXPECT_EQ(SystemPath("a/b"), "a\\b");
    EXPECT_EQ(SystemPath(""), "");
    EXPECT_EQ(SystemPath("c:\\a"), "c:\\a") << "what has the form already stays";
    EXPECT_EQ(HostPath(SystemPath("/mnt/disk/a")), "/mnt/disk/a");
}

TEST(Paths, NothingCanBeMadeOnAMissingDrive)
{
    const CTwoDrives drives;
    EXPECT_FALSE(MakeSureDirectoryPathExists("q:\\records\\"));
    EXPECT_FALSE(PathFileExistsA("q:\\"));
}

TEST(Paths, DirectoriesAreMadeUpToTheLastBackslash)
{
    const CTestFolder folder;
    EXPECT_TRUE(MakeSureDirectoryPathExists(folder.System("a/b/file.avi")));
    EXPECT_TRUE(fs::is_directory(folder.Path("a/b")));
    EXPECT_FALSE(fs::exists(folder.Path("a/b/file.avi")));
    EXPECT_TRUE(MakeSureDirectoryPathExists(folder.System("a/b/c/")));
    EXPECT_TRUE(fs::is_directory(folder.Path("a/b/c")));
    EXPECT_TRUE(MakeSureDirectoryPathExists(folder.System("a/b/c/"))) << "again";
    EXPECT_TRUE(MakeSureDirectoryPathExists("file without folder"));
    EXPECT_TRUE(MakeSureDirectoryPathExists(""));
}

TEST(Paths, AFileInTheWayIsAFailure)
{
    const CTestFolder folder;
    folder.Write("a", "");
    EXPECT_FALSE(MakeSureDirectoryPathExists(folder.System("a/b/c")));
    EXPECT_FALSE(MakeSureDirectoryPathExists(folder.System("a/")));
    EXPECT_TRUE(MakeSureDirectoryPathExists(folder.System("a")));
}

TEST(Paths, FilesAndDirectoriesAreToldApart)
{
    const CTestFolder folder;
    folder.Write("a", "");
    EXPECT_TRUE(PathFileExistsA(folder.System("a")));
    EXPECT_FALSE(PathIsDirectoryA(folder.System("a")));
    EXPECT_TRUE(PathFileExistsA(SystemPath(folder.Path())));
    EXPECT_TRUE(PathIsDirectoryA(folder.System("")));
    EXPECT_FALSE(PathFileExistsA(folder.System("b")));
    EXPECT_FALSE(PathIsDirectoryA(folder.System("b")));
    EXPECT_FALSE(PathFileExistsA(""));
    EXPECT_FALSE(PathIsDirectoryA(""));
}

TEST(Paths, TheExecutableIsThisProgram)
{
    const std::string path = GetExecutableFileNameA();
    EXPECT_TRUE(path.starts_with("c:\\")) << path;
    EXPECT_TRUE(path.ends_with("\\platform_tests")) << path;
    EXPECT_TRUE(PathFileExistsA(path));
}

TEST(ModuleDirectory, IsTheExecutablesWithoutAModule)
{
    const CTestVariable home("WATCHWALL_HOME", nullptr);
    const std::string program = GetExecutableFileNameA();
    EXPECT_EQ(GetModuleDirectory(), program.substr(0, program.rfind('\\') + 1));
    EXPECT_EQ(GetModuleFileNameA(), GetModuleDirectory() + "activex.ocx");
}

TEST(ModuleDirectory, IsTheLoadedModules)
{
    const CTestVariable home("WATCHWALL_HOME", nullptr);
    void* const module = ::dlopen(WATCHWALL_TEST_MODULE, RTLD_NOW);
    ASSERT_NE(module, nullptr) << ::dlerror();
    EXPECT_EQ(GetModuleFileNameA(), SystemPath(WATCHWALL_TEST_MODULE));
    ::dlclose(module);
    EXPECT_NE(GetModuleFileNameA(), SystemPath(WATCHWALL_TEST_MODULE));
}

TEST(ModuleDirectory, IsTheHomeWhenSet)
{
    const CTestFolder folder;
    const CTestFolder other;
    {
        const CTestVariable home("WATCHWALL_HOME", folder.Path().c_str());
        EXPECT_EQ(GetModuleDirectory(), folder.System(""));
        EXPECT_EQ(GetModuleFileNameA(), folder.System("activex.ocx"));
    }
    {
        const CTestVariable home("WATCHWALL_HOME", (folder.System("sub/..") + "\\").c_str());
        EXPECT_EQ(GetModuleDirectory(), folder.System("")) << "in the system's form";
    }
    {
        const CTestVariable home("WATCHWALL_HOME", "");
        EXPECT_NE(GetModuleDirectory(), folder.System("")) << "an empty variable counts as not set";
    }
    const CTestVariable home("WATCHWALL_HOME", other.Path().c_str());
    SetModuleDirectory(folder.Path());
    EXPECT_EQ(GetModuleDirectory(), folder.System("")) << "what the program names goes before";
    SetModuleDirectory("");
    EXPECT_EQ(GetModuleDirectory(), other.System(""));
}

TEST(ModuleDirectory, ARelativeHomeIsMadeAbsolute)
{
    const CTestFolder folder;
    const fs::path former = fs::current_path();
    fs::current_path(folder.Path());
    SetModuleDirectory("wall/");
    fs::current_path(former);
    EXPECT_EQ(GetModuleDirectory(), folder.System("wall/"));
    SetModuleDirectory("");
}

TEST(ModuleDirectory, AHomeThatCantBeWrittenIsTakenFromTheUsersFolder)
{
    const CTestFolder folder;
    const CTestVariable data("XDG_DATA_HOME", folder.Path("data").c_str());
    const CTestVariable home("WATCHWALL_HOME", folder.Path("missing").c_str());
    EXPECT_EQ(GetModuleDirectory(), folder.System("data/watchwall/"));
    EXPECT_TRUE(fs::is_directory(folder.Path("data/watchwall")));
}

bool Never(const std::string&)
{
    return false;
}
bool Always(const std::string&)
{
    return true;
}

void FillModule(const CTestFolder& folder)
{
    folder.Write("module/config/eng.ini", "[String]\n");
    folder.Write("module/config/deep/er.xml", "<a/>");
    folder.Write("module/osd/ASC16.hzk", "font");
    folder.Write("module/dvr.bmp", "BM");
    folder.Write("module/dvr.db", "SQLite");
    folder.Write("module/activex.ocx", "ELF");
    folder.Write("module/log/old.log", "x");
}

TEST(ModulePlace, WhereItCanBeWrittenItStays)
{
    const CTestFolder folder;
    FillModule(folder);
    EXPECT_EQ(ChooseModuleFolder(folder.Path("module"), folder.Path("user"), Always), folder.Path("module"));
    EXPECT_FALSE(fs::exists(folder.Path("user")));
}

TEST(ModulePlace, TheUsersFolderIsFilledWithTheData)
{
    const CTestFolder folder;
    FillModule(folder);
    EXPECT_EQ(ChooseModuleFolder(folder.Path("module"), folder.Path("user/w"), Never), folder.Path("user/w"));
    EXPECT_EQ(folder.Read("user/w/config/eng.ini"), "[String]\n");
    EXPECT_EQ(folder.Read("user/w/config/deep/er.xml"), "<a/>");
    EXPECT_EQ(folder.Read("user/w/osd/ASC16.hzk"), "font");
    EXPECT_EQ(folder.Read("user/w/dvr.bmp"), "BM");
    EXPECT_EQ(folder.Read("user/w/dvr.db"), "SQLite");
    EXPECT_FALSE(folder.Read("user/w/activex.ocx"));
    EXPECT_FALSE(fs::exists(folder.Path("user/w/log")));
    const auto count = std::distance(fs::recursive_directory_iterator(folder.Path("user/w")), {});
    EXPECT_EQ(count, 8) << "nothing is left over from the copying";
}

TEST(ModulePlace, WhatTheUserHasIsNeverWrittenOver)
{
    const CTestFolder folder;
    FillModule(folder);
    folder.Write("user/config/eng.ini", "mine");
    folder.Write("user/dvr.bmp", "");
    ASSERT_EQ(::symlink("/nowhere", folder.Path("user/dvr.db").c_str()), 0);
    ChooseModuleFolder(folder.Path("module"), folder.Path("user"), Never);
    EXPECT_EQ(folder.Read("user/config/eng.ini"), "mine");
    EXPECT_EQ(folder.Read("user/config/deep/er.xml"), "<a/>") << "what is missing beside it comes";
    EXPECT_EQ(folder.Read("user/dvr.bmp"), "");
    EXPECT_TRUE(fs::is_symlink(folder.Path("user/dvr.db")));
}

TEST(ModulePlace, CopiesOfReadOnlyFilesCanBeWritten)
{
    const CTestFolder folder;
    FillModule(folder);
    fs::permissions(folder.Path("module/dvr.db"), fs::perms::owner_read);
    ChooseModuleFolder(folder.Path("module"), folder.Path("user"), Never);
    EXPECT_NE(fs::status(folder.Path("user/dvr.db")).permissions() & fs::perms::owner_write, fs::perms::none);
}

TEST(ModulePlace, WithoutAUsersFolderItStaysAndSaysSo)
{
    const CTestFolder folder;
    FillModule(folder);
    folder.Write("file", "");
    std::string heard;
    const CDebugListener former = SetDebugListener([&](std::string_view text) { heard += text; });
    EXPECT_EQ(ChooseModuleFolder(folder.Path("module"), folder.Path("file/user"), Never),
              folder.Path("module"));
    SetDebugListener(former);
    EXPECT_NE(heard.find("can't be made"), std::string::npos) << heard;
}

TEST(ModulePlace, WhatCantBeCopiedIsToldAndTheRestComes)
{
    const CTestFolder folder;
    FillModule(folder);
    folder.Write("user/osd", "a file where the folder would be");
    std::string heard;
    const CDebugListener former = SetDebugListener([&](std::string_view text) { heard += text; });
    EXPECT_EQ(ChooseModuleFolder(folder.Path("module"), folder.Path("user"), Never), folder.Path("user"));
    SetDebugListener(former);
    EXPECT_NE(heard.find("osd/ASC16.hzk not copied"), std::string::npos) << heard;
    EXPECT_EQ(folder.Read("user/dvr.db"), "SQLite");
}

}  // namespace
