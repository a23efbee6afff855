#include "recorder/media/LiveSource.h"

#include <stdexcept>
#include <utility>

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

CLiveSource::CLiveSource(std::string spec, const XSceneSetup& setup, int iChannel,
                         const std::atomic<bool>& bStop)
    : CLiveSource(std::move(spec), setup, iChannel, bStop, XTimes())
{
}

CLiveSource::CLiveSource(std::string spec, const XSceneSetup& setup, int iChannel,
                         const std::atomic<bool>& bStop, const XTimes& times, IPackets* pPackets)
    : m_strSpec(std::move(spec)),
      m_iChannel(iChannel),
      m_Times(times),
      m_pPackets(pPackets),
      m_bStop(bStop),
      m_Overlay(setup, iChannel),
      m_Fit(setup.m_iWidth, setup.m_iHeight)
{
    if (!m_pShown || !m_pNewest) throw std::runtime_error("no memory for a source");
    m_Asked = Clock::now();
    m_Thread = std::thread([this] { Run(); });
}

CLiveSource::~CLiveSource()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_bEnd = true;
    }
    m_Changed.notify_all();
    m_Thread.join();
}

void CLiveSource::Read(int64_t iPicture, XPicture& picture)
{
    const auto now = Clock::now();
    std::string notice;
    milliseconds age{};
    av_frame_unref(m_pShown.get());
    {
        const std::lock_guard lock(m_Mutex);
        m_Asked = now;
        notice = m_strNotice;
        age = std::chrono::duration_cast<milliseconds>(now - m_Arrived);
        if (notice.empty() && av_frame_ref(m_pShown.get(), m_pNewest.get()) < 0) notice = "no memory";
    }
    if (notice.empty())
        m_Overlay.Draw(iPicture, m_Fit.Fit(*m_pShown).data(), picture, AgeText(age, m_Times.m_AgeShownFrom));
    else
        m_Overlay.DrawNotice(iPicture, notice, picture);
}

void CLiveSource::Run()
{
    do {
        try {
            m_Since = Clock::now();
            m_bLate = false;
            CAvInput input(m_strSpec, [this] { return m_bStop || m_bEnd || IsLate(); });
            if (m_pPackets != nullptr) {
                m_pPackets->Opened(input.Codec());
                input.SetTap([this](const AVPacket& packet) { m_pPackets->OnPacket(packet); });
            }
            Play(input);
        } catch (const std::exception& e) {
            if (m_bStop || m_bEnd) return;
            Fail(m_bLate ? "no picture for " + std::to_string(m_Times.m_Deadline.count() / 1000) + " s"
                         : e.what());
        }
    } while (Wait(Clock::now() + m_Times.m_Retry));
}

// Until it ends or fails. A file that lies elsewhere is played at its pace and begun anew.
void CLiveSource::Play(CAvInput& input)
{
    const auto begun = Clock::now();
    double first = -1;
    double before = 0;  // of earlier rounds
    double time = 0;
    for (;;) {
        if (!input.Next()) {
            if (!input.IsFile()) throw std::runtime_error("the source has ended");
            input.Rewind();
            before += time;
            first = -1;
            if (!input.Next()) throw std::runtime_error("the source has no pictures");
        }
        if (input.IsFile()) {
            const double stamp = input.Stamp().value_or(0);
            if (first < 0) first = stamp;
            time = stamp - first;
            const auto due = begun + std::chrono::duration_cast<Clock::duration>(
                                         std::chrono::duration<double>(before + time));
            if (!Wait(due)) return;
        }
        Publish(input.Frame());
        bool idle = false;
        {
            const std::lock_guard lock(m_Mutex);
            idle = Clock::now() - m_Asked >= m_Times.m_IdleAfter;
        }
        input.SetKeysOnly(idle && !input.IsFile());
    }
}

void CLiveSource::Publish(const AVFrame& frame)
{
    m_Since = Clock::now();
    const std::lock_guard lock(m_Mutex);
    av_frame_unref(m_pNewest.get());
    if (av_frame_ref(m_pNewest.get(), &frame) < 0) throw std::runtime_error("no memory for a picture");
    m_Arrived = m_Since;
    m_strNotice.clear();
}

void CLiveSource::Fail(const std::string& why)
{
    const std::lock_guard lock(m_Mutex);
    if (m_strNotice != why) SaySource(m_iChannel, m_strSpec, why);
    m_strNotice = why;
    av_frame_unref(m_pNewest.get());
}

// Once late it stays so: a parser may give one more picture out of what it holds.
bool CLiveSource::IsLate()
{
    m_bLate = m_bLate || Clock::now() - m_Since >= m_Times.m_Deadline;
    return m_bLate;
}

// False when the source is to end.
bool CLiveSource::Wait(Clock::time_point until)
{
    std::unique_lock lock(m_Mutex);
    return !m_Changed.wait_until(lock, until, [this] { return m_bEnd || m_bStop; });
}

}  // namespace recorder
