// What is laid beside the module, made by the build.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/process.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_places.h"

namespace
{

namespace fs = std::filesystem;

TEST(DeliveredData, IsMadeInAFolderOfAnyName)
{
    const CTestFolder folder;
    const std::string tree = folder.Path("it's a tree (1)");
    fs::create_directory(tree);
    fs::copy(SourcePath("config"), tree + "/config");
    fs::copy(SourcePath("dvr.bmp"), tree);
    folder.Write("it's a tree (1)/CMakeLists.txt",
                 "cmake_minimum_required(VERSION 3.25)\nproject(data LANGUAGES NONE)\n"
                 "set(CMAKE_RUNTIME_OUTPUT_DIRECTORY \"${PROJECT_BINARY_DIR}/bin\")\n"
                 "add_subdirectory(config)\n");
    const Outcome built =
        Execute("cd " + Quoted(folder.Path()) + "/it* && " + Quoted(WATCHWALL_CMAKE) + " -G " +
                Quoted(WATCHWALL_GENERATOR) + " -B build && " + Quoted(WATCHWALL_CMAKE) + " --build build");
    EXPECT_EQ(built.status, 0) << built.output;
    for (const char* file : {"config/eng.ini", "dvr.bmp", "dvr.db"})
        EXPECT_TRUE(fs::is_regular_file(tree + "/build/bin/" + file)) << file;
}

}  // namespace
