#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "recorder/media/AvInput.h"
#include "recorder/media/PictureFit.h"
#include "recorder/media/Source.h"

namespace recorder
{

// "" below two seconds, else "3 s old", "2 min old".
std::string AgeText(std::chrono::milliseconds age, std::chrono::milliseconds shownFrom);

// Pictures from a camera or a network stream. A thread of its own reads all the time, so that the picture shown
// is the newest there is, however long nobody looked; its age is drawn on it when it isn't new. A source that
// gives no picture for too long counts as broken: a notice is shown, and it is opened again and again.
class CLiveSource : public ISource
{
  public:
    using Clock = std::chrono::steady_clock;
    struct XTimes {
        std::chrono::milliseconds m_Deadline{10'000};  // for opening, and from picture to picture
        std::chrono::milliseconds m_Retry{2'000};      // between tries to open
        std::chrono::milliseconds m_AgeShownFrom{2'000};
        std::chrono::milliseconds m_IdleAfter{5'000};  // unasked for so long, only key pictures are decoded
    };

    CLiveSource(std::string spec, const XSceneSetup& setup, int iChannel, const std::atomic<bool>& bStop);
    CLiveSource(std::string spec, const XSceneSetup& setup, int iChannel, const std::atomic<bool>& bStop,
                const XTimes& times, IPackets* pPackets = nullptr);
    ~CLiveSource() override;
    CLiveSource(const CLiveSource&) = delete;
    CLiveSource& operator=(const CLiveSource&) = delete;

    void Read(int64_t iPicture, XPicture& picture) override;
    void SetView(const XView& view) override { m_Overlay.SetView(view); }

  private:
    // the reader's thread only
    void Run();
    void Play(CAvInput& input);
    void Publish(const AVFrame& frame);
    void Fail(const std::string& why);
    bool IsLate();
    bool Wait(Clock::time_point until);

    std::string m_strSpec;
    int m_iChannel;
    XTimes m_Times;
    IPackets* m_pPackets;  // null: nobody wants them
    const std::atomic<bool>& m_bStop;
    Clock::time_point m_Since;  // opening, or the latest picture; the reader's thread only
    bool m_bLate = false;       // likewise

    // the caller's thread only
    COverlayPainter m_Overlay;
    CPictureFit m_Fit;
    AvFrame m_pShown{av_frame_alloc()};

    std::mutex m_Mutex;  // a leaf
    std::condition_variable m_Changed;
    AvFrame m_pNewest{av_frame_alloc()};             // guarded; empty while there is none
    Clock::time_point m_Arrived;                     // guarded
    Clock::time_point m_Asked;                       // guarded
    std::string m_strNotice = "opening the source";  // guarded
    std::atomic<bool> m_bEnd = false;

    std::thread m_Thread;
};

}  // namespace recorder
