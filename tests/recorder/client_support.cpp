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

constexpr int TIME_LIMIT_MS = 10'000;

bool WaitReadable(int socket, int timeout = TIME_LIMIT_MS)
{
    pollfd poll{socket, POLLIN, 0};
    return ::poll(&poll, 1, timeout) == 1;
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
    const ParsedOptions parsed = ParseOptions(static_cast<int>(all.size()), all.data());
    if (!parsed.run) throw std::runtime_error(parsed.say);
    m_pServer = std::make_unique<Server>(parsed.options);
    std::promise<void> ready;
    m_Thread = std::thread([this, &ready] {
        m_pServer->Run(Server::ESignals::Ignore, [&ready](const Server&) { ready.set_value(); });
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

CRecorderClient::CRecorderClient(const Server& server, const std::string& name)
    : m_Socket(m_Context, asio::ip::udp::endpoint(asio::ip::address_v4::loopback(), 0)),
      m_Rendezvous(server.RendezvousAt())
{
    m_Own.name = name;
    m_Own.localAddresses = {Local()};
}

std::string CRecorderClient::Ask(const Server& server, const std::vector<std::string>& pieces)
{
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    const Endpoint at = server.DirectoryAt();
    socket.connect({asio::ip::address_v4(at.address), at.port});
    socket.set_option(asio::ip::tcp::no_delay(true));
    for (const std::string& piece : pieces)
        asio::write(socket, asio::buffer(piece));
    if (!WaitReadable(socket.native_handle())) return "no answer in time";
    std::string answer(1024, 0);
    asio::error_code error;
    answer.resize(socket.read_some(asio::buffer(answer), error));
    return answer;
}

Endpoint CRecorderClient::Local() const
{
    return FromAsio(m_Socket.local_endpoint());
}

void CRecorderClient::Send(const Endpoint& to, EMessage type, const Bytes& body)
{
    SendRaw(to, MakeMessage(type, m_Own, body));
}

void CRecorderClient::SendRaw(const Endpoint& to, const Bytes& bytes)
{
    m_Socket.send_to(asio::buffer(bytes), ToAsio(to));
}

std::optional<CRecorderClient::Received> CRecorderClient::Await(EMessage type)
{
    while (WaitReadable(m_Socket.native_handle(), m_iTimeoutMs)) {
        Received received;
        received.bytes.resize(65536);
        asio::ip::udp::endpoint from;
        received.bytes.resize(m_Socket.receive_from(asio::buffer(received.bytes), from));
        received.from = FromAsio(from);
        const auto message = ParseMessage(received.bytes);
        if (!message) continue;
        received.message = *message;
        if (message->type == EMessage::Data && m_bAcknowledges) Send(received.from, EMessage::DataAck);
        if (message->type == EMessage::Ping) Send(received.from, EMessage::Pong);
        if (message->type == type) return received;
    }
    return {};
}

bool CRecorderClient::Login()
{
    Send(m_Rendezvous, EMessage::Login);
    const auto acknowledged = Await(EMessage::LoginAck);
    if (!acknowledged) return false;
    m_Own = acknowledged->message.record;
    Send(m_Rendezvous, EMessage::GetUsers);
    for (;;) {
        // Entries come before the end, on loopback also in fact.
        if (!WaitReadable(m_Socket.native_handle())) return false;
        Bytes bytes(65536);
        bytes.resize(m_Socket.receive(asio::buffer(bytes)));
        const auto message = ParseMessage(bytes);
        if (!message) continue;
        if (message->type == EMessage::UserEnd) return true;
        if (message->type == EMessage::UserEntry) m_Users[message->record.name] = message->record;
    }
}

bool CRecorderClient::Connect(const std::string& peer)
{
    const auto it = m_Users.find(peer);
    if (it == m_Users.end()) return false;
    for (const Endpoint& address : it->second.localAddresses)
        Send(address, EMessage::Punch);
    Bytes wanted(NAME_BYTES);
    std::copy(peer.begin(), peer.end(), wanted.begin());
    Send(m_Rendezvous, EMessage::Punch, wanted);
    const auto answered = Await(EMessage::PunchAck);
    if (!answered) return false;
    m_Peer = answered->from;
    Send(m_Peer, EMessage::Data);
    return Await(EMessage::DataAck).has_value();
}

Bytes CRecorderClient::NextMessage()
{
    Bytes message;
    size_t length = HEADER_BYTES;
    while (message.size() < length) {
        const auto data = Await(EMessage::Data);
        if (!data) return {};
        const auto body = data->message.body;
        if (message.empty() && body.size() < HEADER_BYTES) return {};
        if (message.empty()) length = UnpackHeader(ReadU32(body.data())).length;
        message.insert(message.end(), body.begin(), body.end());
    }
    return message;
}

}  // namespace recorder
