#pragma once

#include <asio.hpp>
#include <functional>

#include "recorder/protocol/Endpoint.h"

namespace recorder
{

/// Takes connections on one TCP port. Everything happens on the thread that runs the context.
class TcpListener
{
  public:
    using Accepted = std::function<void(asio::ip::tcp::socket)>;

    /// Binds at once; throws asio::system_error, which names the port, when it can't.
    TcpListener(asio::io_context& context, const Endpoint& at, Accepted accepted);

    void Start() { AcceptNext(); }
    Endpoint Local() const;

  private:
    void AcceptNext();

    asio::ip::tcp::acceptor m_Acceptor;
    asio::steady_timer m_Again;
    Accepted m_Accepted;
};

}  // namespace recorder
