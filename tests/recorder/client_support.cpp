#include "tests/recorder/client_support.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <future>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace recorder
{

namespace
{

constexpr int PATIENCE_MS = 10'000;

bool WaitReadable(int socket, int patience = PATIENCE_MS)
{
    pollfd poll{socket, POLLIN, 0};
    return ::poll(&poll, 1, patience) == 1;
}

}  // namespace

CRunning::CRunning(const std::vector<const char*>& args)
{
    std::vector<const char*> all = {"watchwall-recorder"};
    all.insert(all.end(), args.begin(), args.end());
    // Defaults for what isn't given; an option that takes a value stands once.
    const std::vector<std::array<const char*, 2>> defaults = {
        {"--directory-port", "0"}, {"--rendezvous-port", "0"}, {"--size", "176x144"}};
    for (const auto& option : defaults)
        if (std::find(args.begin(), args.end(), std::string(option[0])) == args.end())
            all.insert(all.end(), option.begin(), option.end());
    const XParsed parsed = ParseOptions(static_cast<int>(all.size()), all.data());
    if (!parsed.m_bRun) throw std::runtime_error(parsed.m_strSay);
    m_pServer = std::make_unique<CServer>(parsed.m_Options);
    std::promise<void> ready;
    m_Thread = std::thread([this, &ready] {
        m_pServer->Run(CServer::ESignals::Ignore, [&ready](const CServer&) { ready.set_value(); });
    });
    ready.get_future().wait();
}

CRunning::~CRunning()
{
    if (m_Thread.joinable()) End();
}

nlohmann::json CRunning::End()
{
    m_pServer->Stop();
    m_Thread.join();
    return m_pServer->Report();
}

CScriptedClient::CScriptedClient(const CServer& server, const std::string& name)
    : m_Socket(m_Context, asio::ip::udp::endpoint(asio::ip::address_v4::loopback(), 0)),
      m_Rendezvous(server.RendezvousAt())
{
    m_Own.m_strName = name;
    m_Own.m_LocalAddresses = {Local()};
}

std::string CScriptedClient::Ask(const CServer& server, const std::vector<std::string>& pieces)
{
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    const XEndpoint at = server.DirectoryAt();
    socket.connect({asio::ip::address_v4(at.m_dwAddress), at.m_usPort});
    socket.set_option(asio::ip::tcp::no_delay(true));
    for (const std::string& piece : pieces)
        asio::write(socket, asio::buffer(piece));
    if (!WaitReadable(socket.native_handle())) return "no answer in time";
    std::string answer(1024, 0);
    asio::error_code error;
    answer.resize(socket.read_some(asio::buffer(answer), error));
    return answer;
}

XEndpoint CScriptedClient::Local() const
{
    return FromAsio(m_Socket.local_endpoint());
}

void CScriptedClient::Send(const XEndpoint& to, EMessage type, const Bytes& body)
{
    SendRaw(to, MakeMessage(type, m_Own, body));
}

void CScriptedClient::SendRaw(const XEndpoint& to, const Bytes& bytes)
{
    m_Socket.send_to(asio::buffer(bytes), ToAsio(to));
}

std::optional<CScriptedClient::XReceived> CScriptedClient::Await(EMessage type)
{
    while (WaitReadable(m_Socket.native_handle(), m_iPatienceMs)) {
        XReceived received;
        received.m_Bytes.resize(65536);
        asio::ip::udp::endpoint from;
        received.m_Bytes.resize(m_Socket.receive_from(asio::buffer(received.m_Bytes), from));
        received.m_From = FromAsio(from);
        const auto message = ParseMessage(received.m_Bytes);
        if (!message) continue;
        received.m_Message = *message;
        if (message->m_Type == EMessage::Data && m_bAcknowledges) Send(received.m_From, EMessage::DataAck);
        if (message->m_Type == EMessage::Ping) Send(received.m_From, EMessage::Pong);
        if (message->m_Type == type) return received;
    }
    return {};
}

bool CScriptedClient::Login()
{
    Send(m_Rendezvous, EMessage::Login);
    const auto acknowledged = Await(EMessage::LoginAck);
    if (!acknowledged) return false;
    m_Own = acknowledged->m_Message.m_Record;
    Send(m_Rendezvous, EMessage::GetUsers);
    for (;;) {
        // Entries come before the end, on loopback also in fact.
        if (!WaitReadable(m_Socket.native_handle())) return false;
        Bytes bytes(65536);
        bytes.resize(m_Socket.receive(asio::buffer(bytes)));
        const auto message = ParseMessage(bytes);
        if (!message) continue;
        if (message->m_Type == EMessage::UserEnd) return true;
        if (message->m_Type == EMessage::UserEntry) m_Users[message->m_Record.m_strName] = message->m_Record;
    }
}

bool CScriptedClient::Connect(const std::string& peer)
{
    const auto it = m_Users.find(peer);
    if (it == m_Users.end()) return false;
    for (const XEndpoint& address : it->second.m_LocalAddresses)
        Send(address, EMessage::Punch);
    Bytes wanted(NAME_BYTES);
    std::copy(peer.begin(), peer.end(), wanted.begin());
    Send(m_Rendezvous, EMessage::Punch, wanted);
    const auto answered = Await(EMessage::PunchAck);
    if (!answered) return false;
    m_Peer = answered->m_From;
    Send(m_Peer, EMessage::Data);
    return Await(EMessage::DataAck).has_value();
}

Bytes CScriptedClient::NextMessage()
{
    Bytes message;
    size_t length = HEADER_BYTES;
    while (message.size() < length) {
        const auto data = Await(EMessage::Data);
        if (!data) return {};
        const auto body = data->m_Message.m_Body;
        if (message.empty() && body.size() < HEADER_BYTES) return {};
        if (message.empty()) length = UnpackHeader(ReadU32(body.data())).m_ulLength;
        message.insert(message.end(), body.begin(), body.end());
    }
    return message;
}

}  // namespace recorder
