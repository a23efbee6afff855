#include "recorder/server/ControlServer.h"

#include <array>
#include <chrono>
#include <utility>

#include "recorder/protocol/Frames.h"

namespace recorder
{

// One connection; kept alive by its own pending operations, and known to the server until it is closed.
class ControlServer::Connection : public std::enable_shared_from_this<Connection>
{
  public:
    Connection(ControlServer& server, asio::ip::tcp::socket socket)
        : m_Server(&server), m_Socket(std::move(socket)), m_Patience(m_Socket.get_executor())
    {
    }

    void Start()
    {
        m_Patience.expires_after(std::chrono::microseconds(PATIENCE));
        m_Patience.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_Server == nullptr) return;
            ++self->m_Server->m_Counts.timeouts;
            self->Close();
        });
        ReadNext();
    }

    // The server is no more: nothing is to be done when something comes.
    void Forget() noexcept { m_Server = nullptr; }

  private:
    void ReadNext()
    {
        m_Socket.async_read_some(asio::buffer(m_Buffer),
                                 [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                     if (self->m_Server == nullptr) return;
                                     self->m_Reader.Add(std::span(self->m_Buffer).first(bytes));
                                     self->Consider();
                                     if (error || self->m_Reader.Damaged())
                                         self->Close();
                                     else
                                         self->ReadNext();
                                 });
    }

    void Consider()
    {
        while (const auto body = m_Reader.Next())
            m_Server->OnText({reinterpret_cast<const char*>(body->data()), body->size()});
        if (m_Reader.Damaged()) ++m_Server->m_Counts.damaged;
    }

    void Close()
    {
        asio::error_code ignored;
        m_Socket.close(ignored);
        m_Patience.cancel();
        if (ControlServer* const server = std::exchange(m_Server, nullptr))
            server->m_Connections.erase(shared_from_this());
    }

    ControlServer* m_Server;  // null once closed
    asio::ip::tcp::socket m_Socket;
    asio::steady_timer m_Patience;
    FrameReader m_Reader{MAX_TEXT_FRAME_BYTES};
    std::array<uint8_t, 2048> m_Buffer{};
};

ControlServer::ControlServer(asio::io_context& context, const Endpoint& at, Do execute)
    : m_Do(std::move(execute)),
      m_Listener(context, at, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

ControlServer::~ControlServer()
{
    for (const auto& connection : m_Connections)
        connection->Forget();
}

void ControlServer::Accept(asio::ip::tcp::socket socket)
{
    ++m_Counts.connections;
    if (m_Connections.size() >= MAX_CONNECTIONS) {
        ++m_Counts.turnedAway;  // the socket's end closes it
        return;
    }
    const auto connection = std::make_shared<Connection>(*this, std::move(socket));
    m_Connections.insert(connection);
    connection->Start();
}

void ControlServer::OnText(std::string_view text)
{
    const auto command = ParseCommand(text);
    ++(command && m_Do(*command) ? m_Counts.commands : m_Counts.unknown);
}

}  // namespace recorder
