#include "tests/support/allocation_count.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace
{

constinit thread_local std::size_t g_ulAllocations = 0;
constinit thread_local std::size_t g_ulLimit = std::numeric_limits<std::size_t>::max();

void* AllocateOrNull(std::size_t bytes, std::size_t alignment) noexcept
{
    ++g_ulAllocations;
    if (bytes >= g_ulLimit) return nullptr;
    const std::size_t whole = (bytes + alignment - 1) / alignment * alignment;
    return std::aligned_alloc(alignment, whole == 0 ? alignment : whole);
}

void* Allocate(std::size_t bytes, std::size_t alignment)
{
    void* const memory = AllocateOrNull(bytes, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

constexpr std::size_t DEFAULT_ALIGNMENT = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

}  // namespace

std::size_t CountAllocations()
{
    return g_ulAllocations;
}

CAllocationLimit::CAllocationLimit(std::size_t bytes) : m_ulFormer(g_ulLimit)
{
    g_ulLimit = bytes;
}

CAllocationLimit::~CAllocationLimit()
{
    g_ulLimit = m_ulFormer;
}

// Every form: a sanitizer has each of its own, which would not come here and would not know our blocks.

void* operator new(std::size_t bytes)
{
    return Allocate(bytes, DEFAULT_ALIGNMENT);
}
void* operator new[](std::size_t bytes)
{
    return Allocate(bytes, DEFAULT_ALIGNMENT);
}
void* operator new(std::size_t bytes, std::align_val_t alignment)
{
    return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment)
{
    return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept
{
    return AllocateOrNull(bytes, DEFAULT_ALIGNMENT);
}
void* operator new[](std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept
{
    return AllocateOrNull(bytes, DEFAULT_ALIGNMENT);
}
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept
{
    return AllocateOrNull(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept
{
    return AllocateOrNull(bytes, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*bytes*/) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*bytes*/) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*bytes*/, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*bytes*/, std::align_val_t /*alignment*/) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}
