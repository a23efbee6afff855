#include "recorder/server/TcpListener.h"

#include <chrono>
#include <utility>

namespace recorder
{

namespace
{

constexpr std::chrono::milliseconds ACCEPT_AGAIN_AFTER{100};

asio::ip::tcp::acceptor Listen(asio::io_context& context, const Endpoint& at)
{
    try {
        return {context, asio::ip::tcp::endpoint(asio::ip::address_v4(at.address), at.port)};
    } catch (const asio::system_error& e) {
        throw asio::system_error(e.code(), "can't serve on TCP " + EndpointText(at));
    }
}

}  // namespace

TcpListener::TcpListener(asio::io_context& context, const Endpoint& at, Accepted accepted)
    : m_Acceptor(Listen(context, at)), m_Again(context), m_Accepted(std::move(accepted))
{
}

Endpoint TcpListener::Local() const
{
    const auto local = m_Acceptor.local_endpoint();
    return {local.address().to_v4().to_uint(), local.port()};
}

void TcpListener::AcceptNext()
{
    m_Acceptor.async_accept([this](asio::error_code error, asio::ip::tcp::socket socket) {
        if (error == asio::error::operation_aborted || !m_Acceptor.is_open()) return;
        if (!error) {
            m_Accepted(std::move(socket));
            AcceptNext();
            return;
        }
        // No descriptors left, and the like: retries after a while.
        m_Again.expires_after(ACCEPT_AGAIN_AFTER);
        m_Again.async_wait([this](asio::error_code ended) {
            if (!ended) AcceptNext();
        });
    });
}

}  // namespace recorder
