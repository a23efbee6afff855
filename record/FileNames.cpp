#include "record/FileNames.h"

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "platform/os/paths.h"

std::string FormatTime(std::time_t time, const char* format)
{
    if (format == nullptr) return {};
    std::tm parts = {};
    if (localtime_r(&time, &parts) == nullptr) return {};
    char text[128];
    const std::size_t length = std::strftime(text, sizeof text, format, &parts);
    return {text, length};
}

std::string MakeFileName(const std::string& name)
{
    std::string file = name;
    const bool dots = name == "." || name == "..";
    for (char& c : file) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || c == '\\' || c == '/' || dots) c = '_';
    }
    return file;
}

std::string GetSnapshotFileName(const std::string& name)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    const std::string folder = (model != nullptr ? model->GetStorageValues().picPath : std::string()) + "\\";
    MakeSureDirectoryPathExists(folder);
    // oddity: snapshot-named-jpg. What is written is a BMP.
    return folder + MakeFileName(name) + "-" + FormatTime(std::time(nullptr), FILE_TIME) + ".jpg";
}

std::string GetLinkRecordFileName(const std::string& recordPath, const std::string& name, std::time_t time)
{
    return recordPath + "\\" + MakeFileName(name) + "\\" + FormatTime(time, FILE_TIME) + ".avi";
}
