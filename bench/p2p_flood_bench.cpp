// How many data datagrams of 1024 bytes a second the receiving thread takes, queues and acknowledges when a
// peer floods it without waiting, and what share of them that is; beside a bare loop over recvfrom and sendto,
// which is what the sockets alone cost. What the kernel's buffer has no room for is lost to both.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "remote/p2p/MyP2P.h"

namespace
{

constexpr int RUNS = 5;
constexpr std::size_t BATCH = 64;

sockaddr_in Loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int OpenSocket(std::uint16_t& port)
{
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int bytes = 4 << 20;
    setsockopt(handle, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    if (handle < 0 || bind(handle, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(handle, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        std::abort();
    port = ntohs(address.sin_port);
    return handle;
}

struct Result {
    double sentPerSecond = 0;
    double answeredPerSecond = 0;
    double share = 0;
};

/// Floods the port for the time and counts what comes back.
Result Flood(std::uint16_t port, double seconds)
{
    std::uint16_t own = 0;
    const int handle = OpenSocket(own);
    const sockaddr_in to = Loopback(port);
    connect(handle, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    std::atomic<bool> ended{false};
    std::atomic<std::uint64_t> answers{0};
    std::thread counter([&] {
        std::vector<std::vector<char>> buffers(BATCH, std::vector<char>(2048));
        std::vector<iovec> parts(BATCH);
        std::vector<mmsghdr> messages(BATCH);
        for (std::size_t i = 0; i < BATCH; ++i) {
            parts[i] = {buffers[i].data(), buffers[i].size()};
            messages[i].msg_hdr.msg_iov = &parts[i];
            messages[i].msg_hdr.msg_iovlen = 1;
        }
        while (!ended) {
            const int count = recvmmsg(handle, messages.data(), BATCH, MSG_WAITFORONE, nullptr);
            if (count > 0 && !ended) answers += static_cast<std::uint64_t>(count);
        }
    });

    PEER_RECORD record;
    record.SetName("flood");
    auto datagram = MakeP2PMessage(P2PMSG_DATA, record, std::vector<std::uint8_t>(1024, 0x5A));
    iovec part{datagram.data(), datagram.size()};
    std::vector<mmsghdr> messages(BATCH);
    for (auto& message : messages) {
        message.msg_hdr.msg_iov = &part;
        message.msg_hdr.msg_iovlen = 1;
    }
    const auto start = std::chrono::steady_clock::now();
    const auto end = start + std::chrono::duration<double>(seconds);
    std::uint64_t sent = 0;
    while (std::chrono::steady_clock::now() < end) {
        const int count = sendmmsg(handle, messages.data(), BATCH, MSG_NOSIGNAL);
        if (count > 0) sent += static_cast<std::uint64_t>(count);
    }
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // Whatever is still under way comes within this time.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ended = true;
    shutdown(handle, SHUT_RDWR);
    counter.join();
    close(handle);
    const auto total = static_cast<double>(answers);
    return {static_cast<double>(sent) / took, total / took,
            total / static_cast<double>(std::max<std::uint64_t>(sent, 1))};
}

Result FloodClient(double seconds)
{
    CMyP2P client;
    if (!client.Init(0)) std::abort();
    std::atomic<bool> end{false};
    std::thread reader([&] {
        while (!end) {
            while (client.Front() != nullptr)
                client.Pop();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const Result result = Flood(client.GetLocalPort(), seconds);
    end = true;
    reader.join();
    if (client.GetCounters().dropped > 0)
        std::printf("  (%llu lost to the full queue)\n",
                    static_cast<unsigned long long>(client.GetCounters().dropped));
    return result;
}

Result FloodBareLoop(double seconds)
{
    std::uint16_t port = 0;
    const int handle = OpenSocket(port);
    std::atomic<bool> end{false};
    std::thread loop([&] {
        std::vector<char> buffer(65535);
        const std::vector<char> answer(P2P_HEADER_BYTES);
        for (;;) {
            sockaddr_in from{};
            socklen_t size = sizeof from;
            const ssize_t count =
                recvfrom(handle, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
            if (end) return;
            if (count > 0)
                sendto(handle, answer.data(), answer.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&from),
                       size);
        }
    });
    const Result result = Flood(port, seconds);
    end = true;
    shutdown(handle, SHUT_RDWR);
    loop.join();
    close(handle);
    return result;
}

Result Median(std::vector<Result> results)
{
    std::ranges::sort(results, {}, &Result::answeredPerSecond);
    return results[results.size() / 2];
}

void Print(const char* name, const Result& result)
{
    std::printf("%-22s %10.0f sent/s %10.0f acknowledged/s   share %5.1f %%\n", name, result.sentPerSecond,
                result.answeredPerSecond, 100 * result.share);
}

}  // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 2;
    std::vector<Result> client;
    std::vector<Result> bare;
    for (int i = 0; i < RUNS; ++i) {
        client.push_back(FloodClient(seconds));
        bare.push_back(FloodBareLoop(seconds));
    }
    const Result clientMedian = Median(client);
    const Result bareMedian = Median(bare);
    std::printf("flood of 1024-byte data datagrams, %d runs of %.1f s each, medians\n", RUNS, seconds);
    Print("receiving thread", clientMedian);
    Print("bare socket loop", bareMedian);
    std::printf("receiving thread : bare loop = %.2f\n",
                clientMedian.answeredPerSecond / bareMedian.answeredPerSecond);
}
