// Recordings that a device names by itself or is told to make, without a link.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "record/RecordFolder.h"
#include "record/RecordTable.h"
#include "remote/udp/UdpLink.h"
#include "tests/record/record_support.h"
#include "tests/remote/tcp/tcp_support.h"
#include "tests/support/plain_rights.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceRecording : public CTcpTest
{
  protected:
    DeviceRecording() { m_pDevice = &m_Device; }
    CDevice m_Device;
};

TEST_F(DeviceRecording, StartsOnlyFromTheOpenStatusAndTellsNobodyElse)
{
    EXPECT_FALSE(m_Device.StartRecording(13, 176, 144, 0, m_Folder.System("a.avi")));
    m_Device.SetStatus(STATUS_RECORDING);
    EXPECT_FALSE(m_Device.StartRecording(13, 176, 144, 0, m_Folder.System("a.avi")));
    EXPECT_THAT(m_Events.All(), IsEmpty());
}

TEST_F(DeviceRecording, WithoutAPlaceTellsSoWithNoSender)
{
    CNodeModel::GetInstance()->GetGlobalSetting()->m_bsStorageDrive.reset();
    m_Device.SetStatus(STATUS_OPEN);
    EXPECT_FALSE(m_Device.StartRecording(13, 176, 144, 0, ""));
    EXPECT_THAT(m_Events.All(), ElementsAre("tell nobody IDS_NoStoragePath"));
    EXPECT_EQ(m_Device.GetStatus(), STATUS_OPEN);
}

TEST_F(DeviceRecording, StopOfADeviceThatDoesNotRecordIsTrueAndSilent)
{
    EXPECT_TRUE(m_Device.StopRecording());
    EXPECT_THAT(m_Events.All(), IsEmpty());
}

TEST_F(DeviceRecording, FileThatCannotBeMadeStillStarts)
{
    m_Device.SetStatus(STATUS_OPEN);
    EXPECT_TRUE(m_Device.StartRecording(28, 176, 144, 4, m_Folder.System("not/there/a.avi")));
    EXPECT_EQ(m_Device.GetStatus(), STATUS_RECORDING);
    EXPECT_TRUE(m_Device.StopRecording());
}

TEST_F(DeviceRecording, DeclaresSoundOfEightBitsAtEightThousandASecond)
{
    m_Device.SetStatus(STATUS_OPEN);
    ASSERT_TRUE(m_Device.StartRecording(28, 176, 144, 0, m_Folder.System("a.avi")));
    m_Device.StopRecording();
    // The second stream's format: PCM, mono, samples and bytes a second, bytes and bits a sample.
    const std::string format("\x01\0\x01\0\x40\x1F\0\0\x40\x1F\0\0\x01\0\x08\0", 16);
    EXPECT_THAT(m_Folder.Read("a.avi").value_or(""), testing::HasSubstr(format));
}

/// Notes what it is told of a device, the status that the device has then, and whether its file stands open.
class CStatusObserver final : public CObserver
{
  public:
    explicit CStatusObserver(CDevice& device) : m_Device(device) { AttachObserver(this); }
    ~CStatusObserver() override { DetachObserver(this); }
    void Update(CNode* /*node*/, std::string message) override
    {
        const bool open = m_Device.GetState()->m_pMuxer != nullptr;
        m_Told.push_back(message + " " + std::to_string(m_Device.GetStatus()) + (open ? " open" : ""));
    }
    std::vector<std::string> m_Told;

  private:
    CDevice& m_Device;
};

TEST_F(DeviceRecording, StatusIsSetBeforeItIsAnnouncedAndAFileClosedAfterwards)
{
    m_Device.SetStatus(STATUS_OPEN);
    const CStatusObserver noting(m_Device);
    m_Device.StartRecording(13, 176, 144, 0, m_Folder.System("a.avi"));
    m_Device.StopRecording();
    EXPECT_THAT(noting.m_Told, ElementsAre("IDS_RecordStarted 2 open", "IDS_RecordStopped 1 open"));
}

/// Fails at whatever it is told, while it lives.
class CFailingObserver final : public CObserver
{
  public:
    CFailingObserver() { AttachObserver(this); }
    ~CFailingObserver() override { DetachObserver(this); }
    void Update(CNode* /*node*/, std::string message) override { throw std::runtime_error(message); }
};

