#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "recorder/media/Camera.h"
#include "recorder/media/CodecStream.h"
#include "recorder/media/KeyGate.h"
#include "recorder/media/PassThrough.h"
#include "recorder/media/Source.h"

namespace recorder
{

struct ChannelSetup {
    SceneSetup scene;
    std::string source = "scene";
    int channels = 1;         // of the recorder, which share out the second for their key pictures
    bool passThrough = true;  // a camera's H.264 goes to clients as it is, when they can read it
    StreamSetup stream;       // its rate is that of the scene
};

/// Source and encoders of one channel, without thread or clock.
class PictureMaker
{
  public:
    PictureMaker(const ChannelSetup& setup, int channel, const std::atomic<bool>& stop,
                 IPackets* packets = nullptr);

    /// What the pictures from now on show of the source.
    void SetView(const View& view) { m_Source->SetView(view); }
    /// The picture coded; nothing when it could not be made small enough. Numbers only grow; the same one again
    /// is the same picture, for another codec.
    std::shared_ptr<const Coded> Make(int64_t picture, bool key, ECodec codec = ECodec::Mpeg4);
    /// The codec's next picture begins a stream of its own, as after a time in which nothing was encoded.
    void Restart(ECodec codec = ECodec::Mpeg4) { Of(codec).Restart(); }
    const ChannelCounts& Counts(ECodec codec = ECodec::Mpeg4) const { return Of(codec).Counts(); }

  private:
    ICodecStream& Of(ECodec codec) const { return *m_Streams[static_cast<size_t>(codec)]; }

    std::unique_ptr<ISource> m_Source;
    std::array<std::unique_ptr<ICodecStream>, CODECS> m_Streams;
    Picture m_Picture;
    int64_t m_Read = -1;  // which m_Picture is
};

/// One channel with its thread. Pictures are made while the channel is watched, each at its time: picture n at
/// start + n / rate; each is coded for the codecs that are watched. With a loop, its pictures are made once, by
/// Prepare, and sent again and again, none left out: each builds on the one before it, so a thread that is late
/// plays slower; its camera doesn't move.
class Channel
{
  public:
    using Clock = std::chrono::steady_clock;
    /// Called on the channel's thread, and with a camera's own pictures on that of its source. False when the
    /// picture wasn't taken; the next one is a key picture then.
    using Deliver = std::function<bool(int channel, std::shared_ptr<const Coded>)>;

    /// loop: pictures to make in advance, a multiple of the group; 0 makes each at its time.
    Channel(const ChannelSetup& setup, int channel, int loop, Deliver deliver);
    /// Ends the thread; a source that waits for its network is interrupted.
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Makes the pictures of the loop; returns early when stopped. Before Start, from any thread.
    void Prepare();
    /// Starts the thread; picture 0 belongs to this time.
    void Start(Clock::time_point start);

    /// These from any thread, at any time.
    void SetWatched(bool watched, ECodec codec = ECodec::Mpeg4);
    void WantKey(ECodec codec = ECodec::Mpeg4);
    void Do(const Command& command);
    /// Asks everything that waits to end soon; the destructor waits for it.
    void Stop();
    ChannelCounts Counts(ECodec codec = ECodec::Mpeg4) const;
    PassState Passing() const { return m_Gate.State(); }

  private:
    // The camera's own packets, on the thread of the source.
    class PacketTaker : public IPackets
    {
      public:
        explicit PacketTaker(Channel& channel) : m_Channel(channel) {}
        void Opened(const AVCodecParameters& codec) override;
        bool OnPacket(const AVPacket& packet) override;

      private:
        Channel& m_Channel;
        std::unique_ptr<PacketCheck> m_Check;
    };

    // What others ask of one codec; guarded by m_Mutex.
    struct Wish {
        bool watched = false;
        bool wantKey = false;
        bool restart = true;
        ChannelCounts counts;
    };
    // One codec on the channel's thread.
    struct Track {
        KeyGate gate;
        bool broken = false;                             // a picture wasn't taken, and no key picture since
        std::vector<std::shared_ptr<const Coded>> loop;  // constant once the thread runs
        size_t inLoop = 0;                               // which comes next
    };
    // What the thread is to do next.
    struct Turn {
        int64_t picture = -1;  // its number; -1 when the channel shall end
        View view;
        struct For {
            bool watched = false;
            bool key = false;      // a client waits for a key picture
            bool restart = false;  // it was not watched before
        };
        std::array<For, CODECS> until;
    };

    void Run(Clock::time_point start);
    void Serve(Clock::time_point start);
    // Waits until the next picture's time.
    Turn WaitForTurn(Clock::time_point start, int64_t last);
    // The number of the picture whose time it is.
    int64_t PictureNow(Clock::time_point start) const;
    bool IsWatched() const;  // with the lock
    bool IsWatchedIn(ECodec codec) const;
    bool LeavesToCamera(ECodec codec, const Turn::For& wanted);
    std::shared_ptr<const Coded> FromLoop(Track& track, bool key);
    void ServeCodec(ECodec codec, PictureMaker* maker, const Turn& turn);

    ChannelSetup m_Setup;
    int m_Channel;
    int m_Loop;
    Deliver m_Deliver;
    PassGate m_Gate;
    PacketTaker m_Packets{*this};
    std::unique_ptr<PictureMaker> m_Maker;  // null with a loop; the channel's thread only

    std::array<Track, CODECS> m_Tracks;  // the channel's thread only, once it runs

    mutable std::mutex m_Mutex;  // a leaf: nothing is called while it is held
    std::condition_variable m_Changed;
    std::array<Wish, CODECS> m_Wishes;         // guarded
    Camera m_Camera;                           // guarded
    std::optional<Clock::time_point> m_Began;  // guarded
    std::atomic<bool> m_Stop = false;          // also read by a source inside a blocking read

    std::thread m_Thread;
};

}  // namespace recorder
