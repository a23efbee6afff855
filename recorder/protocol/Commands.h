#pragma once

#include <optional>
#include <string_view>

namespace recorder
{

// What the text commands move. Each runs from its start command to its stop command.
enum class EMotor {
    Left,
    Right,
    Up,
    Down,
    Scan,
    SoftScan,
    ZoomIn,
    ZoomOut,
    FocusIn,
    FocusOut,
    IrisClose,
    IrisOpen,
    Rain,
    Light,
};
inline constexpr int MOTORS = 14;

enum class EColour { Bright, Contrast, Hue, Saturation };
inline constexpr int COLOURS = 4;

// "LeftStart:3" or "SetHue:3:128".
struct XCommand {
    enum class EKind { Start, Stop, Set };
    EKind m_Kind = EKind::Stop;
    EMotor m_Motor = EMotor::Left;       // of Start and Stop
    EColour m_Colour = EColour::Bright;  // of Set
    int m_iChannel = 0;                  // from 0 on
    int m_iValue = 0;                    // of Set

    bool operator==(const XCommand&) const = default;
};

// Nothing when the text is none of them. Any numbers are taken; it is for the caller to look at them.
std::optional<XCommand> ParseCommand(std::string_view text);

}  // namespace recorder
