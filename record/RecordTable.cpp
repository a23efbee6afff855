#include "record/RecordTable.h"

#include <sqlite3.h>

#include <cstdlib>
#include <memory>

#include "inc/CxLog.h"
#include "model/NodeModel.h"

namespace
{

struct TableFree {
    void operator()(char** table) const { sqlite3_free_table(table); }
};

struct SqlFree {
    void operator()(char* text) const { sqlite3_free(text); }
};
using SqlText = std::unique_ptr<char, SqlFree>;

constexpr int COLUMN_ID = 0;
constexpr int COLUMN_PATH = 2;

}  // namespace

std::optional<std::vector<RecordRow>> SelectOldestRecords()
{
    const auto database = CNodeModel::GetDatabase();
    if (!database) return std::nullopt;
    char** cells = nullptr;
    int rows = 0;
    int columns = 0;
    const int result =
        sqlite3_get_table(database.get(), "select * from record  limit 10", &cells, &rows, &columns, nullptr);
    const std::unique_ptr<char*, TableFree> table(cells);
    if (result != SQLITE_OK) return std::nullopt;
    std::vector<RecordRow> records;
    for (int row = 1; row <= rows && columns > COLUMN_PATH; ++row) {  // row 0 holds the column names
        const char* const id = cells[row * columns + COLUMN_ID];
        const char* const path = cells[row * columns + COLUMN_PATH];
        records.push_back({id != nullptr ? static_cast<std::int32_t>(std::strtol(id, nullptr, 10)) : 0,
                           path != nullptr ? path : ""});
    }
    return records;
}

bool DeleteRecord(std::int32_t id)
{
    const auto database = CNodeModel::GetDatabase();
    if (!database) return false;
    const SqlText statement(sqlite3_mprintf("delete from record where id=%d", id));
    return sqlite3_exec(database.get(), statement.get(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

void InsertRecord(const NewRecord& record)
{
    const auto database = CNodeModel::GetDatabase();
    if (!database || (record.name + record.path).find('\'') != std::string::npos) return;
    const SqlText statement(sqlite3_mprintf("insert into record values(NULL, '%s', '%s', %d, %d, %d, %d)",
                                            record.name.c_str(), record.path.c_str(), record.date, record.time,
                                            record.length, record.type));
    char* error = nullptr;
    // The library's codes are positive, so this line is never written.
    if (sqlite3_exec(database.get(), statement.get(), nullptr, nullptr, &error) < 0)
        CxLog::Instance().Log(__FILE__, "CDevice::StopRecording", __LINE__, ELogLevel::Error, "%s", error);
    sqlite3_free(error);
}
