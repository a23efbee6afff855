#include "recorder/server/OwnAddresses.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <asio.hpp>
#include <iterator>
#include <memory>

namespace recorder
{

namespace
{

bool IsLoopback(uint32_t address)
{
    return address >> 24 == IN_LOOPBACKNET;
}

std::vector<uint32_t> AddressesOfName()
{
    std::vector<uint32_t> addresses;
    asio::io_context context;
    asio::ip::udp::resolver resolver(context);
    asio::error_code error;
    for (const auto& entry : resolver.resolve(asio::ip::udp::v4(), asio::ip::host_name(error), "", error))
        addresses.push_back(entry.endpoint().address().to_v4().to_uint());
    return addresses;
}

std::vector<uint32_t> AddressesOfInterfaces()
{
    std::vector<uint32_t> addresses;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return addresses;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owned(list, freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next)
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_UP) != 0)
            addresses.push_back(ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr));
    return addresses;
}

}  // namespace

std::vector<uint32_t> OwnAddresses()
{
    return ChooseOwnAddresses(AddressesOfName(), AddressesOfInterfaces());
}

std::vector<uint32_t> ChooseOwnAddresses(const std::vector<uint32_t>& ofName,
                                         const std::vector<uint32_t>& ofInterfaces)
{
    if (!std::ranges::all_of(ofName, IsLoopback)) return ofName;
    std::vector<uint32_t> addresses;
    std::ranges::remove_copy_if(ofInterfaces, std::back_inserter(addresses), IsLoopback);
    if (!addresses.empty()) return addresses;
    return ofName.empty() ? ofInterfaces : ofName;
}

}  // namespace recorder
