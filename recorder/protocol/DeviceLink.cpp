#include "recorder/protocol/DeviceLink.h"

#include <algorithm>
#include <utility>

namespace recorder
{

const char* FarewellText(EFarewell farewell)
{
    static constexpr std::array<const char*, 5> TEXTS = {"none", "logout", "silent", "idle", "no room"};
    return TEXTS[static_cast<size_t>(farewell)];
}

CDeviceLink::CDeviceLink(XSetup setup, IChannels& channels, IDatagramOut& out)
    : m_Setup(std::move(setup)), m_Channels(channels), m_Out(out)
{
    m_OwnRecord.m_strName = m_Setup.m_strName;
    m_OwnRecord.m_LocalAddresses = m_Setup.m_LocalAddresses;
}

void CDeviceLink::OnDatagram(TimeUs iNow, const XEndpoint& from, std::span<const uint8_t> datagram)
{
    EWireFault fault = EWireFault::None;
    const auto message = ParseMessage(datagram, &fault);
    if (!message) {
        ++m_Counts.m_Faults[static_cast<size_t>(fault)];
        return;
    }
    const bool fromRendezvous = from == m_Setup.m_Rendezvous;
    if (const auto it = m_Clients.find(from); it != m_Clients.end()) {
        it->second.m_iHeard = iNow;
        it->second.m_iUnansweredSince = NEVER;
    }
    switch (message->m_Type) {
        case EMessage::LoginAck:
            if (!fromRendezvous) break;
            m_bRegistered = true;
            m_OwnRecord.m_P2p = message->m_Record.m_P2p;
            m_iNextLogin = iNow + LOGIN_AGAIN_AFTER;
            break;
        case EMessage::Ping:
            Send(from, EMessage::Pong, ECarries::Device);
            break;
        case EMessage::Punch:
            if (fromRendezvous) {
                // The rendezvous saw the peer at its p2p address; its local addresses are only its own word.
                ++m_Counts.m_ulServerPunches;
                if (message->m_Record.m_P2p.m_usPort != 0)
                    Send(message->m_Record.m_P2p, EMessage::PunchAck, ECarries::Device);
            } else {
                ++m_Counts.m_ulPunches;
                FindOrAdd(iNow, from, message->m_Record.m_strName);
                Send(from, EMessage::PunchAck, ECarries::Device);
            }
            break;
        case EMessage::Data:
            OnData(iNow, from, *message);
            break;
        case EMessage::DataAck:
            if (const auto it = m_Clients.find(from); it != m_Clients.end()) OnAcknowledged(it->second);
            break;
        case EMessage::Logout:
            if (const auto it = m_Clients.find(from); it != m_Clients.end()) Drop(it, EFarewell::Logout);
            break;
        default:
            break;
    }
}

void CDeviceLink::OnData(TimeUs iNow, const XEndpoint& from, const XMessage& message)
{
    if (message.m_Body.empty()) {
        ++m_Counts.m_ulProbes;
        FindOrAdd(iNow, from, message.m_Record.m_strName);
    } else if (const auto channel = ParseStreamRequest(message.m_Body);
               channel && *channel < m_Channels.Count()) {
        ++m_Counts.m_ulRequests;
        if (XClient* const client = FindOrAdd(iNow, from, message.m_Record.m_strName))
            OnRequest(iNow, *client, *channel);
    } else {
        ++m_Counts.m_ulBadRequests;
    }
    Send(from, EMessage::DataAck, ECarries::Device);
}

// A request for a channel that is streamed already starts it again: the reply must be the first message of the
// channel that the client sees, so what waits is taken back. An unproved client gets one reply for each channel
// and no more for asking again.
void CDeviceLink::OnRequest(TimeUs iNow, XClient& client, int iChannel)
{
    ++client.m_Counts.m_ulRequests;
    const bool known = !client.m_Counts.m_Streams.try_emplace(iChannel).second;
    if (client.m_Counts.m_bProved) {
        PushReply(client, iChannel);
        StartStream(client, iChannel);
    } else if (!known) {
        PushReply(client, iChannel);
        if (client.m_iReplies == 0) {
            client.m_iReplies = 1;
            client.m_iNextReply = iNow + REPLY_EVERY;
        }
    }
}

void CDeviceLink::OnAcknowledged(XClient& client)
{
    ++client.m_Counts.m_ulAcknowledged;
    client.m_Queue.Acknowledged();
    if (client.m_Counts.m_bProved || client.m_Counts.m_ulDatagrams == 0) return;
    client.m_Counts.m_bProved = true;
    client.m_iNextReply = NEVER;
    for (const auto& [channel, stream] : client.m_Counts.m_Streams)
        StartStream(client, channel);
}

void CDeviceLink::PushReply(XClient& client, int iChannel)
{
    client.m_Queue.Forget(iChannel);
    client.m_Queue.Push(iChannel, std::make_shared<const Bytes>(MakeStreamReply(
                                      iChannel, m_Channels.Width(iChannel), m_Channels.Height(iChannel))));
}

void CDeviceLink::StartStream(XClient& client, int iChannel)
{
    client.m_Counts.m_Streams[iChannel].m_bWaitsForKey = true;
    m_Channels.SetWatched(iChannel, true);
    m_Channels.WantKey(iChannel);
}

bool CDeviceLink::RepeatReplies(TimeUs iNow, XClient& client)
{
    if (iNow < client.m_iNextReply) return true;
    if (client.m_iReplies == REPLIES) return false;
    ++client.m_iReplies;
    client.m_iNextReply = iNow + REPLY_EVERY;
    for (const auto& [channel, stream] : client.m_Counts.m_Streams)
        PushReply(client, channel);
    return true;
}

void CDeviceLink::OnMessage(TimeUs iNow, int iChannel, bool bKey, const CSendQueue::Message& pMessage)
{
    for (auto& [endpoint, client] : m_Clients) {
        if (!client.m_Counts.m_bProved) continue;
        const auto it = client.m_Counts.m_Streams.find(iChannel);
        if (it == client.m_Counts.m_Streams.end()) continue;
        auto& stream = it->second;
        if (stream.m_bWaitsForKey && !bKey) continue;
        if (client.m_Queue.Push(iChannel, pMessage)) {
            stream.m_bWaitsForKey = false;
            ++stream.m_ulPictures;
            stream.m_ulBytes += pMessage->size();
            Pump(iNow, client);
        } else {
            // Pictures that build on the missing one would show nothing but damage.
            ++stream.m_ulDropped;
            stream.m_bWaitsForKey = true;
            m_Channels.WantKey(iChannel);
        }
    }
}

TimeUs CDeviceLink::OnTimer(TimeUs iNow)
{
    if (iNow >= m_iNextLogin) Register(iNow);
    TimeUs next = m_iNextLogin;
    for (auto it = m_Clients.begin(); it != m_Clients.end();) {
        XClient& client = it->second;
        const bool silent = !RepeatReplies(iNow, client);
        if (silent ||
            (client.m_iUnansweredSince != NEVER && iNow - client.m_iUnansweredSince >= m_Setup.m_iDropAfter)) {
            it = Drop(it, EFarewell::Silent);
            continue;
        }
        if (client.m_Counts.m_Streams.empty() && iNow - client.m_iHeard >= FORGET_IDLE_AFTER) {
            it = Drop(it, EFarewell::Idle);
            continue;
        }
        Pump(iNow, client);
        next = std::min({next, client.m_Queue.Due(iNow), client.m_iNextReply});
        if (client.m_iUnansweredSince != NEVER)
            next = std::min(next, client.m_iUnansweredSince + m_Setup.m_iDropAfter);
        if (client.m_Counts.m_Streams.empty()) next = std::min(next, client.m_iHeard + FORGET_IDLE_AFTER);
        ++it;
    }
    return next;
}

std::vector<XClientCounts> CDeviceLink::Clients() const
{
    std::vector<XClientCounts> all;
    for (const auto& [endpoint, client] : m_Clients)
        all.push_back(client.m_Counts);
    return all;
}

void CDeviceLink::Register(TimeUs iNow)
{
    m_iNextLogin = iNow + LOGIN_EVERY;
    Send(m_Setup.m_Rendezvous, EMessage::Login, ECarries::Device);
}

CDeviceLink::XClient* CDeviceLink::FindOrAdd(TimeUs iNow, const XEndpoint& from, const std::string& name)
{
    auto it = m_Clients.find(from);
    if (it == m_Clients.end()) {
        if (!MakeRoom(from)) {
            ++m_Counts.m_ulRefusedClients;
            return nullptr;
        }
        it = m_Clients.emplace(from, XClient()).first;
        it->second.m_Counts.m_Endpoint = from;
        it->second.m_iHeard = iNow;
    }
    it->second.m_Counts.m_strName = name;
    return &it->second;
}

// When there is none, for all or for this address, lets a client go that watches nothing, or only says that it
// does: the one that has been silent for longest.
bool CDeviceLink::MakeRoom(const XEndpoint& from)
{
    const auto neighbour = [&](const auto& entry) { return entry.first.m_dwAddress == from.m_dwAddress; };
    const auto neighbours = static_cast<size_t>(std::count_if(m_Clients.begin(), m_Clients.end(), neighbour));
    const bool crowded = neighbours >= m_Setup.m_ulClientsPerAddress;
    if (!crowded && m_Clients.size() < m_Setup.m_ulClients) return true;
    auto oldest = m_Clients.end();
    for (auto it = m_Clients.begin(); it != m_Clients.end(); ++it) {
        const bool watches = it->second.m_Counts.m_bProved && !it->second.m_Counts.m_Streams.empty();
        if (watches || (crowded && !neighbour(*it))) continue;
        if (oldest == m_Clients.end() || it->second.m_iHeard < oldest->second.m_iHeard) oldest = it;
    }
    if (oldest == m_Clients.end()) return false;
    Drop(oldest, EFarewell::NoRoom);
    return true;
}

void CDeviceLink::Pump(TimeUs iNow, XClient& client)
{
    while (const auto piece = client.m_Queue.Next(iNow)) {
        ++client.m_Counts.m_ulDatagrams;
        client.m_Counts.m_ulBytes += piece->size();
        client.m_iUnansweredSince = std::min(client.m_iUnansweredSince, iNow);
        Send(client.m_Counts.m_Endpoint, EMessage::Data, ECarries::Video, *piece);
    }
}

CDeviceLink::Clients_t::iterator CDeviceLink::Drop(Clients_t::iterator client, EFarewell farewell)
{
    XClientCounts counts = std::move(client->second.m_Counts);
    const auto next = m_Clients.erase(client);
    for (const auto& [channel, stream] : counts.m_Streams)
        UpdateWatched(channel);
    counts.m_Farewell = farewell;
    if (m_Former.size() == MAX_FORMER_CLIENTS) m_Former.erase(m_Former.begin());
    m_Former.push_back(std::move(counts));
    return next;
}

void CDeviceLink::UpdateWatched(int iChannel)
{
    const bool watched = std::any_of(m_Clients.begin(), m_Clients.end(), [iChannel](const auto& entry) {
        const XClientCounts& client = entry.second.m_Counts;
        return client.m_bProved && client.m_Streams.contains(iChannel);
    });
    if (!watched) m_Channels.SetWatched(iChannel, false);
}

void CDeviceLink::Send(const XEndpoint& to, EMessage type, ECarries carries, std::span<const uint8_t> body)
{
    m_Out.Send(to, MakeMessage(type, m_OwnRecord, body), carries);
}

}  // namespace recorder
