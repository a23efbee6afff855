#pragma once

#include <cstdint>

/// One result of a record search: a recording on the device.
struct XTimeSpan {
    std::int32_t m_iRecordID = 0;
    std::int32_t m_iBegin = 0;  // seconds since midnight
    std::int32_t m_iEnd = 0;    // seconds since midnight
};
