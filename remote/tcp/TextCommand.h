#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The port on which a device takes text commands.
inline constexpr std::uint16_t CONTROL_PORT = 10060;

/// Sends one text command to the device at `address` (dotted, or a name) on a connection of its own, which
/// blocks for the length of the connect. Nothing is read, and no failure is reported but one: -1 when there is
/// no socket to be had, else 0. Any thread.
std::int32_t SendTextCommand(const std::string& address, std::string_view text);

/// "name:channel".
std::string MakeTextCommand(const char* name, std::int32_t devID);
/// "name:channel:value", as the four colour commands have it.
std::string MakeTextCommand(const char* name, std::int32_t devID, std::int32_t value);
