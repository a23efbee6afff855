#include "codec/c264/c264_log.h"

namespace
{
std::atomic<const char*> g_ring[C264_LOG_SIZE];
std::atomic<uint64_t> g_count{0};
}  // namespace

void c264_log(const char* text)
{
    const uint64_t number = g_count.fetch_add(1, std::memory_order_relaxed);
    const size_t slot = number == 0 ? 0 : 1 + static_cast<size_t>((number - 1) % (C264_LOG_SIZE - 1));
    g_ring[slot].store(text, std::memory_order_release);
}

const std::atomic<const char*>* c264_log_get(int32_t* count)
{
    const uint64_t number = g_count.load(std::memory_order_acquire);
    *count = static_cast<int32_t>(number < C264_LOG_SIZE ? number : C264_LOG_SIZE);
    return g_ring;
}
