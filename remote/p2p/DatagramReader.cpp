#include "remote/p2p/DatagramReader.h"

#include <netinet/udp.h>

#include <algorithm>
#include <cstring>

std::size_t ReadSegmentBytes(const msghdr& message, std::size_t ulBytes)
{
    auto* const control = const_cast<msghdr*>(&message);
    for (cmsghdr* part = CMSG_FIRSTHDR(control); part != nullptr; part = CMSG_NXTHDR(control, part)) {
        if (part->cmsg_level != SOL_UDP || part->cmsg_type != UDP_GRO) continue;
        int segment = 0;
        std::memcpy(&segment, CMSG_DATA(part), sizeof segment);
        if (segment > 0 && static_cast<std::size_t>(segment) < ulBytes)
            return static_cast<std::size_t>(segment);
    }
    return ulBytes;
}

CDatagramReader::CDatagramReader(SOCKET socket, std::size_t ulLimit)
    : m_hSocket(socket),
      m_ulLimit(ulLimit),
      m_pBytes(std::make_unique_for_overwrite<std::uint8_t[]>(PIECES * PIECE_BYTES))
{
    const int on = 1;
    setsockopt(m_hSocket, SOL_UDP, UDP_GRO, &on, sizeof on);
    for (std::size_t i = 0; i < PIECES; ++i) {
        m_Pieces[i].m_Part = {m_pBytes.get() + i * PIECE_BYTES, PIECE_BYTES};
        msghdr& message = m_Messages[i].msg_hdr;
        message.msg_name = &m_Pieces[i].m_From;
        message.msg_iov = &m_Pieces[i].m_Part;
        message.msg_iovlen = 1;
        message.msg_control = m_Pieces[i].m_Control;
    }
}

bool CDatagramReader::Read(WAIT wait)
{
    // The last call left there what it had found.
    for (mmsghdr& message : m_Messages) {
        message.msg_hdr.msg_namelen = sizeof(XPiece::m_From);
        message.msg_hdr.msg_controllen = sizeof(XPiece::m_Control);
    }
    const int flags = wait == WAIT::ForOne ? MSG_WAITFORONE : MSG_DONTWAIT;
    const int count = recvmmsg(m_hSocket, m_Messages.data(), PIECES, flags, nullptr);
    m_ulRead = static_cast<std::size_t>(std::max(count, 0));
    m_ulPiece = 0;
    m_ulOffset = 0;
    return count > 0;
}

bool CDatagramReader::Next(std::span<const std::uint8_t>& datagram, sockaddr_in& from)
{
    if (m_ulPiece == m_ulRead) return false;
    const XPiece& piece = m_Pieces[m_ulPiece];
    const mmsghdr& message = m_Messages[m_ulPiece];
    const std::size_t bytes = message.msg_len;
    if (m_ulOffset == 0) m_ulSegment = ReadSegmentBytes(message.msg_hdr, bytes);
    const std::size_t size = std::min(m_ulSegment, bytes - m_ulOffset);
    datagram = {static_cast<const std::uint8_t*>(piece.m_Part.iov_base) + m_ulOffset,
                std::min(size, m_ulLimit)};
    from = message.msg_hdr.msg_namelen == 0 ? sockaddr_in{} : piece.m_From;
    m_ulOffset += size;
    if (m_ulOffset == bytes) {
        ++m_ulPiece;
        m_ulOffset = 0;
    }
    return true;
}
