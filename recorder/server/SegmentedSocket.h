#pragma once

#include <span>
#include <vector>

#include "recorder/protocol/Faults.h"

namespace recorder
{

// The calls on a UDP socket that Asio has no names for: several datagrams in one walk through the network code.
// The socket is named by its number and doesn't wait; errors are errno, and 0 is none.

/// Has the network code hand out together what came together. Where it can't, each datagram comes alone.
void JoinReceived(int socket);

/// Sends a run of at least two datagrams, as CountRun tells it; all or nothing.
int SendRun(int socket, std::span<const Datagram> run);

/// Whether the error says that runs can't be sent there, while the same datagrams may go one by one.
bool IsRunRefused(int error);

struct Burst {
    Endpoint from;
    std::span<const uint8_t> bytes;  // into the buffer
    size_t segment = 0;              // bytes of each datagram but the last; 0 for a single one
};

/// Receives one datagram, or several of one sender that came together. The buffer holds 64 KiB.
int ReceiveBurst(int socket, std::span<uint8_t> buffer, Burst& burst);

}  // namespace recorder
