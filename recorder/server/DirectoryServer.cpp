#include "recorder/server/DirectoryServer.h"

#include <array>
#include <chrono>
#include <string>
#include <utility>

namespace recorder
{

// One connection; kept alive by its own pending operations, and known to the server until it is closed.
class DirectoryServer::Connection : public std::enable_shared_from_this<Connection>
{
  public:
    Connection(DirectoryServer& server, asio::ip::tcp::socket socket)
        : m_Server(&server),
          m_Socket(std::move(socket)),
          m_Patience(m_Socket.get_executor()),
          m_Quiet(m_Socket.get_executor())
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

    void Close()
    {
        asio::error_code ignored;
        m_Socket.shutdown(asio::socket_base::shutdown_both, ignored);
        m_Socket.close(ignored);
        m_Patience.cancel();
        m_Quiet.cancel();
        if (DirectoryServer* const server = std::exchange(m_Server, nullptr))
            server->m_Connections.erase(shared_from_this());
    }

  private:
    void ReadNext()
    {
        m_Socket.async_read_some(asio::buffer(m_Buffer),
                                 [self = shared_from_this()](asio::error_code error, size_t bytes) {
                                     if (self->m_Server == nullptr) return;
                                     self->m_Question.append(self->m_Buffer.data(), bytes);
                                     if (error == asio::error::eof)
                                         self->Consider(true);
                                     else if (error)
                                         self->Close();
                                     else
                                         self->Consider(false);
                                 });
    }

    void Consider(bool noMore)
    {
        if (m_Server->m_Silent) {
            if (noMore || m_Question.size() > Directory::MAX_QUESTION_BYTES)
                Close();
            else
                ReadNext();
            return;
        }
        asio::error_code error;
        const auto local = m_Socket.local_endpoint(error);
        const auto step =
            m_Server->m_Directory.Ask(m_Question, noMore, error ? 0 : local.address().to_v4().to_uint());
        switch (step.step) {
            case Directory::EStep::Wait:
                WaitForQuiet();
                ReadNext();
                break;
            case Directory::EStep::Refuse:
                ++m_Server->m_Counts.refused;
                Close();
                break;
            case Directory::EStep::Reply:
                Reply(step.reply);
                break;
        }
    }

    void WaitForQuiet()
    {
        m_Quiet.expires_after(std::chrono::microseconds(QUIET));
        m_Quiet.async_wait([self = shared_from_this()](asio::error_code error) {
            if (error || self->m_Server == nullptr || self->m_Question.empty()) return;
            asio::error_code ignored;
            const auto local = self->m_Socket.local_endpoint(ignored);
            const auto step = self->m_Server->m_Directory.Ask(self->m_Question, true,
                                                              ignored ? 0 : local.address().to_v4().to_uint());
            // What isn't a question yet may still become one until patience ends.
            if (step.step == Directory::EStep::Reply) self->Reply(step.reply);
        });
    }

    // Sent in one piece: askers read once.
    void Reply(const std::string& text)
    {
        ++m_Server->m_Counts.answered;
        asio::error_code ignored;
        m_Socket.non_blocking(true, ignored);
        m_Socket.send(asio::buffer(text), 0, ignored);
        Close();
    }

    DirectoryServer* m_Server;  // null once closed
    asio::ip::tcp::socket m_Socket;
    asio::steady_timer m_Patience;
    asio::steady_timer m_Quiet;
    std::array<char, 256> m_Buffer{};
    std::string m_Question;
};

DirectoryServer::DirectoryServer(asio::io_context& context, const Endpoint& at, Directory directory,
                                 bool silent)
    : m_Directory(std::move(directory)),
      m_Silent(silent),
      m_Listener(context, at, [this](asio::ip::tcp::socket socket) { Accept(std::move(socket)); })
{
}

DirectoryServer::~DirectoryServer()
{
    for (const auto& connection : m_Connections)
        connection->Forget();
}

void DirectoryServer::Accept(asio::ip::tcp::socket socket)
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

}  // namespace recorder
