// A process that is killed while it records two channels: what it leaves can be read.

#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <random>
#include <thread>

#include "codec/codec.h"
#include "model/NodeModel.h"
#include "model/settings/GlobalSetting.h"
#include "model/tree/Observer.h"
#include "platform/os/clock.h"
#include "tests/links/drawing_support.h"
#include "tests/links/recordings_support.h"
#include "tests/links/tcp_links_support.h"
#include "tests/record/record_support.h"

namespace
{

constexpr std::size_t CHANNELS = 2;
constexpr std::size_t FILE_LIMIT = 32;       // recordings of one channel in one round
constexpr std::size_t PICTURE_LIMIT = 2048;  // pictures of one recording
constexpr std::uint32_t SHORT_ROLLOVER_MS = 1000;
constexpr std::uint32_t LOSS_LIMIT_MS = 2000;

/// What the recording process has told of one file before it was killed.
struct ToldFile {
    char path[300];
    std::atomic<std::uint32_t> pictures;                // from the first key picture on
    std::atomic<std::uint32_t> written[PICTURE_LIMIT];  // when, milliseconds
};
struct ToldChannel {
    std::atomic<std::uint32_t> files;  // the last one is open
    ToldFile file[FILE_LIMIT];
};
using ToldRound = std::array<ToldChannel, CHANNELS>;

/// Memory that outlives the process which writes into it.
class CSharedNotes
{
  public:
    CSharedNotes()
        : m_p(::mmap(nullptr, sizeof(ToldRound), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (m_p == MAP_FAILED) throw std::runtime_error("no shared memory");
    }
    ~CSharedNotes() { ::munmap(m_p, sizeof(ToldRound)); }
    CSharedNotes(const CSharedNotes&) = delete;
    CSharedNotes& operator=(const CSharedNotes&) = delete;

    ToldRound& Round() const { return *static_cast<ToldRound*>(m_p); }
    void Clear() const { std::memset(m_p, 0, sizeof(ToldRound)); }

  private:
    void* const m_p;
};

/// The process that is going to be killed: two channels that record and roll over, and a third device that
/// writes recordings with rows of the table, one after the other.
class CRecordingProcess final : public CObserver
{
  public:
    CRecordingProcess(ToldRound& told, const std::string& drive) : m_Told(told)
    {
        m_Drives.Add('d', drive, 5000);
        CGlobalSetting& setting = *CNodeModel::GetInstance()->GetGlobalSetting();
        setting.m_bsStorageDrive.reset();
        setting.m_bsStorageDrive[3] = true;
        AttachObserver(this);
        SetRenderFactory([this] {
            return MakeDrawingRender([this](HWND window, const CodecFrame& frame) {
                OnDrawn(static_cast<std::size_t>(window) - 1, frame);
            });
        });
    }

    [[noreturn]] void Run(const std::string& address)
    {
        for (std::size_t i = 0; i < CHANNELS; ++i) {
            CTcpRemote& device = m_Devices[i];
            m_States[i] = device.GetState();
            device.SetName("cam" + std::to_string(i));
            device.m_strNetAddress = address;
            device.m_iDevID = static_cast<std::int32_t>(i);
            device.SetRenderWnd(HWND{static_cast<std::int32_t>(i) + 1});
            device.GetSetup().rolloverMs = SHORT_ROLLOVER_MS;
            device.Open();
            device.StartRecord(0);
        }
        const std::vector<std::uint8_t> payload(2000, 0xA5);
        CDevice rows;
        rows.SetName("rows");
        rows.SetStatus(STATUS_OPEN);
        for (;;) {
            rows.StartRecording(13, 176, 144, 0, "");
            for (int i = 0; i < 5; ++i)
                rows.WriteVideo(payload.data(), static_cast<std::int32_t>(payload.size()), 1);
            while (!rows.StopRecording())
                std::this_thread::yield();
            SystemClock().Sleep(20);
        }
    }

  private:
    void Update(CNode* node, std::string message) override
    {
        if (message != "IDS_RecordStarted") return;
        for (std::size_t i = 0; i < CHANNELS; ++i) {
            if (node != &m_Devices[i]) continue;
            ToldChannel& channel = m_Told[i];
            if (channel.files == FILE_LIMIT) ::_exit(1);
            const std::string path = HostPath(m_States[i]->m_strRecordFile);
            path.copy(channel.file[channel.files].path, sizeof ToldFile::path - 1);
            ++channel.files;
        }
    }
    void OnDrawn(std::size_t i, const CodecFrame& frame)
    {
        ToldChannel& channel = m_Told[i];
        if (m_States[i]->m_iStatus != STATUS_RECORDING || channel.files == 0) return;
        ToldFile& file = channel.file[channel.files - 1];
        if (file.pictures == PICTURE_LIMIT) ::_exit(1);
        if (file.pictures == 0 && frame.key_frame == 0) return;
        file.written[file.pictures] = SystemClock().TickCount();
        ++file.pictures;
    }

    ToldRound& m_Told;
    CTestDrives m_Drives;
    std::array<CTcpRemote, CHANNELS> m_Devices;
    std::array<std::shared_ptr<CDeviceState>, CHANNELS> m_States;  // for the link threads
};

class TcpKill : public CTcpLinksTest
{
  protected:
    TcpKill() { std::filesystem::copy_file(WATCHWALL_DATABASE, m_Folder.Path("dvr.db")); }

