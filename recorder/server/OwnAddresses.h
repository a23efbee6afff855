#pragma once

#include <cstdint>
#include <vector>

namespace recorder
{

/// The addresses at which others may reach this machine: those of its name, or those of its interfaces when the
/// name is known by loopback addresses only, as many systems have it, or not at all.
std::vector<uint32_t> OwnAddresses();

/// What it makes of the name's addresses and of the interfaces'.
std::vector<uint32_t> ChooseOwnAddresses(const std::vector<uint32_t>& ofName,
                                         const std::vector<uint32_t>& ofInterfaces);

}  // namespace recorder
