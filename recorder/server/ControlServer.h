#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string_view>

#include "recorder/protocol/Commands.h"
#include "recorder/server/TcpListener.h"

namespace recorder
{

// The control port: a connection brings text commands and gets no answer. Everything happens on the thread that
// runs the context.
class CControlServer
{
  public:
    static constexpr size_t MAX_CONNECTIONS = 64;  // a further one is closed at once
    static constexpr TimeUs PATIENCE = 5 * SECOND;

    struct XCounts {
        uint64_t m_ulConnections = 0;
        uint64_t m_ulCommands = 0;
        uint64_t m_ulUnknown = 0;  // no command, or for no channel of ours
        uint64_t m_ulDamaged = 0;  // connections with a length that can't be
        uint64_t m_ulTimeouts = 0;
        uint64_t m_ulTurnedAway = 0;
    };
    // False when there is no such channel.
    using Do = std::function<bool(const XCommand&)>;

    // Throws asio::system_error when the port is taken.
    CControlServer(asio::io_context& context, const XEndpoint& at, Do execute);
    ~CControlServer();
    CControlServer(const CControlServer&) = delete;
    CControlServer& operator=(const CControlServer&) = delete;

    void Start() { m_Listener.Start(); }
    XEndpoint Local() const { return m_Listener.Local(); }
    const XCounts& Counts() const { return m_Counts; }

  private:
    class CConnection;
    void Accept(asio::ip::tcp::socket socket);
    void OnText(std::string_view text);

    Do m_Do;
    XCounts m_Counts;
    std::set<std::shared_ptr<CConnection>> m_Connections;
    CTcpListener m_Listener;
};

}  // namespace recorder
