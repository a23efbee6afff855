#pragma once

#include <memory>
#include <optional>

#include "recorder/media/AvInput.h"
#include "recorder/media/PictureFit.h"
#include "recorder/media/PictureTimes.h"
#include "recorder/media/Source.h"

namespace recorder
{

/// Pictures from a file or a filter graph, at the pace of their time stamps, again and again; with name and
/// clock laid over. One that can't be opened, or breaks, shows a notice and is tried again every few seconds.
class FileSource : public ISource
{
  public:
    /// Opens it at once, so that a wrong one is reported before anybody looks.
    FileSource(std::string spec, const SceneSetup& setup, int channel, const std::atomic<bool>& stop);

    void Read(int64_t pictureNumber, Picture& picture) override;
    void SetView(const View& view) override { m_Overlay.SetView(view); }

  private:
    static constexpr int RETRY_SECONDS = 5;

    void Open(int64_t picture);
    void Fail(int64_t picture, const std::string& why);
    // Shows the picture for this time, in seconds since the first that was asked for. Who catches up, since
    // pictures were skipped, isn't kept waiting for long.
    void Advance(double seconds, bool catchesUp);
    void ShowLatest();
    // The next decoded picture; restarts at the end.
    void Next();

    std::string m_Spec;
    SceneSetup m_Setup;
    int m_Channel;
    const std::atomic<bool>& m_Stop;
    OverlayPainter m_Overlay;
    PictureFit m_Fit;
    std::unique_ptr<AvInput> m_Input;  // its latest picture is shown, or comes next
    AvFrame m_Shown{av_frame_alloc()};
    PictureTimes m_Times;     // since the source was opened
    int64_t m_OpenedAt = -1;  // picture number of the first that was shown; -1 before
    int64_t m_RetryAt = 0;
    int64_t m_Latest = -1;           // that was asked for
    std::optional<double> m_Behind;  // seconds left to make up for
    std::string m_Notice;
};

}  // namespace recorder
