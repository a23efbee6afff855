// The warning ring of the H.264 decoder: texts of what was wrong with streams, for whoever looks with a
// debugger.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

inline constexpr size_t C264_LOG_SIZE = 256;

inline constexpr char C264_WARNING_CHECKSUM[] = "warning! crc check is error!";
inline constexpr char C264_WARNING_SEI[] = "warning! crc code in sei is unmatch!";
inline constexpr char C264_WARNING_IN_SLICE[] = "warning! cabac_decode_terminal error in slice!";
inline constexpr char C264_WARNING_END_OF_I[] = "warning! cabac_decode_terminal error end of islice!";
inline constexpr char C264_WARNING_END_OF_P[] = "warning! cabac_decode_terminal error end of pslice!";

/// Keeps a text, which must live to the end of the process. Slot 0 keeps the first one; the others go
/// round the slots 1 to 255. Any thread at any time; allocates nothing.
void c264_log(const char* text);

/// The ring, and in `*count` how many of its slots are filled. Any thread at any time.
const std::atomic<const char*>* c264_log_get(int32_t* count);
