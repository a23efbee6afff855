#include "recorder/media/FileSource.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace recorder
{

FileSource::FileSource(std::string spec, const SceneSetup& setup, int channel, const std::atomic<bool>& stop)
    : m_Spec(std::move(spec)),
      m_Setup(setup),
      m_Channel(channel),
      m_Stop(stop),
      m_Overlay(setup, channel),
      m_Fit(setup.width, setup.height),
      m_Times(1.0 / setup.rate)
{
    if (!m_Shown) throw std::runtime_error("no memory for a source");
    try {
        Open(-1);
    } catch (const std::exception& e) {
        Fail(-1, e.what());
    }
}

void FileSource::Read(int64_t pictureNumber, Picture& picture)
{
    try {
        if (!m_Input && pictureNumber >= m_RetryAt) Open(pictureNumber);
        if (m_Input && m_OpenedAt < 0) m_OpenedAt = pictureNumber;
        const bool skipped = pictureNumber > m_Latest + 1;
        if (m_Input)
            Advance(static_cast<double>(pictureNumber - m_OpenedAt) / m_Setup.rate, skipped || m_Behind);
    } catch (const std::exception& e) {
        Fail(pictureNumber, e.what());
    }
    m_Latest = pictureNumber;
    if (m_Input)
        m_Overlay.Draw(pictureNumber, m_Fit.Fit(*m_Shown).data(), picture);
    else
        m_Overlay.DrawNotice(pictureNumber, m_Notice, picture);
}

void FileSource::Open(int64_t picture)
{
    m_Input = std::make_unique<AvInput>(m_Spec, [this] { return m_Stop.load(std::memory_order_relaxed); });
    m_Times = PictureTimes(1.0 / m_Setup.rate);
    m_OpenedAt = picture;
    m_Behind.reset();
    Next();
}

void FileSource::Fail(int64_t picture, const std::string& why)
{
    m_Input.reset();
    m_RetryAt = picture + int64_t{RETRY_SECONDS} * m_Setup.rate;
    if (m_Notice != why && !m_Stop) SaySource(m_Channel, m_Spec, why);  // what is to end has not failed
    m_Notice = why;
}

void FileSource::Advance(double seconds, bool catchesUp)
{
    // A long time unwatched isn't made up for, nor are pictures that come slower than their times say, as out
    // of a pipe, or of a film that is too much for this machine: the source goes on from where it is, and what
    // comes is shown. Who comes nearer from picture to picture, as a pipe after a pause, is given the time.
    constexpr double MOST_LATE = 2;
    constexpr double LEAST_SPEED = 1.25;  // with which catching up is worth while
    using Clock = std::chrono::steady_clock;
    const double interval = 1.0 / m_Setup.rate;
    const double mostCatchingUp = std::max(0.1, interval);
    const auto begun = Clock::now();
    const double from = m_Times.Latest();
    const auto hasTime = [&] {
        const double spent = std::chrono::duration<double>(Clock::now() - begun).count();
        const bool gains = spent < interval / 2 || m_Times.Latest() - from >= LEAST_SPEED * spent;
        return spent < mostCatchingUp && gains;
    };
    const std::optional<double> before = std::exchange(m_Behind, {});
    while (m_Times.Latest() + interval / 2 < seconds) {
        const double late = seconds - m_Times.Latest();
        const bool inTime = !catchesUp || hasTime();
        if (!inTime && late <= MOST_LATE && (!before || late <= *before - interval)) {
            m_Behind = late;
            break;
        }
        if (!inTime || late > MOST_LATE) {
            m_OpenedAt += static_cast<int64_t>(late * m_Setup.rate);
            seconds = m_Times.Latest();
            break;
        }
        ShowLatest();
        Next();
    }
    if (m_Times.Latest() - interval / 2 <= seconds) ShowLatest();
}

void FileSource::ShowLatest()
{
    av_frame_unref(m_Shown.get());
    CheckAv(av_frame_ref(m_Shown.get(), &m_Input->Frame()), "hold a picture");
}

void FileSource::Next()
{
    if (!m_Input->Next()) {
        m_Input->Restart();
        m_Times.Restart();
    }
    m_Times.Next(m_Input->Stamp(), m_Input->Lasts());
}

}  // namespace recorder
