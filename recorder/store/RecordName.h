#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace recorder
{

/// What the name of a record's file tells. The names are the store's whole index, so no crash can part the two.
struct RecordName {
    int id = 0;       // 1 to MAX_RECORD_ID
    int channel = 0;  // from 0 on, below 64
    std::chrono::local_seconds start{};

    bool operator==(const RecordName&) const = default;
};

inline constexpr int MAX_RECORD_ID = 999'999'999;

/// "000000042-ch03-20261122-065500.mkv": channels count from 1 here.
std::string FileNameOf(const RecordName& name);
/// Nothing for any other form, number or date.
std::optional<RecordName> ParseFileName(std::string_view text);

/// "2026-11-22 06:55:00"
std::string TimeText(std::chrono::local_seconds time);

}  // namespace recorder
