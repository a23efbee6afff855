#include <gmock/gmock.h>

#include <QImage>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

namespace
{

namespace fs = std::filesystem;
using testing::HasSubstr;

std::string Read(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class InstallTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        const Outcome installed = Execute(Quoted(WATCHWALL_CMAKE) + " --install " + Quoted(BuildPath()) +
                                          " --prefix " + Quoted(Prefix()));
        ASSERT_EQ(installed.status, 0) << installed.output;
    }
    std::string Prefix(const std::string& name = "") const { return m_Folder.Path("usr/" + name); }
    // A command as a user runs it, with files of its own.
    Outcome RunAsUser(const std::string& command) const
    {
        return Execute("XDG_CONFIG_HOME=" + Quoted(m_Folder.Path("user/config")) +
                       " XDG_DATA_HOME=" + Quoted(m_Folder.Path("user/data")) + " LC_ALL=C " + command);
    }

    CTestFolder m_Folder;
};

TEST_F(InstallTest, EverythingLiesWhereSystemsLookForIt)
{
    for (const char* name :
         {"bin/watchwall", "bin/watchwall-recorder", "lib/watchwall/activex.ocx", "lib/watchwall/dvr.bmp",
          "lib/watchwall/dvr.db", "lib/watchwall/config/skin.smf", "lib/watchwall/config/eng.ini",
          "lib/watchwall/config/main_layout_800x600.xml", "share/man/man1/watchwall.1.gz",
          "share/man/man1/watchwall-recorder.1.gz", "share/applications/watchwall.desktop",
          "share/icons/hicolor/scalable/apps/watchwall.svg",
          "share/metainfo/org.watchwall.Watchwall.metainfo.xml", "share/doc/watchwall/copyright",
          "include/watchwall/codec/decoder.h", "include/watchwall/inc/host/ControlWindow.h"})
        EXPECT_TRUE(fs::is_regular_file(Prefix(name))) << name;
    EXPECT_FALSE(fs::exists(Prefix("lib/watchwall/config/system.ini"))) << "is each user's own";
}

TEST_F(InstallTest, InstalledWallRunsWithItsOwnModuleAndShowsATextThatAnUpgradeChanged)
{
    const std::string run = Quoted(Prefix("bin/watchwall")) + " --seconds 1 --screenshot ";
    const Outcome first = RunAsUser(run + Quoted(m_Folder.Path("first.png")));
    EXPECT_EQ(first.status, 0) << first.output;
    EXPECT_THAT(Read(m_Folder.Path("user/data/watchwall/registry.ini")),
                HasSubstr("lib\\watchwall\\activex.ocx"));

    std::string texts = Read(Prefix("lib/watchwall/config/eng.ini"));
    const std::string key = "IDS_Main_RemoteLogon=";
    const auto at = texts.find(key);
    ASSERT_NE(at, std::string::npos);
    texts.replace(at, texts.find('\n', at) - at, key + "Upgraded");
    m_Folder.Write("usr/lib/watchwall/config/eng.ini", texts);
    const Outcome second = RunAsUser(run + Quoted(m_Folder.Path("second.png")));
    EXPECT_EQ(second.status, 0) << second.output;
    const QImage before(QString::fromStdString(m_Folder.Path("first.png")));
    const QImage after(QString::fromStdString(m_Folder.Path("second.png")));
    ASSERT_FALSE(before.isNull());
    EXPECT_EQ(before.size(), after.size());
    EXPECT_NE(before, after) << "the caption";
}

TEST_F(InstallTest, HostOfTheEmbeddingPageIsBuiltFromThePackageAndRuns)
{
    const std::string source = SourcePath("tests/install/host");
    const std::string page = Read(SourcePath("docs/embedding.md"));
    for (const char* file : {"/main.cpp", "/CMakeLists.txt"}) {
        const std::string text = Read(source + file);
        ASSERT_FALSE(text.empty());
        if (std::string_view(file) == "/main.cpp") {
            EXPECT_THAT(page, HasSubstr(text)) << "the page shows it as it is";
            EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 50);
        }
    }
    const std::string build = BuildPath("embedding");
    const Outcome configured =
        Execute(Quoted(WATCHWALL_CMAKE) + " --fresh -G " + Quoted(WATCHWALL_GENERATOR) + " -S " +
                Quoted(source) + " -B " + Quoted(build) + " -D CMAKE_PREFIX_PATH=" + Quoted(Prefix()) +
                " -D CMAKE_CXX_COMPILER=" + Quoted(WATCHWALL_COMPILER) + " -D CMAKE_CXX_COMPILER_LAUNCHER=" +
                Quoted(WATCHWALL_LAUNCHER) + " -D CMAKE_CXX_FLAGS=" + Quoted(WATCHWALL_SANITIZER_FLAGS));
    ASSERT_EQ(configured.status, 0) << configured.output;
    const Outcome built = Execute(Quoted(WATCHWALL_CMAKE) + " --build " + Quoted(build));
    ASSERT_EQ(built.status, 0) << built.output;
    const Outcome ran = RunAsUser(Quoted(build + "/embedding") + " 1");
    EXPECT_EQ(ran.status, 0) << ran.output;
}

}  // namespace
