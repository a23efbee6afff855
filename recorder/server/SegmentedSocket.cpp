#include "recorder/server/SegmentedSocket.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "recorder/protocol/DatagramRuns.h"

namespace recorder
{

void JoinReceived(int socket)
{
    const int on = 1;
    setsockopt(socket, SOL_UDP, UDP_GRO, &on, sizeof on);
}

int SendRun(int socket, std::span<const Datagram> run)
{
    std::array<iovec, MAX_RUN_DATAGRAMS> parts;
    for (size_t i = 0; i < run.size(); ++i)
        parts[i] = {const_cast<uint8_t*>(run[i].bytes.data()), run[i].bytes.size()};
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(run.front().to.address);
    to.sin_port = htons(run.front().to.port);
    alignas(cmsghdr) std::array<uint8_t, CMSG_SPACE(sizeof(uint16_t))> control{};
    msghdr message{};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = parts.data();
    message.msg_iovlen = run.size();
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_UDP;
    header->cmsg_type = UDP_SEGMENT;
    header->cmsg_len = CMSG_LEN(sizeof(uint16_t));
    const auto segment = static_cast<uint16_t>(run.front().bytes.size());
    std::memcpy(CMSG_DATA(header), &segment, sizeof segment);
    return sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 ? errno : 0;
}

bool IsRunRefused(int error)
{
    return error == EIO || error == EINVAL || error == ENOPROTOOPT || error == EMSGSIZE;
}

int ReceiveBurst(int socket, std::span<uint8_t> buffer, Burst& burst)
{
    sockaddr_in from{};
    iovec part{buffer.data(), buffer.size()};
    alignas(cmsghdr) std::array<uint8_t, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t count = recvmsg(socket, &message, MSG_DONTWAIT);
    if (count < 0) return errno;
    burst.from = {ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)};
    burst.bytes = buffer.first(static_cast<size_t>(count));
    burst.segment = 0;
    if (const cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header != nullptr && header->cmsg_level == SOL_UDP && header->cmsg_type == UDP_GRO) {
        int segment = 0;
        std::memcpy(&segment, CMSG_DATA(header), sizeof segment);
        if (segment > 0) burst.segment = static_cast<size_t>(segment);
    }
    return 0;
}

}  // namespace recorder
