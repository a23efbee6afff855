#include "record/RecordTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "model/NodeModel.h"
#include "tests/record/record_support.h"

namespace
{

using testing::ElementsAre;

class RecordTable : public CRecordTest
{
};

TEST_F(RecordTable, RowHoldsEveryFieldInItsPlace)
{
    InsertRecord({"cam1", "d:\\one.avi", 20130115, 30605, 299, 3});
    EXPECT_THAT(Query("select * from record"), ElementsAre("1|cam1|d:\\one.avi|20130115|30605|299|3"));
}

TEST_F(RecordTable, NamesThatAreNoStatementAreKeptAsTheyAre)
{
    InsertRecord({"100%s \"x\" ;--", "d:\\%n.avi", 1, 2, 3, 4});
    EXPECT_THAT(Query("select name, file_path from record"), ElementsAre("100%s \"x\" ;--|d:\\%n.avi"));
}

// insert-unnoticed
TEST_F(RecordTable, NameThatWouldEndTheStatementInsertsNothing)
{
    InsertRecord({"cam", "d:\\its.avi", 1, 2, 3, 4});
    InsertRecord({"x', '', 0, 0, 0, 0); delete from record; --", "d:\\a.avi", 1, 2, 3, 4});
    InsertRecord({"cam", "d:\\it's.avi", 1, 2, 3, 4});
    InsertRecord({"cam", "d:\\', 1, 2, 3, 4); delete from record; --", 1, 2, 3, 4});
    EXPECT_THAT(Query("select * from record"), ElementsAre("1|cam|d:\\its.avi|1|2|3|4"));
}

TEST_F(RecordTable, OldestAreTheFirstTenInserted)
{
    for (int i = 1; i <= 12; ++i)
        InsertRecord({"cam", "d:\\" + std::to_string(i) + ".avi", 20130115 - i, 0, 0, 0});
    const auto rows = SelectOldestRecords();
    ASSERT_TRUE(rows);
    ASSERT_EQ(rows->size(), 10U);
    EXPECT_EQ(rows->front().id, 1);
    EXPECT_EQ(rows->front().path, "d:\\1.avi");
    EXPECT_EQ(rows->back().path, "d:\\10.avi");
}

TEST_F(RecordTable, RowWithoutAPathHasAnEmptyOne)
{
    Query("insert into record values(NULL, NULL, NULL, NULL, NULL, NULL, NULL)");
    const auto rows = SelectOldestRecords();
    ASSERT_TRUE(rows);
    ASSERT_EQ(rows->size(), 1U);
    EXPECT_EQ(rows->front().path, "");
}

TEST_F(RecordTable, DeleteTakesOneRowAndAMissingOneIsNoFailure)
{
    InsertRecord({"cam", "d:\\1.avi", 1, 2, 3, 4});
    InsertRecord({"cam", "d:\\2.avi", 1, 2, 3, 4});
    EXPECT_TRUE(DeleteRecord(1));
    EXPECT_TRUE(DeleteRecord(77));
    EXPECT_THAT(Query("select id from record"), ElementsAre("2"));
}

TEST_F(RecordTable, TableThatIsMissingGivesNothing)
{
    Query("drop table record");
    EXPECT_FALSE(SelectOldestRecords());
    EXPECT_FALSE(DeleteRecord(1));
    InsertRecord({"cam", "d:\\1.avi", 1, 2, 3, 4});
}

TEST_F(RecordTable, ClosedDatabaseIsUnnoticed)
{
    CNodeModel::CloseDatabase();
    InsertRecord({"cam", "d:\\1.avi", 1, 2, 3, 4});
    EXPECT_FALSE(SelectOldestRecords());
    EXPECT_FALSE(DeleteRecord(1));
}

// Each process has a handle of its own; a row that meets the other one's lock waits for it.
TEST_F(RecordTable, TwoProcessesInsertIntoOneDatabase)
{
    constexpr int ROWS = 100;
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    const auto insert = [](const char* name) {
        for (int i = 0; i < ROWS; ++i)
            InsertRecord({name, "d:\\" + std::to_string(i) + ".avi", i, 0, 0, 0});
    };
    if (child == 0) {
        CNodeModel::CloseDatabase();  // a handle may not cross a fork
        CNodeModel::DestroyInstance();
        CNodeModel::GetInstance();
        insert("child");
        ::_exit(0);
    }
    insert("parent");
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(Query("select name, count(*) from record group by name"),
                ElementsAre("child|100", "parent|100"));
}

}  // namespace
