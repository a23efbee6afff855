#include "codec/codec_memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>

#include "codec/codec.h"

namespace
{
std::atomic<size_t> g_in_use{0};
std::atomic<int64_t> g_successes_left{-1};

/// False once the allocations that a test granted are used up.
bool allowed()
{
    int64_t left = g_successes_left.load();
    while (left > 0 && !g_successes_left.compare_exchange_weak(left, left - 1)) {
    }
    return left != 0;
}
}  // namespace

void* codec_alloc(size_t bytes)
{
    if (!allowed()) return nullptr;
    void* const memory = std::aligned_alloc(CODEC_ALIGN, (bytes + CODEC_ALIGN - 1) / CODEC_ALIGN * CODEC_ALIGN);
    if (memory) g_in_use += malloc_usable_size(memory);
    return memory;
}

void codec_free(void* memory)
{
    if (!memory) return;
    g_in_use -= malloc_usable_size(memory);
    std::free(memory);
}

size_t codec_memory_in_use()
{
    return g_in_use;
}

void codec_fail_allocations_after(int64_t count)
{
    g_successes_left = count;
}
