#include "recorder/protocol/Rendezvous.h"

#include <algorithm>
#include <tuple>

namespace recorder
{

namespace
{

// Whether what looks like a question for the list is an entry of another's list, which has the same number: who
// asks tells its own address, as its login was answered, or none. Two of us, each logged in at the other under
// a made-up sender, would go on answering entries by entries.
bool IsEntry(const Endpoint& from, const PeerRecord& record)
{
    return record.p2p.address != 0 && record.p2p != from;
}

}  // namespace

Rendezvous::Rendezvous(IDatagramOut& out) : Rendezvous(out, Limits()) {}

Rendezvous::Rendezvous(IDatagramOut& out, const Limits& limits) : m_Out(out), m_Limits(limits) {}

void Rendezvous::Reserve(const std::string& name, const Endpoint& holder)
{
    m_Reserved = name;
    m_Holder = holder;
}

void Rendezvous::OnDatagram(TimeUs now, const Endpoint& from, std::span<const uint8_t> datagram)
{
    EWireFault fault = EWireFault::None;
    const auto message = ParseMessage(datagram, &fault);
    if (!message) {
        ++m_Counts.faults[static_cast<size_t>(fault)];
        return;
    }
    if (User* const user = ByEndpoint(from)) {
        user->heard = now;
        user->heardAgain = user->heardAgain || message->type != EMessage::Login;
    }
    switch (message->type) {
        case EMessage::Login:
            Login(now, from, message->record);
            break;
        case EMessage::Logout:
            Logout(from);
            break;
        case EMessage::GetUsers:
            if (!IsEntry(from, message->record)) StartList(now, from);
            break;
        case EMessage::Ping:
            Send(from, EMessage::Pong, message->record);
            break;
        case EMessage::Punch:
            ForwardPunch(now, from, *message);
            break;
        default:
            break;  // a pong counts by its arrival alone; the rest isn't for us
    }
}

TimeUs Rendezvous::OnTimer(TimeUs now)
{
    const auto forgetAfter = [this](const User& user) {
        return user.heardAgain ? m_Limits.forgetAfter : m_Limits.forgetUnheard;
    };
    m_Counts.forgotten += std::erase_if(m_Users, [&](const User& user) {
        const bool goes = now - user.heard >= forgetAfter(user);
        if (goes) DropList(user.record.p2p);
        return goes;
    });
    std::erase_if(m_Shares, [&](const auto& share) { return now - share.second.since >= SECOND; });
    std::erase_if(m_Lists, [&](List& list) { return list.due <= now && GoOnWithList(now, list); });

    TimeUs next = NEVER;
    for (User& user : m_Users) {
        if (user.nextPing <= now) {
            Send(user.record.p2p, EMessage::Ping, user.record);
            user.nextPing = now + m_Limits.pingEvery;
        }
        next = std::min({next, user.nextPing, user.heard + forgetAfter(user)});
    }
    for (const List& list : m_Lists)
        next = std::min(next, list.due);
    return next;
}

Rendezvous::User* Rendezvous::ByEndpoint(const Endpoint& endpoint)
{
    const auto it = std::find_if(m_Users.begin(), m_Users.end(),
                                 [&](const User& user) { return user.record.p2p == endpoint; });
    return it == m_Users.end() ? nullptr : &*it;
}

const Rendezvous::User* Rendezvous::ByName(const std::string& name) const
{
    const auto it = std::find_if(m_Users.rbegin(), m_Users.rend(),
                                 [&](const User& user) { return SameName(user.record.name, name); });
    return it == m_Users.rend() ? nullptr : &*it;
}

bool Rendezvous::Login(TimeUs now, const Endpoint& from, const PeerRecord& record)
{
    const bool taken = from != m_Holder && SameName(record.name, m_Reserved);
    if (record.name.empty() || taken) {
        ++m_Counts.refusedLogins;
        return false;
    }
    const User* const before = ByEndpoint(from);
    const bool heardAgain = from == m_Holder || (before != nullptr && before->heardAgain);
    std::erase_if(m_Users, [&](const User& user) { return user.record.p2p == from; });
    MakeRoom(from);
    const TimeUs firstPing = heardAgain ? m_Limits.pingEvery : m_Limits.firstPing;
    User user{record, now, now + firstPing, ++m_Serial, heardAgain};
    user.record.p2p = from;
    m_Users.push_back(user);
    ++m_Counts.logins;
    Send(from, EMessage::LoginAck, user.record);
    return true;
}

// For a login from there: first among those of its own address, when that has its share already.
void Rendezvous::MakeRoom(const Endpoint& from)
{
    const auto neighbour = [&](const User& user) { return user.record.p2p.address == from.address; };
    const auto neighbours = static_cast<size_t>(std::count_if(m_Users.begin(), m_Users.end(), neighbour));
    const bool crowded = neighbours >= m_Limits.usersPerAddress;
    if (!crowded && m_Users.size() < m_Limits.users) return;
    auto leaves = m_Users.end();
    for (auto it = m_Users.begin(); it != m_Users.end(); ++it) {
        if (it->record.p2p == m_Holder || (crowded && !neighbour(*it))) continue;
        if (leaves == m_Users.end() ||
            std::tie(it->heardAgain, it->heard) < std::tie(leaves->heardAgain, leaves->heard))
            leaves = it;
    }
    if (leaves == m_Users.end()) return;
    DropList(leaves->record.p2p);
    m_Users.erase(leaves);
    ++m_Counts.displaced;
}

void Rendezvous::Logout(const Endpoint& from)
{
    m_Counts.logouts += std::erase_if(m_Users, [&](const User& user) { return user.record.p2p == from; });
    DropList(from);
}

void Rendezvous::StartList(TimeUs now, const Endpoint& from)
{
    if (ByEndpoint(from) == nullptr) {
        ++m_Counts.strangers;
        return;
    }
    ++m_Counts.lists;
    DropList(from);
    List list{from, m_Serial + 1, now};
    if (!GoOnWithList(now, list)) m_Lists.push_back(list);
}

void Rendezvous::DropList(const Endpoint& to)
{
    std::erase_if(m_Lists, [&](const List& list) { return list.to == to; });
}

bool Rendezvous::GoOnWithList(TimeUs now, List& list)
{
    size_t sent = 0;
    for (auto user = m_Users.rbegin(); user != m_Users.rend(); ++user) {
        const Endpoint& at = user->record.p2p;
        if (user->serial >= list.below || at == list.to || at == m_Holder) continue;
        if (sent == m_Limits.entriesAtOnce) {
            list.due = now + m_Limits.entriesPause;
            return false;
        }
        // So many lists are asked for by nobody but made-up senders; whoever comes among them wants the
        // recorder.
        if (IsAllTaken(now)) break;
        if (!TakeShare(now, list)) return false;
        Send(list.to, EMessage::UserEntry, user->record);
        list.below = user->serial;
        ++sent;
    }
    // Clients lose the earlier entries of a list of more than a hundred, but never the last one: the recorder's
    // own, so that made-up logins can't hide it.
    const User* const holder = m_Holder == list.to ? nullptr : ByEndpoint(m_Holder);
    if (holder != nullptr) Send(list.to, EMessage::UserEntry, holder->record);
    const User* const asker = ByEndpoint(list.to);
    Send(list.to, EMessage::UserEnd, asker != nullptr ? asker->record : PeerRecord());
    return true;
}

bool Rendezvous::TakeShare(TimeUs now, List& list)
{
    Share& share = m_Shares.try_emplace(list.to.address, Share{now, 0}).first->second;
    if (now - share.since >= SECOND) share = {now, 0};
    if (share.entries == m_Limits.entriesPerSecond) {
        list.due = share.since + SECOND;
        return false;
    }
    ++share.entries;
    ++m_AllShares.entries;
    return true;
}

bool Rendezvous::IsAllTaken(TimeUs now)
{
    if (now - m_AllShares.since >= SECOND) m_AllShares = {now, 0};
    return m_AllShares.entries >= m_Limits.entriesOfAllPerSecond;
}

// Who wants a peer without being known has logged in before this rendezvous was started.
void Rendezvous::ForwardPunch(TimeUs now, const Endpoint& from, const WireMessage& message)
{
    const auto wanted = WantedName(message.body);
    if (wanted && ByEndpoint(from) == nullptr) {
        if (!Login(now, from, message.record)) return;
        ++m_Counts.punchLogins;
    }
    const User* const peer = wanted ? ByName(*wanted) : nullptr;
    if (peer == nullptr) {
        ++m_Counts.unknownWanted;
        return;
    }
    PeerRecord record = message.record;
    record.p2p = from;
    ++m_Counts.punches;
    Send(peer->record.p2p, EMessage::Punch, record);
}

void Rendezvous::Send(const Endpoint& to, EMessage type, const PeerRecord& record)
{
    m_Out.Send(to, MakeMessage(type, record), ECarries::Rendezvous);
}

}  // namespace recorder
