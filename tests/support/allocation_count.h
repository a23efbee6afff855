#pragma once

#include <cstddef>

// What the calling thread asks operator new for, in a program that is linked with allocation_count.cpp.

/// How often it has asked so far.
std::size_t CountAllocations();

/// While it stands, the thread gets no block of `bytes` or more: std::bad_alloc, as without memory.
class CAllocationLimit
{
  public:
    explicit CAllocationLimit(std::size_t bytes);
    ~CAllocationLimit();
    CAllocationLimit(const CAllocationLimit&) = delete;
    CAllocationLimit& operator=(const CAllocationLimit&) = delete;

  private:
    std::size_t m_Former;
};
