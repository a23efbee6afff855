#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "recorder/protocol/Commands.h"
#include "recorder/server/ConnectionServer.h"

namespace recorder
{

/// The control port: a connection brings text commands and gets no answer.
class ControlServer final : public ConnectionServer
{
  public:
    struct Counters : ConnectionCounts {
        uint64_t commands = 0;
        uint64_t unknown = 0;  // no command, or for no channel of ours
        uint64_t damaged = 0;  // connections with a length that can't be
    };
    /// False when there is no such channel.
    using Do = std::function<bool(const Command&)>;

    /// Throws asio::system_error when the port is taken.
    ControlServer(asio::io_context& context, const Endpoint& at, Do execute);

    const Counters& Counts() const { return m_Counts; }

  private:
    class Reader;
    std::shared_ptr<Connection> MakeConnection(asio::ip::tcp::socket socket) override;
    void OnText(std::string_view text);

    Do m_Do;
    Counters m_Counts;
};

}  // namespace recorder
