#include <gmock/gmock.h>
#include <unistd.h>

#include <QImage>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "tests/links/recorder_support.h"
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
    void SetUp() override { Install(); }
    void Install(const std::string& options = "")
    {
        const Outcome installed = Execute(Quoted(WATCHWALL_CMAKE) + " --install " + Quoted(BuildPath()) +
                                          " --prefix " + Quoted(Prefix()) + options);
        ASSERT_EQ(installed.status, 0) << installed.output;
    }
    std::string Prefix(const std::string& name = "") const { return m_Folder.Path("usr/" + name); }
    // A command as a user runs it, with files of its own.
    Outcome RunAsUser(const std::string& command) const
    {
        return Execute("XDG_CONFIG_HOME=" + Quoted(m_Folder.Path("user/config")) +
                       " XDG_DATA_HOME=" + Quoted(m_Folder.Path("user/data")) + " LC_ALL=C " + command);
    }

    // Another project, which finds the installed package.
    Outcome BuildProject(const std::string& source, const std::string& build, const std::string& flags) const
    {
        const Outcome configured =
            Execute(Quoted(WATCHWALL_CMAKE) + " --fresh -G " + Quoted(WATCHWALL_GENERATOR) + " -S " +
                    Quoted(source) + " -B " + Quoted(build) + " -D CMAKE_PREFIX_PATH=" + Quoted(Prefix()) +
                    " -D CMAKE_CXX_COMPILER=" + Quoted(WATCHWALL_COMPILER) +
                    " -D CMAKE_CXX_COMPILER_LAUNCHER=" + Quoted(WATCHWALL_LAUNCHER) +
                    " -D CMAKE_CXX_FLAGS=" + Quoted(flags));
        if (configured.status != 0) return configured;
        return Execute(Quoted(WATCHWALL_CMAKE) + " --build " + Quoted(build));
    }

    CTestFolder m_Folder;
};

TEST_F(InstallTest, EverythingLiesWhereSystemsLookForIt)
{
    for (const char* name :
         {"bin/watchwall", "bin/watchwall-recorder", "lib/watchwall/activex.ocx", "lib/watchwall/dvr.bmp",
          "lib/watchwall/dvr.db", "lib/watchwall/config/skin.smf", "lib/watchwall/config/eng.ini",
          "lib/watchwall/config/main_layout_800x600.xml", "lib/watchwall/config/logo.bmp",
          "share/man/man1/watchwall.1.gz", "share/man/man1/watchwall-recorder.1.gz",
          "share/applications/watchwall.desktop", "share/icons/hicolor/scalable/apps/watchwall.svg",
          "share/metainfo/org.watchwall.Watchwall.metainfo.xml", "share/doc/watchwall/copyright",
          "include/watchwall/codec/codec.h", "include/watchwall/codec/decoder.h",
          "include/watchwall/inc/host/ControlWindow.h"})
        EXPECT_TRUE(fs::is_regular_file(Prefix(name))) << name;
    EXPECT_FALSE(fs::exists(Prefix("lib/watchwall/config/system.ini"))) << "is each user's own";
}

// The installation as a normal user finds it: nothing of it can be written. Where root runs this, the user is
// nobody.
class InstalledWallTest : public InstallTest
{
  protected:
    void SetUp() override
    {
        InstallTest::SetUp();
        fs::permissions(m_Folder.Path(), fs::perms{0755});
        fs::create_directories(User());
        Protect("a-w");
    }
    void TearDown() override { Protect("u+w"); }
    void Protect(const std::string& mode) const
    {
        const Outcome changed = Execute("chmod -R " + mode + " " + Quoted(Prefix()));
        EXPECT_EQ(changed.status, 0) << changed.output;
    }
    std::string User(const std::string& name = "") const { return m_Folder.Path("user/" + name); }

    Outcome RunWall(const std::string& arguments) const
    {
        std::string as;
        if (::geteuid() == 0) {
            const Outcome given = Execute("chown -R nobody " + Quoted(User()));
            if (given.status != 0) return given;
            as = "setpriv --reuid=nobody --regid=nogroup --clear-groups ";
        }
        return RunAsUser("HOME=" + Quoted(User()) + " " + as + Quoted(Prefix("bin/watchwall")) + " " +
                         arguments);
    }
    QImage Screenshot(const std::string& name) const
    {
        const Outcome ran = RunWall("--seconds 1 --screenshot " + Quoted(User(name)));
        EXPECT_EQ(ran.status, 0) << ran.output;
        return QImage(QString::fromStdString(User(name)));
    }
};

