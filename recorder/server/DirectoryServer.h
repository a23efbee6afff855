#pragma once

#include <memory>

#include "recorder/protocol/Directory.h"
#include "recorder/server/ConnectionServer.h"

namespace recorder
{

/// The directory's TCP port. A connection has one question; it is answered and closed.
class DirectoryServer final : public ConnectionServer
{
  public:
    static constexpr TimeUs QUIET = 50 * MILLISECOND;  // after which an unknown name counts as complete

    struct Counters : ConnectionCounts {
        uint64_t answered = 0;
        uint64_t refused = 0;  // not a question
    };

    /// Binds at once; throws asio::system_error when it can't. A silent one takes connections and never
    /// answers.
    DirectoryServer(asio::io_context& context, const Endpoint& at, Directory directory, bool silent);

    const Counters& Counts() const { return m_Counts; }

  private:
    class Asker;
    std::shared_ptr<Connection> MakeConnection(asio::ip::tcp::socket socket) override;

    Directory m_Directory;
    bool m_Silent;
    Counters m_Counts;
};

}  // namespace recorder
