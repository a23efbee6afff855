// The direct link against a recorder of its own on its two fixed ports.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/links/tcp_links_support.h"

namespace
{

constexpr std::uint32_t UNMARKED = 0xFFFFFFFF;  // damaged beyond reading

class TcpLinks : public CTcpLinksTest, public testing::WithParamInterface<std::int32_t>
{
  protected:
    TcpLinks()
    {
        SetRenderFactory([this] {
            return MakeListeningRender([this](HWND, const recorder::Picture& picture) {
                const auto mark = recorder::ReadMark(picture);
                const std::lock_guard lock(m_cs);
                m_Numbers.push_back(mark ? mark->picture : UNMARKED);
            });
        });
    }
    // Before what the renderer notes into goes.
    ~TcpLinks() override
    {
        SetRenderFactory({});
        ReleaseRender();
    }

    std::vector<std::uint32_t> Numbers() const
    {
        const std::lock_guard lock(m_cs);
        return m_Numbers;
    }
    std::vector<std::uint32_t> TakeNumbers()
    {
        const std::lock_guard lock(m_cs);
        return std::exchange(m_Numbers, {});
    }

  private:
    mutable std::mutex m_cs;
    std::vector<std::uint32_t> m_Numbers;  // guarded by m_cs; of the pictures shown
};

TEST_P(TcpLinks, ARecordPlaysTheWatchedPicturesAgainAfterTheRecorderWasRestarted)
{
    const std::vector<std::string> keeping{"--store", m_Folder.Path("store")};
    auto recorder = StartRecorder(keeping);
    CTcpRemote live(GetParam(), -1);
    Open(live);
    ASSERT_TRUE(WaitUntil([&] { return Numbers().size() >= 40; }));
    live.Close();
    const auto watched = TakeNumbers();
    ASSERT_EQ(std::ranges::count(watched, UNMARKED), 0) << "every picture shows its number";
    ASSERT_NE(recorder->End(), "");

    recorder = StartRecorder(keeping);
    CTcpRemote played(MODE_PLAYBACK, 1);
    Open(played);
    ASSERT_TRUE(WaitUntil([&] { return std::ranges::count(Numbers(), watched.back()) == 1; }));
    played.Close();
    const auto shown = TakeNumbers();
    // A watched picture is missing only where the machine was too slow to make it in both codecs.
    EXPECT_TRUE(std::ranges::is_sorted(shown));
    if (GetParam() == MODE_LIVE_MPEG4) {
        EXPECT_FALSE(std::ranges::search(shown, watched).empty());
    }
    EXPECT_EQ(std::ranges::count(shown, UNMARKED), 0);
    EXPECT_NE(recorder->End(), "");
}

INSTANTIATE_TEST_SUITE_P(Modes, TcpLinks, testing::Values(MODE_LIVE_MPEG4, MODE_LIVE_H264));

}  // namespace