    // Waits until the process has recorded on both channels; false when it has ended.
    bool WaitForRecordings(pid_t process)
    {
        bool ended = false;
        const bool recorded = WaitUntil([&] {
            ended = ::waitpid(process, nullptr, WNOHANG) != 0;
            return ended || std::ranges::all_of(m_Notes.Round(), [](const ToldChannel& channel) {
                       return channel.files > 0 && channel.file[0].pictures > 0;
                   });
        });
        return recorded && !ended;
    }
    void ExpectRecordings()
    {
        for (const ToldChannel& channel : m_Notes.Round()) {
            for (std::uint32_t i = 0; i < channel.files; ++i)
                ExpectRecording(channel.file[i], i + 1 == channel.files);
        }
        // Files that were not told of: a kill may come between the file's making and its header.
        for (const char* const folder : {"rec", "drive-d"}) {
            for (const std::string& file : FindRecordings(m_Folder.Path(folder))) {
                const std::string bytes = m_Folder.Read(file.substr(m_Folder.Path().size() + 1)).value_or("");
                if (bytes.find("movi") == std::string::npos) continue;
                EXPECT_TRUE(ProbeFile(file).opens) << file;
                ++m_Files;
            }
        }
    }
    void ExpectRecording(const ToldFile& told, bool open)
    {
        const ProbedFile probed = ProbeFile(told.path);
        ASSERT_TRUE(probed.opens) << told.path;
        const std::uint32_t pictures = told.pictures;
        if (!open) {
            EXPECT_EQ(probed.packets, pictures) << told.path;
            return;
        }
        // The last packet may be there in part.
        const std::size_t whole = probed.packets - std::min<std::size_t>(probed.packets, 1);
        if (whole >= pictures) return;
        // By the pictures' own times: some come between a look at the clock and the kill.
        const std::uint32_t lost = told.written[pictures - 1] - told.written[whole];
        EXPECT_LE(lost, LOSS_LIMIT_MS) << told.path << ": " << whole << " of " << pictures << " pictures";
        m_ulLongestLoss = std::max(m_ulLongestLoss, lost);
    }
    void ExpectWholeTable()
    {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(m_Folder.Path("dvr.db").c_str(), &database), SQLITE_OK);
        std::vector<std::string> cells;
        const auto collect = [](void* to, int count, char** values, char** /*names*/) {
            for (int i = 0; i < count; ++i)
                static_cast<std::vector<std::string>*>(to)->push_back(values[i] ? values[i] : "NULL");
            return 0;
        };
        EXPECT_EQ(
            sqlite3_exec(database,
                         "pragma integrity_check; select count(*) from record; "
                         "select count(*) from record where name is not 'rows' or file_path not like "
                         "'D:%.avi' or date < 20000101 or time is null or length is null or type is not 0",
                         collect, &cells, nullptr),
            SQLITE_OK);
        sqlite3_close(database);
        ASSERT_EQ(cells.size(), 3U);
        EXPECT_EQ(cells[0], "ok");
        EXPECT_EQ(cells[2], "0") << "rows that are not whole";
        m_Rows = std::stoul(cells[1]);
    }

    const CSharedNotes m_Notes;
    std::size_t m_Files = 0;
    std::size_t m_Rows = 0;
    std::uint32_t m_ulLongestLoss = 0;
};

TEST_F(TcpKill, WhatWasRecordedCanBeReadAndAtMostTwoSecondsAreLost)
{
    const char* const asked = std::getenv("WATCHWALL_KILL_ROUNDS");
    const int rounds = asked != nullptr ? std::atoi(asked) : 4;
    const auto recorder = StartRecorder({"--gop", "10"});
    std::filesystem::create_directory(m_Folder.Path("drive-d"));
    std::minstd_rand random(static_cast<unsigned>(::getpid()));
    std::size_t rollovers = 0;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        m_Notes.Clear();
        std::filesystem::remove_all(m_Folder.Path("rec"));
        std::filesystem::remove_all(m_Folder.Path("drive-d/DVR Files"));
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            CRecordingProcess process(m_Notes.Round(), m_Folder.Path("drive-d"));
            process.Run(m_strAddress);
        }
        // Some kills fall into the beginning, where headers are written; the others behind up to two rollovers.
        const bool early = round % 4 == 3;
        EXPECT_TRUE(early || WaitForRecordings(child)) << "nothing is recorded";
        ::usleep(static_cast<useconds_t>(1000 * (random() % (early ? 600 : 2200))));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child) << "it was to be killed, not to end by itself";
        EXPECT_TRUE(WIFSIGNALED(status));
        ExpectRecordings();
        ExpectWholeTable();
        for (const ToldChannel& channel : m_Notes.Round())
            rollovers += channel.files > 0 ? channel.files - 1 : 0;
    }
    std::cout << rounds << " kills, " << rollovers << " rollovers, " << m_Files << " files with a header, "
              << m_Rows << " rows, longest loss " << m_ulLongestLoss << " ms\n";
}

}  // namespace
