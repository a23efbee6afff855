#include "bench/wall/ArrivalTap.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "remote/MessageAssembler.h"
#include "remote/P2PWire.h"

namespace
{

struct XTap {
    std::atomic<bool> m_bOn{false};
    std::mutex m_cs;          // guards all below
    std::set<int> m_Stamped;  // sockets that give the time of arrival
    std::vector<std::uint8_t> m_Buffer = std::vector<std::uint8_t>(MESSAGE_LIMIT_BYTES);
    std::optional<CMessageAssembler> m_Assembler;
    std::array<std::deque<double>, CHANNEL_COUNT> m_Arrived;
};

XTap& Tap()
{
    static XTap tap;
    return tap;
}

double Milliseconds(const timespec& time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// The clock of the network code's stamps.
double WallClockMs()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return Milliseconds(now);
}

double StampMs(const msghdr& message)
{
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(const_cast<msghdr*>(&message), part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_TIMESTAMPNS) continue;
        timespec stamp{};
        std::memcpy(&stamp, CMSG_DATA(part), sizeof stamp);
        return Milliseconds(stamp);
    }
    return WallClockMs();  // it came before the socket was told to stamp
}

// A picture begins with a start code; the reply to a request has the width there.
bool IsPicture(std::span<const std::uint8_t> message)
{
    return message.size() > MESSAGE_HEADER_BYTES + 2 && message[MESSAGE_HEADER_BYTES] == 0 &&
           message[MESSAGE_HEADER_BYTES + 1] == 0;
}

void Look(std::span<const std::uint8_t> datagram, double stamp)
{
    if (datagram.size() <= P2P_HEADER_BYTES || ReadLittle32(datagram.data()) != P2PMSG_DATA) return;
    XTap& tap = Tap();
    const std::lock_guard lock(tap.m_cs);
    if (tap.m_Assembler->Feed(datagram.subspan(P2P_HEADER_BYTES)) != CMessageAssembler::RESULT::Complete)
        return;
    const auto message = tap.m_Assembler->GetMessage();
    if (IsPicture(message))
        tap.m_Arrived[static_cast<std::size_t>(ReadMessageHeader(message).m_iChannel)].push_back(stamp);
}

ssize_t ReceiveStamped(int socket, void* buffer, std::size_t size, int flags, sockaddr* from, socklen_t* length)
{
    {
        const std::lock_guard lock(Tap().m_cs);
        const int on = 1;
        if (Tap().m_Stamped.insert(socket).second)
            setsockopt(socket, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    }
    iovec part{buffer, size};
    alignas(cmsghdr) std::array<std::uint8_t, CMSG_SPACE(sizeof(timespec))> control{};
    msghdr message{};
    message.msg_name = from;
    message.msg_namelen = length != nullptr ? *length : 0;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t count = recvmsg(socket, &message, flags);
    if (count < 0) return count;
    if (length != nullptr) *length = message.msg_namelen;
    Look({static_cast<const std::uint8_t*>(buffer), static_cast<std::size_t>(count)}, StampMs(message));
    return count;
}

}  // namespace

extern "C" ssize_t recvfrom(int socket, void* buffer, std::size_t size, int flags, sockaddr* from,
                            socklen_t* length)
{
    if (Tap().m_bOn.load(std::memory_order_relaxed))
        return ReceiveStamped(socket, buffer, size, flags, from, length);
    return syscall(SYS_recvfrom, socket, buffer, size, flags, from, length);
}

namespace arrival_tap
{

void Start()
{
    XTap& tap = Tap();
    const std::lock_guard lock(tap.m_cs);
    tap.m_Stamped.clear();
    tap.m_Assembler.emplace(tap.m_Buffer);
    for (auto& channel : tap.m_Arrived)
        channel.clear();
    tap.m_bOn = true;
}

void Stop()
{
    Tap().m_bOn = false;
}

double TakeAge(int iChannel)
{
    XTap& tap = Tap();
    const double now = WallClockMs();
    const std::lock_guard lock(tap.m_cs);
    auto& arrived = tap.m_Arrived[static_cast<std::size_t>(iChannel)];
    if (arrived.empty()) return -1;
    const double stamp = arrived.front();
    arrived.pop_front();
    return now - stamp;
}

int Waiting(int iChannel)
{
    XTap& tap = Tap();
    const std::lock_guard lock(tap.m_cs);
    return static_cast<int>(tap.m_Arrived[static_cast<std::size_t>(iChannel)].size());
}

}  // namespace arrival_tap
