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

CPictureMaker::CPictureMaker(const XChannelSetup& setup, int iChannel, const std::atomic<bool>& bStop,
                             IPackets* pPackets)
    : m_pSource(MakeSource(setup.m_strSource, setup.m_Scene, iChannel, bStop, pPackets))
{
    XStreamSetup stream = setup.m_Stream;
    stream.m_iRate = setup.m_Scene.m_iRate;
    for (int codec = 0; codec < CODECS; ++codec)
        m_Streams[static_cast<size_t>(codec)] = MakeCodecStream(static_cast<ECodec>(codec), stream);
}

std::shared_ptr<const XCoded> CPictureMaker::Make(int64_t iPicture, bool bKey, ECodec codec)
{
    if (iPicture != m_iRead) m_pSource->Read(iPicture, m_Picture);
    m_iRead = iPicture;
    return Of(codec).Make(m_Picture, iPicture, bKey);
}

CChannel::CChannel(const XChannelSetup& setup, int iChannel, int iLoop, Deliver deliver)
    : m_Setup(setup),
      m_iChannel(iChannel),
      m_iLoop(iLoop),
      m_Deliver(std::move(deliver)),
      m_Gate([this](std::shared_ptr<const XCoded> coded) { return m_Deliver(m_iChannel, std::move(coded)); }),
      m_Tracks{XTrack{CKeyGate(setup.m_Scene.m_iRate, iChannel, setup.m_iChannels), false, {}, 0},
               XTrack{CKeyGate(setup.m_Scene.m_iRate, iChannel, setup.m_iChannels), false, {}, 0}},
      m_Camera(setup.m_Scene.m_iRate)
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
    for (int64_t picture = 0; picture < m_iLoop && !m_bStop; ++picture)
        for (int codec = 0; codec < CODECS; ++codec) {
            auto coded = maker.Make(picture, false, static_cast<ECodec>(codec));
            if (coded) m_Tracks[static_cast<size_t>(codec)].m_Loop.push_back(std::move(coded));
        }
}

void CChannel::Start(Clock::time_point start)
{
    m_Thread = std::thread([this, start] { Run(start); });
}

void CChannel::SetWatched(bool bWatched, ECodec codec)
{
    {
        const std::lock_guard lock(m_Mutex);
        XWish& wish = m_Wishes[static_cast<size_t>(codec)];
        if (bWatched && !wish.m_bWatched) wish.m_bRestart = true;
        wish.m_bWatched = bWatched;
    }
    m_Changed.notify_all();
}

void CChannel::WantKey(ECodec codec)
{
    const std::lock_guard lock(m_Mutex);
    m_Wishes[static_cast<size_t>(codec)].m_bWantKey = true;
}

void CChannel::Do(const XCommand& command)
{
    const std::lock_guard lock(m_Mutex);
    m_Camera.Do(command);
}

void CChannel::Stop()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_bStop = true;
    }
    m_Changed.notify_all();
}

XChannelCounts CChannel::Counts(ECodec codec) const
{
    const std::lock_guard lock(m_Mutex);
    return m_Wishes[static_cast<size_t>(codec)].m_Counts;
}

bool CChannel::IsWatchedIn(ECodec codec) const
{
    const std::lock_guard lock(m_Mutex);
    return m_Wishes[static_cast<size_t>(codec)].m_bWatched;
}

bool CChannel::IsWatched() const
{
    return std::any_of(m_Wishes.begin(), m_Wishes.end(), [](const XWish& wish) { return wish.m_bWatched; });
}

CChannel::XTurn CChannel::WaitForTurn(Clock::time_point start, int64_t iLast)
{
    using std::chrono::nanoseconds;
    const int64_t rate = m_Setup.m_Scene.m_iRate;
    std::unique_lock lock(m_Mutex);
    for (;;) {
        m_Changed.wait(lock, [this] { return IsWatched() || m_bStop; });
        if (m_bStop) return {};
        const auto elapsed = std::max(Clock::duration::zero(), Clock::now() - start);
        const int64_t current = std::chrono::duration_cast<nanoseconds>(elapsed).count() * rate / NANOSECONDS;
        const int64_t next = std::max(iLast + 1, current);
        const auto due = start + nanoseconds(NANOSECONDS * next / rate);
        // Woken before the time: watched no more, or to be stopped.
        if (m_Changed.wait_until(lock, due, [this] { return !IsWatched() || m_bStop; })) continue;
        XTurn turn{next, m_Camera.At(next), {}};
        for (size_t codec = 0; codec < CODECS; ++codec) {
            XWish& wish = m_Wishes[codec];
            if (!wish.m_bWatched) continue;
            const bool restart = std::exchange(wish.m_bRestart, false);
            if (iLast >= 0 && !restart) wish.m_Counts.m_ulSkipped += static_cast<uint64_t>(next - iLast - 1);
            turn.m_For[codec] = {true, std::exchange(wish.m_bWantKey, false), restart};
        }
        return turn;
    }
}

