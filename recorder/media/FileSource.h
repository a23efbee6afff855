#pragma once

#include <memory>

#include "recorder/media/AvInput.h"
#include "recorder/media/PictureFit.h"
#include "recorder/media/Source.h"

namespace recorder
{

// Pictures from a file or a filter graph, at the pace of their time stamps, again and again; with name and
// clock laid over. One that can't be opened, or breaks, shows a notice and is tried again every few seconds.
class CFileSource : public ISource
{
  public:
    // Opens it at once, so that a wrong one is told before anybody looks.
    CFileSource(std::string spec, const XSceneSetup& setup, int iChannel, const std::atomic<bool>& bStop);

    void Read(int64_t iPicture, XPicture& picture) override;
    void SetView(const XView& view) override { m_Overlay.SetView(view); }

  private:
    static constexpr int RETRY_SECONDS = 5;

    void Open(int64_t iPicture);
    void Fail(int64_t iPicture, const std::string& why);
    // Decodes on until the picture for this time, in seconds since the first that was asked for, is the latest.
    void Advance(double dSeconds);
    // The next decoded picture; starts anew at the end.
    void Next();

    std::string m_strSpec;
    XSceneSetup m_Setup;
    int m_iChannel;
    const std::atomic<bool>& m_bStop;
    COverlayPainter m_Overlay;
    CPictureFit m_Fit;
    std::unique_ptr<CAvInput> m_pInput;
    double m_dFrameTime = 0;   // of the latest, seconds since the source was opened, growing over repeats
    double m_dFirstTime = -1;  // the first time stamp since the file was begun
    double m_dBegun = 0;       // m_dFrameTime at that
    int64_t m_iOpenedAt = -1;  // picture number of the first that was shown; -1 before
    int64_t m_iRetryAt = 0;
    std::string m_strNotice;
};

}  // namespace recorder
