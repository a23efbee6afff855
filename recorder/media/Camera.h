#pragma once

#include <array>
#include <cstdint>

#include "recorder/protocol/Commands.h"
#include "recorder/scene/View.h"

namespace recorder
{

/// The motors of a channel's camera: each runs while it is switched on and moves the view, at the pace of the
/// pictures. No thread, no clock.
class Camera
{
  public:
    explicit Camera(int rate) : m_Rate(rate) {}

    void Do(const Command& command);
    /// The view of this picture, or of the latest one that was asked for. What wasn't asked for since is made
    /// up for with the motors as they are: a command that may come later than that asks first.
    View At(int64_t picture);

    /// A second's move.
    static constexpr double PAN_SPEED = 0.25;  // pictures
    static constexpr double ZOOM_SPEED = 2;    // times
    static constexpr double MOST_ZOOM = 8;
    static constexpr double FOCUS_SPEED = 0.5;
    static constexpr double IRIS_SPEED = 0.5;
    static constexpr double SCAN_SECONDS = 16;  // there and back; a soft scan takes twice as long
    static constexpr double WIPER_SECONDS = 2;
    static constexpr int NEUTRAL = 128;  // of the colour settings, 0 to 255

  private:
    bool Runs(EMotor motor) const { return m_Runs[static_cast<size_t>(motor)]; }
    void Step();

    int m_Rate;
    std::array<bool, MOTORS> m_Runs{};
    View m_View;
    double m_Focus = 0;
    double m_Scan = 0;   // of the round, 0 to 1
    double m_Wiper = 0;  // likewise
    int64_t m_Picture = -1;
};

}  // namespace recorder
