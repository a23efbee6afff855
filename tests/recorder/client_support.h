#pragma once

#include <asio.hpp>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

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

// The client's side of the road as its own program has it, written from the wire. Every wait ends after ten
// seconds, with nothing.
class CScriptedClient
{
  public:
    CScriptedClient(const Server& server, const std::string& name);

    // The directory's answer to a question; empty when it closes without one. The question is sent in the
    // pieces given.
    static std::string Ask(const Server& server, const std::vector<std::string>& pieces);

    void Send(const Endpoint& to, EMessage type, const Bytes& body = {});
    void SendRaw(const Endpoint& to, const Bytes& bytes);
    struct Received {
        Endpoint from;
        Bytes bytes;
        WireMessage message;  // into m_Bytes
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
    void SetPatience(int milliseconds) { m_iPatienceMs = milliseconds; }
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
    int m_iPatienceMs = 10'000;
};

}  // namespace recorder
