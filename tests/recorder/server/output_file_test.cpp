// What a run leaves for whoever started it. Pipes are in server_threads_test.cpp.

#include "recorder/server/OutputFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <optional>
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

TEST(OutputFileTest, ALinkStaysThoughItsFileIsNotThereYet)
{
    const CTestFolder folder;
    fs::create_directory(folder.Path("elsewhere"));
    fs::create_symlink("elsewhere/b", folder.Path("link"));
    fs::create_symlink("a", folder.Path("elsewhere/b"));
    CheckCanWrite(folder.Path("link"));
    EXPECT_EQ(folder.Read("elsewhere/a"), std::nullopt) << "looking makes nothing";
    WriteWhole(folder.Path("link"), "text");
    EXPECT_TRUE(fs::is_symlink(folder.Path("link")));
    EXPECT_TRUE(fs::is_symlink(folder.Path("elsewhere/b")));
    EXPECT_EQ(folder.Read("elsewhere/a"), "text");
    EXPECT_EQ(FilesIn(folder), 2);
}

// As a shell does before it starts a program: what was written there is kept, and what is written next comes
// behind.
TEST(OutputFileTest, AFileThatIsOpenAlreadyIsWrittenOn)
{
    const CTestFolder folder;
    const int file = open(folder.Path("log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(write(file, "ready\n", 6), 6);
    for (const std::string name : {"/dev/fd/", "/proc/self/fd/"}) {
        fs::remove(folder.Path("link"));
        fs::create_symlink(name + std::to_string(file), folder.Path("link"));
        CheckCanWrite(name + std::to_string(file));
        WriteWhole(name + std::to_string(file), "text\n");
        WriteWhole(folder.Path("link"), "more\n");
    }
    EXPECT_EQ(write(file, "end\n", 4), 4);
    close(file);
    EXPECT_EQ(folder.Read("log"), "ready\ntext\nmore\ntext\nmore\nend\n");
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
