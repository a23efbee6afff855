#include "remote/p2p/Endpoints.h"

#include "model/settings/SystemSettings.h"
#include "platform/os/socket_calls.h"

XEndpoints ReadEndpoints()
{
    XEndpoints endpoints;
    const std::string strHost = ReadSettingText(ESetting::DirectoryServer);
    if (!strHost.empty()) endpoints.m_strHost = strHost;
    endpoints.m_usDirectoryPort = ReadSettingPort(ESetting::DirectoryPort);
    endpoints.m_usRendezvousPort = ReadSettingPort(ESetting::RendezvousPort);
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
