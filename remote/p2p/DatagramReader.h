#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <span>

#include "platform/os/socket_calls.h"

/// Reads a UDP socket in bursts: what a sender handed over together comes in one piece where the network code
/// keeps it so (receive offload), several pieces with one call, and goes out again datagram by datagram.
/// One thread at a time.
class CDatagramReader
{
  public:
    /// Pieces that one call reads at most.
    static constexpr std::size_t PIECES = 8;

    enum class EWait {
        ForOne,  // until something is there
        No,
    };

    /// Borrows the socket and has the network code keep bursts together, where it can. Datagrams are cut to
    /// `limit` bytes, at least 1.
    CDatagramReader(SOCKET socket, std::size_t limit);

    /// Reads what is there; what was read before is gone. False, with errno, when nothing came. A socket that
    /// was shut down gives empty datagrams.
    bool Read(EWait wait);

    /// The next datagram that was read, valid until the next Read, and its source. False when there is none
    /// left.
    bool Next(std::span<const std::uint8_t>& datagram, sockaddr_in& from);

    /// When the network code got what Next gave last, by its time of day; zero when it doesn't tell.
    const timespec& GetArrival() const { return m_Arrival; }

    /// Whether the last Read may have left datagrams unread.
    bool IsMoreLikely() const { return m_Read == PIECES; }

  private:
    // Whatever the network code put together, an IPv4 packet bounds it.
    static constexpr std::size_t PIECE_BYTES = std::size_t{1} << 16;

    struct Piece {
        alignas(cmsghdr) std::uint8_t control[CMSG_SPACE(sizeof(int)) + CMSG_SPACE(sizeof(timespec))];
        sockaddr_in from;
        iovec part;
    };

    const SOCKET m_hSocket;
    const std::size_t m_Limit;
    // One after another; the first alone is in use, and warm, while little comes.
    const std::unique_ptr<std::uint8_t[]> m_pBytes;
    std::array<Piece, PIECES> m_Pieces{};
    std::array<mmsghdr, PIECES> m_Messages{};
    // what the last Read brought, and how far Next is
    std::size_t m_Read = 0;
    std::size_t m_Piece = 0;
    std::size_t m_Offset = 0;
    std::size_t m_Segment = 0;
    timespec m_Arrival{};
};

/// The bytes of each datagram but the last in what recvmsg gave; the whole length when the kernel reports no
/// valid segment size.
std::size_t ReadSegmentBytes(const msghdr& message, std::size_t bytes);

/// The stamp of the network code in what recvmsg gave; zero when there is none.
timespec ReadArrival(const msghdr& message);
