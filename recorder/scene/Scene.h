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

/// What the pictures of all channels have in common. The same setup draws the same pictures, on any machine
/// with the same fonts.
struct SceneSetup {
    int width = 704;  // multiples of 16, at least 128 by 96
    int height = 576;
    int rate = 25;  // pictures a second
    /// The clock burnt into picture 0: hundredths of a second since 1970, as the clock on the wall shows it.
    int64_t clockStart = 0;
    std::vector<std::string> names;  // by channel; a channel without one is named after its scene
    bool mark = false;               // the machine-readable mark of recorder/scene/Mark.h
};

/// How many scenes there are; channel c shows scene c modulo SCENES, at another hour when it comes round again.
inline constexpr int SCENES = 8;

/// "CAM 03  Corridor": number from 1, name of the scene.
std::string DefaultName(int channel);
/// "2026-11-21 08:40:12.34"
std::string ClockText(const SceneSetup& setup, int64_t picture);
/// The present time as the clock on the wall shows it, in hundredths since 1970.
int64_t WallClockNow();
/// The clock's start for "2026-11-21 08:40:12"; -1 for another text.
int64_t ParseClock(const std::string& text);

/// Paints the pictures of one channel. Keeps what doesn't move, so it is quicker than DrawScene for many
/// pictures. One thread at a time.
class ScenePainter
{
  public:
    ScenePainter(const SceneSetup& setup, int channel);
    ~ScenePainter();
    ScenePainter(const ScenePainter&) = delete;
    ScenePainter& operator=(const ScenePainter&) = delete;

    /// What is shown of the scene from now on; name, clock and mark stay as they are.
    void SetView(const View& view);
    /// Sizes the picture and draws the scene as picture number pictureNumber shows it, with name, clock and
    /// mark.
    void Draw(int64_t pictureNumber, Picture& picture);

  private:
    struct State;
    std::unique_ptr<State> m_State;
};

class TextOverlay;

/// Lays name, clock and mark over pictures from elsewhere. One thread at a time.
class OverlayPainter
{
  public:
    OverlayPainter(const SceneSetup& setup, int channel);
    ~OverlayPainter();
    OverlayPainter(const OverlayPainter&) = delete;
    OverlayPainter& operator=(const OverlayPainter&) = delete;

    /// What is shown of the pixels from now on.
    void SetView(const View& view) { m_View = view; }
    /// The pixels (blue, green, red, unused; of the setup's size, no gaps between rows) are drawn over and
    /// converted. A note stands below the name.
    void Draw(int64_t pictureNumber, uint8_t* pixels, Picture& picture, const std::string& note = {});
    /// A picture that says why there is none, in lines and letters that fit into it.
    void DrawNotice(int64_t pictureNumber, const std::string& notice, Picture& picture);

  private:
    SceneSetup m_Setup;
    int m_Channel;
    std::unique_ptr<TextOverlay> m_Overlay;
    View m_View;
    ViewPainter m_ViewPainter;
};

/// One picture of one channel, from nothing: what a received picture is compared with.
Picture DrawScene(const SceneSetup& setup, int channel, int64_t pictureNumber);

}  // namespace recorder
