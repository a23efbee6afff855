#include "record/RecordFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "platform/os/paths.h"
#include "tests/record/record_support.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class RecordFolder : public CRecordTest
{
  protected:
    CGlobalSetting& m_Setting = *CNodeModel::GetInstance()->GetGlobalSetting();
};

// doubled-backslash
TEST_F(RecordFolder, IsOnTheFirstAllowedDriveWithRoom)
{
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "D:\\\\DVR Files\\cam1\\13-01-15\\");
    EXPECT_TRUE(std::filesystem::is_directory(DriveFolder('d') + "/DVR Files/cam1/13-01-15"));
    EXPECT_EQ(GetRecordFileName("cam1", ExampleTime()),
              "D:\\\\DVR Files\\cam1\\13-01-15\\13-01-15-08-30-05.avi");
}

TEST_F(RecordFolder, IsOnTheSecondDriveWhenTheFirstIsFull)
{
    m_Drives.SetFree(DriveFolder('d'), 0);
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "E:\\\\DVR Files\\cam1\\13-01-15\\");
    EXPECT_FALSE(std::filesystem::exists(DriveFolder('d') + "/DVR Files"));
}

TEST_F(RecordFolder, FreeSpaceMustExceedTheLimitByAWholeMebibyte)
{
    m_Drives.SetFree(DriveFolder('d'), (2500ULL << 20) + (1 << 20) - 1);
    EXPECT_TRUE(GetFolderName("cam1", ExampleTime()).starts_with("E:"));
    m_Drives.SetFree(DriveFolder('d'), 2501ULL << 20);
    EXPECT_TRUE(GetFolderName("cam1", ExampleTime()).starts_with("D:"));
}

TEST_F(RecordFolder, DriveThatIsNotAllowedIsNeverTaken)
{
    m_Setting.m_bsStorageDrive[3] = false;
    EXPECT_TRUE(GetFolderName("cam1", ExampleTime()).starts_with("E:"));
}

TEST_F(RecordFolder, IsEmptyWithoutAnAllowedDrive)
{
    m_Setting.m_bsStorageDrive.reset();
    AddRecord("cam1", m_Folder.System("old.avi"));
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_EQ(GetRecordFileName("cam1", ExampleTime()), "");
    EXPECT_THAT(Query("select id from record"), ElementsAre("1"));
}

TEST_F(RecordFolder, DriveThatReportsNoSpaceIsSkippedButCountsAsAllowed)
{
    m_Drives.Fail(DriveFolder('d'));
    EXPECT_TRUE(GetFolderName("cam1", ExampleTime()).starts_with("E:"));
    m_Drives.Fail(DriveFolder('e'));
    m_Setting.m_iHdfAction = 1;
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "E:\\\\DVR Files\\cam1\\13-01-15\\");
}

TEST_F(RecordFolder, EmptyNameTakesTheRootAlone)
{
    EXPECT_EQ(GetFolderName("", ExampleTime()), "D:\\");
    EXPECT_EQ(GetRecordFileName("", ExampleTime()), "D:\\13-01-15-08-30-05.avi");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(DriveFolder('d')), {}), 0) << "nothing is made";
}

TEST_F(RecordFolder, NothingIsMadeForAnEmptyNameAlsoWhereNothingCouldBe)
{
    m_Setting.m_bsStorageDrive = DriveSet(1) << 25;
    m_Setting.m_iHdfAction = 1;
    EXPECT_EQ(GetFolderName("", ExampleTime()), "Z:\\");
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
}

TEST_F(RecordFolder, NameStaysBelowTheRecordFolder)
{
    EXPECT_EQ(GetFolderName("..", ExampleTime()), "D:\\\\DVR Files\\__\\13-01-15\\");
    EXPECT_EQ(GetFolderName("..\\..\\x", ExampleTime()), "D:\\\\DVR Files\\.._.._x\\13-01-15\\");
    EXPECT_EQ(GetFolderName("%s%d%n", ExampleTime()), "D:\\\\DVR Files\\%s%d%n\\13-01-15\\");
}

