#pragma once

#include <memory>
#include <set>

#include "recorder/protocol/Directory.h"
#include "recorder/server/TcpListener.h"

namespace recorder
{

// The directory's TCP port. A connection has one question; it is answered and closed, at the latest after
// PATIENCE. Everything happens on the thread that runs the context.
class CDirectoryServer
{
  public:
    static constexpr size_t MAX_CONNECTIONS = 64;  // a further one is closed at once
    static constexpr TimeUs PATIENCE = 5 * SECOND;
    static constexpr TimeUs QUIET = 50 * MILLISECOND;  // after which an unknown name counts as complete

    struct XCounts {
        uint64_t m_ulConnections = 0;
        uint64_t m_ulAnswered = 0;
        uint64_t m_ulRefused = 0;   // not a question
        uint64_t m_ulTimeouts = 0;  // no complete question in time
        uint64_t m_ulTurnedAway = 0;
    };

    // Binds at once; throws asio::system_error when it can't. A silent one takes connections and never answers.
    CDirectoryServer(asio::io_context& context, const XEndpoint& at, CDirectory directory, bool bSilent);
    ~CDirectoryServer();
    CDirectoryServer(const CDirectoryServer&) = delete;
    CDirectoryServer& operator=(const CDirectoryServer&) = delete;

    void Start() { m_Listener.Start(); }
    XEndpoint Local() const { return m_Listener.Local(); }
    const XCounts& Counts() const { return m_Counts; }

  private:
    class CConnection;
    void Accept(asio::ip::tcp::socket socket);

    CDirectory m_Directory;
    bool m_bSilent;
    XCounts m_Counts;
    std::set<std::shared_ptr<CConnection>> m_Connections;
    CTcpListener m_Listener;
};

}  // namespace recorder
