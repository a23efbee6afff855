#include "recorder/media/LiveSource.h"

#include <stdexcept>
#include <utility>

#include "recorder/media/PictureTimes.h"

namespace recorder
{

using std::chrono::milliseconds;

std::string AgeText(milliseconds age, milliseconds shownFrom)
{
    if (age < shownFrom) return {};
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(age).count();
    if (seconds < 120) return std::to_string(seconds) + " s old";
    return std::to_string(seconds / 60) + " min old";
}

LiveSource::LiveSource(std::string spec, const SceneSetup& setup, int channel, const std::atomic<bool>& stop)
    : LiveSource(std::move(spec), setup, channel, stop, Times())
{
}

LiveSource::LiveSource(std::string spec, const SceneSetup& setup, int channel, const std::atomic<bool>& stop,
                       const Times& times, IPackets* packets)
    : m_Spec(std::move(spec)),
      m_Channel(channel),
      m_Times(times),
      m_PictureSeconds(1.0 / setup.rate),
      m_Packets(packets),
      m_Stop(stop),
      m_Overlay(setup, channel),
      m_Fit(setup.width, setup.height)
{
    if (!m_Shown || !m_Newest) throw std::runtime_error("no memory for a source");
    m_Asked = Clock::now();
    m_Thread = std::thread([this] { Run(); });
}

LiveSource::~LiveSource()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_End = true;
    }
    m_Changed.notify_all();
    m_Thread.join();
}

void LiveSource::Read(int64_t pictureNumber, Picture& picture)
{
    const auto now = Clock::now();
    std::string notice;
    milliseconds age{};
    av_frame_unref(m_Shown.get());
    {
        const std::lock_guard lock(m_Mutex);
        m_Asked = now;
        notice = m_Notice;
        age = std::chrono::duration_cast<milliseconds>(now - m_Arrived);
        if (notice.empty() && av_frame_ref(m_Shown.get(), m_Newest.get()) < 0) notice = "no memory";
    }
    if (notice.empty())
        m_Overlay.Draw(pictureNumber, m_Fit.Fit(*m_Shown).data(), picture, AgeText(age, m_Times.ageShownFrom));
    else
        m_Overlay.DrawNotice(pictureNumber, notice, picture);
}

void LiveSource::Run()
{
    Clock::duration pause{};
    do {
        pause = m_Times.retry;
        try {
            m_Since = Clock::now();
            m_Late = false;
            m_Key.reset();
            AvInput input(m_Spec, [this] { return m_Stop || m_End || IsLate(); });
            if (m_Packets != nullptr) m_Packets->Opened(input.Codec());
            input.SetTap([this, &input](const AVPacket& packet) { OnPacket(input, packet); });
            Play(input);
            pause =
                std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(PictureTimes::STILL));
        } catch (const std::exception& e) {
            if (m_Stop || m_End) return;
            Fail(m_Late ? "no picture for " + std::to_string(m_Times.deadline.count() / 1000) + " s"
                        : e.what());
        }
    } while (Wait(Clock::now() + pause));
}

// Until it fails, is to end, or had a single image. A file that lies elsewhere is played at its pace and
// restarted; what its server, or this machine, was late with isn't made up for beyond MOST_LATE. Where it
// grows, its pictures would be older after each time: there it is, until the next one has to be waited for.
// What had gone from it isn't waited for either: meanwhile as much would go again.
void LiveSource::Play(AvInput& input)
{
    constexpr milliseconds MOST_LATE{500};
    constexpr milliseconds MOST_LEFT_OUT{1'000};
    auto begun = Clock::now();
    bool makesUp = false;
    PictureTimes times(m_PictureSeconds);
    for (int64_t shown = 0;; ++shown) {
        const auto asked = Clock::now();
        if (!input.Next()) {
            if (shown == 1) return;
            if (!input.IsFile()) throw std::runtime_error("the source has ended");
            input.Restart();
            times.Restart();
        }
        if (input.IsFile()) {
            times.Next(input.Stamp(), input.Lasts());
            const auto due = begun + std::chrono::duration_cast<Clock::duration>(
                                         std::chrono::duration<double>(times.Latest()));
            const auto now = Clock::now();
            const bool late = now - due > MOST_LATE;
            const bool hasNone = makesUp && now - asked > MOST_LATE;
            makesUp = late && input.Grows() && !hasNone;
            if (late && !makesUp) begun += now - due;
            const auto lasts = std::chrono::duration<double>(input.Lasts());
            if (input.Grows() && due - now > MOST_LEFT_OUT + lasts)
                begun -= due - now;
            else if (!Wait(due))
                return;
        }
        Publish(input.Frame());
    }
}

// Each key picture decides for those that build on it: were it decoded alone, the next viewer would wait
// for one more. The first one doesn't, since there may be no other. A source whose pictures are left out isn't
// silent, however rare its key pictures are.
void LiveSource::OnPacket(AvInput& input, const AVPacket& packet)
{
    // What a parser still held of a source that is given up tells nothing about it.
    if (m_Late) return;
    const auto now = Clock::now();
    if ((packet.flags & AV_PKT_FLAG_KEY) != 0) {
        input.SetKeysOnly(m_Key && !input.IsFile() && IsIdle());
        m_KeysApart = m_Key ? now - *m_Key : Clock::duration::max();
        m_Key = now;
    }
    if (input.IsKeysOnly()) m_Since = now;
    if (m_Packets == nullptr || !m_Packets->OnPacket(packet) || m_KeysApart < m_Times.ageShownFrom) return;
    // They may go over to what is re-encoded at any time, which is to go on from here; where the latest key
    // picture is never old, it does for that.
    const std::lock_guard lock(m_Mutex);
    m_Asked = now;
}

bool LiveSource::IsIdle()
{
    const std::lock_guard lock(m_Mutex);
    return Clock::now() - m_Asked >= m_Times.idleAfter;
}

void LiveSource::Publish(const AVFrame& frame)
{
    m_Since = Clock::now();
    const std::lock_guard lock(m_Mutex);
    av_frame_unref(m_Newest.get());
    if (av_frame_ref(m_Newest.get(), &frame) < 0) throw std::runtime_error("no memory for a picture");
    m_Arrived = m_Since;
    m_Notice.clear();
}

void LiveSource::Fail(const std::string& why)
{
    const std::lock_guard lock(m_Mutex);
    if (m_Notice != why) SaySource(m_Channel, m_Spec, why);
    m_Notice = why;
    av_frame_unref(m_Newest.get());
}

// Once late it stays so: a parser may give one more picture out of what it holds.
bool LiveSource::IsLate()
{
    m_Late = m_Late || Clock::now() - m_Since >= m_Times.deadline;
    return m_Late;
}

// False when the source is to end.
bool LiveSource::Wait(Clock::time_point until)
{
    std::unique_lock lock(m_Mutex);
    return !m_Changed.wait_until(lock, until, [this] { return m_End || m_Stop; });
}

}  // namespace recorder