TEST_F(RecordFolder, ComponentThatIsTooLongFailsAsAFolderThatIsMissing)
{
    EXPECT_EQ(GetFolderName(std::string(300, 'n'), ExampleTime()), "");
    EXPECT_EQ(GetFolderName(std::string(256, 'n'), ExampleTime()), "");
    EXPECT_EQ(GetFolderName(std::string(236, 'n'), ExampleTime()), "") << "a path of 260 bytes";
    EXPECT_EQ(GetFolderName(std::string(235, 'n'), ExampleTime()).size(), 259U);
}

TEST_F(RecordFolder, FolderThatCannotBeMadeGivesNothing)
{
    m_Folder.Write("drive-d/DVR Files", "a file stands in the way");
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
}

class FullDrives : public RecordFolder
{
  protected:
    FullDrives()
    {
        m_Drives.SetFree(DriveFolder('d'), 0);
        m_Drives.SetFree(DriveFolder('e'), 0);
    }
    // Adds that many records, the files of which stand.
    void AddFiles(int count)
    {
        for (int i = 0; i < count; ++i) {
            const std::string name = "old" + std::to_string(i) + ".avi";
            m_Folder.Write(name, "x");
            AddRecord("cam1", m_Folder.System(name));
        }
    }
    // Level, writer and text of each line of the log.
    static std::vector<std::string> Told(const std::string& log)
    {
        std::vector<std::string> lines;
        const std::regex line(R"((\w+) RecordFolder\.cpp\((\w+), \d+\): ([^\r]*)\r\n)");
        for (std::sregex_iterator found(log.begin(), log.end(), line), end; found != end; ++found)
            lines.push_back(found->str(1) + " " + found->str(2) + ": " + found->str(3));
        return lines;
    }
    int FilesLeft() const
    {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path()))
            if (entry.path().extension() == ".avi") ++count;
        return count;
    }
};

TEST_F(FullDrives, KeepWritingOnTheLastOneWhenNothingIsToBeRemoved)
{
    AddFiles(3);
    for (const std::int32_t action : {1, 2, -1}) {
        m_Setting.m_iHdfAction = action;
        EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "E:\\\\DVR Files\\cam1\\13-01-15\\");
    }
    EXPECT_EQ(FilesLeft(), 3);
}

TEST_F(FullDrives, GiveNothingWithAnEmptyTableButHaveTheFolder)
{
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_TRUE(std::filesystem::is_directory(DriveFolder('e') + "/DVR Files/cam1/13-01-15"));
}

TEST_F(FullDrives, LoseAllRecordsWhenThatMakesNoRoom)
{
    AddFiles(25);
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_EQ(FilesLeft(), 0);
    EXPECT_THAT(Query("select id from record"), IsEmpty());
}

// Counts the passes: each question about the space of the last drive is one look at the drives. `onLook` is
// told its number, from 1 on, and may answer otherwise.
class CCountedLooks final : public IDriveSource
{
  public:
    using OnLook = std::function<void(int look, std::uint64_t& freeBytes)>;
    CCountedLooks(IDriveSource& below, std::string last, OnLook onLook)
        : m_Below(below), m_strLast(std::move(last)), m_OnLook(std::move(onLook))
    {
        m_pFormer = SetDriveSource(this);
    }
    ~CCountedLooks() override { SetDriveSource(m_pFormer); }
    std::vector<Drive> GetDrives() override { return m_Below.GetDrives(); }
    bool GetSpace(const std::string& hostPath, std::uint64_t& freeBytes, std::uint64_t& totalBytes) override
    {
        if (!m_Below.GetSpace(hostPath, freeBytes, totalBytes)) return false;
        if (hostPath.starts_with(m_strLast)) m_OnLook(++m_iLooks, freeBytes);
        return true;
    }
    int m_iLooks = 0;

  private:
    IDriveSource& m_Below;
    const std::string m_strLast;
    const OnLook m_OnLook;
    IDriveSource* m_pFormer;
};

