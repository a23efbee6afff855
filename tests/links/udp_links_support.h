#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/os/paths.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"
#include "render/CellPool.h"
#include "tests/links/recorder_support.h"

inline constexpr double ENOUGH_DB = 30;
inline constexpr std::int32_t FIRST_CELL = 1000;

/// The pictures that came to one cell.
struct Seen {
    std::vector<recorder::Mark> marks;  // in the order of their showing
    std::size_t unmarked = 0;           // damaged beyond reading
    recorder::Picture last;             // the last one with a mark
};

class UdpLinksTest : public testing::Test
{
  protected:
    UdpLinksTest()
    {
        m_Folder.Write("config/system.ini", "[System]\nLanguage=eng\nStandardChroma=1\n");
        m_Folder.Write("config/eng.ini", "[String]\nIDS_RemoteDevice=Channel %d\n");
        SetModuleDirectory(m_Folder.System());
        SetRenderFactory([this] {
            return MakeListeningRender(
                [this](HWND window, const recorder::Picture& picture) { OnPicture(window, picture); });
        });
    }
    ~UdpLinksTest() override
    {
        m_pFolder.reset();
        m_pStation.reset();
        ReleaseRender();
        SetRenderFactory({});
        RemoveAllCells();
        SetModuleDirectory("");
        // Whatever a sanitizer finds in the recorder shows in how it ends.
        if (m_pRecorder && m_pRecorder->IsRunning()) {
            EXPECT_NE(m_pRecorder->End(), "") << "the recorder did not end in order";
        }
    }

    void OnPicture(HWND window, const recorder::Picture& picture)
    {
        const auto mark = recorder::ReadMark(picture);
        const std::lock_guard lock(m_cs);
        Seen& seen = m_Seen[static_cast<std::int32_t>(window)];
        if (!mark) {
            ++seen.unmarked;
            return;
        }
        seen.marks.push_back(*mark);
        seen.last = picture;
    }
    Seen SeenOf(std::int32_t channel)
    {
        const std::lock_guard lock(m_cs);
        return m_Seen[FIRST_CELL + channel];
    }
    std::size_t MarksOf(std::int32_t channel)
    {
        const std::lock_guard lock(m_cs);
        return m_Seen[FIRST_CELL + channel].marks.size();
    }

    void Start(const std::vector<std::string>& arguments, const std::string& size = "176x144")
    {
        std::vector<std::string> all{
            "--id", "4711", "--mark", "--size", size, "--clock", "2026-11-21 08:40:12"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        m_pRecorder = std::make_unique<CRecorderProcess>(all);
    }

    /// Logs on to the recorder and takes its channels.
    void LogOn(bool sharedReceive)
    {
        m_pStation = std::make_unique<CUdpRemoteStation>(m_pRecorder->GetEndpoints(),
                                                         m_pRecorder->SessionOptionsOf(m_Clock, sharedReceive));
        ASSERT_TRUE(m_pStation->Connect("4711", 10060, 10061));
        ASSERT_TRUE(m_pStation->GetSession()->IsConnected());
        ASSERT_TRUE(m_pStation->Logon("user", "secret"));
        m_pFolder = m_pStation->EnumDevices();
        const auto walk = m_pFolder->CreateIterator();
        for (; walk->HasNext(); walk->Next())
            m_Channels.push_back(dynamic_cast<CUdpRemote*>(walk->CurrentItem()));
    }

    void Open(CUdpRemote& channel)
    {
        channel.SetRenderWnd(HWND{FIRST_CELL + channel.m_iDevID});
        channel.Open();
    }

    /// Whether the last picture that came to the channel's cell is the one that the recorder drew under its
    /// mark.
    void ExpectLastAsDrawn(std::int32_t channel)
    {
        const Seen seen = SeenOf(channel);
        ASSERT_FALSE(seen.marks.empty());
        const auto mark = seen.marks.back();
        EXPECT_EQ(mark.channel, channel);
        const auto drawn = recorder::DrawScene(m_pRecorder->Scene(), channel, mark.picture);
        ASSERT_EQ(seen.last.width, drawn.width);
        ASSERT_EQ(seen.last.height, drawn.height);
        EXPECT_GE(recorder::LumaPsnr(seen.last, drawn), ENOUGH_DB) << "picture " << mark.picture;
    }

    CTestFolder m_Folder;
    CFastClock m_Clock{30};
    std::mutex m_cs;
    std::map<std::int32_t, Seen> m_Seen;  // guarded by m_cs
    std::unique_ptr<CRecorderProcess> m_pRecorder;
    std::unique_ptr<CUdpRemoteStation> m_pStation;
    std::unique_ptr<CDevices> m_pFolder;
    std::vector<CUdpRemote*> m_Channels;
};
