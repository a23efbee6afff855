#include "record/RecordFolder.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "inc/CxLog.h"
#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "platform/os/disk_space.h"
#include "platform/os/paths.h"
#include "record/FileNames.h"
#include "record/RecordTable.h"

namespace
{

constexpr const char* FUNCTION = "GetFolderName";
constexpr std::size_t PATH_BYTES = 260;

struct DriveChoice {
    std::string root;  // of the drive chosen, or of the last one tried
    bool room = false;
};

/// Nothing when no drive is allowed.
std::optional<DriveChoice> ChooseDrive(const CGlobalSetting& setting)
{
    std::optional<DriveChoice> choice;
    for (std::size_t i = 0; i < setting.m_bsStorageDrive.size(); ++i) {
        if (!setting.m_bsStorageDrive[i]) continue;
        choice = DriveChoice{{static_cast<char>('A' + i), ':', '\\'}};
        std::uint64_t free = 0;
        std::uint64_t total = 0;
        if (!GetDiskFreeSpaceExA(choice->root.c_str(), free, total)) continue;
        choice->room = free >> 20 > setting.m_limitDiskSpace;
        if (choice->room) break;
    }
    return choice;
}

/// Removes the files of the ten oldest rows, and the rows whether or not their files could be. False when no
/// row went.
bool RemoveOldest()
{
    const auto records = SelectOldestRecords();
    if (!records) return false;
    bool removed = false;
    for (const RecordRow& record : *records) {
        if (std::remove(HostPath(record.path).c_str()) != 0) {
            CxLog::Instance().Log(__FILE__, FUNCTION, __LINE__, ELogLevel::Message,
                                  "can't remove file,error = %u\n", static_cast<unsigned>(errno));
            CxLog::Instance().Log(__FILE__, FUNCTION, __LINE__, ELogLevel::Message,
                                  "Remove File Failed: filename=%s", record.path.c_str());
        }
        if (DeleteRecord(record.id)) {
            removed = true;
        } else {
            CxLog::Instance().Log(__FILE__, FUNCTION, __LINE__, ELogLevel::Message,
                                  "Delete File From Database Failed: id=%d", record.id);
        }
    }
    return removed;
}

}  // namespace

std::string GetFolderName(const std::string& name, std::time_t time)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return {};
    const CGlobalSetting& setting = *model->GetGlobalSetting();
    for (;;) {
        const auto choice = ChooseDrive(setting);
        if (!choice) return {};
        std::string folder = choice->root;
        // oddity: doubled-backslash. The root ends in a backslash and the folder begins with one.
        if (!name.empty()) folder += "\\DVR Files\\" + MakeFileName(name) + FormatTime(time, "\\%y-%m-%d\\");
        if (folder.size() >= PATH_BYTES || !MakeSureDirectoryPathExists(folder)) return {};
        if (choice->room || setting.m_iHdfAction != 0) return folder;
        if (!RemoveOldest()) return {};
    }
}

std::string GetRecordFileName(const std::string& name, std::time_t time)
{
    const std::string folder = GetFolderName(name, time);
    if (folder.empty()) return {};
    return folder + FormatTime(time, "%y-%m-%d-%H-%M-%S") + ".avi";
}
