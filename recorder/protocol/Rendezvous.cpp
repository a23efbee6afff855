#include "recorder/protocol/Rendezvous.h"

#include <algorithm>

namespace recorder
{

CRendezvous::CRendezvous(IDatagramOut& out) : CRendezvous(out, XLimits()) {}

CRendezvous::CRendezvous(IDatagramOut& out, const XLimits& limits) : m_Out(out), m_Limits(limits) {}

void CRendezvous::OnDatagram(TimeUs iNow, const XEndpoint& from, std::span<const uint8_t> datagram)
{
    EWireFault fault = EWireFault::None;
    const auto message = ParseMessage(datagram, &fault);
    if (!message) {
        ++m_Counts.m_Faults[static_cast<size_t>(fault)];
        return;
    }
    if (XUser* const user = ByEndpoint(from)) user->m_iHeard = iNow;
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
            ForwardPunch(from, *message);
            break;
        default:
            break;  // a pong has done its work by being heard; the rest isn't for us
    }
}

TimeUs CRendezvous::OnTimer(TimeUs iNow)
{
    m_Counts.m_ulForgotten += std::erase_if(
        m_Users, [&](const XUser& user) { return iNow - user.m_iHeard >= m_Limits.m_iForgetAfter; });
    std::erase_if(m_Lists, [&](XList& list) {
        return ByEndpoint(list.m_To) == nullptr || (list.m_iDue <= iNow && GoOnWithList(iNow, list));
    });

    TimeUs next = NEVER;
    for (XUser& user : m_Users) {
        if (user.m_iNextPing <= iNow) {
            Send(user.m_Record.m_P2p, EMessage::Ping, user.m_Record);
            user.m_iNextPing = iNow + m_Limits.m_iPingEvery;
        }
        next = std::min({next, user.m_iNextPing, user.m_iHeard + m_Limits.m_iForgetAfter});
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

void CRendezvous::Login(TimeUs iNow, const XEndpoint& from, const XPeerRecord& record)
{
    std::erase_if(m_Users, [&](const XUser& user) { return user.m_Record.m_P2p == from; });
    if (record.m_strName.empty() || m_Users.size() >= m_Limits.m_ulUsers) {
        ++m_Counts.m_ulRefusedLogins;
        return;
    }
    XUser user{record, iNow, iNow + m_Limits.m_iPingEvery, ++m_ulSerial};
    user.m_Record.m_P2p = from;
    m_Users.push_back(user);
    ++m_Counts.m_ulLogins;
    Send(from, EMessage::LoginAck, user.m_Record);
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
        if (user->m_ulSerial >= list.m_ulBelow || user->m_Record.m_P2p == list.m_To) continue;
        if (sent == m_Limits.m_ulEntriesAtOnce) {
            list.m_iDue = iNow + m_Limits.m_iEntriesPause;
            return false;
        }
        Send(list.m_To, EMessage::UserEntry, user->m_Record);
        list.m_ulBelow = user->m_ulSerial;
        ++sent;
    }
    const XUser* const asker = ByEndpoint(list.m_To);
    Send(list.m_To, EMessage::UserEnd, asker != nullptr ? asker->m_Record : XPeerRecord());
    return true;
}

void CRendezvous::ForwardPunch(const XEndpoint& from, const XMessage& message)
{
    if (ByEndpoint(from) == nullptr) {
        ++m_Counts.m_ulStrangers;
        return;
    }
    const auto wanted = WantedName(message.m_Body);
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
