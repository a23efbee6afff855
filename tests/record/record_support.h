#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "platform/os/drives.h"
#include "tests/model/model_support.h"

/// Drives of a test's own, with the free space that it gives them.
class CTestDrives final : public IDriveSource
{
  public:
    CTestDrives() : m_pFormer(SetDriveSource(this)) {}
    ~CTestDrives() override { SetDriveSource(m_pFormer); }

    void Add(char letter, const std::string& mountPoint, std::uint64_t freeMiB)
    {
        m_Drives.push_back({letter, DRIVE_FIXED, mountPoint});
        m_FreeBytes[mountPoint] = freeMiB << 20;
    }
    /// The drive answers no question about its space any more.
    void Fail(const std::string& mountPoint) { m_FreeBytes.erase(mountPoint); }
    void SetFree(const std::string& mountPoint, std::uint64_t bytes) { m_FreeBytes[mountPoint] = bytes; }

    std::vector<Drive> GetDrives() override { return m_Drives; }
    bool GetSpace(const std::string& hostPath, std::uint64_t& freeBytes, std::uint64_t& totalBytes) override
    {
        std::string place = hostPath;
        while (place.ends_with('/'))
            place.pop_back();
        const auto found = m_FreeBytes.find(place);
        if (found == m_FreeBytes.end()) return false;
        freeBytes = found->second;
        totalBytes = found->second * 2;
        return true;
    }

  private:
    std::vector<Drive> m_Drives;
    std::map<std::string, std::uint64_t> m_FreeBytes;  // by mount point
    IDriveSource* const m_pFormer;
};

/// A module directory with the delivered database, and drives c (the whole machine, full), d and e in folders
/// of their own.
class CRecordTest : public CModelTest
{
  protected:
    CRecordTest();

    /// The cells of a query's rows, parted by bars.
    static std::vector<std::string> Query(const std::string& sql);
    static void AddRecord(const std::string& name, const std::string& path);
    std::string DriveFolder(char letter) const { return m_Folder.Path(std::string("drive-") + letter); }

    CTestDrives m_Drives;
};

/// 15 January 2013, 08:30:05, of the local clock.
std::time_t ExampleTime();
