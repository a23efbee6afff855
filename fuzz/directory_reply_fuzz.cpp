// The directory's reply to the question for address and channels. The input is the text that the user entered,
// up to the first line break, and the reply.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "remote/directory/DirectoryLookup.h"

namespace
{

void Require(bool holds)
{
    if (!holds) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto entered = std::string(text.substr(0, text.find('\n')));
    const auto reply = text.substr(std::min(entered.size() + 1, size)).substr(0, DIRECTORY_REPLY_BYTES);
    std::int32_t netID = -7;
    std::int32_t channelCount = -9;
    ParseChannelReply(reply, entered, netID, channelCount);
    if (reply.starts_with(':')) {
        Require(netID == -7 && channelCount == -9);
        return 0;
    }
    if (reply.find(':') == std::string_view::npos) Require(channelCount == 0);
    // What stands before the first colon is never read.
    std::int32_t again = 0;
    std::int32_t sameCount = 0;
    const auto colon = reply.find(':');
    if (colon == std::string_view::npos) return 0;
    ParseChannelReply("x" + std::string(reply.substr(colon)), entered, again, sameCount);
    Require(again == netID && sameCount == channelCount);
    return 0;
}
