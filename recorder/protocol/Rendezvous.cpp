#include "recorder/protocol/Rendezvous.h"

#include <algorithm>
#include <tuple>

namespace recorder
{

CRendezvous::CRendezvous(IDatagramOut& out) : CRendezvous(out, XLimits()) {}

CRendezvous::CRendezvous(IDatagramOut& out, const XLimits& limits) : m_Out(out), m_Limits(limits) {}

void CRendezvous::Reserve(const std::string& strName, const XEndpoint& holder)
{
    m_strReserved = strName;
    m_Holder = holder;
}

void CRendezvous::OnDatagram(TimeUs iNow, const XEndpoint& from, std::span<const uint8_t> datagram)
{
    EWireFault fault = EWireFault::None;
    const auto message = ParseMessage(datagram, &fault);
    if (!message) {
        ++m_Counts.m_Faults[static_cast<size_t>(fault)];
        return;
    }
    if (XUser* const user = ByEndpoint(from)) {
        user->m_iHeard = iNow;
        user->m_bHeardAgain = user->m_bHeardAgain || message->m_Type != EMessage::Login;
    }
    switch (message->m_Type) {
        case EMessage::Login:
            Login(iNow, from, message->m_Record);
            break;
        case EMessage::Logout:
            Logout(from);
            break;
        case EMessage::GetUsers:
            StartList(iNow, from);
            break;
        case EMessage::Ping:
            Send(from, EMessage::Pong, message->m_Record);
            break;
        case EMessage::Punch:
            ForwardPunch(iNow, from, *message);
            break;
        default:
            break;  // a pong has done its work by being heard; the rest isn't for us
    }
}

TimeUs CRendezvous::OnTimer(TimeUs iNow)
{
    const auto forgetAfter = [this](const XUser& user) {
        return user.m_bHeardAgain ? m_Limits.m_iForgetAfter : m_Limits.m_iForgetUnheard;
    };
    m_Counts.m_ulForgotten +=
        std::erase_if(m_Users, [&](const XUser& user) { return iNow - user.m_iHeard >= forgetAfter(user); });
    std::erase_if(m_Shares, [&](const auto& share) { return iNow - share.second.m_iSince >= SECOND; });
    std::erase_if(m_Lists, [&](XList& list) {
        return ByEndpoint(list.m_To) == nullptr || (list.m_iDue <= iNow && GoOnWithList(iNow, list));
    });

    TimeUs next = NEVER;
    for (XUser& user : m_Users) {
        if (user.m_iNextPing <= iNow) {
            Send(user.m_Record.m_P2p, EMessage::Ping, user.m_Record);
            user.m_iNextPing = iNow + m_Limits.m_iPingEvery;
        }
        next = std::min({next, user.m_iNextPing, user.m_iHeard + forgetAfter(user)});
    }
    for (const XList& list : m_Lists)
        next = std::min(next, list.m_iDue);
    return next;
}

CRendezvous::XUser* CRendezvous::ByEndpoint(const XEndpoint& endpoint)
{
    const auto it = std::find_if(m_Users.begin(), m_Users.end(),
                                 [&](const XUser& user) { return user.m_Record.m_P2p == endpoint; });
    return it == m_Users.end() ? nullptr : &*it;
}

const CRendezvous::XUser* CRendezvous::ByName(const std::string& name) const
{
    const auto it = std::find_if(m_Users.rbegin(), m_Users.rend(),
                                 [&](const XUser& user) { return SameName(user.m_Record.m_strName, name); });
    return it == m_Users.rend() ? nullptr : &*it;
}

bool CRendezvous::Login(TimeUs iNow, const XEndpoint& from, const XPeerRecord& record)
{
    const bool taken = from != m_Holder && SameName(record.m_strName, m_strReserved);
    if (record.m_strName.empty() || taken) {
        ++m_Counts.m_ulRefusedLogins;
        return false;
    }
    const XUser* const before = ByEndpoint(from);
    const bool heardAgain = from == m_Holder || (before != nullptr && before->m_bHeardAgain);
    std::erase_if(m_Users, [&](const XUser& user) { return user.m_Record.m_P2p == from; });
    MakeRoom(from);
    const TimeUs firstPing = heardAgain ? m_Limits.m_iPingEvery : m_Limits.m_iFirstPing;
    XUser user{record, iNow, iNow + firstPing, ++m_ulSerial, heardAgain};
    user.m_Record.m_P2p = from;
    m_Users.push_back(user);
    ++m_Counts.m_ulLogins;
    Send(from, EMessage::LoginAck, user.m_Record);
    return true;
}

// For a login from there: first among those of its own address, when that has its share already.
void CRendezvous::MakeRoom(const XEndpoint& from)
{
    const auto neighbour = [&](const XUser& user) {
        return user.m_Record.m_P2p.m_dwAddress == from.m_dwAddress;
    };
    const auto neighbours = static_cast<size_t>(std::count_if(m_Users.begin(), m_Users.end(), neighbour));
    const bool crowded = neighbours >= m_Limits.m_ulUsersPerAddress;
    if (!crowded && m_Users.size() < m_Limits.m_ulUsers) return;
    auto leaves = m_Users.end();
    for (auto it = m_Users.begin(); it != m_Users.end(); ++it) {
        if (it->m_Record.m_P2p == m_Holder || (crowded && !neighbour(*it))) continue;
        if (leaves == m_Users.end() ||
            std::tie(it->m_bHeardAgain, it->m_iHeard) < std::tie(leaves->m_bHeardAgain, leaves->m_iHeard))
            leaves = it;
    }
    if (leaves == m_Users.end()) return;
    m_Users.erase(leaves);
    ++m_Counts.m_ulDisplaced;
}

void CRendezvous::Logout(const XEndpoint& from)
{
    m_Counts.m_ulLogouts +=
        std::erase_if(m_Users, [&](const XUser& user) { return user.m_Record.m_P2p == from; });
}

void CRendezvous::StartList(TimeUs iNow, const XEndpoint& from)
{
    if (ByEndpoint(from) == nullptr) {
        ++m_Counts.m_ulStrangers;
        return;
    }
    ++m_Counts.m_ulLists;
    std::erase_if(m_Lists, [&](const XList& list) { return list.m_To == from; });
    XList list{from, m_ulSerial + 1, iNow};
    if (!GoOnWithList(iNow, list)) m_Lists.push_back(list);
}

bool CRendezvous::GoOnWithList(TimeUs iNow, XList& list)
{
    size_t sent = 0;
    for (auto user = m_Users.rbegin(); user != m_Users.rend(); ++user) {
        const XEndpoint& at = user->m_Record.m_P2p;
        if (user->m_ulSerial >= list.m_ulBelow || at == list.m_To || at == m_Holder) continue;
        if (sent == m_Limits.m_ulEntriesAtOnce) {
            list.m_iDue = iNow + m_Limits.m_iEntriesPause;
            return false;
        }
        if (!TakeShare(iNow, list)) return false;
        Send(list.m_To, EMessage::UserEntry, user->m_Record);
        list.m_ulBelow = user->m_ulSerial;
        ++sent;
    }
    // Clients lose the earlier entries of a list of more than a hundred, but never the last one: the recorder's
    // own, so that made-up logins can't hide it.
    const XUser* const holder = m_Holder == list.m_To ? nullptr : ByEndpoint(m_Holder);
    if (holder != nullptr) Send(list.m_To, EMessage::UserEntry, holder->m_Record);
    const XUser* const asker = ByEndpoint(list.m_To);
    Send(list.m_To, EMessage::UserEnd, asker != nullptr ? asker->m_Record : XPeerRecord());
    return true;
}

bool CRendezvous::TakeShare(TimeUs iNow, XList& list)
{
    XShare& share = m_Shares.try_emplace(list.m_To.m_dwAddress, XShare{iNow, 0}).first->second;
    if (iNow - share.m_iSince >= SECOND) share = {iNow, 0};
    if (share.m_ulEntries == m_Limits.m_ulEntriesPerSecond) {
        list.m_iDue = share.m_iSince + SECOND;
        return false;
    }
    ++share.m_ulEntries;
    return true;
}

// Who wants a peer without being known has logged in before this rendezvous was started.
void CRendezvous::ForwardPunch(TimeUs iNow, const XEndpoint& from, const XMessage& message)
{
    const auto wanted = WantedName(message.m_Body);
    if (wanted && ByEndpoint(from) == nullptr) {
        if (!Login(iNow, from, message.m_Record)) return;
        ++m_Counts.m_ulPunchLogins;
    }
    const XUser* const peer = wanted ? ByName(*wanted) : nullptr;
    if (peer == nullptr) {
        ++m_Counts.m_ulUnknownWanted;
        return;
    }
    XPeerRecord record = message.m_Record;
    record.m_P2p = from;
    ++m_Counts.m_ulPunches;
    Send(peer->m_Record.m_P2p, EMessage::Punch, record);
}

void CRendezvous::Send(const XEndpoint& to, EMessage type, const XPeerRecord& record)
{
    m_Out.Send(to, MakeMessage(type, record), ECarries::Rendezvous);
}

}  // namespace recorder
