#include "recorder/protocol/Directory.h"

#include <algorithm>
#include <utility>

#include "recorder/protocol/Wire.h"

namespace recorder
{

namespace
{

constexpr std::string_view ADDRESS_QUESTION = "getip?domainname=";
constexpr std::string_view CHANNELS_QUESTION = "getip2?domainname=";
// Any text that begins with f says that the name isn't known.
constexpr std::string_view NOT_FOUND = "failed";

// "0012" and "12" are the same number; a text that isn't a number is only itself.
std::string_view WithoutLeadingZeros(std::string_view text)
{
    const size_t first = text.find_first_not_of('0');
    return first == std::string_view::npos ? text.substr(text.empty() ? 0 : text.size() - 1)
                                           : text.substr(first);
}

bool CouldBecome(std::string_view soFar, std::string_view question)
{
    return question.substr(0, soFar.size()) == soFar;
}

}  // namespace

Directory::Directory(std::string netId, int channels, std::vector<std::string> aliases)
    : m_NetId(std::move(netId)), m_Channels(channels), m_Aliases(std::move(aliases))
{
}

bool Directory::Knows(std::string_view name) const
{
    if (name.empty()) return false;
    if (WithoutLeadingZeros(name) == WithoutLeadingZeros(m_NetId)) return true;
    return std::any_of(m_Aliases.begin(), m_Aliases.end(),
                       [&](const std::string& alias) { return SameName(alias, std::string(name)); });
}

Directory::Step Directory::Ask(std::string_view soFar, bool noMore, uint32_t reachedAt) const
{
    if (soFar.size() > MAX_QUESTION_BYTES) return {EStep::Refuse, {}};
    const bool withChannels = soFar.starts_with(CHANNELS_QUESTION);
    if (!withChannels && !soFar.starts_with(ADDRESS_QUESTION)) {
        const bool hope = CouldBecome(soFar, ADDRESS_QUESTION) || CouldBecome(soFar, CHANNELS_QUESTION);
        return {hope && !noMore ? EStep::Wait : EStep::Refuse, {}};
    }
    const auto name = soFar.substr(withChannels ? CHANNELS_QUESTION.size() : ADDRESS_QUESTION.size());
    if (!Knows(name)) return noMore ? Step{EStep::Reply, std::string(NOT_FOUND)} : Step{};
    std::string reply = AddressText(reachedAt);
    if (withChannels) reply += ":" + std::to_string(m_Channels) + ":" + m_NetId;
    return {EStep::Reply, std::move(reply)};
}

}  // namespace recorder
