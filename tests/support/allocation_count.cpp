#include "tests/support/allocation_count.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

std::optional<std::size_t> CountAllocations()
{
    return std::nullopt;
}

#else

#include <cstdlib>
#include <new>

namespace
{

constinit thread_local std::size_t g_ulAllocations = 0;

void* Allocate(std::size_t bytes, std::size_t alignment)
{
    ++g_ulAllocations;
    const std::size_t whole = (bytes + alignment - 1) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, whole == 0 ? alignment : whole);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

std::optional<std::size_t> CountAllocations()
{
    return g_ulAllocations;
}

// The other forms of the operators call these.
void* operator new(std::size_t bytes)
{
    return Allocate(bytes, __STDCPP_DEFAULT_NEW_ALIGNMENT__);
}

void* operator new(std::size_t bytes, std::align_val_t alignment)
{
    return Allocate(bytes, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*bytes*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*bytes*/, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}

#endif
