#include "remote/udp/StreamReply.h"

#include <algorithm>

#include "remote/p2p/MessageAssembler.h"
#include "remote/p2p/P2PWire.h"

StreamReply ReadStreamReply(std::span<const std::uint8_t> message)
{
    std::uint8_t bytes[MESSAGE_HEADER_BYTES + 4] = {};
    std::ranges::copy(message.first(std::min(message.size(), sizeof bytes)), bytes);
    return {ReadLittle16(bytes + MESSAGE_HEADER_BYTES), ReadLittle16(bytes + MESSAGE_HEADER_BYTES + 2)};
}

bool IsWithinLimit(const StreamReply& reply)
{
    if (reply.width < 0 || reply.height < 0) return false;
    const auto whole = [](std::int32_t pixels) {
        constexpr std::int64_t BLOCK = 16;
        return std::max<std::int64_t>((pixels + BLOCK - 1) / BLOCK, 1) * BLOCK;
    };
    return whole(reply.width) * whole(reply.height) <= PICTURE_LIMIT_SAMPLES;
}
