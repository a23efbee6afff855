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
class ControlServer
{
  public:
    static constexpr size_t MAX_CONNECTIONS = 64;  // a further one is closed at once
    static constexpr TimeUs PATIENCE = 5 * SECOND;

    struct Counters {
        uint64_t connections = 0;
        uint64_t commands = 0;
        uint64_t unknown = 0;  // no command, or for no channel of ours
        uint64_t damaged = 0;  // connections with a length that can't be
        uint64_t timeouts = 0;
        uint64_t turnedAway = 0;
    };
    // False when there is no such channel.
    using Do = std::function<bool(const Command&)>;

    // Throws asio::system_error when the port is taken.
    ControlServer(asio::io_context& context, const Endpoint& at, Do execute);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    void Start() { m_Listener.Start(); }
    Endpoint Local() const { return m_Listener.Local(); }
    const Counters& Counts() const { return m_Counts; }

  private:
    class Connection;
    void Accept(asio::ip::tcp::socket socket);
    void OnText(std::string_view text);

    Do m_Do;
    Counters m_Counts;
    std::set<std::shared_ptr<Connection>> m_Connections;
    TcpListener m_Listener;
};

}  // namespace recorder
