#include "recorder/protocol/DeviceLink.h"

#include <algorithm>
#include <utility>

namespace recorder
{

const char* DisconnectReasonText(EDisconnectReason reason)
{
    static constexpr std::array<const char*, 5> TEXTS = {"none", "logout", "silent", "idle", "no room"};
    return TEXTS[static_cast<size_t>(reason)];
}

void ClientCounts::Add(const ClientCounts& other)
{
    requests += other.requests;
    datagrams += other.datagrams;
    bytes += other.bytes;
    acknowledged += other.acknowledged;
    for (const auto& [channel, stream] : other.streams) {
        Stream& own = streams[channel];
        own.pictures += stream.pictures;
        own.bytes += stream.bytes;
        own.dropped += stream.dropped;
    }
}

DeviceLink::DeviceLink(Setup setup, IChannels& channels, IDatagramOut& out)
    : m_Setup(std::move(setup)), m_Channels(channels), m_Out(out)
{
    m_OwnRecord.name = m_Setup.name;
    m_OwnRecord.localAddresses = m_Setup.localAddresses;
}

void DeviceLink::OnDatagram(TimeUs now, const Endpoint& from, std::span<const uint8_t> datagram)
{
    EWireFault fault = EWireFault::None;
    const auto message = ParseMessage(datagram, &fault);
    if (!message) {
        ++m_Counts.faults[static_cast<size_t>(fault)];
        return;
    }
    const bool fromRendezvous = from == m_Setup.rendezvous;
    if (!fromRendezvous && IsOfRecorder(*message)) {
        ++m_Counts.badRequests;
        return;
    }
    if (const auto it = m_Clients.find(from); it != m_Clients.end()) {
        it->second.heard = now;
        it->second.unansweredSince = it->second.silentSince = NEVER;
    }
    switch (message->type) {
        case EMessage::LoginAck:
            if (!fromRendezvous) break;
            m_Registered = true;
            m_OwnRecord.p2p = message->record.p2p;
            m_NextLogin = now + LOGIN_AGAIN_AFTER;
            break;
        case EMessage::Ping:
            Send(from, EMessage::Pong, ECarries::Device);
            break;
        case EMessage::Punch:
            if (fromRendezvous) {
                // The rendezvous saw the peer at its p2p address; its local addresses are only its own word.
                ++m_Counts.serverPunches;
                if (message->record.p2p.port != 0)
                    Send(message->record.p2p, EMessage::PunchAck, ECarries::Device);
            } else {
                ++m_Counts.punches;
                FindOrAdd(now, from, message->record.name);
                Send(from, EMessage::PunchAck, ECarries::Device);
            }
            break;
        case EMessage::Data:
            OnData(now, from, *message);
            break;
        case EMessage::DataAck:
            if (const auto it = m_Clients.find(from); it != m_Clients.end()) OnAcknowledged(it->second);
            break;
        case EMessage::Logout:
            if (const auto it = m_Clients.find(from); it != m_Clients.end())
                Drop(it, EDisconnectReason::Logout);
            break;
        default:
            break;
    }
}

// Whether a recorder sent it: this one, when an echo returns what it said, or another one its pictures. Both
// come from where a made-up request came from, and to take them for a client's, or to acknowledge them, would
// keep the stream going without end.
bool DeviceLink::IsOfRecorder(const WireMessage& message) const
{
    const bool isData = message.type == EMessage::Data && !message.body.empty();
    return SameName(message.record.name, m_Setup.name) || (isData && !ParseStreamRequest(message.body));
}

void DeviceLink::OnData(TimeUs now, const Endpoint& from, const WireMessage& message)
{
    if (message.body.empty()) {
        ++m_Counts.probes;
        FindOrAdd(now, from, message.record.name);
    } else if (const auto channel = ParseStreamRequest(message.body);
               channel && *channel < m_Channels.Count()) {
        ++m_Counts.requests;
        if (Client* const client = FindOrAdd(now, from, message.record.name)) OnRequest(now, *client, *channel);
    } else {
        ++m_Counts.badRequests;
    }
    Send(from, EMessage::DataAck, ECarries::Device);
}

// A request for a channel that is streamed already starts it again: the reply must be the first message of the
// channel that the client sees, so what waits is taken back. An unproved client gets one reply for each channel
// and no more for asking again.
void DeviceLink::OnRequest(TimeUs now, Client& client, int channel)
{
    ++client.counts.requests;
    const bool known = !client.counts.streams.try_emplace(channel).second;
    if (client.counts.proved) {
        PushReply(client, channel);
        StartStream(client, channel);
    } else if (!known) {
        PushReply(client, channel);
        if (client.replies == 0) {
            client.replies = 1;
            client.nextReply = now + REPLY_EVERY;
        }
    }
}

void DeviceLink::OnAcknowledged(Client& client)
{
    ++client.counts.acknowledged;
    client.queue.Acknowledged();
    if (client.counts.proved || client.counts.datagrams == 0) return;
    client.counts.proved = true;
    client.nextReply = NEVER;
    for (const auto& [channel, stream] : client.counts.streams)
        StartStream(client, channel);
}

void DeviceLink::PushReply(Client& client, int channel)
{
    client.queue.Forget(channel);
    client.queue.Push(channel, std::make_shared<const Bytes>(MakeStreamReply(channel, m_Channels.Width(channel),
                                                                             m_Channels.Height(channel))));
}

void DeviceLink::StartStream(Client& client, int channel)
{
    auto& stream = client.counts.streams[channel];
    stream.waitsForKey = true;
    stream.behind = false;
    m_Channels.SetWatched(channel, true);
    m_Channels.WantKey(channel);
}

bool DeviceLink::RepeatReplies(TimeUs now, Client& client)
{
    if (now < client.nextReply) return true;
    if (client.replies == REPLIES) return false;
    ++client.replies;
    client.nextReply = now + REPLY_EVERY;
    for (const auto& [channel, stream] : client.counts.streams)
        PushReply(client, channel);
    return true;
}

// Where the process stood still meanwhile, the answers of clients that run wait to be read.
bool DeviceLink::IsSilent(TimeUs now, Client& client) const
{
    if (client.unansweredSince == NEVER || now - client.unansweredSince < m_Setup.dropAfter) return false;
    client.silentSince = std::min(client.silentSince, now);
    return now - client.silentSince >= READ_BEFORE_DROP;
}

void DeviceLink::OnMessage(TimeUs now, int channel, bool key, const SendQueue::Message& message)
{
    for (auto& [endpoint, client] : m_Clients) {
        if (!client.counts.proved) continue;
        const auto it = client.counts.streams.find(channel);
        if (it == client.counts.streams.end()) continue;
        auto& stream = it->second;
        if (stream.waitsForKey && !key) {
            if (stream.behind) ++stream.dropped;
            continue;
        }
        if (client.queue.Push(channel, message, now)) {
            stream.behind = stream.waitsForKey = false;
            Pump(now, client);
        } else {
            Lose(stream, channel, 1);
        }
    }
}

TimeUs DeviceLink::OnTimer(TimeUs now)
{
    if (now >= m_NextLogin) Register(now);
    TimeUs next = m_NextLogin;
    for (auto it = m_Clients.begin(); it != m_Clients.end();) {
        Client& client = it->second;
        if (!RepeatReplies(now, client) || IsSilent(now, client)) {
            it = Drop(it, EDisconnectReason::Silent);
            continue;
        }
        if (client.counts.streams.empty() && now - client.heard >= FORGET_IDLE_AFTER) {
            it = Drop(it, EDisconnectReason::Idle);
            continue;
        }
        Pump(now, client);
        next = std::min({next, client.queue.Due(now), client.nextReply});
        if (client.silentSince != NEVER)
            next = std::min(next, client.silentSince + READ_BEFORE_DROP);
        else if (client.unansweredSince != NEVER)
            next = std::min(next, client.unansweredSince + m_Setup.dropAfter);
        if (client.counts.streams.empty()) next = std::min(next, client.heard + FORGET_IDLE_AFTER);
        ++it;
    }
    return next;
}

std::vector<ClientCounts> DeviceLink::Clients() const
{
    std::vector<ClientCounts> all;
    for (const auto& [endpoint, client] : m_Clients)
        all.push_back(client.counts);
    return all;
}

void DeviceLink::Register(TimeUs now)
{
    m_NextLogin = now + LOGIN_EVERY;
    Send(m_Setup.rendezvous, EMessage::Login, ECarries::Device);
}

DeviceLink::Client* DeviceLink::FindOrAdd(TimeUs now, const Endpoint& from, const std::string& name)
{
    auto it = m_Clients.find(from);
    if (it == m_Clients.end()) {
        if (!MakeRoom(from)) {
            ++m_Counts.refusedClients;
            return nullptr;
        }
        it = m_Clients.emplace(from, Client()).first;
        it->second.counts.endpoint = from;
        it->second.heard = now;
    }
    it->second.counts.name = name;
    return &it->second;
}

// When there is none, for all or for this address, drops a client that watches nothing, or only says that it
// does: the one that has been silent for longest.
bool DeviceLink::MakeRoom(const Endpoint& from)
{
    const auto neighbour = [&](const auto& entry) { return entry.first.address == from.address; };
    const auto neighbours = static_cast<size_t>(std::count_if(m_Clients.begin(), m_Clients.end(), neighbour));
    const bool crowded = neighbours >= m_Setup.clientsPerAddress;
    if (!crowded && m_Clients.size() < m_Setup.clients) return true;
    auto oldest = m_Clients.end();
    for (auto it = m_Clients.begin(); it != m_Clients.end(); ++it) {
        const bool watches = it->second.counts.proved && !it->second.counts.streams.empty();
        if (watches || (crowded && !neighbour(*it))) continue;
        if (oldest == m_Clients.end() || it->second.heard < oldest->second.heard) oldest = it;
    }
    if (oldest == m_Clients.end()) return false;
    Drop(oldest, EDisconnectReason::NoRoom);
    return true;
}

// Pictures that build on the missing ones would show nothing but damage.
void DeviceLink::Lose(ClientCounts::Stream& stream, int channel, size_t pictures)
{
    stream.dropped += pictures;
    stream.behind = stream.waitsForKey = true;
    m_Channels.WantKey(channel);
}

void DeviceLink::Pump(TimeUs now, Client& client)
{
    for (const auto& [channel, pictures] : client.queue.DropStale(now))
        Lose(client.counts.streams[channel], channel, pictures);
    while (const auto piece = client.queue.Next(now)) {
        ++client.counts.datagrams;
        client.counts.bytes += piece->bytes.size();
        if (piece->completes > 0) {
            auto& stream = client.counts.streams[piece->channel];
            ++stream.pictures;
            stream.bytes += piece->completes;
        }
        client.unansweredSince = std::min(client.unansweredSince, now);
        Send(client.counts.endpoint, EMessage::Data, ECarries::Video, piece->bytes);
    }
}

DeviceLink::ClientMap::iterator DeviceLink::Drop(ClientMap::iterator client, EDisconnectReason reason)
{
    ClientCounts counts = std::move(client->second.counts);
    const auto next = m_Clients.erase(client);
    for (const auto& [channel, stream] : counts.streams)
        UpdateWatched(channel);
    counts.disconnectReason = reason;
    if (m_Former.size() == MAX_FORMER_CLIENTS) {
        m_Earlier.Add(m_Former.front());
        m_Former.erase(m_Former.begin());
    }
    m_Former.push_back(std::move(counts));
    return next;
}

void DeviceLink::UpdateWatched(int channel)
{
    const bool watched = std::any_of(m_Clients.begin(), m_Clients.end(), [channel](const auto& entry) {
        const ClientCounts& client = entry.second.counts;
        return client.proved && client.streams.contains(channel);
    });
    if (!watched) m_Channels.SetWatched(channel, false);
}

void DeviceLink::Send(const Endpoint& to, EMessage type, ECarries carries, std::span<const uint8_t> body)
{
    m_Out.Send(to, MakeMessage(type, m_OwnRecord, body), carries);
}

}  // namespace recorder
