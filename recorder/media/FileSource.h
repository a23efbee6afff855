#pragma once

#include <vector>

#include "recorder/media/LibAv.h"
#include "recorder/media/Source.h"

namespace recorder
{

// Pictures from whatever libavformat opens, fitted into the channel's size with black bars, with name and clock
// laid over. A source that can't be opened, or breaks, shows a notice and is tried again every few seconds.
class CFileSource : public ISource
{
  public:
    CFileSource(std::string spec, const XSceneSetup& setup, int iChannel, const std::atomic<bool>& bStop);

    void Read(int64_t iPicture, XPicture& picture) override;

  private:
    static constexpr int RETRY_SECONDS = 5;

    void Open();
    void Close();
    // Decodes on until the picture for this time, in seconds since the first that was asked for, is in
    // m_pFrame.
    void Advance(double dSeconds);
    // The next decoded picture into m_pFrame; starts a file anew at its end.
    void Next();
    bool Decode();
    void FitFrame();

    std::string m_strSpec;
    XSceneSetup m_Setup;
    const std::atomic<bool>& m_bStop;
    COverlayPainter m_Overlay;

    AvFormatContext m_pInput;
    AvCodecContext m_pDecoder;
    AvFrame m_pFrame{av_frame_alloc()};
    AvPacket m_pPacket{av_packet_alloc()};
    SwsScaler m_pScaler;
    int m_iStream = -1;
    double m_dFrameTime =
        0;  // of m_pFrame, seconds since the source was opened, growing over repeats of a file
    double m_dFirstTime = -1;  // the first time stamp since the file was begun
    double m_dBegun = 0;       // m_dFrameTime at that
    int64_t m_iOpenedAt = -1;  // picture numbers
    int64_t m_iRetryAt = 0;
    std::string m_strNotice;
    std::vector<uint8_t> m_Pixels;  // blue, green, red, unused
};

}  // namespace recorder
