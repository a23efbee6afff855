#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>

#include "tests/remote/tcp/socket_pair_support.h"

CControlPeer::CControlPeer(std::uint16_t port)
{
    // Test programs run side by side; each takes a loopback address by its process.
    m_hListen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(m_hListen, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const timeval timeout{10, 0};
    setsockopt(m_hListen, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    const auto process = static_cast<std::uint32_t>(::getpid());
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(0x7F400001 + process % 0x3FFFF0);
    if (::bind(m_hListen, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_hListen, 8) != 0) {
        ADD_FAILURE() << "no control port to be had on loopback";
    }
    m_strAddress = inet_ntoa(address.sin_addr);
}

CControlPeer::~CControlPeer()
{
    ::close(m_hListen);
}

SOCKET CControlPeer::Accept() const
{
    const SOCKET socket = ::accept(m_hListen, nullptr, nullptr);
    const timeval timeout{10, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    return socket;
}

bool CControlPeer::HasCaller() const
{
    pollfd waiting = {m_hListen, POLLIN, 0};
    return ::poll(&waiting, 1, 0) == 1;
}

std::string CControlPeer::NextCommand() const
{
    const SOCKET socket = Accept();
    if (socket < 0) return {};
    std::string bytes;
    char part[256];
    for (ssize_t count = 0; (count = ::recv(socket, part, sizeof part, 0)) > 0;)
        bytes.append(part, static_cast<std::size_t>(count));
    ::close(socket);
    return bytes;
}
