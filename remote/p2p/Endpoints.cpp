#include "remote/p2p/Endpoints.h"

#include "platform/files/profile.h"
#include "platform/os/paths.h"
#include "platform/os/socket_calls.h"

namespace
{

constexpr std::uint32_t HOST_BYTES = 256;

std::uint16_t ReadPort(const char* key, std::uint16_t fallback, const std::string& strPath)
{
    const std::int32_t port = GetPrivateProfileIntA("System", key, fallback, strPath.c_str());
    return port > 0 && port <= 0xFFFF ? static_cast<std::uint16_t>(port) : fallback;
}

}  // namespace

XEndpoints ReadEndpoints()
{
    const std::string strPath = GetModuleDirectory() + "config\\system.ini";
    XEndpoints endpoints;
    const std::string strHost = GetProfileText("System", "DirectoryServer", "", HOST_BYTES, strPath);
    if (!strHost.empty()) endpoints.m_strHost = strHost;
    endpoints.m_usDirectoryPort = ReadPort("DirectoryPort", DIRECTORY_PORT, strPath);
    endpoints.m_usRendezvousPort = ReadPort("RendezvousPort", RENDEZVOUS_PORT, strPath);
    return endpoints;
}

bool ResolveHost(const std::string& strHost, in_addr& address)
{
    if (inet_pton(AF_INET, strHost.c_str(), &address) == 1) return true;
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (getaddrinfo(strHost.c_str(), nullptr, &hints, &list) != 0) return false;
    address = reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_addr;
    freeaddrinfo(list);
    return true;
}
