#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/os/socket_calls.h"

/// Two connected stream sockets; a read gives up after a while.
class CSocketPair
{
  public:
    CSocketPair()
    {
        int both[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, both);
        m_hOurs = both[0];
        m_hPeer = both[1];
        const timeval timeout{10, 0};
        setsockopt(m_hOurs, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        setsockopt(m_hPeer, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
    ~CSocketPair()
    {
        ::close(m_hOurs);
        ClosePeer();
    }
    CSocketPair(const CSocketPair&) = delete;
    CSocketPair& operator=(const CSocketPair&) = delete;

    void ClosePeer()
    {
        if (m_hPeer >= 0) ::close(m_hPeer);
        m_hPeer = -1;
    }
    void PeerSends(std::string_view bytes) const
    {
        EXPECT_EQ(::send(m_hPeer, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// What has come to the peer, at least `least` bytes.
    std::string PeerReads(std::size_t least) const
    {
        std::string read;
        char part[4096];
        while (read.size() < least) {
            const ssize_t count = ::recv(m_hPeer, part, sizeof part, 0);
            if (count <= 0) break;
            read.append(part, static_cast<std::size_t>(count));
        }
        return read;
    }

    SOCKET m_hOurs = -1;
    SOCKET m_hPeer = -1;
};

/// A device's control port on a loopback address of the test's own: takes connections one after the other and
/// keeps what each of them sent until it hung up.
class CControlPeer
{
  public:
    explicit CControlPeer(std::uint16_t port);
    ~CControlPeer();
    CControlPeer(const CControlPeer&) = delete;
    CControlPeer& operator=(const CControlPeer&) = delete;

    const std::string& Address() const { return m_strAddress; }
    /// The bytes of the next connection; empty when none comes for 10 s.
    std::string NextCommand() const;
    /// The next connection, the caller's to close; -1 when none comes for 10 s.
    SOCKET Accept() const;
    /// Whether a client waits to be taken.
    bool HasCaller() const;

  private:
    SOCKET m_hListen = -1;
    std::string m_strAddress;
};
