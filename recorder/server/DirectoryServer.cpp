#include "recorder/server/DirectoryServer.h"

#include <array>
#include <chrono>
#include <string>
#include <utility>

namespace recorder
{

// One connection; kept alive by its own pending operations, and known to the server until it is closed.
class CDirectoryServer::CConnection : public std::enable_shared_from_this<CConnection>
{
  public:
    CConnection(CDirectoryServer& server, asio::ip::tcp::socket socket)
        : m_pServer(&server),
          m_Socket(std::move(socket)),
          m_Patience(m_Socket.get_executor()),
          m_Quiet(m_Socket.get_executor())
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

    void Close()
    {
        asio::error_code ignored;
        m_Socket.shutdown(asio::socket_base::shutdown_both, ignored);
        m_Socket.close(ignored);
        m_Patience.cancel();
        m_Quiet.cancel();
        if (CDirectoryServer* const server = std::exchange(m_pServer, nullptr))
            server->m_Connections.erase(shared_from_this());
    }

  private:
    void ReadNext()
    {
        m_Socket.async_read_some(asio::buffer(m_Buffer),
                                 [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                     if (self->m_pServer == nullptr) return;
                                     self->m_strQuestion.append(self->m_Buffer.data(), bytes);
                                     if (error == asio::error::eof)
                                         self->Consider(true);
                                     else if (error)
                                         self->Close();
                                     else
                                         self->Consider(false);
                                 });
    }

    void Consider(bool bNoMore)
    {
        if (m_pServer->m_bSilent) {
            if (bNoMore || m_strQuestion.size() > CDirectory::MAX_QUESTION_BYTES)
                Close();
            else
                ReadNext();
            return;
        }
        asio::error_code error;
        const auto local = m_Socket.local_endpoint(error);
        const auto step =
            m_pServer->m_Directory.Ask(m_strQuestion, bNoMore, error ? 0 : local.address().to_v4().to_uint());
        switch (step.m_Step) {
            case CDirectory::EStep::Wait:
                WaitForQuiet();
                ReadNext();
                break;
            case CDirectory::EStep::Refuse:
                ++m_pServer->m_Counts.m_ulRefused;
                Close();
                break;
            case CDirectory::EStep::Reply:
                Reply(step.m_strReply);
                break;
        }
    }

    void WaitForQuiet()
    {
        m_Quiet.expires_after(std::chrono::microseconds(QUIET));
        m_Quiet.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_pServer == nullptr || self->m_strQuestion.empty()) return;
            asio::error_code ignored;
            const auto local = self->m_Socket.local_endpoint(ignored);
            const auto step = self->m_pServer->m_Directory.Ask(self->m_strQuestion, true,
                                                               ignored ? 0 : local.address().to_v4().to_uint());
            // What isn't a question yet may still become one until patience ends.
            if (step.m_Step == CDirectory::EStep::Reply) self->Reply(step.m_strReply);
        });
    }

    // Sent in one piece: askers read once.
    void Reply(const std::string& text)
    {
        ++m_pServer->m_Counts.m_ulAnswered;
        asio::error_code ignored;
        m_Socket.non_blocking(true, ignored);
        m_Socket.send(asio::buffer(text), 0, ignored);
        Close();
    }

    CDirectoryServer* m_pServer;  // null once closed
    asio::ip::tcp::socket m_Socket;
    asio::steady_timer m_Patience;
    asio::steady_timer m_Quiet;
    std::array<char, 256> m_Buffer{};
    std::string m_strQuestion;
};

CDirectoryServer::CDirectoryServer(asio::io_context& context, const XEndpoint& at, CDirectory directory,
                                   bool bSilent)
    : m_Directory(std::move(directory)),
      m_bSilent(bSilent),
      m_Listener(context, at, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

CDirectoryServer::~CDirectoryServer()
{
    for (const auto& connection : m_Connections)
        connection->Forget();
}

void CDirectoryServer::Accept(asio::ip::tcp::socket socket)
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

}  // namespace recorder
