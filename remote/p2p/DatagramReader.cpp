#include "remote/p2p/DatagramReader.h"

#include <netinet/udp.h>

#include <algorithm>
#include <cstring>

std::size_t ReadSegmentBytes(const msghdr& message, std::size_t bytes)
{
    auto* const control = const_cast<msghdr*>(&message);
    for (cmsghdr* part = CMSG_FIRSTHDR(control); part != nullptr; part = CMSG_NXTHDR(control, part)) {
        if (part->cmsg_level != SOL_UDP || part->cmsg_type != UDP_GRO) continue;
        int segment = 0;
        std::memcpy(&segment, CMSG_DATA(part), sizeof segment);
        if (segment > 0 && static_cast<std::size_t>(segment) < bytes) return static_cast<std::size_t>(segment);
    }
    return bytes;
}

timespec ReadArrival(const msghdr& message)
{
    auto* const control = const_cast<msghdr*>(&message);
    timespec arrival{};
    for (cmsghdr* part = CMSG_FIRSTHDR(control); part != nullptr; part = CMSG_NXTHDR(control, part))
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS)
            std::memcpy(&arrival, CMSG_DATA(part), sizeof arrival);
    return arrival;
}

CDatagramReader::CDatagramReader(SOCKET socket, std::size_t limit)
    : m_hSocket(socket),
      m_Limit(limit),
      m_pBytes(std::make_unique_for_overwrite<std::uint8_t[]>(PIECES * PIECE_BYTES))
{
    const int on = 1;
    setsockopt(m_hSocket, SOL_UDP, UDP_GRO, &on, sizeof on);
    setsockopt(m_hSocket, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    for (std::size_t i = 0; i < PIECES; ++i) {
        m_Pieces[i].part = {m_pBytes.get() + i * PIECE_BYTES, PIECE_BYTES};
        msghdr& message = m_Messages[i].msg_hdr;
        message.msg_name = &m_Pieces[i].from;
        message.msg_iov = &m_Pieces[i].part;
        message.msg_iovlen = 1;
        message.msg_control = m_Pieces[i].control;
    }
}

bool CDatagramReader::Read(EWait wait)
{
    // The last call left its own results there.
    for (mmsghdr& message : m_Messages) {
        message.msg_hdr.msg_namelen = sizeof(Piece::from);
        message.msg_hdr.msg_controllen = sizeof(Piece::control);
    }
    const int flags = wait == EWait::ForOne ? MSG_WAITFORONE : MSG_DONTWAIT;
    const int count = recvmmsg(m_hSocket, m_Messages.data(), PIECES, flags, nullptr);
    m_Read = static_cast<std::size_t>(std::max(count, 0));
    m_Piece = 0;
    m_Offset = 0;
    return count > 0;
}

bool CDatagramReader::Next(std::span<const std::uint8_t>& datagram, sockaddr_in& from)
{
    if (m_Piece == m_Read) return false;
    const Piece& piece = m_Pieces[m_Piece];
    const mmsghdr& message = m_Messages[m_Piece];
    const std::size_t bytes = message.msg_len;
    if (m_Offset == 0) {
        m_Segment = ReadSegmentBytes(message.msg_hdr, bytes);
        m_Arrival = ReadArrival(message.msg_hdr);
    }
    const std::size_t size = std::min(m_Segment, bytes - m_Offset);
    datagram = {static_cast<const std::uint8_t*>(piece.part.iov_base) + m_Offset, std::min(size, m_Limit)};
    from = message.msg_hdr.msg_namelen == 0 ? sockaddr_in{} : piece.from;
    m_Offset += size;
    if (m_Offset == bytes) {
        ++m_Piece;
        m_Offset = 0;
    }
    return true;
}
