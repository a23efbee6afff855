#include "bench/wall/ArrivalTap.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "remote/p2p/DatagramReader.h"
#include "remote/p2p/MessageAssembler.h"
#include "remote/p2p/P2PWire.h"

namespace
{

struct TapState {
    std::atomic<bool> on{false};
    std::mutex lock;  // guards all below
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

void LookAt(std::span<const mmsghdr> received)
{
    for (const mmsghdr& message : received) {
        const std::size_t bytes = message.msg_len;
        const auto* const data = static_cast<const std::uint8_t*>(message.msg_hdr.msg_iov->iov_base);
        const std::size_t segment = ReadSegmentBytes(message.msg_hdr, bytes);
        // The reader has asked for stamps; what came before that has none.
        const double stamp = Milliseconds(ReadArrival(message.msg_hdr));
        for (std::size_t at = 0; at < bytes; at += segment)
            Look({data + at, std::min(segment, bytes - at)}, stamp > 0 ? stamp : WallClockMs());
    }
}

}  // namespace

extern "C" int recvmmsg(int socket, mmsghdr* messages, unsigned int limit, int flags, timespec* timeout)
{
    const auto count = static_cast<int>(syscall(SYS_recvmmsg, socket, messages, limit, flags, timeout));
    if (count > 0 && Tap().on.load(std::memory_order_relaxed))
        LookAt({messages, static_cast<std::size_t>(count)});
    return count;
}

namespace arrival_tap
{

void Start()
{
    TapState& tap = Tap();
    const std::lock_guard lock(tap.lock);
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
