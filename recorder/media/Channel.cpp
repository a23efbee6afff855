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

PictureMaker::PictureMaker(const ChannelSetup& setup, int channel, const std::atomic<bool>& stop,
                           IPackets* packets)
    : m_Source(MakeSource(setup.source, setup.scene, channel, stop, packets))
{
    StreamSetup stream = setup.stream;
    stream.rate = setup.scene.rate;
    for (int codec = 0; codec < CODECS; ++codec)
        m_Streams[static_cast<size_t>(codec)] = MakeCodecStream(static_cast<ECodec>(codec), stream);
}

std::shared_ptr<const Coded> PictureMaker::Make(int64_t picture, bool key, ECodec codec)
{
    if (picture != m_Read) m_Source->Read(picture, m_Picture);
    m_Read = picture;
    return Of(codec).Make(m_Picture, picture, key);
}

Channel::Channel(const ChannelSetup& setup, int channel, int loop, Deliver deliver)
    : m_Setup(setup),
      m_Channel(channel),
      m_Loop(loop),
      m_Deliver(std::move(deliver)),
      m_Gate([this](std::shared_ptr<const Coded> coded) { return m_Deliver(m_Channel, std::move(coded)); }),
      m_Tracks{Track{KeyGate(setup.scene.rate, channel, setup.channels), false, {}, 0},
               Track{KeyGate(setup.scene.rate, channel, setup.channels), false, {}, 0}},
      m_Camera(setup.scene.rate)
{
}

Channel::~Channel()
{
    Stop();
    if (m_Thread.joinable()) m_Thread.join();
}

void Channel::Prepare()
{
    PictureMaker maker(m_Setup, m_Channel, m_Stop);
    for (int64_t picture = 0; picture < m_Loop && !m_Stop; ++picture)
        for (int codec = 0; codec < CODECS; ++codec) {
            auto coded = maker.Make(picture, false, static_cast<ECodec>(codec));
            if (coded) m_Tracks[static_cast<size_t>(codec)].loop.push_back(std::move(coded));
        }
}

void Channel::Start(Clock::time_point start)
{
    {
        const std::lock_guard lock(m_Mutex);
        m_Began = start;
    }
    m_Thread = std::thread([this, start] { Run(start); });
}

void Channel::SetWatched(bool watched, ECodec codec)
{
    {
        const std::lock_guard lock(m_Mutex);
        Wish& wish = m_Wishes[static_cast<size_t>(codec)];
        if (watched && !wish.watched) wish.restart = true;
        wish.watched = watched;
    }
    m_Changed.notify_all();
}

void Channel::WantKey(ECodec codec)
{
    const std::lock_guard lock(m_Mutex);
    m_Wishes[static_cast<size_t>(codec)].wantKey = true;
}

void Channel::Do(const Command& command)
{
    const std::lock_guard lock(m_Mutex);
    if (m_Began) m_Camera.At(PictureNow(*m_Began));  // whatever ran until now has moved, though nobody watched
    m_Camera.Do(command);
}

void Channel::Stop()
{
    {
        const std::lock_guard lock(m_Mutex);
        m_Stop = true;
    }
    m_Changed.notify_all();
}

ChannelCounts Channel::Counts(ECodec codec) const
{
    const std::lock_guard lock(m_Mutex);
    return m_Wishes[static_cast<size_t>(codec)].counts;
}

int64_t Channel::PictureNow(Clock::time_point start) const
{
    using std::chrono::nanoseconds;
    const auto elapsed = std::max(Clock::duration::zero(), Clock::now() - start);
    return std::chrono::duration_cast<nanoseconds>(elapsed).count() * m_Setup.scene.rate / NANOSECONDS;
}

bool Channel::IsWatchedIn(ECodec codec) const
{
    const std::lock_guard lock(m_Mutex);
    return m_Wishes[static_cast<size_t>(codec)].watched;
}

bool Channel::IsWatched() const
{
    return std::any_of(m_Wishes.begin(), m_Wishes.end(), [](const Wish& wish) { return wish.watched; });
}

Channel::Turn Channel::WaitForTurn(Clock::time_point start, int64_t last)
{
    using std::chrono::nanoseconds;
    const int64_t rate = m_Setup.scene.rate;
    std::unique_lock lock(m_Mutex);
    for (;;) {
        m_Changed.wait(lock, [this] { return IsWatched() || m_Stop; });
        if (m_Stop) return {};
        const int64_t next = std::max(last + 1, PictureNow(start));
        const auto due = start + nanoseconds(NANOSECONDS * next / rate);
        // Woken before the time: watched no more, or to be stopped.
        if (m_Changed.wait_until(lock, due, [this] { return !IsWatched() || m_Stop; })) continue;
        Turn turn{next, m_Camera.At(next), {}};
        for (size_t codec = 0; codec < CODECS; ++codec) {
            Wish& wish = m_Wishes[codec];
            if (!wish.watched) continue;
            const bool restart = std::exchange(wish.restart, false);
            if (last >= 0 && !restart) wish.counts.skipped += static_cast<uint64_t>(next - last - 1);
            turn.until[codec] = {true, std::exchange(wish.wantKey, false), restart};
        }
        return turn;
    }
}

