#include "recorder/server/ControlServer.h"

#include <utility>

#include "recorder/protocol/Frames.h"

namespace recorder
{

class ControlServer::Reader final : public Connection
{
  public:
    Reader(ControlServer& server, asio::ip::tcp::socket socket)
        : Connection(server, std::move(socket)), m_Control(server)
    {
    }

  private:
    void OnBytes(std::span<const uint8_t> bytes, const asio::error_code& error) override
    {
        m_Reader.Add(bytes);
        while (const auto body = m_Reader.Next())
            m_Control.OnText({reinterpret_cast<const char*>(body->data()), body->size()});
        if (m_Reader.Damaged()) ++m_Control.m_Counts.damaged;
        if (error || m_Reader.Damaged())
            Close();
        else
            ReadNext();
    }

    ControlServer& m_Control;  // while the connection is open
    FrameReader m_Reader{MAX_TEXT_FRAME_BYTES};
};

ControlServer::ControlServer(asio::io_context& context, const Endpoint& at, Do execute)
    : ConnectionServer(context, at, m_Counts), m_Do(std::move(execute))
{
}

std::shared_ptr<ConnectionServer::Connection> ControlServer::MakeConnection(asio::ip::tcp::socket socket)
{
    return std::make_shared<Reader>(*this, std::move(socket));
}

void ControlServer::OnText(std::string_view text)
{
    const auto command = ParseCommand(text);
    ++(command && m_Do(*command) ? m_Counts.commands : m_Counts.unknown);
}

}  // namespace recorder
