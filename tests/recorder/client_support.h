#pragma once

#include <sys/socket.h>

#include <asio.hpp>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "recorder/protocol/Frames.h"
#include "recorder/protocol/Wire.h"
#include "recorder/server/Server.h"

namespace recorder
{

// A recorder that runs on a thread of its own on free ports, ended by the destructor.
class CRunning
{
  public:
    explicit CRunning(const std::vector<const char*>& args);
    ~CRunning();
    const Server& GetServer() const { return *m_pServer; }
    // Ends it and tells what it served.
    nlohmann::json End();

  private:
    std::unique_ptr<Server> m_pServer;
    std::thread m_Thread;
};

// The client's side of the protocol as its own program has it, written from the wire. Every wait ends after ten
// seconds, with nothing.
class CRecorderClient
{
  public:
    CRecorderClient(const Server& server, const std::string& name);

    // The directory's answer to a question; empty when it closes without one. The question is sent in the
    // pieces given.
    static std::string Ask(const Server& server, const std::vector<std::string>& pieces);

    void Send(const Endpoint& to, EMessage type, const Bytes& body = {});
    void SendRaw(const Endpoint& to, const Bytes& bytes);
    struct Received {
        Endpoint from;
        Bytes bytes;
        WireMessage message;  // into `bytes`
    };
    // The next datagram of this type; others are kept out of the way. Data is acknowledged.
    std::optional<Received> Await(EMessage type);

    // Login and the list of users.
    bool Login();
    const std::map<std::string, PeerRecord>& Users() const { return m_Users; }
    // Punch, answer, probe, acknowledgement: as the client finds its path.
    bool Connect(const std::string& peer);
    // The next whole message of the stream, header word included.
    Bytes NextMessage();
    // Whether data is acknowledged; it is until this is called.
    void StopAcknowledging() { m_bAcknowledges = false; }
    void SetTimeout(int milliseconds) { m_iTimeoutMs = milliseconds; }
    const Endpoint& Peer() const { return m_Peer; }
    Endpoint Local() const;

  private:
    asio::io_context m_Context;
    asio::ip::udp::socket m_Socket;
    Endpoint m_Rendezvous;
    Endpoint m_Peer;
    PeerRecord m_Own;
    std::map<std::string, PeerRecord> m_Users;
    bool m_bAcknowledges = true;
    int m_iTimeoutMs = 10'000;
};

// A connection to a direct port that gives up waiting after ten seconds.
class CConnection
{
  public:
    explicit CConnection(const Endpoint& at) : m_Socket(m_Context)
    {
        m_Socket.connect({asio::ip::address_v4(at.address), at.port});
        const timeval timeout{10, 0};
        setsockopt(m_Socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
    void Send(const Bytes& bytes)
    {
        asio::error_code ignored;
        asio::write(m_Socket, asio::buffer(bytes), ignored);
    }
    void SendText(const std::string& text) { Send(MakeFrame(Bytes(text.begin(), text.end()))); }
    void Ask(int32_t mode, int32_t channel, int32_t record = -1)
    {
        Bytes body(12);
        WriteU32(body.data(), static_cast<uint32_t>(mode));
        WriteU32(body.data() + 4, static_cast<uint32_t>(record));
        WriteU32(body.data() + 8, static_cast<uint32_t>(channel));
        Send(MakeFrame(body));
    }
    // Fewer bytes than asked for when the connection ends or nothing comes.
    Bytes Receive(size_t count)
    {
        Bytes bytes(count);
        const ssize_t got = recv(m_Socket.native_handle(), bytes.data(), count, MSG_WAITALL);
        bytes.resize(got < 0 ? 0 : static_cast<size_t>(got));
        return bytes;
    }
    struct Frame {
        uint32_t type = 0xFFFFFFFF;
        Bytes payload;
    };
    // Nothing when the connection ends, or breaks off in the frame.
    std::optional<Frame> NextFrame()
    {
        const Bytes header = Receive(MEDIA_HEADER_BYTES);
        if (header.size() < MEDIA_HEADER_BYTES) return {};
        const uint32_t length = ReadU32(header.data());
        if (length < MEDIA_HEADER_BYTES || length > MAX_MEDIA_FRAME_BYTES) return {};
        Frame frame{ReadU32(header.data() + 4), Receive(length - MEDIA_HEADER_BYTES)};
        if (frame.payload.size() < length - MEDIA_HEADER_BYTES) return {};
        return frame;
    }
    void HangUp() { m_Socket.close(); }

  private:
    asio::io_context m_Context;
    asio::ip::tcp::socket m_Socket;
};

}  // namespace recorder
