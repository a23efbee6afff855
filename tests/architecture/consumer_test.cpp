// Another project adds this one and links the decoder library alone: tests/architecture/consumer.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/process.h"
#include "tests/support/test_places.h"

namespace
{

const std::string BUILD = BuildPath("consumer");  // stays, so that a later run compiles what changed

Outcome Configure(const std::string& folder, const std::string& settings, const std::string& variables = "")
{
    return Execute("env " + variables + " " + Quoted(WATCHWALL_CMAKE) + " -G " + Quoted(WATCHWALL_GENERATOR) +
                   " -S " + Quoted(SourcePath("tests/architecture/consumer")) + " -B " + Quoted(folder) +
                   " -D WATCHWALL=" + Quoted(SourcePath()) + " -D CMAKE_BUILD_TYPE=Debug" +
                   " -D CMAKE_CXX_FLAGS=-O0 -D CMAKE_CXX_COMPILER=" + Quoted(WATCHWALL_COMPILER) +
                   " -D CMAKE_CXX_COMPILER_LAUNCHER=" + Quoted(WATCHWALL_LAUNCHER) +
                   " -D CMAKE_EXPORT_COMPILE_COMMANDS=ON " + settings);
}

// Without the packages that only the folders above the decoder core need.
TEST(ConsumerTest, LinksTheDecoderLibraryAloneWithoutThePackagesOfTheRest)
{
    const Outcome configured =
        Configure(BUILD,
                  "-D CMAKE_DISABLE_FIND_PACKAGE_Qt6=ON -D CMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON"
                  " -D CMAKE_DISABLE_FIND_PACKAGE_X11=ON -D CMAKE_DISABLE_FIND_PACKAGE_GTest=ON");
    ASSERT_EQ(configured.status, 0) << configured.output;
    const Outcome built =
        Execute(Quoted(WATCHWALL_CMAKE) + " --build " + Quoted(BUILD) + " --target consumer --parallel 2");
    ASSERT_EQ(built.status, 0) << built.output;
    const Outcome ran = Execute(Quoted(BUILD + "/consumer"));
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "refused: 1 1\n");
}

// A newer compiler than ours warns of more.
TEST(ConsumerTest, WarningsEndNoBuildOfAnotherProject)
{
    const std::string folder = BUILD + "-warnings";
    const Outcome configured = Configure(folder, "");
    ASSERT_EQ(configured.status, 0) << configured.output;
    std::ifstream file(folder + "/compile_commands.json");
    const std::string commands{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(commands.find(" -Wshadow "), std::string::npos) << commands;
    EXPECT_EQ(commands.find("-Werror"), std::string::npos);
}

TEST(ConsumerTest, WithoutAPackageOfTheUpperLibrariesOnlyTheLowerOnesAreThere)
{
    const struct {
        const char* package;
        const char* settings;
        const char* variables;
    } rows[] = {{"LIBAV", "", "PKG_CONFIG_LIBDIR=/nowhere"},
                {"X11_X11_xcb", "-D X11_X11_xcb_LIB= -D X11_X11_xcb_INCLUDE_PATH=", ""},
                {"RapidXML", "-D WATCHWALL_RAPIDXML=", ""}};
    for (const auto& row : rows) {
        const Outcome configured = Configure(BUILD + "-without-" + row.package, row.settings, row.variables);
        EXPECT_EQ(configured.status, 0) << configured.output;
        const std::string told =
            std::string("no ") + row.package + ", so only inc, codec, platform and skin_theme";
        EXPECT_NE(configured.output.find(told), std::string::npos) << configured.output;
    }
}

TEST(ConsumerTest, WithoutEglTheRendererHasNoSuchDevice)
{
    const std::string folder = BUILD + "-egl";
    const Outcome configured = Configure(folder, "-D WATCHWALL_EGL=OFF -D CMAKE_OPTIMIZE_DEPENDENCIES=ON");
    ASSERT_EQ(configured.status, 0) << configured.output;
    const Outcome built = Execute(Quoted(WATCHWALL_CMAKE) + " --build " + Quoted(folder) +
                                  " --target watchwall_render --parallel 2");
    ASSERT_EQ(built.status, 0) << built.output;
    const Outcome symbols = Execute("nm -C " + Quoted(folder + "/watchwall/render/libwatchwall_render.a"));
    ASSERT_EQ(symbols.status, 0) << symbols.output;
    EXPECT_NE(symbols.output.find(" T SelectRender"), std::string::npos) << symbols.output;
    for (const char* const name : {"OpenEglSurfaceAdapter", " U egl", " U gl"})
        EXPECT_EQ(symbols.output.find(name), std::string::npos) << name;
}

}  // namespace
