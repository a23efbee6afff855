#pragma once

#include "recorder/protocol/Wire.h"

namespace recorder
{

/// What a datagram carries, so that faults can be put on some kinds only.
enum class ECarries { Rendezvous, Device, Video };

/// Where the protocol logic puts the datagrams it wants sent. The logic only ever names endpoints from which a
/// datagram came before.
class IDatagramOut
{
  public:
    virtual ~IDatagramOut() = default;
    virtual void Send(const Endpoint& to, Bytes bytes, ECarries carries) = 0;
};

}  // namespace recorder
