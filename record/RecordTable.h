#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The table "record" of "dvr.db": a row for each recording that the control named by itself. Rows are read by
// position. Any thread; what the handle's owner closes meanwhile stays open for the length of a call.

struct RecordRow {
    std::int32_t id = 0;
    std::string path;  // in the system's form

    bool operator==(const RecordRow&) const = default;
};

struct NewRecord {
    std::string name;         // node name of the device
    std::string path;         // of the file, in the system's form
    std::int32_t date = 0;    // year * 10000 + month * 100 + day
    std::int32_t time = 0;    // seconds since midnight
    std::int32_t length = 0;  // seconds
    std::int32_t type = 0;
};

/// The ten rows that were inserted first, or fewer; nothing when the statement failed.
std::optional<std::vector<RecordRow>> SelectOldestRecords();

/// False when the statement failed; a row that isn't there is no failure.
bool DeleteRecord(std::int32_t id);

/// Adds one row, whole or not at all. A text with a quote would end the statement, so such a row isn't
/// inserted, and a failed insert goes unnoticed like it. oddity: insert-unnoticed
void InsertRecord(const NewRecord& record);
