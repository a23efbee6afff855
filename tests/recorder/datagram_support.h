#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "recorder/protocol/DeviceLink.h"

namespace recorder
{

inline constexpr Endpoint ALICE = {0x7F000001, 50001};
inline constexpr Endpoint BOB = {0x7F000001, 50002};
inline constexpr Endpoint SERVER = {0x7F000001, 4567};

// Keeps what would be sent.
class CSink : public IDatagramOut
{
  public:
    struct Sent {
        Endpoint to;
        Bytes bytes;
        ECarries carries;
    };
    void Send(const Endpoint& to, Bytes bytes, ECarries carries) override
    {
        m_Sent.push_back({to, std::move(bytes), carries});
    }
    // What was sent since the last call, and only that.
    std::vector<Sent> Take() { return std::exchange(m_Sent, {}); }

  private:
    std::vector<Sent> m_Sent;
};

inline WireMessage Parsed(const CSink::Sent& sent)
{
    return ParseMessage(sent.bytes).value();
}

inline Bytes From(const std::string& name, EMessage type, const Bytes& body = {})
{
    PeerRecord record;
    record.name = name;
    return MakeMessage(type, record, body);
}

// The body of a punch that asks the rendezvous for a peer.
inline Bytes Wanted(const std::string& name)
{
    Bytes body(NAME_BYTES);
    std::memcpy(body.data(), name.data(), name.size());
    return body;
}

inline Bytes Request(int channel)
{
    Bytes body(REQUEST_BYTES);
    WriteU32(body.data(), 0x40000008U + (static_cast<uint32_t>(channel) << 24));
    WriteU32(body.data() + 4, static_cast<uint32_t>(channel));
    return body;
}

class CFakeChannels : public IChannels
{
  public:
    int Count() const override { return 4; }
    int Width(int) const override { return 704; }
    int Height(int) const override { return 576; }
    void SetWatched(int channel, bool watched) override { m_Watched[channel] = watched; }
    void WantKey(int channel) override { ++m_KeysWanted[channel]; }

    std::map<int, bool> m_Watched;
    std::map<int, int> m_KeysWanted;
};

inline SendQueue::Message Message(int channel, size_t bytes, uint8_t fill = 0)
{
    return std::make_shared<const Bytes>(MakeVideoMessage(channel, Bytes(bytes - HEADER_BYTES, fill)));
}

}  // namespace recorder
