#include "recorder/server/ConnectionServer.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace recorder
{

ConnectionServer::Connection::Connection(ConnectionServer& server, asio::ip::tcp::socket socket)
    : m_Socket(std::move(socket)), m_Server(&server), m_Limit(m_Socket.get_executor())
{
}

void ConnectionServer::Connection::Start()
{
    m_Limit.expires_after(std::chrono::microseconds(TIME_LIMIT));
    m_Limit.async_wait([self = shared_from_this()](asio::error_code error) {
        if (error || self->m_Server == nullptr) return;
        ++self->m_Server->m_Counts.timeouts;
        self->Close();
    });
    ReadNext();
}

void ConnectionServer::Connection::ReadNext()
{
    m_Socket.async_read_some(asio::buffer(m_Buffer),
                             [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                 if (self->m_Server == nullptr) return;
                                 self->OnBytes(std::span(self->m_Buffer).first(bytes), error);
                             });
}

void ConnectionServer::Connection::Close()
{
    asio::error_code ignored;
    m_Socket.shutdown(asio::socket_base::shutdown_both, ignored);
    m_Socket.close(ignored);
    m_Limit.cancel();
    if (ConnectionServer* const server = std::exchange(m_Server, nullptr))
        server->m_Connections.erase(shared_from_this());
}

ConnectionServer::ConnectionServer(asio::io_context& context, const Endpoint& at, ConnectionCounts& counts)
    : m_Counts(counts),
      m_Listener(context, at, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

ConnectionServer::~ConnectionServer()
{
    for (const auto& [connection, address] : m_Connections)
        connection->Forget();
}

void ConnectionServer::Accept(asio::ip::tcp::socket socket)
{
    ++m_Counts.connections;
    asio::error_code error;
    const auto remote = socket.remote_endpoint(error);
    if (error) return;
    const uint32_t from = remote.address().to_v4().to_uint();
    const auto neighbours =
        std::ranges::count(m_Connections, from, [](const auto& known) { return known.second; });
    if (m_Connections.size() >= MAX_CONNECTIONS || static_cast<size_t>(neighbours) >= MAX_PER_ADDRESS) {
        ++m_Counts.turnedAway;  // the socket's end closes it
        return;
    }
    const auto connection = MakeConnection(std::move(socket));
    m_Connections.emplace(connection, from);
    connection->Start();
}

}  // namespace recorder
