// The messages that are put together from datagrams: the assembler with a buffer of any size up to a message's
// limit, and the router behind it. The input is a 16-bit size of the buffer, in units of 2 bytes, then a row of
// datagrams, each a 16-bit little-endian length and the bytes; a length above 0xFF00 repeats the last datagram.

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "remote/p2p/MessageRouter.h"

namespace
{

void Require(bool holds)
{
    if (!holds) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::span<const std::uint8_t> rest(data, size);
    if (rest.size() < 2) return 0;
    std::vector<std::uint8_t> buffer(
        std::min<std::size_t>(ReadLittle16(rest.data()) * 2U, MESSAGE_LIMIT_BYTES));
    rest = rest.subspan(2);

    CMessageAssembler assembler(buffer);
    CLinkCounters counters;
    CMessageRouter router(counters);
    for (int channel = 0; channel < CHANNEL_COUNT; channel += 2)
        router.OpenChannel(channel);

    std::span<const std::uint8_t> datagram;
    std::uint32_t toldLength = 0;
    std::uint64_t fed = 0;
    std::uint64_t given = 0;
    while (rest.size() >= 2) {
        const std::size_t length = ReadLittle16(rest.data());
        rest = rest.subspan(2);
        if (length < 0xFF00) {
            datagram = rest.first(std::min(length, rest.size()));
            rest = rest.subspan(datagram.size());
        }
        if (datagram.empty()) continue;  // no datagram without data comes this far
        fed += datagram.size();
        if (!assembler.IsInside()) toldLength = ReadMessageHeader(datagram).length;
        const auto result = assembler.Feed(datagram);
        const auto message = assembler.GetMessage();
        Require(message.size() <= buffer.size());
        Require(assembler.IsInside() == (result == CMessageAssembler::EResult::More));
        if (result == CMessageAssembler::EResult::Complete) {
            Require(!message.empty());
            Require(message.size() >= toldLength);
            given += message.size();
        }
        Require(given <= fed);
        // Some 20 senders, by the bytes themselves: more than the router has places for.
        sockaddr_in from{};
        from.sin_port = static_cast<in_port_t>(datagram.back() % 20);
        router.Feed("peer", datagram, from, static_cast<std::uint32_t>(fed));
    }
    for (int channel = 0; channel < CHANNEL_COUNT; ++channel)
        while (const auto message = router.Receive(channel, [] { return true; }))
            Require(ReadMessageHeader(message->data).channel == channel && channel % 2 == 0);
    return 0;
}