CCountedLooks::OnLook RoomAfter(int fullLooks)
{
    return [fullLooks](int look, std::uint64_t& freeBytes) {
        if (look > fullLooks) freeBytes = 3000ULL << 20;
    };
}

TEST_F(FullDrives, LoseTheOldestTenAndAreLookedAtAnew)
{
    AddFiles(13);
    CCountedLooks drives(m_Drives, DriveFolder('e'), RoomAfter(1));
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "E:\\\\DVR Files\\cam1\\13-01-15\\");
    EXPECT_EQ(drives.m_iLooks, 2);
    EXPECT_EQ(FilesLeft(), 3);
    EXPECT_THAT(Query("select id from record"), ElementsAre("11", "12", "13"));
}

TEST_F(FullDrives, AreLookedAtWithTheSettingsOfThatMoment)
{
    AddFiles(25);
    const CCountedLooks drives(m_Drives, DriveFolder('e'), [this](int look, std::uint64_t& /*freeBytes*/) {
        if (look == 2) m_Setting.m_iHdfAction = 1;
    });
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "E:\\\\DVR Files\\cam1\\13-01-15\\");
    EXPECT_EQ(FilesLeft(), 5) << "the second look still removed, the third did not";
}

TEST_F(FullDrives, FileThatCannotBeRemovedLosesItsRowAndIsLogged)
{
    CDebugCapture told;
    AddRecord("cam1", m_Folder.System("not there.avi"));
    std::filesystem::create_directory(m_Folder.Path("folder.avi"));
    AddRecord("cam1", m_Folder.System("folder.avi"));
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_THAT(Query("select id from record"), IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(m_Folder.Path("folder.avi")));
    EXPECT_THAT(
        Told(told.Text()),
        ElementsAre("Message GetFolderName: can't remove file,error = 2\n",
                    "Message GetFolderName: Remove File Failed: filename=" + m_Folder.System("not there.avi"),
                    "Message GetFolderName: can't remove file,error = 21\n",
                    "Message GetFolderName: Remove File Failed: filename=" + m_Folder.System("folder.avi")));
}

TEST_F(FullDrives, RowsThatStayEndTheSearchAndAreLogged)
{
    CDebugCapture told;
    AddFiles(2);
    Query("create trigger hold before delete on record begin select raise(abort, 'held'); end");
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_THAT(Query("select id from record"), ElementsAre("1", "2"));
    EXPECT_THAT(Told(told.Text()),
                ElementsAre("Message GetFolderName: Delete File From Database Failed: id=1",
                            "Message GetFolderName: Delete File From Database Failed: id=2"));
}

// A table of others may hold rows that no number finds.
TEST_F(FullDrives, RowsThatStayThoughTheirStatementSucceededEndTheSearch)
{
    Query("drop table record");
    Query(
        "create table record(id integer, name text, file_path text, date integer, time integer, "
        "length integer, type integer)");
    AddFiles(3);
    CCountedLooks drives(m_Drives, DriveFolder('e'), RoomAfter(20));
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_THAT(Query("select id from record"), ElementsAre("NULL", "NULL", "NULL"));
}

// Once a UDP link has ended, the database is gone for the rest of the process.
TEST_F(FullDrives, GiveNothingOnceTheDatabaseIsClosed)
{
    AddFiles(1);
    CNodeModel::CloseDatabase();
    EXPECT_EQ(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_EQ(FilesLeft(), 1);
}

TEST_F(FullDrives, TwentyThousandRowsAreRemovedTenAtATime)
{
    Query("begin");
    for (int i = 0; i < 20000; ++i)
        Query("insert into record values(NULL, 'c', '" + m_Folder.System("none.avi") + "', 1, 1, 1, 1)");
    Query("commit");
    CCountedLooks drives(m_Drives, DriveFolder('e'), RoomAfter(1));
    EXPECT_NE(GetFolderName("cam1", ExampleTime()), "");
    EXPECT_THAT(Query("select count(*), min(id) from record"), ElementsAre("19990|11"));
}

}  // namespace
