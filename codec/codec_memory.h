// Where the codecs get their memory. One door, so that tests can count and refuse.
#pragma once

#include <cstddef>
#include <cstdint>

/// CODEC_ALIGN aligned memory, not cleared, or null. Any thread.
void* codec_alloc(size_t bytes);

/// Gives memory of codec_alloc back; null is allowed. Any thread.
void codec_free(void* memory);

/// Bytes that codec_alloc has handed out and not got back. Any thread.
size_t codec_memory_in_use();

/// Lets the next `count` allocations succeed and all after them fail, for tests; -1 ends that.
void codec_fail_allocations_after(int64_t count);
