#include "platform/os/paths.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/os/drives.h"
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

    std::vector<Drive> GetDrives() override
    {
        return {{'c', DRIVE_FIXED, ""}, {'d', DRIVE_FIXED, "/mnt/disk"}};
    }
    bool GetSpace(const std::string&, std::uint64_t&, std::uint64_t&) override { return false; }

  private:
    IDriveSource* m_pFormer;
};

struct PathCase {
    const char* name;
    const char* path;
    const char* host;
};

class HostPaths : public testing::TestWithParam<PathCase>
{
};

TEST_P(HostPaths, StandForTheSystemsOwn)
{
    const CTwoDrives drives;
    EXPECT_EQ(HostPath(GetParam().path), GetParam().host);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, HostPaths,
    testing::Values(PathCase{"drive_c", "c:\\a\\b.ini", "/a/b.ini"}, PathCase{"capital", "C:\\a", "/a"},
                    PathCase{"other_drive", "d:\\DVR Files\\a", "/mnt/disk/DVR Files/a"},
                    PathCase{"other_capital", "D:\\a", "/mnt/disk/a"},
                    PathCase{"missing_drive", "e:\\a\\b", "/dev/null/e/a/b"}, PathCase{"root", "c:\\", "/"},
                    PathCase{"drive_alone", "c:", "/"}, PathCase{"other_root", "d:\\", "/mnt/disk/"},
                    PathCase{"drive_without_backslash", "d:a", "/mnt/disk/a"},
                    PathCase{"drive_and_slashes", "c:/a/b", "/a/b"}, PathCase{"no_drive", "\\a\\b", "/a/b"},
                    PathCase{"relative", "a\\b", "a/b"}, PathCase{"here", ".\\log\\", "./log/"},
                    PathCase{"of_this_machine", "/a/b", "/a/b"}, PathCase{"mixed", "/a/b\\c", "/a/b/c"},
                    PathCase{"empty", "", ""}, PathCase{"digit_is_no_drive", "1:\\a", "1:/a"}),
    [](const auto& row) { return std::string(row.param.name); });

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

TEST(ModuleDirectory, IsTheExecutablesWithoutAModule)
{
    const CTestVariable home("WATCHWALL_HOME", nullptr);
    const std::string program = SystemPath(std::filesystem::read_symlink("/proc/self/exe").native());
    EXPECT_TRUE(program.ends_with("\\platform_tests")) << program;
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
    const CTestVariable home("WATCHWALL_HOME", "home/");
    const std::string named = SystemPath(std::filesystem::current_path().native() + "/home/");
    {
        const CTestCurrentFolder current(folder.Path());
        EXPECT_EQ(GetModuleDirectory(), named) << "by the folder at the start";
        SetModuleDirectory("wall/");
    }
    EXPECT_EQ(GetModuleDirectory(), folder.System("wall/"));
    SetModuleDirectory("");
}

}  // namespace
