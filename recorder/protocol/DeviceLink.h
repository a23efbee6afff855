#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "recorder/protocol/DatagramOut.h"
#include "recorder/protocol/SendQueue.h"

namespace recorder
{

// What the link asks of whatever makes the pictures. Called from inside the link's own operations.
class IChannels
{
  public:
    virtual ~IChannels() = default;
    virtual int Count() const = 0;
    virtual int Width(int iChannel) const = 0;
    virtual int Height(int iChannel) const = 0;
    // Whether anybody looks at the channel: nothing needs to be encoded while nobody does.
    virtual void SetWatched(int iChannel, bool bWatched) = 0;
    // A client waits for a picture that can be decoded by itself. It may come late; the link waits.
    virtual void WantKey(int iChannel) = 0;
};

// Why a client was let go.
enum class EFarewell { None, Logout, Silent, Idle, NoRoom };
const char* FarewellText(EFarewell farewell);

// What the report tells of one client.
struct XClientCounts {
    XEndpoint m_Endpoint;
    std::string m_strName;
    uint64_t m_ulRequests = 0;
    uint64_t m_ulDatagrams = 0;
    uint64_t m_ulBytes = 0;  // of stream messages
    uint64_t m_ulAcknowledged = 0;
    struct XStream {
        uint64_t m_ulPictures = 0;  // queued for sending
        uint64_t m_ulBytes = 0;
        uint64_t m_ulDropped = 0;  // because the client was too far behind
        bool m_bWaitsForKey = true;
    };
    std::map<int, XStream> m_Streams;  // by channel
    bool m_bProved = false;            // it acknowledged a stream reply
    EFarewell m_Farewell = EFarewell::None;
};

// The device's side of the peer-to-peer road: registers at the rendezvous under the net id, answers punches and
// probes, and sends the channels that were asked for to those who asked. Bytes come in, bytes go out, time is
// passed in; no sockets, no pictures of its own. One thread at a time.
//
// It names no endpoint but the rendezvous and those from which a datagram came, to it or to the rendezvous: the
// local addresses in a foreign record are never used. As a sender can be made up, a client gets no pictures
// until it has acknowledged a stream reply; the reply alone goes out REPLIES times, one each REPLY_EVERY.
class CDeviceLink
{
  public:
    struct XSetup {
        std::string m_strName;  // the net id in decimal
        std::vector<XEndpoint> m_LocalAddresses;
        XEndpoint m_Rendezvous;
        size_t m_ulClients = 64;
        size_t m_ulClientsPerAddress = 16;
        TimeUs m_iDropAfter = 10 * SECOND;  // a client that gets datagrams and is silent for so long
    };
    struct XCounts {
        uint64_t m_ulProbes = 0;         // data messages without data
        uint64_t m_ulPunches = 0;        // from peers
        uint64_t m_ulServerPunches = 0;  // forwarded by the rendezvous
        uint64_t m_ulRequests = 0;
        uint64_t m_ulBadRequests = 0;     // data that isn't a stream request, or names no channel of ours
        uint64_t m_ulRefusedClients = 0;  // no room
        std::array<uint64_t, WIRE_FAULTS> m_Faults{};  // by EWireFault
    };
    static constexpr TimeUs LOGIN_EVERY = SECOND;  // until the rendezvous acknowledges
    static constexpr TimeUs LOGIN_AGAIN_AFTER =
        30 * SECOND;  // so that a rendezvous that was restarted learns of us
    static constexpr TimeUs FORGET_IDLE_AFTER = 60 * SECOND;  // a client that watches nothing
    static constexpr TimeUs REPLY_EVERY = SECOND;
    static constexpr int REPLIES = 3;
    static constexpr size_t MAX_FORMER_CLIENTS = 256;  // kept for the report

    CDeviceLink(XSetup setup, IChannels& channels, IDatagramOut& out);

    void OnDatagram(TimeUs iNow, const XEndpoint& from, std::span<const uint8_t> datagram);
    // A picture of a channel is ready: header word and encoded data, as MakeVideoMessage makes it.
    void OnMessage(TimeUs iNow, int iChannel, bool bKey, const CSendQueue::Message& pMessage);
    // Does what is due; when it wants to be called again. Call it too after the two above.
    TimeUs OnTimer(TimeUs iNow);

    bool Registered() const { return m_bRegistered; }
    const XCounts& Counts() const { return m_Counts; }
    std::vector<XClientCounts> Clients() const;
    // The latest of those that left, the oldest first.
    const std::vector<XClientCounts>& FormerClients() const { return m_Former; }

  private:
    struct XClient {
        XClientCounts m_Counts;
        CSendQueue m_Queue;
        TimeUs m_iHeard = 0;
        TimeUs m_iUnansweredSince = NEVER;  // the first datagram sent since the client was heard
        // until it is proved
        int m_iReplies = 0;  // that went for each of its streams
        TimeUs m_iNextReply = NEVER;
    };
    using Clients_t = std::map<XEndpoint, XClient>;

    void Register(TimeUs iNow);
    XClient* FindOrAdd(TimeUs iNow, const XEndpoint& from, const std::string& name);
    bool MakeRoom(const XEndpoint& from);
    void OnData(TimeUs iNow, const XEndpoint& from, const XMessage& message);
    void OnRequest(TimeUs iNow, XClient& client, int iChannel);
    void OnAcknowledged(XClient& client);
    void PushReply(XClient& client, int iChannel);
    void StartStream(XClient& client, int iChannel);
    // False when an unproved client has had all its replies.
    bool RepeatReplies(TimeUs iNow, XClient& client);
    void Pump(TimeUs iNow, XClient& client);
    Clients_t::iterator Drop(Clients_t::iterator client, EFarewell farewell);
    void UpdateWatched(int iChannel);
    void Send(const XEndpoint& to, EMessage type, ECarries carries, std::span<const uint8_t> body = {});

    XSetup m_Setup;
    IChannels& m_Channels;
    IDatagramOut& m_Out;
    XPeerRecord m_OwnRecord;
    bool m_bRegistered = false;
    TimeUs m_iNextLogin = 0;
    Clients_t m_Clients;
    std::vector<XClientCounts> m_Former;
    XCounts m_Counts;
};

}  // namespace recorder
