#pragma once

#include <memory>

#include "recorder/scene/Canvas.h"

namespace recorder
{

/// The canvas that scenes are drawn on, in its own units; it is scaled to the picture's size.
inline constexpr double SCENE_WIDTH = 704;
inline constexpr double SCENE_HEIGHT = 576;

/// One place that a camera looks at. What stands still is drawn once, what moves for each picture; both depend
/// on nothing but their arguments.
class IScene
{
  public:
    virtual ~IScene() = default;
    virtual const char* Name() const = 0;
    /// Fills the whole canvas.
    virtual void DrawStill(Canvas& canvas) const = 0;
    /// Draws over it what is seen at this time, in seconds since picture 0. It never repeats exactly, but stays
    /// within the canvas for any time.
    virtual void DrawMoving(Canvas& canvas, double seconds) const = 0;
};

std::unique_ptr<IScene> MakeHarbour();
std::unique_ptr<IScene> MakeCrossing();
std::unique_ptr<IScene> MakeWarehouse();
std::unique_ptr<IScene> MakeParkingDeck();
std::unique_ptr<IScene> MakeGarden();
std::unique_ptr<IScene> MakePlatform();
std::unique_ptr<IScene> MakeLobby();
std::unique_ptr<IScene> MakeServerRoom();

}  // namespace recorder
