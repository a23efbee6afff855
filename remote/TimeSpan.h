#pragma once

#include <cstdint>

/// One result of a record search: a recording on the device.
struct XTimeSpan {
    std::int32_t recordId = 0;
    std::int32_t begin = 0;  // seconds since midnight
    std::int32_t end = 0;    // seconds since midnight
};
