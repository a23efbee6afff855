#include "tests/remote/udp/udp_support.h"

#include <algorithm>

Bytes MakeUdpMessage(std::int32_t channel, std::int32_t direction, std::span<const std::uint8_t> payload)
{
    Bytes message(4 + payload.size());
    WriteLittle32(message.data(), static_cast<std::uint32_t>(direction) << 30 |
                                      static_cast<std::uint32_t>(channel) << 24 |
                                      static_cast<std::uint32_t>(message.size()));
    std::copy(payload.begin(), payload.end(), message.begin() + 4);
    return message;
}

CScriptedMachine::CScriptedMachine(const std::string& name) : m_strName(name)
{
    m_pPeer = std::make_unique<CScriptedPeer>(
        "127.0.0.2", [this](CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from) {
            OnDatagram(self, datagram, from);
        });
    PEER_RECORD record = MakeRecord(name);
    record.m_AddressCount = 1;
    record.m_Addresses[0] = PEER_ADDRESS::From(m_pPeer->Address());
    m_pServer = std::make_unique<CScriptedPeer>("127.0.0.1", ServerOf({record}));
}

SessionOptions CScriptedMachine::Options(bool sharedReceive)
{
    SessionOptions options;
    options.p2p = {m_pServer->Port(), &m_Clock};
    options.server = "127.0.0.1";
    options.sharedReceive = sharedReceive;
    return options;
}

void CScriptedMachine::OnDatagram(CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from)
{
    {
        const std::lock_guard lock(m_cs);
        m_Client = from;
    }
    if (TypeOf(datagram) == P2PMSG_PUNCH && m_bAnswersPunches)
        self.Send(MakeMessage(P2PMSG_PUNCH_ACK, m_strName), from);
    if (TypeOf(datagram) != P2PMSG_DATA) return;
    self.Send(MakeMessage(P2PMSG_DATA_ACK, m_strName), from);
    if (datagram.size() != P2P_HEADER_BYTES + 8) return;
    const std::int32_t channel = datagram[P2P_HEADER_BYTES + 3] & 0x3F;
    if (m_bReplies) {
        Bytes size(4);
        WriteLittle16(size.data(), m_Width);
        WriteLittle16(size.data() + 2, m_Height);
        self.Send(MakeMessage(P2PMSG_DATA, m_strName, MakeUdpMessage(channel, 1, size)), from);
    }
    const std::lock_guard lock(m_cs);
    m_Requests.push_back(channel);
}

void CScriptedMachine::SendData(std::span<const std::uint8_t> data)
{
    sockaddr_in client{};
    {
        const std::lock_guard lock(m_cs);
        client = m_Client;
    }
    m_pPeer->Send(MakeMessage(P2PMSG_DATA, m_strName, data), client);
}

void CScriptedMachine::SendMessage(const Bytes& message)
{
    for (std::size_t at = 0; at < message.size(); at += 1024) {
        const auto acknowledged = m_pPeer->CountOf(P2PMSG_DATA_ACK);
        SendData(std::span(message).subspan(at, std::min<std::size_t>(1024, message.size() - at)));
        m_pPeer->WaitFor(P2PMSG_DATA_ACK, acknowledged + 1);
    }
}

std::vector<std::int32_t> CScriptedMachine::Requests() const
{
    const std::lock_guard lock(m_cs);
    return m_Requests;
}

bool CScriptedMachine::WaitForRequest(std::int32_t channel, std::size_t count)
{
    return WaitUntil([&] {
        const auto requests = Requests();
        return static_cast<std::size_t>(std::count(requests.begin(), requests.end(), channel)) >= count;
    });
}
