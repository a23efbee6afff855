// A live source's playlist, to which segments of a second each are added when the test says so.

#include <sys/socket.h>

#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "recorder/media/LiveSource.h"
#include "tests/recorder/media/source_support.h"
#include "tests/support/test_folder.h"

namespace
{

using namespace recorder;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds PICTURE{40};
// The packet that is kept waiting, how long, and how many behind it are watched.
constexpr int STALL = 10;
constexpr milliseconds LONG{1500};
constexpr int AFTER = 50;
// What those take at their pace, and LONG less when they make up for it, lie as far from this.
constexpr milliseconds BETWEEN = AFTER * PICTURE - LONG / 2;

// Gives the files of a folder whole, and offers no parts of them.
class CPlainServer
{
  public:
    explicit CPlainServer(const CTestFolder& folder) : m_Folder(folder) {}
    ~CPlainServer()
    {
        ::shutdown(m_Acceptor.native_handle(), SHUT_RDWR);
        m_Thread.join();
    }
    CPlainServer(const CPlainServer&) = delete;
    CPlainServer& operator=(const CPlainServer&) = delete;
    std::string Url(const std::string& name) const
    {
        return "http://127.0.0.1:" + std::to_string(m_Acceptor.local_endpoint().port()) + "/" + name;
    }

  private:
    void Run()
    {
        for (;;) {
            asio::error_code error;
            asio::ip::tcp::socket socket = m_Acceptor.accept(error);
            if (error) return;
            std::string request;
            asio::read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n", error);
            const size_t name = request.find('/') + 1;
            const std::string body =
                m_Folder.Read(request.substr(name, request.find(' ', name) - name)).value_or("");
            const std::string head =
                "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size());
            asio::write(socket, asio::buffer(head + "\r\n\r\n" + body), error);
        }
    }

    const CTestFolder& m_Folder;
    asio::io_context m_Context;
    asio::ip::tcp::acceptor m_Acceptor{m_Context, {asio::ip::address_v4::loopback(), 0}};
    std::thread m_Thread{[this] { Run(); }};
};

class GrowingPlaylistTest : public testing::Test, protected IPackets
{
  protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(WriteBlueFilm(m_Folder.Path("whole.m3u8"),
                                              "-t 8 -c:v libx264 -bf 0 -g 25 -f hls -hls_time 1 "
                                              "-hls_list_size 0 -hls_segment_filename " +
                                                  m_Folder.Path("s%d.ts")));
    }
    // The playlist has segments up to this one now, and no end unless said.
    void Tell(int segments, const std::string& end = "", int first = 0) const
    {
        std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:" +
                           std::to_string(first) + "\n";
        for (int i = first; i < segments; ++i)
            text += "#EXTINF:1.0,\ns" + std::to_string(i) + ".ts\n";
        m_Folder.Write("new", text + end);
        std::filesystem::rename(m_Folder.Path("new"), m_Folder.Path("live.m3u8"));
    }
    std::unique_ptr<LiveSource> Open(const std::string& name = "live.m3u8")
    {
        return OpenUrl(m_Folder.Path(name));
    }
    std::unique_ptr<LiveSource> OpenFromPlainServer()
    {
        m_pServer = std::make_unique<CPlainServer>(m_Folder);
        return OpenUrl(m_pServer->Url("live.m3u8"));
    }
    std::unique_ptr<LiveSource> OpenUrl(const std::string& url)
    {
        SceneSetup setup;
        setup.width = 128;
        setup.height = 96;
        LiveSource::Times times;
        times.deadline = seconds(20);
        IPackets* const packets = this;
        return std::make_unique<LiveSource>(url, setup, 0, NEVER_STOP, times, packets);
    }
    void StallAt(int packet, milliseconds time)
    {
        m_iStallAt = packet;
        m_Stall = time;
    }
    // How long it took from that packet to this one. A failure where that doesn't come.
    milliseconds Took(int from, int to) const
    {
        EXPECT_TRUE(Comes(from));
        const auto begun = Clock::now();
        EXPECT_TRUE(Comes(to));
        return std::chrono::duration_cast<milliseconds>(Clock::now() - begun);
    }
    // False when so many packets haven't come within ten seconds.
    bool Comes(int packets) const
    {
        for (const auto end = Clock::now() + seconds(10); m_iCount < packets && Clock::now() < end;)
            std::this_thread::sleep_for(milliseconds(2));
        return m_iCount >= packets;
    }

    void WriteFilm(const std::string& name, const std::string& encoding) const
    {
        WriteBlueFilm(m_Folder.Path(name), encoding);
    }
    void Write(const std::string& name, const std::string& text) const { m_Folder.Write(name, text); }

    std::atomic<int> m_iOpened = 0;

