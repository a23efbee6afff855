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
