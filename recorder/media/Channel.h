#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
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

struct XChannelSetup {
    XSceneSetup m_Scene;
    std::string m_strSource = "scene";
    int m_iChannels = 1;    // of the recorder, which share out the second for their key pictures
    bool m_bPass = true;    // a camera's H.264 goes to clients as it is, when they can read it
    XStreamSetup m_Stream;  // its rate is that of the scene
};

// Source and encoders of one channel, without thread or clock.
class CPictureMaker
{
  public:
    CPictureMaker(const XChannelSetup& setup, int iChannel, const std::atomic<bool>& bStop,
                  IPackets* pPackets = nullptr);

    // What the pictures from now on show of the source.
    void SetView(const XView& view) { m_pSource->SetView(view); }
    // The picture coded; nothing when it could not be made small enough. Numbers only grow; the same one again
    // is the same picture, for another codec.
    std::shared_ptr<const XCoded> Make(int64_t iPicture, bool bKey, ECodec codec = ECodec::Mpeg4);
    // The codec's next picture begins a stream of its own, as after a time in which nothing was encoded.
    void Restart(ECodec codec = ECodec::Mpeg4) { Of(codec).Restart(); }
    const XChannelCounts& Counts(ECodec codec = ECodec::Mpeg4) const { return Of(codec).Counts(); }

  private:
    ICodecStream& Of(ECodec codec) const { return *m_Streams[static_cast<size_t>(codec)]; }

    std::unique_ptr<ISource> m_pSource;
    std::array<std::unique_ptr<ICodecStream>, CODECS> m_Streams;
    XPicture m_Picture;
    int64_t m_iRead = -1;  // which m_Picture is
};

// One channel with its thread. Pictures are made while the channel is watched, each at its time: picture n at
// start + n / rate; each is coded for the codecs that are watched. With a loop, its pictures are made once, by
// Prepare, and sent again and again, none left out: each builds on the one before it, so a thread that is late
// plays slower; its camera doesn't move.
class CChannel
{
  public:
    using Clock = std::chrono::steady_clock;
    // Called on the channel's thread. False when the picture wasn't taken; the next one is a key picture then.
    using Deliver = std::function<bool(int iChannel, std::shared_ptr<const XCoded>)>;

    // iLoop: pictures to make in advance, a multiple of the group; 0 makes each at its time.
    CChannel(const XChannelSetup& setup, int iChannel, int iLoop, Deliver deliver);
    // Ends the thread; a source that waits for its network is interrupted.
    ~CChannel();
    CChannel(const CChannel&) = delete;
    CChannel& operator=(const CChannel&) = delete;

    // Makes the pictures of the loop; returns early when stopped. Before Start, from any thread.
    void Prepare();
    // Starts the thread; picture 0 belongs to this time.
    void Start(Clock::time_point start);

    // These from any thread, at any time.
    void SetWatched(bool bWatched, ECodec codec = ECodec::Mpeg4);
    void WantKey(ECodec codec = ECodec::Mpeg4);
    void Do(const XCommand& command);
    // Asks everything that waits to end soon; the destructor waits for it.
    void Stop();
    XChannelCounts Counts(ECodec codec = ECodec::Mpeg4) const;
    PassState Passing() const { return m_Gate.State(); }

  private:
    // The camera's own packets, on the thread of the source.
    class CPackets : public IPackets
    {
      public:
        explicit CPackets(CChannel& channel) : m_Channel(channel) {}
        void Opened(const AVCodecParameters& codec) override;
        void OnPacket(const AVPacket& packet) override;

      private:
        CChannel& m_Channel;
        std::unique_ptr<PacketCheck> m_pCheck;
    };

    // What others ask of one codec; guarded by m_Mutex.
    struct XWish {
        bool m_bWatched = false;
        bool m_bWantKey = false;
        bool m_bRestart = true;
        XChannelCounts m_Counts;
    };
    // One codec on the channel's thread.
    struct XTrack {
        CKeyGate m_Gate;
        bool m_bBroken = false;                             // a picture wasn't taken, and no key picture since
        std::vector<std::shared_ptr<const XCoded>> m_Loop;  // constant once the thread runs
        size_t m_ulInLoop = 0;                              // which comes next
    };
    // What the thread is to do next.
    struct XTurn {
        int64_t m_iPicture = -1;  // its number; -1 when the channel shall end
        XView m_View;
        struct XFor {
            bool m_bWatched = false;
            bool m_bKey = false;      // a client waits for a key picture
            bool m_bRestart = false;  // it was not watched before
        };
        std::array<XFor, CODECS> m_For;
    };

    void Run(Clock::time_point start);
    void Serve(Clock::time_point start);
    // Waits until the next picture's time.
    XTurn WaitForTurn(Clock::time_point start, int64_t iLast);
    bool IsWatched() const;  // with the lock
    bool IsWatchedIn(ECodec codec) const;
    bool LeavesToCamera(ECodec codec, const XTurn::XFor& wanted);
    std::shared_ptr<const XCoded> FromLoop(XTrack& track, bool bKey);
    void ServeCodec(ECodec codec, CPictureMaker* pMaker, const XTurn& turn);

    XChannelSetup m_Setup;
    int m_iChannel;
    int m_iLoop;
    Deliver m_Deliver;
    PassGate m_Gate;
    CPackets m_Packets{*this};
    std::unique_ptr<CPictureMaker> m_pMaker;  // null with a loop; the channel's thread only

    std::array<XTrack, CODECS> m_Tracks;  // the channel's thread only, once it runs

    mutable std::mutex m_Mutex;  // a leaf: nothing is called while it is held
    std::condition_variable m_Changed;
    std::array<XWish, CODECS> m_Wishes;  // guarded
    CCamera m_Camera;                    // guarded
    std::atomic<bool> m_bStop = false;   // also read by a source inside a blocking read

    std::thread m_Thread;
};

}  // namespace recorder