// A key picture that is due is the loop's next one, at once. Those who watch already lose pictures by the leap,
// but see no damage.
std::shared_ptr<const Coded> Channel::FromLoop(Track& track, bool key)
{
    if (track.loop.empty()) return nullptr;
    const auto next = [&] { return track.loop[track.inLoop++ % track.loop.size()]; };
    auto coded = next();
    for (size_t i = 1; i < track.loop.size() && key && !coded->key; ++i)
        coded = next();
    return coded;
}

void Channel::ServeCodec(ECodec codec, PictureMaker* maker, const Turn& turn)
{
    Track& track = m_Tracks[static_cast<size_t>(codec)];
    const Turn::For& wanted = turn.until[static_cast<size_t>(codec)];
    if (wanted.restart) {
        track.gate.Restart();
        if (maker != nullptr) maker->Restart(codec);
    }
    if (wanted.key) track.gate.Want();
    const bool key = track.gate.Due(turn.picture);
    auto coded =
        maker != nullptr ? maker->Make(turn.picture, key, codec) : FromLoop(track, key || wanted.restart);
    if (coded) track.gate.Coded(turn.picture, coded->key);
    {
        const std::lock_guard lock(m_Mutex);
        ChannelCounts& counts = m_Wishes[static_cast<size_t>(codec)].counts;
        const ChannelCounts before = counts;
        if (maker != nullptr)
            counts = maker->Counts(codec);
        else if (coded)
            counts.Add(*coded);
        counts.skipped = before.skipped;
        counts.leftOut = before.leftOut;
    }
    if (!coded) return;
    // What builds on a picture that wasn't taken would show nothing but damage.
    if (coded->key || !track.broken)
        track.broken =
            codec == ECodec::H264 ? !m_Gate.Send(std::move(coded)) : !m_Deliver(m_Channel, std::move(coded));
    if (!track.broken) return;
    const std::lock_guard lock(m_Mutex);
    ++m_Wishes[static_cast<size_t>(codec)].counts.leftOut;
}

void Channel::Serve(Clock::time_point start)
{
    IPackets* const packets = m_Setup.passThrough ? &m_Packets : nullptr;
    if (m_Loop == 0) m_Maker = std::make_unique<PictureMaker>(m_Setup, m_Channel, m_Stop, packets);
    for (Turn turn = WaitForTurn(start, -1); turn.picture >= 0; turn = WaitForTurn(start, turn.picture)) {
        if (m_Maker) m_Maker->SetView(turn.view);
        for (const ECodec codec : {ECodec::Mpeg4, ECodec::H264}) {
            const Turn::For& wanted = turn.until[static_cast<size_t>(codec)];
            if (wanted.watched && !LeavesToCamera(codec, wanted)) ServeCodec(codec, m_Maker.get(), turn);
        }
    }
}

bool Channel::LeavesToCamera(ECodec codec, const Turn::For& wanted)
{
    if (codec != ECodec::H264) return false;
    // A camera can't be asked for a key picture: until its next one comes they are re-encoded.
    if (wanted.key || wanted.restart) m_Gate.Rest();
    const PassGate::ETurn turn = m_Gate.Turn(Clock::now());
    if (turn == PassGate::ETurn::Restart && m_Maker) m_Maker->Restart(codec);
    return turn == PassGate::ETurn::Leave;
}

void Channel::PacketTaker::Opened(const AVCodecParameters& codec)
{
    const SceneSetup& scene = m_Channel.m_Setup.scene;
    m_Check = std::make_unique<PacketCheck>(codec, scene.width, scene.height);
    m_Channel.m_Gate.Opened();
}

bool Channel::PacketTaker::OnPacket(const AVPacket& packet)
{
    if (!m_Channel.IsWatchedIn(ECodec::H264)) {
        m_Check->LeaveOut(packet);
        m_Channel.m_Gate.Rest();
        return false;
    }
    const std::string why =
        m_Channel.m_Gate.Take(m_Check->Check(packet), m_Channel.m_Setup.stream.checksum, Clock::now());
    if (!why.empty()) SaySource(m_Channel.m_Channel, m_Channel.m_Setup.source, "H.264 is re-encoded: " + why);
    return true;
}

// A channel that can't go on says so and ends; the others do not notice.
void Channel::Run(Clock::time_point start)
{
    try {
        Serve(start);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "watchwall-recorder: channel %d: %s\n", m_Channel + 1, e.what());
    }
    m_Maker.reset();
}

}  // namespace recorder
