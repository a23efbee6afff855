#pragma once

#include <memory>
#include <set>

#include "recorder/protocol/Directory.h"
#include "recorder/server/TcpListener.h"

namespace recorder
{

// The directory's TCP port. A connection has one question; it is answered and closed, at the latest after
// PATIENCE. Everything happens on the thread that runs the context.
class DirectoryServer
{
  public:
    static constexpr size_t MAX_CONNECTIONS = 64;  // a further one is closed at once
    static constexpr TimeUs PATIENCE = 5 * SECOND;
    static constexpr TimeUs QUIET = 50 * MILLISECOND;  // after which an unknown name counts as complete

    struct Counters {
        uint64_t connections = 0;
        uint64_t answered = 0;
        uint64_t refused = 0;   // not a question
        uint64_t timeouts = 0;  // no complete question in time
        uint64_t turnedAway = 0;
    };

    // Binds at once; throws asio::system_error when it can't. A silent one takes connections and never answers.
    DirectoryServer(asio::io_context& context, const Endpoint& at, Directory directory, bool silent);
    ~DirectoryServer();
    DirectoryServer(const DirectoryServer&) = delete;
    DirectoryServer& operator=(const DirectoryServer&) = delete;

    void Start() { m_Listener.Start(); }
    Endpoint Local() const { return m_Listener.Local(); }
    const Counters& Counts() const { return m_Counts; }

  private:
    class Connection;
    void Accept(asio::ip::tcp::socket socket);

    Directory m_Directory;
    bool m_Silent;
    Counters m_Counts;
    std::set<std::shared_ptr<Connection>> m_Connections;
    TcpListener m_Listener;
};

}  // namespace recorder
