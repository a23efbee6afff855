#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/test_folder.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Rows = std::vector<std::string>;

// The database as it is delivered, a copy of its own for each test.
class DeliveredDatabase : public testing::Test
{
  protected:
    DeliveredDatabase()
    {
        std::filesystem::copy_file(WATCHWALL_DATABASE, m_Folder.Path("dvr.db"));
        sqlite3* opened = nullptr;
        sqlite3_open(m_Folder.Path("dvr.db").c_str(), &opened);
        m_pDatabase.reset(opened);
    }

    // The cells of the result, row by row, parted by bars.
    Rows Query(const std::string& sql) const
    {
        Rows rows;
        const auto collect = [](void* to, int count, char** cells, char** /*names*/) {
            std::string row;
            for (int i = 0; i < count; ++i)
                row += std::string(i ? "|" : "") + (cells[i] ? cells[i] : "NULL");
            static_cast<Rows*>(to)->push_back(row);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(m_pDatabase.get(), sql.c_str(), collect, &rows, nullptr), SQLITE_OK) << sql;
        return rows;
    }

    CTestFolder m_Folder;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_pDatabase{nullptr, &sqlite3_close};
};

TEST_F(DeliveredDatabase, HoldsAnEmptyTableOfRecords)
{
    EXPECT_THAT(Query("select * from record  limit 10"), IsEmpty());
}

TEST_F(DeliveredDatabase, HasTheColumnsInTheOrderOfTheRows)
{
    EXPECT_THAT(Query("select name || ' ' || type || ' ' || pk from pragma_table_info('record')"),
                ElementsAre("id INTEGER 1", "name TEXT 0", "file_path TEXT 0", "date INTEGER 0",
                            "time INTEGER 0", "length INTEGER 0", "type INTEGER 0"));
}

TEST_F(DeliveredDatabase, AssignsTheIdAndGivesTheOldestRowsFirst)
{
    Query("insert into record values(NULL, 'cam1', 'd:\\one.avi', 20130115, 30605, 300, 1)");
    Query("insert into record values(NULL, 'cam2', 'd:\\two.avi', 20130114, 1, 2, 3)");
    EXPECT_THAT(Query("select * from record  limit 10"),
                ElementsAre("1|cam1|d:\\one.avi|20130115|30605|300|1", "2|cam2|d:\\two.avi|20130114|1|2|3"));
    Query("delete from record where id=1");
    EXPECT_THAT(Query("select id from record"), ElementsAre("2"));
}

TEST_F(DeliveredDatabase, AnswersTheSearchOfTheRecordPanel)
{
    Query("insert into record values(NULL, 'cam1', 'd:\\one.avi', 20130115, 100, 300, 1)");
    const std::string search = "select * from record where date=20130115 and name='cam1' and time> ";
    EXPECT_EQ(Query(search + "99 and time< 101 and type=1").size(), 1u);
    EXPECT_THAT(Query(search + "100 and time< 200"), IsEmpty());
}

}  // namespace