  private:
    void Opened(const AVCodecParameters& /*codec*/) override { ++m_iOpened; }
    bool OnPacket(const AVPacket& /*packet*/) override
    {
        if (m_iCount + 1 == m_iStallAt) std::this_thread::sleep_for(m_Stall);
        ++m_iCount;
        return false;
    }

    CTestFolder m_Folder;
    std::unique_ptr<CPlainServer> m_pServer;  // null until it is asked for
    int m_iStallAt = -1;
    milliseconds m_Stall{};
    std::atomic<int> m_iCount = 0;
};

// Else its pictures would be older by each time that its server is silent.
TEST_F(GrowingPlaylistTest, ComesToTheNewestAfterAWait)
{
    Tell(6);
    StallAt(STALL, LONG);
    const auto source = Open();
    EXPECT_LT(Took(STALL, STALL + AFTER), BETWEEN);
}

// A manifest, the other kind of playlist; its type tells that more will come.
TEST_F(GrowingPlaylistTest, AManifestThatGrowsComesToTheNewestToo)
{
    ASSERT_NO_FATAL_FAILURE(WriteFilm("whole.mpd",
                                      "-t 6 -c:v libx264 -bf 0 -g 25 -f dash -seg_duration 1 "
                                      "-init_seg_name init.m4s -media_seg_name '$Number$.m4s'"));
    Write("live.mpd", R"(<?xml version="1.0" encoding="utf-8"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" profiles="urn:mpeg:dash:profile:isoff-live:2011" type="dynamic"
     availabilityStartTime="2020-01-01T00:00:00Z" minimumUpdatePeriod="PT1S" minBufferTime="PT1S">
<Period id="0" start="PT0S"><AdaptationSet contentType="video">
<Representation id="0" mimeType="video/mp4" codecs="avc1.64000a" bandwidth="9000" width="64" height="48">
<SegmentTemplate timescale="25" initialization="init.m4s" media="$Number$.m4s" startNumber="1">
<SegmentTimeline><S t="0" d="25" r="5"/></SegmentTimeline>
</SegmentTemplate></Representation></AdaptationSet></Period></MPD>
)");
    StallAt(STALL, LONG);
    const auto source = Open("live.mpd");
    EXPECT_LT(Took(STALL, STALL + AFTER), BETWEEN);
}

TEST_F(GrowingPlaylistTest, WithItsEndItIsAFilmThatGoesOnFromThere)
{
    Tell(6, "#EXT-X-ENDLIST\n");
    StallAt(STALL, LONG);
    const auto source = Open();
    EXPECT_GE(Took(STALL, STALL + AFTER), BETWEEN);
}

// Which doesn't tell how long it is either.
TEST_F(GrowingPlaylistTest, ABareStreamIsAFilmToo)
{
    ASSERT_NO_FATAL_FAILURE(WriteFilm("bare.h264", "-t 4 -c:v libx264 -bf 0"));
    StallAt(STALL, LONG);
    const auto source = Open("bare.h264");
    EXPECT_GE(Took(STALL, STALL + AFTER), BETWEEN);
}

TEST_F(GrowingPlaylistTest, GoesOnAtItsPaceWhereNoMoreOfItWasThere)
{
    constexpr milliseconds PAUSE{1200};  // of the source, beside the picture's own time
    Tell(3);
    const auto source = Open();
    ASSERT_TRUE(Comes(72));
    std::this_thread::sleep_for(PAUSE);
    Tell(4);
    ASSERT_TRUE(Comes(96));
    std::this_thread::sleep_for(PAUSE);
    Tell(6);
    // A segment's pictures would come at once.
    EXPECT_GE(Took(104, 124), 10 * PICTURE);
}

// Whoever waits for it finds that by then as much has gone again.
TEST_F(GrowingPlaylistTest, WhatHasGoneFromTheListIsNotWaitedFor)
{
    Tell(3);
    const auto source = Open();
    ASSERT_TRUE(Comes(72));
    constexpr int FIRST = 6;  // three seconds later
    Tell(8, "", FIRST);
    EXPECT_LT(Took(72, 100), seconds(3));
}

// As of those that make it anew for each who asks.
TEST_F(GrowingPlaylistTest, GoesAtItsPaceAlsoFromAServerThatOffersNoParts)
{
    Tell(6);
    const auto source = OpenFromPlainServer();
    EXPECT_GE(Took(STALL, STALL + AFTER), BETWEEN);
}

TEST_F(GrowingPlaylistTest, WithItsEndItBeginsAnewAlsoFromAServerThatOffersNoParts)
{
    Tell(1, "#EXT-X-ENDLIST\n");
    const auto source = OpenFromPlainServer();
    ASSERT_TRUE(Comes(STALL + AFTER));  // the list has half as many
    EXPECT_EQ(m_iOpened, 1);
}

}  // namespace
