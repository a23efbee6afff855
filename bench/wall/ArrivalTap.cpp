#include "bench/wall/ArrivalTap.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "remote/p2p/DatagramReader.h"
#include "remote/p2p/MessageAssembler.h"
#include "remote/p2p/P2PWire.h"

namespace
{

struct TapState {
    std::atomic<bool> on{false};
    std::mutex lock;        // guards all below
    std::set<int> stamped;  // sockets that give the time of arrival
    std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(MESSAGE_LIMIT_BYTES);
    std::optional<CMessageAssembler> assembler;
    std::array<std::deque<double>, CHANNEL_COUNT> arrived;
};

TapState& Tap()
{
    static TapState tap;
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
    TapState& tap = Tap();
    const std::lock_guard lock(tap.lock);
    if (tap.assembler->Feed(datagram.subspan(P2P_HEADER_BYTES)) != CMessageAssembler::EResult::Complete) return;
    const auto message = tap.assembler->GetMessage();
    if (IsPicture(message))
        tap.arrived[static_cast<std::size_t>(ReadMessageHeader(message).channel)].push_back(stamp);
}

// Room for the stamp and the size of the pieces.
struct Control {
    alignas(cmsghdr) std::array<std::uint8_t, CMSG_SPACE(sizeof(timespec)) + CMSG_SPACE(sizeof(int))> bytes{};
};

// Leaves of what came beside a message only what the caller's own room was made for.
void GiveBack(const msghdr& received, msghdr& message)
{
    std::size_t used = 0;
    for (const cmsghdr* part = CMSG_FIRSTHDR(&received); part != nullptr;
         part = CMSG_NXTHDR(const_cast<msghdr*>(&received), const_cast<cmsghdr*>(part))) {
        if (part->cmsg_level == SOL_SOCKET || used + part->cmsg_len > message.msg_controllen) continue;
        std::memcpy(static_cast<std::uint8_t*>(message.msg_control) + used, part, part->cmsg_len);
        used += CMSG_ALIGN(part->cmsg_len);
    }
    message.msg_controllen = used;
}

int ReceiveStamped(int socket, mmsghdr* messages, unsigned int limit, int flags, timespec* timeout)
{
    {
        const std::lock_guard lock(Tap().lock);
        const int on = 1;
        if (Tap().stamped.insert(socket).second) setsockopt(socket, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    }
    std::vector<Control> controls(limit);
    std::vector<mmsghdr> received(messages, messages + limit);
    for (unsigned int i = 0; i < limit; ++i) {
        received[i].msg_hdr.msg_control = controls[i].bytes.data();
        received[i].msg_hdr.msg_controllen = controls[i].bytes.size();
    }
    const auto count = static_cast<int>(syscall(SYS_recvmmsg, socket, received.data(), limit, flags, timeout));
    for (int i = 0; i < count; ++i) {
        const msghdr& taken = received[static_cast<std::size_t>(i)].msg_hdr;
        const std::size_t bytes = received[static_cast<std::size_t>(i)].msg_len;
        const auto* const data = static_cast<const std::uint8_t*>(taken.msg_iov->iov_base);
        const std::size_t segment = ReadSegmentBytes(taken, bytes);
        for (std::size_t at = 0; at < bytes; at += segment)
            Look({data + at, std::min(segment, bytes - at)}, StampMs(taken));
        msghdr& message = messages[i].msg_hdr;
        GiveBack(taken, message);
        message.msg_namelen = taken.msg_namelen;
        message.msg_flags = taken.msg_flags;
        messages[i].msg_len = received[static_cast<std::size_t>(i)].msg_len;
    }
    return count;
}

}  // namespace

extern "C" int recvmmsg(int socket, mmsghdr* messages, unsigned int limit, int flags, timespec* timeout)
{
    if (Tap().on.load(std::memory_order_relaxed))
        return ReceiveStamped(socket, messages, limit, flags, timeout);
    return static_cast<int>(syscall(SYS_recvmmsg, socket, messages, limit, flags, timeout));
}

namespace arrival_tap
{

void Start()
{
    TapState& tap = Tap();
    const std::lock_guard lock(tap.lock);
    tap.stamped.clear();
    tap.assembler.emplace(tap.buffer);
    for (auto& channel : tap.arrived)
        channel.clear();
    tap.on = true;
}

void Stop()
{
    Tap().on = false;
}

double TakeAge(int channel)
{
    TapState& tap = Tap();
    const double now = WallClockMs();
    const std::lock_guard lock(tap.lock);
    auto& arrived = tap.arrived[static_cast<std::size_t>(channel)];
    if (arrived.empty()) return -1;
    const double stamp = arrived.front();
    arrived.pop_front();
    return now - stamp;
}

int Waiting(int channel)
{
    TapState& tap = Tap();
    const std::lock_guard lock(tap.lock);
    return static_cast<int>(tap.arrived[static_cast<std::size_t>(channel)].size());
}

}  // namespace arrival_tap
