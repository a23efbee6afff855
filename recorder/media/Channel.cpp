#include "recorder/media/Channel.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

namespace recorder
{

namespace
{

constexpr int64_t NANOSECONDS = 1'000'000'000;

}  // namespace

void XChannelCounts::Add(const XCoded& coded)
{
    ++m_ulPictures;
    m_ulKeys += coded.m_bKey ? 1 : 0;
    m_ulBytes += coded.m_Bytes.size();
    m_ulLargest = std::max<uint64_t>(m_ulLargest, coded.m_Bytes.size());
    m_iQuant = coded.m_iQuant;
}

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
    if (coded->m_bKey) m_iNextKey = iPicture + m_Setup.m_iGroup;
    m_Counts.Add(*coded);
    return coded;
}

CChannel::CChannel(const XChannelSetup& setup, int iChannel, int iLoop, Deliver deliver)
    : m_Setup(setup),
      m_iChannel(iChannel),
      m_iLoop(iLoop),
      m_Deliver(std::move(deliver)),
      m_Gate(setup.m_Scene.m_iRate, iChannel, setup.m_iChannels)
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

CChannel::XTurn CChannel::WaitForTurn(Clock::time_point start, int64_t iLast)
{
    using std::chrono::nanoseconds;
    const int64_t rate = m_Setup.m_Scene.m_iRate;
    std::unique_lock lock(m_Mutex);
    for (;;) {
        m_Changed.wait(lock, [this] { return m_bWatched || m_bStop; });
        if (m_bStop) return {};
        const auto elapsed = std::max(Clock::duration::zero(), Clock::now() - start);
        const int64_t current = std::chrono::duration_cast<nanoseconds>(elapsed).count() * rate / NANOSECONDS;
        const int64_t next = std::max(iLast + 1, current);
        const auto due = start + nanoseconds(NANOSECONDS * next / rate);
        // Woken before the time: watched no more, or to be stopped.
        if (m_Changed.wait_until(lock, due, [this] { return !m_bWatched || m_bStop; })) continue;
        const bool restart = std::exchange(m_bRestart, false);
        if (iLast >= 0 && !restart) m_Counts.m_ulSkipped += static_cast<uint64_t>(next - iLast - 1);
        return {next, std::exchange(m_bWantKey, false), restart};
    }
}

// Whoever waits for a key picture that is due gets the loop's next one at once. Those who watch already lose
// pictures by the leap, but see no damage.
std::shared_ptr<const XCoded> CChannel::FromLoop(const XTurn& turn, bool bKey)
{
    if (m_Loop.empty()) return nullptr;
    const auto next = [this] { return m_Loop[m_ulInLoop++ % m_Loop.size()]; };
    auto coded = next();
    const bool key = bKey || turn.m_bRestart;
    for (size_t i = 1; i < m_Loop.size() && key && !coded->m_bKey; ++i)
        coded = next();
    const std::lock_guard lock(m_Mutex);
    m_Counts.Add(*coded);
    return coded;
}

std::shared_ptr<const XCoded> CChannel::FromMaker(CPictureMaker& maker, const XTurn& turn, bool bKey)
{
    if (turn.m_bRestart) maker.Restart();
    auto coded = maker.Make(turn.m_iPicture, bKey);
    const std::lock_guard lock(m_Mutex);
    const uint64_t skipped = m_Counts.m_ulSkipped;
    m_Counts = maker.Counts();
    m_Counts.m_ulSkipped = skipped;
    return coded;
}

void CChannel::Serve(Clock::time_point start)
{
    std::unique_ptr<CPictureMaker> maker;
    if (m_iLoop == 0) maker = std::make_unique<CPictureMaker>(m_Setup, m_iChannel, m_bStop);
    for (XTurn turn = WaitForTurn(start, -1); turn.m_iPicture >= 0;
         turn = WaitForTurn(start, turn.m_iPicture)) {
        if (turn.m_bRestart) m_Gate.Restart();
        if (turn.m_bKey) m_Gate.Want();
        const bool key = m_Gate.Due(turn.m_iPicture);
        auto coded = maker ? FromMaker(*maker, turn, key) : FromLoop(turn, key);
        if (coded) m_Gate.Coded(turn.m_iPicture, coded->m_bKey);
        if (!coded || (m_bBroken && !coded->m_bKey)) continue;  // it would show nothing but damage
        m_bBroken = !m_Deliver(m_iChannel, std::move(coded));
    }
}

// A channel that can't go on says so and ends; the others do not notice.
void CChannel::Run(Clock::time_point start)
{
    try {
        Serve(start);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "watchwall-recorder: channel %d: %s\n", m_iChannel + 1, e.what());
    }
}

}  // namespace recorder
