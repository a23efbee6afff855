#include "remote/p2p/AnswerBatch.h"

#include <netinet/udp.h>

#include <cstring>

namespace
{

constexpr std::size_t BATCH_ANSWERS = 64;  // the network code cuts no more than this from one call

}  // namespace

void CAnswerBatch::SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to)
{
    ASSERT_THREAD(m_ReceivingThread);
    const bool same =
        datagram.size() == m_Size && to.sin_addr.s_addr == m_To.sin_addr.s_addr && to.sin_port == m_To.sin_port;
    if (!same || m_Bytes.size() >= BATCH_ANSWERS * m_Size) Flush();
    m_Size = datagram.size();
    m_To = to;
    m_Bytes.insert(m_Bytes.end(), datagram.begin(), datagram.end());
}

void CAnswerBatch::Flush()
{
    ASSERT_THREAD(m_ReceivingThread);
    const bool together = m_bSegments && m_Bytes.size() > m_Size;
    if (!together || !SendSegmented()) {
        const bool sent = SendSingly();
        // An address that takes none of them singly either, as port 0, tells nothing about the network code.
        if (together && sent) m_bSegments = false;
    }
    m_Bytes.clear();
}

/// False when nothing was sent.
bool CAnswerBatch::SendSingly() const
{
    bool sent = false;
    for (std::size_t at = 0; at < m_Bytes.size(); at += m_Size)
        sent = sendto(m_hSocket, m_Bytes.data() + at, m_Size, SOCKET_SEND_FLAGS,
                      reinterpret_cast<const sockaddr*>(&m_To), sizeof m_To) >= 0 ||
               sent;
    return sent;
}

/// False when nothing was sent.
bool CAnswerBatch::SendSegmented() const
{
    iovec part{const_cast<std::uint8_t*>(m_Bytes.data()), m_Bytes.size()};
    alignas(cmsghdr) std::uint8_t control[CMSG_SPACE(sizeof(std::uint16_t))] = {};
    sockaddr_in to = m_To;
    msghdr message{};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_UDP;
    header->cmsg_type = UDP_SEGMENT;
    header->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
    const auto size = static_cast<std::uint16_t>(m_Size);
    std::memcpy(CMSG_DATA(header), &size, sizeof size);
    return sendmsg(m_hSocket, &message, SOCKET_SEND_FLAGS) >= 0;
}
