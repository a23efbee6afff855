#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "inc/OutputDebugString.h"
#include "platform/files/profile.h"
#include "tests/support/file_limit.h"
#include "tests/support/forwarding_operations.h"
#include "tests/support/plain_rights.h"
#include "tests/support/test_folder.h"

namespace
{

// Makes the n-th call fail and counts them.
class CFailingOperations final : public CForwardingOperations
{
  public:
    explicit CFailingOperations(int failing, int error) : m_iFailing(failing), m_iError(error) {}

    bool HasFailed() const { return m_iCalls >= m_iFailing; }
    int OpenFiles() const { return m_iOpen; }

    int Open(const char* path, int flags, mode_t mode) override
    {
        if (Fails()) return -1;
        const int file = System().Open(path, flags, mode);
        if (file >= 0) ++m_iOpen;
        return file;
    }
    ssize_t Read(int file, void* buffer, std::size_t size) override
    {
        return Fails() ? -1 : System().Read(file, buffer, size);
    }
    ssize_t Write(int file, const void* data, std::size_t size) override
    {
        // Three bytes at a time, as a disk that is nearly full would take them.
        return Fails() ? -1 : System().Write(file, data, std::min<std::size_t>(size, 3));
    }
    int Stat(int file, struct stat& status) override { return Fails() ? -1 : System().Stat(file, status); }
    int ChangeMode(int file, mode_t mode) override { return Fails() ? -1 : System().ChangeMode(file, mode); }
    int Sync(int file) override { return Fails() ? -1 : System().Sync(file); }
    int Close(int file) override
    {
        // A close that fails has closed the file all the same.
        --m_iOpen;
        const int result = System().Close(file);
        return Fails() ? -1 : result;
    }
    int TryLock(int file) override { return Fails() ? -1 : System().TryLock(file); }
    int Rename(const char* from, const char* to) override { return Fails() ? -1 : System().Rename(from, to); }
    int Unlink(const char* path) override { return Fails() ? -1 : System().Unlink(path); }

  private:
    bool Fails()
    {
        if (++m_iCalls != m_iFailing) return false;
        errno = m_iError;
        return true;
    }

