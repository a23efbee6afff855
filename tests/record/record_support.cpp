#include "tests/record/record_support.h"

#include <sqlite3.h>

#include <filesystem>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"

CRecordTest::CRecordTest()
{
    std::filesystem::copy_file(WATCHWALL_DATABASE, m_Folder.Path("dvr.db"));
    m_Drives.Add('c', "", 0);
    for (const char letter : {'d', 'e'}) {
        std::filesystem::create_directories(DriveFolder(letter));
        m_Drives.Add(letter, DriveFolder(letter), 5000);
    }
    CGlobalSetting& setting = *CNodeModel::GetInstance()->GetGlobalSetting();
    setting.m_bsStorageDrive.reset();
    setting.m_bsStorageDrive[3] = setting.m_bsStorageDrive[4] = true;
    setting.m_limitDiskSpace = 2500;
    setting.m_iHdfAction = 0;
}

std::vector<std::string> CRecordTest::Query(const std::string& sql)
{
    std::vector<std::string> rows;
    const auto collect = [](void* to, int count, char** cells, char** /*names*/) {
        std::string row;
        for (int i = 0; i < count; ++i)
            row += std::string(i ? "|" : "") + (cells[i] ? cells[i] : "NULL");
        static_cast<std::vector<std::string>*>(to)->push_back(row);
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(CNodeModel::GetDatabase().get(), sql.c_str(), collect, &rows, nullptr), SQLITE_OK)
        << sql;
    return rows;
}

void CRecordTest::AddRecord(const std::string& name, const std::string& path)
{
    Query("insert into record values(NULL, '" + name + "', '" + path + "', 20130115, 1, 300, 1)");
}

std::time_t ExampleTime()
{
    std::tm parts = {};
    parts.tm_year = 113;
    parts.tm_mday = 15;
    parts.tm_hour = 8;
    parts.tm_min = 30;
    parts.tm_sec = 5;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}
