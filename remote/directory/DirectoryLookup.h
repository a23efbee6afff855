#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct Endpoints;

// The two questions to the directory server, which knows the present address of every machine. Each is one
// short TCP connection: bare text there, one reply of at most 1024 bytes back, with no frame, no terminator and
// no line end. Both block the calling thread.

inline constexpr std::size_t DIRECTORY_REPLY_BYTES = 1024;

/// "getip": the present address of the machine that is stored as `netAddress`. Without a connection, without
/// a readable reply, or when the directory does not know the name, the result is `netAddress` itself, which
/// is how a machine is reached by its plain dotted address. The result is not checked to be an address.
std::string LookUpAddress(const Endpoints& endpoints, const std::string& netAddress);

/// "getip2": the net id and the channel count of the machine whose address the user entered. False when there
/// is no connection, and then neither is changed; otherwise true, whatever the reply was (see
/// ParseChannelReply).
bool LookUpChannels(const Endpoints& endpoints, const std::string& address, std::int32_t& netID,
                    std::int32_t& channelCount);

/// Reads the reply to "getip2", at least three fields separated by colons of which only the second is read. A
/// reply that begins with a colon changes nothing. Otherwise the net id becomes the decimal value of
/// `address`, the text that the user entered and not the reply, and the channel count that of the second
/// field; a field that no colon ends counts as empty, and a text that is no number is 0.
void ParseChannelReply(std::string_view reply, const std::string& address, std::int32_t& netID,
                       std::int32_t& channelCount);