TEST_F(DeviceRecording, ObserverThatFailsAtAStopBarsNoLaterOne)
{
    m_Device.SetStatus(STATUS_OPEN);
    ASSERT_TRUE(m_Device.StartRecording(13, 176, 144, 0, m_Folder.System("a.avi")));
    {
        const CFailingObserver failing;
        EXPECT_THROW(m_Device.StopRecording(), std::runtime_error);
    }
    EXPECT_TRUE(m_Device.StopRecording());
}

TEST_F(DeviceRecording, FolderThatIsReadOnlyCountsAsRecordingAndIsReportedOnceAndAtTheClose)
{
    const auto link = MakeDevice();
    link->SetName("cam1");
    const std::string folder = m_Folder.Path("rec/cam1");
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    const CPlainRights rights;
    ASSERT_FALSE(std::ofstream(folder + "/a.avi").is_open());
    const CDebugCapture told;
    const auto lines = [&told] { return std::count(told.Text().begin(), told.Text().end(), '\n'); };
    OpenAndReply(*link);
    link->StartRecord(0);
    SendAndWait(0, 20);
    EXPECT_EQ(link->GetStatus(), STATUS_RECORDING);
    EXPECT_EQ(m_Events.CountOf("tell IDS_RecordStarted"), 1U);
    EXPECT_EQ(lines(), 1) << told.Text();
    link->StopRecord(0);
    SendAndWait(0, 1);
    EXPECT_EQ(link->GetStatus(), STATUS_OPEN);
    EXPECT_THAT(told.Text(), testing::HasSubstr(".avi: 21 writes have failed"));
    EXPECT_EQ(lines(), 2) << told.Text();
    link->Close();
}

