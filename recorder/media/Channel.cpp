#include "recorder/media/Channel.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

namespace recorder
{

CPictureMaker::CPictureMaker(const XChannelSetup& setup, int iChannel, const std::atomic<bool>& bStop)
    : m_Setup(setup),
      m_pSource(MakeSource(setup.m_strSource, setup.m_Scene, iChannel, bStop)),
      m_Rate(setup.m_iBitRate, setup.m_Scene.m_iRate, setup.m_iGroup, setup.m_ulMaxBytes)
{
}

void CPictureMaker::Restart()
{
    m_pEncoder.reset();
}

std::shared_ptr<const XCoded> CPictureMaker::Make(int64_t iPicture, bool bKey)
{
    m_pSource->Read(iPicture, m_Picture);
    if (!m_pEncoder) {
        m_pEncoder = std::make_unique<CMpeg4Encoder>(m_Picture.m_iWidth, m_Picture.m_iHeight,
                                                     m_Setup.m_Scene.m_iRate, m_Setup.m_Motion);
        m_iFirst = iPicture;
        m_iNextKey = iPicture;
    }
    bool key = bKey || iPicture >= m_iNextKey;
    int quant = m_Rate.Quant(key);
    auto coded = std::make_shared<XCoded>(m_pEncoder->Encode(m_Picture, iPicture - m_iFirst, key, quant));
    if (coded->m_Bytes.size() > m_Setup.m_ulMaxBytes) {
        // A key picture replaces what the encoder took as its reference.
        ++m_Counts.m_ulCoarser;
        while (coded->m_Bytes.size() > m_Setup.m_ulMaxBytes && quant < CRateControl::MAX_QUANT) {
            quant = std::min(CRateControl::MAX_QUANT, quant + std::max(2, quant / 2));
            *coded = m_pEncoder->Encode(m_Picture, iPicture - m_iFirst, true, quant);
        }
    }
    m_Rate.Coded(coded->m_bKey, coded->m_iQuant, std::min(coded->m_Bytes.size(), m_Setup.m_ulMaxBytes));
    if (coded->m_Bytes.size() > m_Setup.m_ulMaxBytes) {
        ++m_Counts.m_ulTooLarge;
        m_iNextKey = iPicture + 1;
        return nullptr;
    }
    if (coded->m_bKey) {
        m_iNextKey = iPicture + m_Setup.m_iGroup;
        ++m_Counts.m_ulKeys;
    }
    ++m_Counts.m_ulPictures;
    m_Counts.m_ulBytes += coded->m_Bytes.size();
    m_Counts.m_ulLargest = std::max<uint64_t>(m_Counts.m_ulLargest, coded->m_Bytes.size());
    m_Counts.m_iQuant = coded->m_iQuant;
    return coded;
}

CChannel::CChannel(const XChannelSetup& setup, int iChannel, int iLoop, Deliver deliver)
    : m_Setup(setup), m_iChannel(iChannel), m_iLoop(iLoop), m_Deliver(std::move(deliver))
{
}

CChannel::~CChannel()
{
    Stop();
    if (m_Thread.joinable()) m_Thread.join();
}

void CChannel::Prepare()
{
    CPictureMaker maker(m_Setup, m_iChannel, m_bStop);
    for (int64_t picture = 0; picture < m_iLoop && !m_bStop; ++picture) {
        auto coded = maker.Make(picture, false);
        if (coded) m_Loop.push_back(std::move(coded));
    }
}

void CChannel::Start(Clock::time_point start)
{
    m_Thread = std::thread([this, start] { Run(start); });
}

void CChannel::SetWatched(bool bWatched)
{
    {
        const std::lock_guard lock(m_Mutex);
        if (bWatched && !m_bWatched) m_bRestart = true;
        m_bWatched = bWatched;
    }
    m_Changed.notify_all();
}

void CChannel::WantKey()
{
    const std::lock_guard lock(m_Mutex);
    m_bWantKey = true;
}

void CChannel::Stop()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_bStop = true;
    }
    m_Changed.notify_all();
}

XChannelCounts CChannel::Counts() const
{
    const std::lock_guard lock(m_Mutex);
    return m_Counts;
}

int64_t CChannel::WaitForPicture(Clock::time_point start, int64_t iLast, bool& bKey)
{
    const auto timeOf = [&](int64_t picture) {
        return start + std::chrono::nanoseconds(1'000'000'000 * picture / m_Setup.m_Scene.m_iRate);
    };
    std::unique_lock lock(m_Mutex);
    for (;;) {
        m_Changed.wait(lock, [this] { return m_bWatched || m_bStop; });
        if (m_bStop) return -1;
        const auto elapsed = std::max(Clock::duration::zero(), Clock::now() - start);
        const int64_t current = std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count() *
                                m_Setup.m_Scene.m_iRate / 1'000'000'000;
        const int64_t next = std::max(iLast + 1, current);
        // Woken before the time: watched no more, or to be stopped.
        if (m_Changed.wait_until(lock, timeOf(next), [this] { return !m_bWatched || m_bStop; })) continue;
        bKey = std::exchange(m_bWantKey, false);
        if (iLast >= 0 && !m_bRestart) m_Counts.m_ulSkipped += static_cast<uint64_t>(next - iLast - 1);
        return next;
    }
}

void CChannel::Run(Clock::time_point start)
{
    try {
        std::unique_ptr<CPictureMaker> maker;
        if (m_iLoop == 0) maker = std::make_unique<CPictureMaker>(m_Setup, m_iChannel, m_bStop);
        int64_t last = -1;
        int64_t lastKey = -1;
        const int64_t keySpace = std::max(1, m_Setup.m_Scene.m_iRate / 5);
        bool owesKey = false;
        for (;;) {
            bool key = false;
            last = WaitForPicture(start, last, key);
            if (last < 0) return;
            bool restart = false;
            {
                const std::lock_guard lock(m_Mutex);
                restart = std::exchange(m_bRestart, false);
            }
            std::shared_ptr<const XCoded> coded;
            if (maker) {
                if (restart) maker->Restart();
                owesKey = owesKey || key;
                // Clients that come one after another don't turn the stream into key pictures only.
                const bool now = owesKey && (restart || lastKey < 0 || last - lastKey >= keySpace);
                coded = maker->Make(last, now);
                if (coded && coded->m_bKey) {
                    owesKey = false;
                    lastKey = last;
                }
                const std::lock_guard lock(m_Mutex);
                const uint64_t skipped = m_Counts.m_ulSkipped;
                m_Counts = maker->Counts();
                m_Counts.m_ulSkipped = skipped;
            } else if (!m_Loop.empty()) {
                coded = m_Loop[static_cast<size_t>(last) % m_Loop.size()];
                const std::lock_guard lock(m_Mutex);
                ++m_Counts.m_ulPictures;
                m_Counts.m_ulKeys += coded->m_bKey ? 1 : 0;
                m_Counts.m_ulBytes += coded->m_Bytes.size();
                m_Counts.m_ulLargest = std::max<uint64_t>(m_Counts.m_ulLargest, coded->m_Bytes.size());
                m_Counts.m_iQuant = coded->m_iQuant;
            }
            if (coded) m_Deliver(m_iChannel, std::move(coded));
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "watchwall-recorder: channel %d: %s\n", m_iChannel, e.what());
    }
}

}  // namespace recorder
