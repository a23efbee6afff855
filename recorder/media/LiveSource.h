#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "recorder/media/AvInput.h"
#include "recorder/media/PictureFit.h"
#include "recorder/media/Source.h"

namespace recorder
{

/// "" below two seconds, else "3 s old", "2 min old".
std::string AgeText(std::chrono::milliseconds age, std::chrono::milliseconds shownFrom);

/// Pictures from a camera or a network stream. A thread of its own reads all the time, so that the picture
/// shown is the newest there is, however long nobody looked; its age is drawn on it when it isn't new. A source
/// that gives no picture for too long counts as broken: a notice is shown, and it is opened again and again.
/// One that ends after a single picture is a camera of images, and is asked for the next after a while.
class LiveSource : public ISource
{
  public:
    using Clock = std::chrono::steady_clock;
    struct Times {
        std::chrono::milliseconds deadline{10'000};  // for opening, and from picture to picture
        std::chrono::milliseconds retry{2'000};      // between tries to open
        std::chrono::milliseconds ageShownFrom{2'000};
        std::chrono::milliseconds idleAfter{5'000};  // unasked for so long, only key pictures are decoded
    };

    LiveSource(std::string spec, const SceneSetup& setup, int channel, const std::atomic<bool>& stop);
    LiveSource(std::string spec, const SceneSetup& setup, int channel, const std::atomic<bool>& stop,
               const Times& times, IPackets* packets = nullptr);
    ~LiveSource() override;
    LiveSource(const LiveSource&) = delete;
    LiveSource& operator=(const LiveSource&) = delete;

    void Read(int64_t pictureNumber, Picture& picture) override;
    void SetView(const View& view) override { m_Overlay.SetView(view); }

  private:
    // the reader's thread only
    void Run();
    void Play(AvInput& input);
    void OnPacket(AvInput& input, const AVPacket& packet);
    bool IsIdle();
    void Publish(const AVFrame& frame);
    void Fail(const std::string& why);
    bool IsLate();
    bool Wait(Clock::time_point until);

    std::string m_Spec;
    int m_Channel;
    Times m_Times;
    double m_PictureSeconds;
    IPackets* m_Packets;  // null: nobody wants them
    const std::atomic<bool>& m_Stop;
    // The reader's thread only.
    Clock::time_point m_Since;  // opening, or the latest picture; with key pictures only, the latest packet
    bool m_Late = false;
    std::optional<Clock::time_point> m_Key;  // the latest key picture's packet since it was opened
    Clock::duration m_KeysApart{};           // it came so long after the one before; max for the first

    // the caller's thread only
    OverlayPainter m_Overlay;
    PictureFit m_Fit;
    AvFrame m_Shown{av_frame_alloc()};

    std::mutex m_Mutex;  // a leaf
    std::condition_variable m_Changed;
    AvFrame m_Newest{av_frame_alloc()};           // guarded; empty while there is none
    Clock::time_point m_Arrived;                  // guarded
    Clock::time_point m_Asked;                    // guarded
    std::string m_Notice = "opening the source";  // guarded
    std::atomic<bool> m_End = false;

    std::thread m_Thread;
};

}  // namespace recorder