// The log ends with the process, and so before what was made before it.
TEST(DeviceAtProcessEnd, OutlivesTheLogQuietlyThoughItsFileFailed)
{
    EXPECT_EXIT(
        {
            static CDevice device;
            device.SetStatus(STATUS_OPEN);
            device.StartRecording(13, 176, 144, 0, "c:\\dev\\null\\a.avi");
            std::exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(DeviceRecording, WritesSoundAfterTheFirstKeyPicture)
{
    m_Device.SetStatus(STATUS_OPEN);
    const std::vector<std::uint8_t> sound(160, 0x80);
    m_Device.WriteAudio(sound.data(), 160);
    ASSERT_TRUE(m_Device.StartRecording(13, 176, 144, 0, m_Folder.System("a.avi")));
    m_Device.WriteAudio(sound.data(), 160);
    m_Device.WriteVideo(m_Stream[0].data(), static_cast<std::int32_t>(m_Stream[0].size()), 1);
    m_Device.WriteAudio(sound.data(), 160);
    m_Device.StopRecording();
    m_Device.WriteVideo(m_Stream[0].data(), static_cast<std::int32_t>(m_Stream[0].size()), 1);
    EXPECT_EQ(ReadAvi(m_Folder.Path("a.avi")).size(), 2U);
    EXPECT_EQ(m_Device.GetState()->m_pMuxer, nullptr) << "the file is closed";
}

/// With a drive that has room, and the table as it is delivered.
class RecordRows : public CTcpTest
{
  protected:
    RecordRows()
    {
        std::filesystem::copy_file(WATCHWALL_DATABASE, m_Folder.Path("dvr.db"));
        std::filesystem::create_directory(m_Folder.Path("drive-d"));
        m_Drives.Add('d', m_Folder.Path("drive-d"), 5000);
        CGlobalSetting& setting = *CNodeModel::GetInstance()->GetGlobalSetting();
        setting.m_bsStorageDrive.reset();
        setting.m_bsStorageDrive[3] = true;
        setting.m_limitDiskSpace = 2500;
        m_Device.SetName("gate");
        m_Device.SetStatus(STATUS_OPEN);
    }
    // Name, path, date, time and type of each row, parted by bars, or something else of it; over a connection
    // of its own.
    std::vector<std::string> Rows(const std::string& what =
                                      "name || '|' || file_path || '|' || date || '|' || "
                                      "time || '|' || type") const
    {
        std::vector<std::string> rows;
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(m_Folder.Path("dvr.db").c_str(), &database), SQLITE_OK);
        const auto collect = [](void* to, int, char** cells, char** /*names*/) {
            static_cast<std::vector<std::string>*>(to)->emplace_back(cells[0]);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(database, ("select " + what + " from record").c_str(), collect, &rows, nullptr),
                  SQLITE_OK);
        sqlite3_close(database);
        return rows;
    }
    void Record(std::int32_t type)
    {
        ASSERT_TRUE(m_Device.StartRecording(13, 176, 144, type, ""));
        m_Device.WriteVideo(m_Stream[0].data(), static_cast<std::int32_t>(m_Stream[0].size()), 1);
        ASSERT_TRUE(m_Device.StopRecording());
    }

    CTestDrives m_Drives;
    CDevice m_Device;
};

TEST_F(RecordRows, EmptyPathTakesTheAutomaticNameAndGetsItsRowWhenItStops)
{
    const std::time_t before = std::time(nullptr);
    ASSERT_TRUE(m_Device.StartRecording(13, 176, 144, 7, ""));
    const std::time_t after = std::time(nullptr);
    m_Device.WriteVideo(m_Stream[0].data(), static_cast<std::int32_t>(m_Stream[0].size()), 1);
    EXPECT_THAT(Rows(), IsEmpty()) << "a regular stop alone writes the row";
    EXPECT_TRUE(m_Device.StopRecording());
    std::vector<std::string> possible;
    for (std::time_t time = before; time <= after; ++time) {
        std::tm parts = {};
        ASSERT_NE(localtime_r(&time, &parts), nullptr);
        possible.push_back(
            "gate|" + GetRecordFileName("gate", time) + "|" +
            std::to_string((parts.tm_year + 1900) * 10000 + (parts.tm_mon + 1) * 100 + parts.tm_mday) + "|" +
            std::to_string(parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec) + "|7");
    }
    ASSERT_EQ(Rows().size(), 1U);
    EXPECT_THAT(possible, testing::Contains(Rows().front()));
    EXPECT_EQ(ReadAvi(HostPath(m_Device.GetState()->m_strSavedFile)).size(), 1U);
}

TEST_F(RecordRows, LengthIsInWholeSecondsFromTheStartToTheStop)
{
    ASSERT_TRUE(m_Device.StartRecording(13, 176, 144, 7, ""));
    m_Device.GetState()->m_dwSavedTick -= 100999;  // as if it had begun so much earlier
    EXPECT_TRUE(m_Device.StopRecording());
    EXPECT_THAT(Rows("length between 100 and 199"), ElementsAre("1"));
}

TEST_F(RecordRows, NamedRecordingAfterAnAutomaticOneWritesNoRowAndKeepsWhatWasSaved)
{
    Record(5);
    ASSERT_EQ(Rows().size(), 1U);
    const std::string saved = m_Device.GetState()->m_strSavedFile;
    ASSERT_TRUE(m_Device.StartRecording(13, 176, 144, 9, m_Folder.System("a.avi")));
    EXPECT_EQ(m_Device.GetState()->m_strSavedFile, saved);
    EXPECT_EQ(m_Device.GetState()->m_iSavedType, 5);
    EXPECT_TRUE(m_Device.StopRecording());
    EXPECT_EQ(Rows().size(), 1U);
}

TEST_F(RecordRows, LinkRecordingsAndDestroyedDevicesWriteNone)
{
    const auto link = MakeDevice();
    OpenAndReply(*link);
    link->StartRecord(0);
    SendAndWait(0, 5);
    link->StopRecord(0);
    SendAndWait(5, 6);
    link->Close();
    ASSERT_EQ(Recordings().size(), 1U);
    {
        CDevice destroyed;
        destroyed.SetName("gone");
        destroyed.SetStatus(STATUS_OPEN);
        EXPECT_TRUE(destroyed.StartRecording(13, 176, 144, 0, ""));
    }
    EXPECT_THAT(Rows(), IsEmpty());
}

// channel-end-shuts-database
TEST_F(RecordRows, EndOfAPunchedChannelShutsTheTableForTheDirectLinkToo)
{
    Record(1);
    ASSERT_EQ(Rows().size(), 1U);
    const auto link = MakeDevice();
    OpenAndReply(*link);
    link->StartRecord(0);
    SendAndWait(0, 5);

    CUdpLink channel(std::make_shared<CDeviceState>(nullptr), nullptr, std::make_shared<CLinkCounters>(), 7, 5);
    channel.Run();  // without a session it ends at once
    EXPECT_FALSE(SelectOldestRecords());
    Record(2);
    EXPECT_EQ(Rows().size(), 1U) << "a row that isn't written goes unnoticed";

    SendAndWait(5, 10);
    link->StopRecord(0);
    SendAndWait(10, 11);
    EXPECT_EQ(link->GetStatus(), STATUS_OPEN);
    link->Close();
    ASSERT_EQ(Recordings().size(), 1U);
    EXPECT_EQ(ReadAvi(Recordings().front()).size(), 10U);
}

}  // namespace
