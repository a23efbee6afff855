#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/os/socket_calls.h"

/// A UDP socket on loopback; a read of it gives up waiting after a while.
class CLoopbackSocket
{
  public:
    CLoopbackSocket() : m_hSocket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        m_Address.sin_family = AF_INET;
        m_Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof m_Address;
        bind(m_hSocket, reinterpret_cast<const sockaddr*>(&m_Address), size);
        getsockname(m_hSocket, reinterpret_cast<sockaddr*>(&m_Address), &size);
        const timeval timeout{10, 0};
        setsockopt(m_hSocket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
    ~CLoopbackSocket() { close(m_hSocket); }
    CLoopbackSocket(const CLoopbackSocket&) = delete;
    CLoopbackSocket& operator=(const CLoopbackSocket&) = delete;

    const SOCKET m_hSocket;
    sockaddr_in m_Address{};
};
