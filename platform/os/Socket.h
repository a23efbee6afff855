#pragma once

#include <cstdint>
#include <string>

#include "platform/os/socket_calls.h"

/// A TCP client, for commands on a connection of their own. Calls block. Of the platform's class the
/// notifications, listening and datagrams are left out. One thread at a time, but for Close, which ends the
/// others' blocked calls.
class CSocket
{
  public:
    CSocket() = default;
    ~CSocket() { Close(); }
    CSocket(const CSocket&) = delete;
    CSocket& operator=(const CSocket&) = delete;

    /// Makes the system's socket. False when there is one already or the system has no more.
    bool Create();

    /// Connects to an address in dotted form or a name, with a port in host order; needs Create. False on
    /// failure.
    bool Connect(const std::string& host, std::uint16_t port);

    /// Sends up to `size` bytes: the count sent or SOCKET_ERROR. A closed connection is an error and no signal.
    int Send(const void* data, int size);

    /// Receives up to `size` bytes: the count, 0 when the peer has closed, or SOCKET_ERROR.
    int Receive(void* buffer, int size);

    /// Gives the socket back; Create may follow.
    void Close();

    /// The system's socket, for the free functions that work on one, or INVALID_SOCKET. It stays this object's.
    SOCKET GetHandle() const { return m_hSocket; }

  private:
    SOCKET m_hSocket = INVALID_SOCKET;
};
