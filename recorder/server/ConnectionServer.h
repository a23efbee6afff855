#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>

#include "recorder/server/TcpListener.h"

namespace recorder
{

struct ConnectionCounts {
    uint64_t connections = 0;
    uint64_t timeouts = 0;    // closed when their time was over
    uint64_t turnedAway = 0;  // beyond a limit, closed at once
};

/// A TCP port with few short connections: each is served for TIME_LIMIT at most. Everything happens on the
/// thread that runs the context.
class ConnectionServer
{
  public:
    static constexpr size_t MAX_CONNECTIONS = 64;
    static constexpr size_t MAX_PER_ADDRESS = 16;  // of these
    static constexpr TimeUs TIME_LIMIT = 5 * SECOND;

    virtual ~ConnectionServer();
    ConnectionServer(const ConnectionServer&) = delete;
    ConnectionServer& operator=(const ConnectionServer&) = delete;

    void Start() { m_Listener.Start(); }
    Endpoint Local() const { return m_Listener.Local(); }

  protected:
    /// One connection; kept alive by its own pending operations, and known to the server until it is closed.
    class Connection : public std::enable_shared_from_this<Connection>
    {
      public:
        Connection(ConnectionServer& server, asio::ip::tcp::socket socket);
        virtual ~Connection() = default;
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        void Start();
        /// The server is gone: whatever comes is ignored.
        void Forget() noexcept { m_Server = nullptr; }

      protected:
        /// What has come, and the error that ends it, if any. Goes on by ReadNext, or closes.
        virtual void OnBytes(std::span<const uint8_t> bytes, const asio::error_code& error) = 0;
        void ReadNext();
        virtual void Close();
        bool IsOpen() const { return m_Server != nullptr; }

        asio::ip::tcp::socket m_Socket;

      private:
        ConnectionServer* m_Server;  // null once closed
        asio::steady_timer m_Limit;
        std::array<uint8_t, 2048> m_Buffer{};
    };

    /// Throws asio::system_error when the port is taken. `counts` outlives the server's connections.
    ConnectionServer(asio::io_context& context, const Endpoint& at, ConnectionCounts& counts);

    virtual std::shared_ptr<Connection> MakeConnection(asio::ip::tcp::socket socket) = 0;

  private:
    void Accept(asio::ip::tcp::socket socket);

    ConnectionCounts& m_Counts;
    std::map<std::shared_ptr<Connection>, uint32_t> m_Connections;  // and where each came from
    TcpListener m_Listener;
};

}  // namespace recorder
