#include "recorder/store/RecordName.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "recorder/protocol/Wire.h"

namespace recorder
{

namespace
{

using namespace std::chrono;

struct Parts {
    int year, month, day, hour, minute, second;
};

Parts PartsOf(local_seconds time)
{
    const auto days = floor<std::chrono::days>(time);
    const year_month_day date(days);
    const hh_mm_ss clock(time - days);
    return {static_cast<int>(date.year()),
            static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day())),
            static_cast<int>(clock.hours().count()),
            static_cast<int>(clock.minutes().count()),
            static_cast<int>(clock.seconds().count())};
}

// 0 when there is none; the caller compares the whole.
int Number(std::string_view text, size_t at, size_t digits)
{
    int value = 0;
    const std::string_view field = text.substr(std::min(at, text.size()), digits);
    std::from_chars(field.data(), field.data() + field.size(), value);
    return value;
}

}  // namespace

std::string FileNameOf(const RecordName& name)
{
    const Parts parts = PartsOf(name.start);
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%09d-ch%02d-%04d%02d%02d-%02d%02d%02d.mkv", name.id,
                  name.channel + 1, parts.year, parts.month, parts.day, parts.hour, parts.minute, parts.second);
    return text.data();
}

std::optional<RecordName> ParseFileName(std::string_view text)
{
    const auto number = [&](size_t at, size_t digits) { return Number(text, at, digits); };
    const year_month_day date(year(number(15, 4)), month(static_cast<unsigned>(number(19, 2))),
                              day(static_cast<unsigned>(number(21, 2))));
    if (!date.ok()) return {};
    const RecordName name{
        number(0, 9), number(12, 2) - 1,
        local_days(date) + hours(number(24, 2)) + minutes(number(26, 2)) + seconds(number(28, 2))};
    // A name that this one doesn't lead back to wasn't ours.
    if (name.id < 1 || name.channel < 0 || name.channel >= MAX_CHANNELS || FileNameOf(name) != text) return {};
    return name;
}

std::string TimeText(local_seconds time)
{
    const Parts parts = PartsOf(time);
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", parts.year, parts.month, parts.day,
                  parts.hour, parts.minute, parts.second);
    return text.data();
}

}  // namespace recorder
