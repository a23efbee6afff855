#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "recorder/media/KeyGate.h"
#include "recorder/media/Mpeg4Encoder.h"
#include "recorder/media/RateControl.h"
#include "recorder/media/Source.h"

namespace recorder
{

// What a client's buffer for one stream message holds, the 4 bytes of its header word included.
inline constexpr size_t MAX_MESSAGE_BYTES = 101376;

struct XChannelSetup {
    XSceneSetup m_Scene;
    std::string m_strSource = "scene";
    int m_iChannels = 1;             // of the recorder, which share out the second for their key pictures
    int64_t m_iBitRate = 1'500'000;  // bits a second
    int m_iGroup = 25;               // pictures from key to key
    EMotion m_Motion = EMotion::Half;
    size_t m_ulMaxBytes = MAX_MESSAGE_BYTES - 4;  // of one coded picture
};

struct XChannelCounts {
    uint64_t m_ulPictures = 0;
    uint64_t m_ulKeys = 0;
    uint64_t m_ulBytes = 0;
    uint64_t m_ulLargest = 0;   // bytes
    uint64_t m_ulCoarser = 0;   // too large at first and encoded again
    uint64_t m_ulTooLarge = 0;  // dropped, since no quantiser made them small enough
    uint64_t m_ulSkipped = 0;   // not made in time
    int m_iQuant = 0;           // of the latest

    void Add(const XCoded& coded);
};

// Source, rate control and encoder of one channel, without thread or clock.
class CPictureMaker
{
  public:
    CPictureMaker(const XChannelSetup& setup, int iChannel, const std::atomic<bool>& bStop);

    // The coded picture; nothing when it could not be made small enough. Numbers only grow.
    std::shared_ptr<const XCoded> Make(int64_t iPicture, bool bKey);
    // The next picture begins a stream of its own, as after a time in which nothing was encoded.
    void Restart();
    const XChannelCounts& Counts() const { return m_Counts; }

  private:
    XChannelSetup m_Setup;
    std::unique_ptr<ISource> m_pSource;
    std::unique_ptr<CMpeg4Encoder> m_pEncoder;
    CRateControl m_Rate;
    XPicture m_Picture;
    XChannelCounts m_Counts;
    int64_t m_iFirst = 0;  // the stream's time begins here
    int64_t m_iNextKey = 0;
};

// One channel with its thread. Pictures are made while the channel is watched, each at its time: picture n at
// start + n / rate. With a loop, its pictures are made once, by Prepare, and sent again and again, none left
// out: each builds on the one before it, so a thread that is late plays slower.
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
    void SetWatched(bool bWatched);
    void WantKey();
    // Asks everything that waits to end soon; the destructor waits for it.
    void Stop();
    XChannelCounts Counts() const;

  private:
    void Run(Clock::time_point start);
    void Serve(Clock::time_point start);
    // What the thread is to do next.
    struct XTurn {
        int64_t m_iPicture = -1;  // its number; -1 when the channel shall end
        bool m_bKey = false;      // a client waits for a key picture
        bool m_bRestart = false;  // the channel was not watched before
    };
    // Waits until the next picture's time.
    XTurn WaitForTurn(Clock::time_point start, int64_t iLast);
    std::shared_ptr<const XCoded> FromLoop(const XTurn& turn, bool bKey);
    std::shared_ptr<const XCoded> FromMaker(CPictureMaker& maker, const XTurn& turn, bool bKey);

    XChannelSetup m_Setup;
    int m_iChannel;
    int m_iLoop;
    Deliver m_Deliver;
    std::vector<std::shared_ptr<const XCoded>> m_Loop;  // constant once the thread runs

    // the channel's thread only
    CKeyGate m_Gate;
    bool m_bBroken = false;  // a picture wasn't taken, and no key picture has been since
    size_t m_ulInLoop = 0;   // which comes next

    mutable std::mutex m_Mutex;  // a leaf: nothing is called while it is held
    std::condition_variable m_Changed;
    bool m_bWatched = false;            // guarded
    bool m_bWantKey = false;            // guarded
    bool m_bRestart = true;             // guarded
    XChannelCounts m_Counts;            // guarded
    std::atomic<bool> m_bStop = false;  // also read by a source inside a blocking read

    std::thread m_Thread;
};

}  // namespace recorder
