#include "remote/p2p/Endpoints.h"

#include "model/settings/SystemSettings.h"
#include "platform/os/socket_calls.h"

Endpoints ReadEndpoints()
{
    Endpoints endpoints;
    const std::string host = ReadSettingText(ESetting::DirectoryServer);
    if (!host.empty()) endpoints.host = host;
    endpoints.directoryPort = ReadSettingPort(ESetting::DirectoryPort);
    endpoints.rendezvousPort = ReadSettingPort(ESetting::RendezvousPort);
    return endpoints;
}

bool ResolveHost(const std::string& host, in_addr& address)
{
    if (inet_pton(AF_INET, host.c_str(), &address) == 1) return true;
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &list) != 0) return false;
    address = reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_addr;
    freeaddrinfo(list);
    return true;
}
