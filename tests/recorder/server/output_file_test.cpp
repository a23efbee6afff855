// What a run leaves for whoever started it. Pipes are in server_threads_test.cpp.

#include "recorder/server/OutputFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>

#include "tests/support/file_limit.h"
#include "tests/support/test_folder.h"

namespace
{

namespace fs = std::filesystem;

using recorder::CheckCanWrite;
using recorder::WriteWhole;

auto FilesIn(const CTestFolder& folder)
{
    return std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator());
}

TEST(OutputFileTest, AFileAppearsUnderItsNameAlone)
{
    const CTestFolder folder;
    CheckCanWrite(folder.Path("a"));
    EXPECT_EQ(FilesIn(folder), 0) << "looking makes nothing";
    for (const std::string text : {"first", "second"}) {
        WriteWhole(folder.Path("a"), text);
        CheckCanWrite(folder.Path("a"));
        EXPECT_EQ(folder.Read("a"), text);
    }
    EXPECT_EQ(FilesIn(folder), 1);
}

TEST(OutputFileTest, ALinkStaysAndItsFileIsWritten)
{
    const CTestFolder folder;
    fs::create_directory(folder.Path("elsewhere"));
    folder.Write("elsewhere/a", "former");
    fs::create_symlink("elsewhere/a", folder.Path("link"));
    CheckCanWrite(folder.Path("link"));
    EXPECT_EQ(folder.Read("elsewhere/a"), "former");
    WriteWhole(folder.Path("link"), "text");
    EXPECT_TRUE(fs::is_symlink(folder.Path("link")));
    EXPECT_EQ(folder.Read("elsewhere/a"), "text");
    EXPECT_EQ(FilesIn(folder), 2);
}

TEST(OutputFileTest, AFolderIsNoFile)
{
    const CTestFolder folder;
    fs::create_directory(folder.Path("sub"));
    for (const std::string& path : {folder.Path("sub"), folder.Path("no/such")}) {
        EXPECT_THROW(CheckCanWrite(path), std::runtime_error) << path;
        EXPECT_THROW(WriteWhole(path, "x"), std::runtime_error) << path;
    }
    EXPECT_EQ(FilesIn(folder), 1) << "nothing is left beside it";
}

TEST(OutputFileTest, ADeviceIsWrittenStraightAndStays)
{
    CheckCanWrite("/dev/full");
    EXPECT_THROW(WriteWhole("/dev/full", "x"), std::runtime_error);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    WriteWhole("/dev/null", "x");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(OutputFileTest, AWriteThatFailsHalfWayLeavesWhatWasThere)
{
    const CTestFolder folder;
    WriteWhole(folder.Path("report"), "former");
    {
        const CFileLimit limit(100);
        EXPECT_THROW(WriteWhole(folder.Path("report"), std::string(1000, 'x')), std::runtime_error);
    }
    EXPECT_EQ(folder.Read("report"), "former");
    EXPECT_EQ(FilesIn(folder), 1);
}

}  // namespace
