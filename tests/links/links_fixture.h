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
struct XSeen {
    std::vector<recorder::XMark> m_Marks;  // in the order of their showing
    std::size_t m_ulUnmarked = 0;          // damaged beyond reading
    recorder::XPicture m_Last;             // the last one with a mark
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
                [this](HWND window, const recorder::XPicture& picture) { OnPicture(window, picture); });
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

    void OnPicture(HWND window, const recorder::XPicture& picture)
    {
        const auto mark = recorder::ReadMark(picture);
        const std::lock_guard lock(m_cs);
        XSeen& seen = m_Seen[static_cast<std::int32_t>(window)];
        if (!mark) {
            ++seen.m_ulUnmarked;
            return;
        }
        seen.m_Marks.push_back(*mark);
        seen.m_Last = picture;
    }
    XSeen Seen(std::int32_t channel)
    {
        const std::lock_guard lock(m_cs);
        return m_Seen[FIRST_CELL + channel];
    }
    std::size_t MarksOf(std::int32_t channel)
    {
        const std::lock_guard lock(m_cs);
        return m_Seen[FIRST_CELL + channel].m_Marks.size();
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
        m_pStation = std::make_unique<CUdpRemoteStation>(m_pRecorder->Endpoints(),
                                                         m_pRecorder->SessionOptions(m_Clock, sharedReceive));
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
        const XSeen seen = Seen(channel);
        ASSERT_FALSE(seen.m_Marks.empty());
        const auto mark = seen.m_Marks.back();
        EXPECT_EQ(mark.m_iChannel, channel);
        const auto drawn = recorder::DrawScene(m_pRecorder->Scene(), channel, mark.m_ulPicture);
        ASSERT_EQ(seen.m_Last.m_iWidth, drawn.m_iWidth);
        ASSERT_EQ(seen.m_Last.m_iHeight, drawn.m_iHeight);
        EXPECT_GE(recorder::LumaPsnr(seen.m_Last, drawn), ENOUGH_DB) << "picture " << mark.m_ulPicture;
    }

    CTestFolder m_Folder;
    CFastClock m_Clock{30};
    std::mutex m_cs;
    std::map<std::int32_t, XSeen> m_Seen;  // guarded by m_cs
    std::unique_ptr<CRecorderProcess> m_pRecorder;
    std::unique_ptr<CUdpRemoteStation> m_pStation;
    std::unique_ptr<CDevices> m_pFolder;
    std::vector<CUdpRemote*> m_Channels;
};
