#include "recorder/server/DirectoryServer.h"

#include <chrono>
#include <string>
#include <utility>

namespace recorder
{

class DirectoryServer::Asker final : public Connection
{
  public:
    Asker(DirectoryServer& server, asio::ip::tcp::socket socket)
        : Connection(server, std::move(socket)), m_Server(server), m_Quiet(m_Socket.get_executor())
    {
    }

  private:
    void OnBytes(std::span<const uint8_t> bytes, const asio::error_code& error) override
    {
        m_Question.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        if (error && error != asio::error::eof)
            Close();
        else
            Consider(static_cast<bool>(error));
    }

    void Close() override
    {
        m_Quiet.cancel();
        Connection::Close();
    }

    void Consider(bool noMore)
    {
        if (m_Server.m_Silent) {
            if (noMore || m_Question.size() > Directory::MAX_QUESTION_BYTES)
                Close();
            else
                ReadNext();
            return;
        }
        const auto step = Ask(noMore);
        switch (step.step) {
            case Directory::EStep::Wait:
                WaitForQuiet();
                ReadNext();
                break;
            case Directory::EStep::Refuse:
                ++m_Server.m_Counts.refused;
                Close();
                break;
            case Directory::EStep::Reply:
                Reply(step.reply);
                break;
        }
    }

    Directory::Step Ask(bool noMore)
    {
        asio::error_code error;
        const auto local = m_Socket.local_endpoint(error);
        return m_Server.m_Directory.Ask(m_Question, noMore, error ? 0 : local.address().to_v4().to_uint());
    }

    void WaitForQuiet()
    {
        m_Quiet.expires_after(std::chrono::microseconds(QUIET));
        m_Quiet.async_wait([this, self = shared_from_this()](asio::error_code error) {
            if (error || !IsOpen() || m_Question.empty()) return;
            // What isn't a question yet may still become one before the time limit.
            const auto step = Ask(true);
            if (step.step == Directory::EStep::Reply) Reply(step.reply);
        });
    }

    // Sent in one piece: askers read once.
    void Reply(const std::string& text)
    {
        ++m_Server.m_Counts.answered;
        asio::error_code ignored;
        m_Socket.non_blocking(true, ignored);
        m_Socket.send(asio::buffer(text), 0, ignored);
        Close();
    }

    DirectoryServer& m_Server;  // while the connection is open
    asio::steady_timer m_Quiet;
    std::string m_Question;
};

DirectoryServer::DirectoryServer(asio::io_context& context, const Endpoint& at, Directory directory,
                                 bool silent)
    : ConnectionServer(context, at, m_Counts), m_Directory(std::move(directory)), m_Silent(silent)
{
}

std::shared_ptr<ConnectionServer::Connection> DirectoryServer::MakeConnection(asio::ip::tcp::socket socket)
{
    return std::make_shared<Asker>(*this, std::move(socket));
}

}  // namespace recorder
