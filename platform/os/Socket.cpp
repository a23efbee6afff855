#include "platform/os/Socket.h"

#include <cerrno>
#include <memory>

namespace
{

ssize_t Repeat(auto call)
{
    ssize_t result = 0;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

}  // namespace

bool CSocket::Create()
{
    if (m_hSocket != INVALID_SOCKET) return false;
    m_hSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    return m_hSocket != INVALID_SOCKET;
}

bool CSocket::Connect(const std::string& host, std::uint16_t port)
{
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (m_hSocket == INVALID_SOCKET ||
        ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, ::freeaddrinfo);
    // A refused socket can't be used again everywhere, so only the first address is tried.
    return ::connect(m_hSocket, addresses->ai_addr, addresses->ai_addrlen) == 0;
}

int CSocket::Send(const void* data, int size)
{
    if (size < 0) return SOCKET_ERROR;
    return static_cast<int>(
        Repeat([&] { return ::send(m_hSocket, data, static_cast<std::size_t>(size), SOCKET_SEND_FLAGS); }));
}

int CSocket::Receive(void* buffer, int size)
{
    if (size < 0) return SOCKET_ERROR;
    return static_cast<int>(
        Repeat([&] { return ::recv(m_hSocket, buffer, static_cast<std::size_t>(size), 0); }));
}

void CSocket::Close()
{
    if (m_hSocket != INVALID_SOCKET) closesocket(m_hSocket);
    m_hSocket = INVALID_SOCKET;
}
