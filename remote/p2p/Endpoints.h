#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>

inline constexpr std::uint16_t DIRECTORY_PORT = 6800;   // TCP
inline constexpr std::uint16_t RENDEZVOUS_PORT = 4567;  // UDP

/// Where the directory server and the rendezvous server are: one host, two ports.
struct Endpoints {
    std::string host = "127.0.0.1";  // a name or a dotted address
    std::uint16_t directoryPort = DIRECTORY_PORT;
    std::uint16_t rendezvousPort = RENDEZVOUS_PORT;
    std::uint32_t replyTimeoutMs = 30000;  // a directory that stays silent for so long counts as a failed read
};

/// The endpoints from "config\system.ini", section "System": "DirectoryServer" (this machine when missing or
/// empty), and "DirectoryPort" and "RendezvousPort", for a host whose ports are forwarded (the system's own
/// when missing or out of range).
Endpoints ReadEndpoints();

/// The first IPv4 address of a dotted address or a host name; false when there is none. A name may block as
/// long as the machine's resolver does.
bool ResolveHost(const std::string& host, in_addr& address);