// A key picture that is due is the loop's next one, at once. Those who watch already lose pictures by the leap,
// but see no damage.
std::shared_ptr<const XCoded> CChannel::FromLoop(XTrack& track, bool bKey)
{
    if (track.m_Loop.empty()) return nullptr;
    const auto next = [&] { return track.m_Loop[track.m_ulInLoop++ % track.m_Loop.size()]; };
    auto coded = next();
    for (size_t i = 1; i < track.m_Loop.size() && bKey && !coded->m_bKey; ++i)
        coded = next();
    return coded;
}

void CChannel::ServeCodec(ECodec codec, CPictureMaker* pMaker, const XTurn& turn)
{
    XTrack& track = m_Tracks[static_cast<size_t>(codec)];
    const XTurn::XFor& wanted = turn.m_For[static_cast<size_t>(codec)];
    if (wanted.m_bRestart) {
        track.m_Gate.Restart();
        if (pMaker != nullptr) pMaker->Restart(codec);
    }
    if (wanted.m_bKey) track.m_Gate.Want();
    const bool key = track.m_Gate.Due(turn.m_iPicture);
    auto coded = pMaker != nullptr ? pMaker->Make(turn.m_iPicture, key, codec)
                                   : FromLoop(track, key || wanted.m_bRestart);
    if (coded) track.m_Gate.Coded(turn.m_iPicture, coded->m_bKey);
    {
        const std::lock_guard lock(m_Mutex);
        XChannelCounts& counts = m_Wishes[static_cast<size_t>(codec)].m_Counts;
        const uint64_t skipped = counts.m_ulSkipped;
        if (pMaker != nullptr)
            counts = pMaker->Counts(codec);
        else if (coded)
            counts.Add(*coded);
        counts.m_ulSkipped = skipped;
    }
    if (!coded || (track.m_bBroken && !coded->m_bKey)) return;  // it would show nothing but damage
    track.m_bBroken =
        codec == ECodec::H264 ? !m_Gate.Send(std::move(coded)) : !m_Deliver(m_iChannel, std::move(coded));
}

void CChannel::Serve(Clock::time_point start)
{
    IPackets* const packets = m_Setup.m_bPass ? &m_Packets : nullptr;
    if (m_iLoop == 0) m_pMaker = std::make_unique<CPictureMaker>(m_Setup, m_iChannel, m_bStop, packets);
    for (XTurn turn = WaitForTurn(start, -1); turn.m_iPicture >= 0;
         turn = WaitForTurn(start, turn.m_iPicture)) {
        if (m_pMaker) m_pMaker->SetView(turn.m_View);
        for (const ECodec codec : {ECodec::Mpeg4, ECodec::H264}) {
            const XTurn::XFor& wanted = turn.m_For[static_cast<size_t>(codec)];
            if (wanted.m_bWatched && !LeavesToCamera(codec, wanted)) ServeCodec(codec, m_pMaker.get(), turn);
        }
    }
}

bool CChannel::LeavesToCamera(ECodec codec, const XTurn::XFor& wanted)
{
    if (codec != ECodec::H264) return false;
    // A camera can't be asked for a key picture: until its next one comes they are coded anew.
    if (wanted.m_bKey || wanted.m_bRestart) m_Gate.Rest();
    const PassGate::ETurn turn = m_Gate.Turn(Clock::now());
    if (turn == PassGate::ETurn::Restart && m_pMaker) m_pMaker->Restart(codec);
    return turn == PassGate::ETurn::Leave;
}

void CChannel::CPackets::Opened(const AVCodecParameters& codec)
{
    const XSceneSetup& scene = m_Channel.m_Setup.m_Scene;
    m_pCheck = std::make_unique<PacketCheck>(codec, scene.m_iWidth, scene.m_iHeight);
    m_Channel.m_Gate.Opened();
}

void CChannel::CPackets::OnPacket(const AVPacket& packet)
{
    if (!m_Channel.IsWatchedIn(ECodec::H264)) {
        m_Channel.m_Gate.Rest();
        return;
    }
    const h264::Checked checked = m_pCheck->Check(packet);
    if (m_Channel.m_Gate.Take(checked, m_Channel.m_Setup.m_Stream.m_Checksum, Clock::now()))
        SaySource(m_Channel.m_iChannel, m_Channel.m_Setup.m_strSource, "H.264 is coded anew: " + checked.why);
}

// A channel that can't go on says so and ends; the others do not notice.
void CChannel::Run(Clock::time_point start)
{
    try {
        Serve(start);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "watchwall-recorder: channel %d: %s\n", m_iChannel + 1, e.what());
    }
    m_pMaker.reset();
}

}  // namespace recorder