    const int m_iFailing;
    const int m_iError;
    int m_iCalls = 0;
    int m_iOpen = 0;
};

constexpr const char* OLD_FILE = "; settings\n[System]\nLanguage=eng.ini\nRecordPath=d:\\records\n";
constexpr const char* NEW_FILE = "; settings\n[System]\nLanguage=chs.ini\nRecordPath=d:\\records\n";

class ProfileFault : public testing::TestWithParam<int>
{
};

TEST_P(ProfileFault, TheNthFailingCallLeavesTheOldFileOrTheWholeNewOne)
{
    int calls = 0;
    for (bool failed = true; failed; ++calls) {
        const CTestFolder folder;
        folder.Write("system.ini", OLD_FILE);
        bool written = false;
        {
            const CFailingOperations operations(calls + 1, GetParam());
            written = WritePrivateProfileStringA("System", "Language", "chs.ini",
                                                 folder.System("system.ini").c_str());
            failed = operations.HasFailed();
            EXPECT_EQ(operations.OpenFiles(), 0) << "call " << calls + 1;
        }
        EXPECT_EQ(folder.Read("system.ini"), written ? NEW_FILE : OLD_FILE) << "call " << calls + 1;
        EXPECT_TRUE(written || failed);
        // And nothing stands in the next one's way.
        EXPECT_TRUE(
            WritePrivateProfileStringA("System", "Language", "chs.ini", folder.System("system.ini").c_str()));
        EXPECT_EQ(folder.Read("system.ini"), NEW_FILE) << "call " << calls + 1;
    }
    EXPECT_GT(calls, 20) << "the walk has met open, lock, read, write, sync, close and rename";
}

INSTANTIATE_TEST_SUITE_P(Error, ProfileFault, testing::Values(EIO, ENOSPC, EACCES, EINTR),
                         [](const auto& row) { return std::string(strerrorname_np(row.param)); });

// As one that another user's program has made.
TEST(ProfileFaults, ALockFileThatCanOnlyBeReadLocksAsWell)
{
    const CTestFolder folder;
    const CPlainRights rights;
    folder.Write("system.ini", OLD_FILE);
    folder.Write(".system.ini.lock", "");
    ASSERT_EQ(::chmod(folder.Path(".system.ini.lock").c_str(), 0444), 0);
    const std::string path = folder.System("system.ini");
    EXPECT_TRUE(WritePrivateProfileStringA("System", "Language", "chs.ini", path.c_str()));
    EXPECT_EQ(folder.Read("system.ini"), NEW_FILE);
}

TEST(ProfileFaults, AReadThatFailsGivesTheFallback)
{
    const CTestFolder folder;
    folder.Write("system.ini", OLD_FILE);
    for (int call = 1; call <= 3; ++call) {
        const CFailingOperations operations(call, EIO);
        EXPECT_EQ(GetProfileText("System", "Language", "none", 16, folder.System("system.ini")), "none")
            << "call " << call;
    }
}

// Notes what is done to the new file, and the folder.
class CNotedOperations final : public CForwardingOperations
{
  public:
    std::string m_strDone;
    ssize_t Write(int file, const void* data, std::size_t size) override
    {
        m_strDone += "write ";
        return System().Write(file, data, size);
    }
    int Sync(int file) override
    {
        m_strDone += "sync ";
        return System().Sync(file);
    }
    int Rename(const char* from, const char* to) override
    {
        m_strDone += "rename ";
        return System().Rename(from, to);
    }
};

TEST(ProfileFaults, TheNewFileIsOnTheDiskBeforeItHasItsName)
{
    const CTestFolder folder;
    folder.Write("system.ini", OLD_FILE);
    CNotedOperations noted;
    EXPECT_TRUE(
        WritePrivateProfileStringA("System", "Language", "chs.ini", folder.System("system.ini").c_str()));
    EXPECT_EQ(noted.m_strDone, "write sync rename sync ");
}

// As a stranger may put them into a folder that others write to as well.
TEST(ProfileFaults, LinksInThePlaceOfTheFilesBesideItLeadNowhere)
{
    const CTestFolder folder;
    const std::string path = folder.System("system.ini");
    folder.Write("system.ini", OLD_FILE);
    folder.Write("other", "precious");
    ASSERT_EQ(::symlink("other", folder.Path(".system.ini.tmp").c_str()), 0);
    EXPECT_FALSE(WritePrivateProfileStringA("System", "Language", "chs.ini", path.c_str()));
    EXPECT_EQ(folder.Read("other"), "precious");
    EXPECT_EQ(folder.Read("system.ini"), OLD_FILE);
    ASSERT_EQ(::unlink(folder.Path(".system.ini.lock").c_str()), 0);
    ASSERT_EQ(::symlink("made", folder.Path(".system.ini.lock").c_str()), 0);
    EXPECT_FALSE(WritePrivateProfileStringA("System", "Language", "chs.ini", path.c_str()));
    EXPECT_EQ(folder.Read("made"), std::nullopt);
}

// The lock of a process that was stopped in the middle of its write.
class CLockedOperations final : public CForwardingOperations
{
  public:
    int m_iLooks = 0;
    int TryLock(int /*file*/) override
    {
        ++m_iLooks;
        errno = EWOULDBLOCK;
        return -1;
    }
};

TEST(ProfileFaults, ALockThatAnotherKeepsDoesNotHoldUpThePanels)
{
    const CTestFolder folder;
    folder.Write("system.ini", OLD_FILE);
    CLockedOperations locked;
    EXPECT_FALSE(
        WritePrivateProfileStringA("System", "Language", "chs.ini", folder.System("system.ini").c_str()));
    EXPECT_LE(locked.m_iLooks, 250) << "2 ms lie between two looks";
    EXPECT_EQ(folder.Read("system.ini"), OLD_FILE);
}

TEST(ProfileFaults, ADiskThatIsFullLeavesTheOldFile)
{
    // The limit of a file's size stands in for the full disk, in a process of its own.
    const CTestFolder folder;
    folder.Write("system.ini", OLD_FILE);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const CFileLimit limit(32);
        ::_exit(WritePrivateProfileStringA("System", "Language", "chs.ini", folder.System("system.ini").c_str())
                    ? 1
                    : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the write was to fail";
    EXPECT_EQ(folder.Read("system.ini"), OLD_FILE);
    EXPECT_FALSE(folder.Read(".system.ini.tmp"));
}

}  // namespace
