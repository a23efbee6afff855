#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "recorder/scene/Picture.h"
#include "recorder/scene/View.h"

namespace recorder
{

// What the pictures of all channels have in common. The same setup draws the same pictures, on any machine with
// the same fonts.
struct XSceneSetup {
    int m_iWidth = 704;  // multiples of 16, at least 128 by 96
    int m_iHeight = 576;
    int m_iRate = 25;  // pictures a second
    // The clock burnt into picture 0: hundredths of a second since 1970, as the clock on the wall shows it.
    int64_t m_iClockStart = 0;
    std::vector<std::string> m_Names;  // by channel; a channel without one is named after its scene
    bool m_bMark = false;              // the machine-readable mark of recorder/scene/Mark.h
};

// How many scenes there are; channel c shows scene c modulo SCENES, at another hour when it comes round again.
inline constexpr int SCENES = 8;

// "CAM 03  Corridor": number from 1, name of the scene.
std::string DefaultName(int iChannel);
// "2026-11-21 08:40:12.34"
std::string ClockText(const XSceneSetup& setup, int64_t iPicture);
// The present time as the clock on the wall shows it, in hundredths since 1970.
int64_t WallClockNow();
// The clock's start for "2026-11-21 08:40:12"; -1 for another text.
int64_t ParseClock(const std::string& text);

// Paints the pictures of one channel. Keeps what doesn't move, so it is quicker than DrawScene for many
// pictures. One thread at a time.
class CScenePainter
{
  public:
    CScenePainter(const XSceneSetup& setup, int iChannel);
    ~CScenePainter();
    CScenePainter(const CScenePainter&) = delete;
    CScenePainter& operator=(const CScenePainter&) = delete;

    // What is shown of the scene from now on; name, clock and mark stay as they are.
    void SetView(const XView& view);
    // Sizes the picture and draws the scene as picture number iPicture shows it, with name, clock and mark.
    void Draw(int64_t iPicture, XPicture& picture);
    // The same as 32-bit pixels without mark; valid until the next call. The stride is 4 times the width.
    const uint8_t* DrawBgra(int64_t iPicture);

  private:
    struct XState;
    std::unique_ptr<XState> m_pState;
};

class CTextOverlay;

// Lays name, clock and mark over pictures from elsewhere. One thread at a time.
class COverlayPainter
{
  public:
    COverlayPainter(const XSceneSetup& setup, int iChannel);
    ~COverlayPainter();
    COverlayPainter(const COverlayPainter&) = delete;
    COverlayPainter& operator=(const COverlayPainter&) = delete;

    // What is shown of the pixels from now on.
    void SetView(const XView& view) { m_View = view; }
    // The pixels (blue, green, red, unused; of the setup's size, no gaps between rows) are drawn over and
    // converted. A note stands below the name.
    void Draw(int64_t iPicture, uint8_t* pPixels, XPicture& picture, const std::string& note = {});
    // A picture that says why there is none, in lines and letters that fit into it.
    void DrawNotice(int64_t iPicture, const std::string& notice, XPicture& picture);

  private:
    XSceneSetup m_Setup;
    int m_iChannel;
    std::unique_ptr<CTextOverlay> m_pOverlay;
    XView m_View;
    CViewPainter m_ViewPainter;
};

// One picture of one channel, from nothing: what a received picture is compared with.
XPicture DrawScene(const XSceneSetup& setup, int iChannel, int64_t iPicture);

}  // namespace recorder
