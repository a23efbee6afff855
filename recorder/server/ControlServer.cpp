#include "recorder/server/ControlServer.h"

#include <array>
#include <chrono>
#include <utility>

#include "recorder/protocol/Frames.h"

namespace recorder
{

// One connection; kept alive by its own pending operations, and known to the server until it is closed.
class CControlServer::CConnection : public std::enable_shared_from_this<CConnection>
{
  public:
    CConnection(CControlServer& server, asio::ip::tcp::socket socket)
        : m_pServer(&server), m_Socket(std::move(socket)), m_Patience(m_Socket.get_executor())
    {
    }

    void Start()
    {
        m_Patience.expires_after(std::chrono::microseconds(PATIENCE));
        m_Patience.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_pServer == nullptr) return;
            ++self->m_pServer->m_Counts.m_ulTimeouts;
            self->Close();
        });
        ReadNext();
    }

    // The server is no more: nothing is to be done when something comes.
    void Forget() noexcept { m_pServer = nullptr; }

  private:
    void ReadNext()
    {
        m_Socket.async_read_some(asio::buffer(m_Buffer),
                                 [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                     if (self->m_pServer == nullptr) return;
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
            m_pServer->OnText({reinterpret_cast<const char*>(body->data()), body->size()});
        if (m_Reader.Damaged()) ++m_pServer->m_Counts.m_ulDamaged;
    }

    void Close()
    {
        asio::error_code ignored;
        m_Socket.close(ignored);
        m_Patience.cancel();
        if (CControlServer* const server = std::exchange(m_pServer, nullptr))
            server->m_Connections.erase(shared_from_this());
    }

    CControlServer* m_pServer;  // null once closed
    asio::ip::tcp::socket m_Socket;
    asio::steady_timer m_Patience;
    CFrameReader m_Reader{MAX_TEXT_FRAME_BYTES};
    std::array<uint8_t, 2048> m_Buffer{};
};

CControlServer::CControlServer(asio::io_context& context, const XEndpoint& at, Do execute)
    : m_Do(std::move(execute)),
      m_Listener(context, at, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

CControlServer::~CControlServer()
{
    for (const auto& connection : m_Connections)
        connection->Forget();
}

void CControlServer::Accept(asio::ip::tcp::socket socket)
{
    ++m_Counts.m_ulConnections;
    if (m_Connections.size() >= MAX_CONNECTIONS) {
        ++m_Counts.m_ulTurnedAway;  // the socket's end closes it
        return;
    }
    const auto connection = std::make_shared<CConnection>(*this, std::move(socket));
    m_Connections.insert(connection);
    connection->Start();
}

void CControlServer::OnText(std::string_view text)
{
    const auto command = ParseCommand(text);
    ++(command && m_Do(*command) ? m_Counts.m_ulCommands : m_Counts.m_ulUnknown);
}

}  // namespace recorder
