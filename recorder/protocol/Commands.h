#pragma once

#include <optional>
#include <string_view>

namespace recorder
{

/// What the text commands move. Each runs from its start command to its stop command.
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

/// "LeftStart:3" or "SetHue:3:128".
struct Command {
    enum class EKind { Start, Stop, Set };
    EKind kind = EKind::Stop;
    EMotor motor = EMotor::Left;       // of Start and Stop
    EColour colour = EColour::Bright;  // of Set
    int channel = 0;                   // from 0 on
    int value = 0;                     // of Set

    bool operator==(const Command&) const = default;
};

/// Nothing when the text is none of them. Any numbers are taken; it is for the caller to look at them.
std::optional<Command> ParseCommand(std::string_view text);

}  // namespace recorder
