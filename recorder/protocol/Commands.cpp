#include "recorder/protocol/Commands.h"

#include <array>
#include <charconv>

namespace recorder
{

namespace
{

constexpr std::array<std::string_view, MOTORS> MOTOR_NAMES = {
    "Left",    "Right",   "Up",       "Down",      "Scan",     "SoftScan", "ZoomIn",
    "ZoomOut", "FocusIn", "FocusOut", "IrisClose", "IrisOpen", "Rain",     "Light"};
constexpr std::array<std::string_view, COLOURS> COLOUR_NAMES = {"SetBright", "SetContrast", "SetHue",
                                                                "SetSaturation"};

std::optional<int> Number(std::string_view text)
{
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return {};
    return value;
}

std::optional<Command> ParseColour(std::string_view name, std::string_view numbers)
{
    const size_t colon = numbers.find(':');
    if (colon == std::string_view::npos) return {};
    const auto channel = Number(numbers.substr(0, colon));
    const auto value = Number(numbers.substr(colon + 1));
    if (!channel || !value) return {};
    for (size_t i = 0; i < COLOUR_NAMES.size(); ++i)
        if (name == COLOUR_NAMES[i])
            return Command{Command::EKind::Set, EMotor::Left, static_cast<EColour>(i), *channel, *value};
    return {};
}

}  // namespace

std::optional<Command> ParseCommand(std::string_view text)
{
    constexpr std::string_view START = "Start";
    constexpr std::string_view STOP = "Stop";
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos) return {};
    std::string_view name = text.substr(0, colon);
    const std::string_view numbers = text.substr(colon + 1);
    if (name.starts_with("Set")) return ParseColour(name, numbers);
    const auto channel = Number(numbers);
    const bool starts = name.ends_with(START);
    if (!channel || (!starts && !name.ends_with(STOP))) return {};
    name.remove_suffix(starts ? START.size() : STOP.size());
    for (size_t i = 0; i < MOTOR_NAMES.size(); ++i)
        if (name == MOTOR_NAMES[i])
            return Command{starts ? Command::EKind::Start : Command::EKind::Stop, static_cast<EMotor>(i),
                           EColour::Bright, *channel, 0};
    return {};
}

}  // namespace recorder