TEST_F(InstalledWallTest, NormalUserSeesTheRecordersChannels)
{
    const CRecorderProcess recorder({"--channels", "4"});
    const Endpoints at = recorder.GetEndpoints();
    m_Folder.Write("user/data/watchwall/config/system.ini",
                   "[System]\nDirectoryServer=" + at.host +
                       "\nDirectoryPort=" + std::to_string(at.directoryPort) +
                       "\nRendezvousPort=" + std::to_string(at.rendezvousPort) + "\n");
    Outcome ran;
    for (const char* seconds : {"5", "60"}) {  // a loaded machine gets more time
        ran = RunWall("--logon 1001 --open all --layout 4 --report " + Quoted(User("report.json")) +
                      " --seconds " + seconds);
        if (ran.status == 0) break;
    }
    EXPECT_EQ(ran.status, 0) << "not all channels have shown pictures: " << ran.output;
    EXPECT_THAT(Read(User("data/watchwall/registry.ini")), HasSubstr("lib\\watchwall\\activex.ocx"));
}

TEST_F(InstalledWallTest, NormalUserSeesATextThatAnUpgradeChanged)
{
    const QImage before = Screenshot("before.png");
    ASSERT_FALSE(before.isNull());
    EXPECT_EQ(Screenshot("same.png"), before);

    std::string texts = Read(Prefix("lib/watchwall/config/eng.ini"));
    const std::string key = "IDS_Main_RemoteLogon=";
    const auto at = texts.find(key);
    ASSERT_NE(at, std::string::npos);
    texts.replace(at, texts.find('\n', at) - at, key + "Upgraded");
    Protect("u+w");
    m_Folder.Write("usr/lib/watchwall/config/eng.ini", texts);
    Protect("a-w");
    const QImage after = Screenshot("after.png");
    EXPECT_EQ(after.size(), before.size());
    EXPECT_NE(after, before) << "the caption";
}

TEST(DebianPackage, RunsNoScriptsAndHasNoFaultThatLintianFinds)
{
    const CTestFolder folder;
    const Outcome packed = Execute(Quoted(WATCHWALL_CPACK) + " --config " +
                                   Quoted(BuildPath("CPackConfig.cmake")) + " -B " + Quoted(folder.Path()));
    ASSERT_EQ(packed.status, 0) << packed.output;
    std::string package;
    for (const auto& entry : fs::directory_iterator(folder.Path()))
        if (entry.path().extension() == ".deb") package = entry.path();
    ASSERT_NE(package, "") << packed.output;

    const Outcome control = Execute("dpkg-deb --ctrl-tarfile " + Quoted(package) + " | tar -t | sort");
    EXPECT_EQ(control.output, "./\n./control\n./md5sums\n");
    if (!std::string_view(WATCHWALL_SANITIZER_FLAGS).empty()) return;  // no package is made of such a build
    // Tests are built without the hardening that lintian asks for.
    const Outcome checked = Execute(
        "lintian --fail-on error,warning --suppress-tags hardening-no-bindnow,"
        "hardening-no-pie,hardening-no-relro " +
        Quoted(package));
    EXPECT_EQ(checked.status, 0) << checked.output;
}

// By what its preset gives to compiler and linker; it isn't built here.
TEST(DebianPackage, IsHardened)
{
    const CTestFolder folder;
    const Outcome configured = Execute(Quoted(WATCHWALL_CMAKE) + " --preset package -S " +
                                       Quoted(SourcePath()) + " -B " + Quoted(folder.Path()));
    ASSERT_EQ(configured.status, 0) << configured.output;
    const std::string compiled = Read(folder.Path("compile_commands.json"));
    for (const char* option : {" -fstack-protector-strong ", " -D_FORTIFY_SOURCE=2 "})
        EXPECT_NE(compiled.find(option), std::string::npos) << option;
    const std::string linked = Read(folder.Path("build.ninja"));
    for (const char* option : {" -Wl,-z,relro ", " -Wl,-z,now"})
        EXPECT_NE(linked.find(option), std::string::npos) << option;
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
    std::string flags = WATCHWALL_SANITIZER_FLAGS;
    // As our own programs: a driver that is gone when leaks are looked for has no name.
    if (flags.find("address") != std::string::npos)
        flags += " -include \"" + SourcePath("tests/support/keep_libraries.cpp") +
                 "\" -Wl,--export-dynamic-symbol=dlclose";
    const Outcome built = BuildProject(source, build, flags);
    ASSERT_EQ(built.status, 0) << built.output;
    const Outcome ran = RunAsUser(Quoted(build + "/embedding") + " 1");
    EXPECT_EQ(ran.status, 0) << ran.output;
}

// Without the programs, which such a project doesn't need.
class DevelopmentInstallTest : public InstallTest
{
  protected:
    void SetUp() override { Install(" --component development"); }
};

TEST_F(DevelopmentInstallTest, DecoderAloneIsLinkedFromThePackage)
{
    EXPECT_FALSE(fs::exists(Prefix("lib/watchwall")));
    const std::string build = BuildPath("decoder");
    const Outcome built =
        BuildProject(SourcePath("tests/architecture/consumer"), build, WATCHWALL_SANITIZER_FLAGS);
    ASSERT_EQ(built.status, 0) << built.output;
    EXPECT_EQ(Execute(Quoted(build + "/consumer")).output, "refused: 1 1\n");
}

}  // namespace
