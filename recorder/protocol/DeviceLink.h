#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "recorder/protocol/DatagramOut.h"
#include "recorder/protocol/SendQueue.h"

namespace recorder
{

/// What the link asks of whatever makes the pictures. Called from inside the link's own operations.
class IChannels
{
  public:
    virtual ~IChannels() = default;
    virtual int Count() const = 0;
    virtual int Width(int channel) const = 0;
    virtual int Height(int channel) const = 0;
    /// Whether anybody looks at the channel: nothing needs to be encoded while nobody does.
    virtual void SetWatched(int channel, bool watched) = 0;
    /// A client waits for a picture that can be decoded by itself. It may come late; the link waits.
    virtual void WantKey(int channel) = 0;
};

/// Why a client was disconnected.
enum class EDisconnectReason { None, Logout, Silent, Idle, NoRoom };
const char* DisconnectReasonText(EDisconnectReason reason);

/// What the report says of one client.
struct ClientCounts {
    Endpoint endpoint;
    std::string name;
    uint64_t requests = 0;
    uint64_t datagrams = 0;
    uint64_t bytes = 0;  // of stream messages
    uint64_t acknowledged = 0;
    struct Stream {
        uint64_t pictures = 0;  // sent to their end
        uint64_t bytes = 0;
        uint64_t dropped = 0;  // left out because the client was too far behind
        bool waitsForKey = true;
        bool behind = false;  // it waits since one was left out
    };
    std::map<int, Stream> streams;  // by channel
    bool proved = false;            // it acknowledged a stream reply
    EDisconnectReason disconnectReason = EDisconnectReason::None;

    /// The numbers of another client on top of its own.
    void Add(const ClientCounts& other);
};

/// The device's side of the peer-to-peer protocol: registers at the rendezvous under the net id, answers
/// punches and probes, and sends the channels that were asked for to those who asked. Bytes come in, bytes go
/// out, time is passed in; no sockets, no pictures of its own. One thread at a time.
///
/// It names no endpoint but the rendezvous and those from which a datagram came, to it or to the rendezvous:
/// the local addresses in a foreign record are never used. As a sender can be made up, a client gets no
/// pictures until it has acknowledged a stream reply; the reply alone goes out REPLIES times, one each
/// REPLY_EVERY. What only a recorder says isn't answered, so that neither an echo nor another recorder, in
/// whose name a request was made up, acknowledges for it.
class DeviceLink
{
  public:
    struct Setup {
        std::string name;  // the net id in decimal
        std::vector<Endpoint> localAddresses;
        Endpoint rendezvous;
        size_t clients = 64;
        size_t clientsPerAddress = 16;
        TimeUs dropAfter = 10 * SECOND;  // a client that gets datagrams and is silent for so long
    };
    struct Counters {
        uint64_t probes = 0;         // data messages without data
        uint64_t punches = 0;        // from peers
        uint64_t serverPunches = 0;  // forwarded by the rendezvous
        uint64_t requests = 0;
        uint64_t badRequests = 0;     // no stream request, for no channel of ours, or under our own name
        uint64_t refusedClients = 0;  // no room
        std::array<uint64_t, WIRE_FAULTS> faults{};  // by EWireFault
    };
    static constexpr TimeUs LOGIN_EVERY = SECOND;  // until the rendezvous acknowledges
    static constexpr TimeUs LOGIN_AGAIN_AFTER =
        30 * SECOND;  // so that a rendezvous that was restarted learns of us
    static constexpr TimeUs FORGET_IDLE_AFTER = 60 * SECOND;  // a client that watches nothing
    // Before a silent client is dropped, what came while the process stood still is read.
    static constexpr TimeUs READ_BEFORE_DROP = 100 * MILLISECOND;
    static constexpr TimeUs REPLY_EVERY = SECOND;
    static constexpr int REPLIES = 3;
    static constexpr size_t MAX_FORMER_CLIENTS = 256;  // kept for the report

    DeviceLink(Setup setup, IChannels& channels, IDatagramOut& out);

    void OnDatagram(TimeUs now, const Endpoint& from, std::span<const uint8_t> datagram);
    /// A picture of a channel is ready: header word and encoded data, as MakeVideoMessage makes it.
    void OnMessage(TimeUs now, int channel, bool key, const SendQueue::Message& message);
    /// Does what is due; when it wants to be called again. Call it too after the two above.
    TimeUs OnTimer(TimeUs now);

    bool Registered() const { return m_Registered; }
    const Counters& Counts() const { return m_Counts; }
    std::vector<ClientCounts> Clients() const;
    /// The latest of those that left, the oldest first.
    const std::vector<ClientCounts>& FormerClients() const { return m_Former; }
    /// The numbers of all that left before these, together.
    const ClientCounts& EarlierClients() const { return m_Earlier; }

  private:
    struct Client {
        ClientCounts counts;
        SendQueue queue;
        TimeUs heard = 0;
        TimeUs unansweredSince = NEVER;  // the first datagram sent since the client last sent one
        TimeUs silentSince = NEVER;      // it was seen to be so for too long
        // until it is proved
        int replies = 0;  // that went for each of its streams
        TimeUs nextReply = NEVER;
    };
    using ClientMap = std::map<Endpoint, Client>;

    void Register(TimeUs now);
    Client* FindOrAdd(TimeUs now, const Endpoint& from, const std::string& name);
    bool MakeRoom(const Endpoint& from);
    bool IsOfRecorder(const WireMessage& message) const;
    void OnData(TimeUs now, const Endpoint& from, const WireMessage& message);
    void OnRequest(TimeUs now, Client& client, int channel);
    void OnAcknowledged(Client& client);
    void PushReply(Client& client, int channel);
    void StartStream(Client& client, int channel);
    // False when an unproved client has had all its replies.
    bool RepeatReplies(TimeUs now, Client& client);
    bool IsSilent(TimeUs now, Client& client) const;
    void Pump(TimeUs now, Client& client);
    void Lose(ClientCounts::Stream& stream, int channel, size_t pictures);
    ClientMap::iterator Drop(ClientMap::iterator client, EDisconnectReason reason);
    void UpdateWatched(int channel);
    void Send(const Endpoint& to, EMessage type, ECarries carries, std::span<const uint8_t> body = {});

    Setup m_Setup;
    IChannels& m_Channels;
    IDatagramOut& m_Out;
    PeerRecord m_OwnRecord;
    bool m_Registered = false;
    TimeUs m_NextLogin = 0;
    ClientMap m_Clients;
    std::vector<ClientCounts> m_Former;
    ClientCounts m_Earlier;
    Counters m_Counts;
};

}  // namespace recorder
