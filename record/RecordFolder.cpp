#include "record/RecordFolder.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "inc/CxLog.h"
#include "inc/LogLine.h"
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
std::optional<DriveChoice> ChooseDrive(const StorageValues& values)
{
    std::optional<DriveChoice> choice;
    for (std::size_t i = 0; i < values.drives.size(); ++i) {
        if (!values.drives[i]) continue;
        choice = DriveChoice{{static_cast<char>('A' + i), ':', '\\'}};
        std::uint64_t free = 0;
        std::uint64_t total = 0;
        if (!GetDiskFreeSpaceExA(choice->root.c_str(), free, total)) continue;
        choice->room = free >> 20 > values.limitMiB;
        if (choice->room) break;
    }
    return choice;
}

/// Removes the files of the ten oldest rows, and the rows whether or not their files could be. False when no
/// row went, also in the pass before, whose rows are `last`.
bool RemoveOldest(std::vector<RecordRow>& last)
{
    auto records = SelectOldestRecords();
    if (!records || *records == last) return false;
    last = std::move(*records);
    bool removed = false;
    for (const RecordRow& record : last) {
        if (::unlink(HostPath(record.path).c_str()) != 0) {
            LogLine(ELogLevel::Message, FUNCTION,
                    "can't remove file,error = " + std::to_string(static_cast<unsigned>(errno)) + "\n");
            LogLine(ELogLevel::Message, FUNCTION, "Remove File Failed: filename=" + record.path);
        }
        if (DeleteRecord(record.id)) {
            removed = true;
        } else {
            LogLine(ELogLevel::Message, FUNCTION,
                    "Delete File From Database Failed: id=" + std::to_string(record.id));
        }
    }
    return removed;
}

}  // namespace

std::string GetFolderName(const std::string& name, std::time_t time)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    if (model == nullptr) return {};
    std::vector<RecordRow> last;
    for (;;) {
        const StorageValues values = model->GetStorageValues();
        const auto choice = ChooseDrive(values);
        if (!choice) return {};
        std::string folder = choice->root;
        // oddity: doubled-backslash. The root ends in a backslash and the folder begins with one.
        if (!name.empty()) {
            folder += "\\DVR Files\\" + MakeFileName(name) + FormatTime(time, "\\%y-%m-%d\\");
            if (folder.size() >= PATH_BYTES || !MakeSureDirectoryPathExists(folder)) return {};
        }
        if (choice->room || values.hdfAction != 0) return folder;
        if (!RemoveOldest(last)) return {};
    }
}

std::string GetRecordFileName(const std::string& name, std::time_t time)
{
    const std::string folder = GetFolderName(name, time);
    if (folder.empty()) return {};
    return folder + FormatTime(time, FILE_TIME) + ".avi";
}
