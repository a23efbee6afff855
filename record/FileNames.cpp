#include "record/FileNames.h"

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "platform/os/paths.h"

namespace
{

constexpr const char* FILE_TIME = "%y-%m-%d-%H-%M-%S";

}  // namespace

std::string FormatTime(std::time_t time, const char* szFormat)
{
    if (szFormat == nullptr) return {};
    std::tm parts = {};
    if (localtime_r(&time, &parts) == nullptr) return {};
    char szText[128];
    const std::size_t length = std::strftime(szText, sizeof szText, szFormat, &parts);
    return {szText, length};
}

std::string MakeFileName(const std::string& strName)
{
    std::string strFile = strName;
    const bool bDots = strName == "." || strName == "..";
    for (char& c : strFile) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || c == '\\' || c == '/' || bDots) c = '_';
    }
    return strFile;
}

std::string GetSnapshotFileName(const std::string& strName)
{
    CNodeModel* const model = CNodeModel::GetInstance();
    const std::string strFolder =
        (model != nullptr ? model->GetGlobalSetting()->m_szPicPath : std::string()) + "\\";
    MakeSureDirectoryPathExists(strFolder);
    return strFolder + MakeFileName(strName) + "-" + FormatTime(std::time(nullptr), FILE_TIME) + ".jpg";
}

std::string GetLinkRecordFileName(const std::string& strRecordPath, const std::string& strName,
                                  std::time_t time)
{
    return strRecordPath + "\\" + MakeFileName(strName) + "\\" + FormatTime(time, FILE_TIME) + ".avi";
}
