#include "tests/support/allocation_count.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace
{

constinit thread_local std::size_t t_Allocations = 0;
constinit thread_local std::size_t t_Limit = std::numeric_limits<std::size_t>::max();

void* AllocateOrNull(std::size_t bytes, std::size_t alignment) noexcept
{
    ++t_Allocations;
    if (bytes >= t_Limit) return nullptr;
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
    return t_Allocations;
}

CAllocationLimit::CAllocationLimit(std::size_t bytes) : m_Former(t_Limit)
{
    t_Limit = bytes;
}

CAllocationLimit::~CAllocationLimit()
{
    t_Limit = m_Former;
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
