#pragma once

#include <cstddef>
#include <optional>

/// How often the calling thread has asked operator new for memory so far, in a program that is linked with
/// allocation_count.cpp. Nothing under a sanitizer, which keeps the operators to itself.
std::optional<std::size_t> CountAllocations();
