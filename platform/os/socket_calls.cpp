#include "platform/os/socket_calls.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>

namespace
{

constexpr std::size_t HOST_NAME_BYTES = 256;

constinit std::atomic<int> g_iStarts = 0;

bool IsLoopback(const in_addr& address)
{
    return ntohl(address.s_addr) >> 24 == IN_LOOPBACKNET;
}

void AddOnce(std::vector<in_addr>& addresses, const sockaddr* from)
{
    const in_addr address = reinterpret_cast<const sockaddr_in*>(from)->sin_addr;
    const auto same = [address](const in_addr& known) { return known.s_addr == address.s_addr; };
    if (std::ranges::none_of(addresses, same)) addresses.push_back(address);
}

std::vector<in_addr> ResolveAddresses(const std::string& host)
{
    std::vector<in_addr> addresses;
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* list = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &list) != 0) return addresses;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(list, freeaddrinfo);
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next)
        AddOnce(addresses, entry->ai_addr);
    return addresses;
}

std::vector<in_addr> InterfaceAddresses()
{
    std::vector<in_addr> addresses;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return addresses;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owned(list, freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next)
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_UP) != 0)
            AddOnce(addresses, entry->ifa_addr);
    return addresses;
}

}  // namespace

int WSAStartup(std::uint16_t version)
{
    if (version == 0) return WSAVERNOTSUPPORTED;
    ++g_iStarts;
    return 0;
}

int WSACleanup()
{
    int starts = g_iStarts;
    while (starts > 0) {
        if (g_iStarts.compare_exchange_weak(starts, starts - 1)) return 0;
    }
    return SOCKET_ERROR;
}

std::string GetHostName()
{
    char name[HOST_NAME_BYTES] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

std::vector<in_addr> ChooseOwnAddresses(const std::vector<in_addr>& resolved,
                                        const std::vector<in_addr>& interfaces)
{
    if (!std::ranges::all_of(resolved, IsLoopback)) return resolved;
    std::vector<in_addr> addresses;
    std::ranges::remove_copy_if(interfaces, std::back_inserter(addresses), IsLoopback);
    if (!addresses.empty()) return addresses;
    return resolved.empty() ? interfaces : resolved;
}

std::vector<in_addr> GetHostAddresses(const std::string& host)
{
    const auto resolved = ResolveAddresses(host);
    return host == GetHostName() ? ChooseOwnAddresses(resolved, InterfaceAddresses()) : resolved;
}

void EndBlockedCalls(SOCKET socket)
{
    // A socket that isn't connected refuses, and its blocked calls end all the same.
    ::shutdown(socket, SHUT_RDWR);
}

int closesocket(SOCKET socket)
{
    EndBlockedCalls(socket);
    return ::close(socket);
}
