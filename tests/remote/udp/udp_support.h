#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "inc/OutputDebugString.h"
#include "remote/p2p/P2PSession.h"
#include "tests/remote/p2p/p2p_support.h"

/// A message with its header word.
Bytes MakeUdpMessage(std::int32_t channel, std::int32_t direction, std::span<const std::uint8_t> payload);

/// Gathers the debugger output for as long as it lives.
class CDebugText
{
  public:
    CDebugText()
        : m_Former(SetDebugListener([this](std::string_view text) {
              const std::lock_guard lock(m_cs);
              m_strText += text;
          }))
    {
    }
    ~CDebugText() { SetDebugListener(m_Former); }
    CDebugText(const CDebugText&) = delete;
    CDebugText& operator=(const CDebugText&) = delete;
    std::string Text()
    {
        const std::lock_guard lock(m_cs);
        return m_strText;
    }

  private:
    std::mutex m_cs;
    std::string m_strText;
    CDebugListener m_Former;
};

/// A rendezvous server and one machine behind it, on loopback. The machine is punched, acknowledges data, notes
/// every stream request and answers it with width and height, unless it is told to be silent.
class CScriptedMachine
{
  public:
    explicit CScriptedMachine(const std::string& name);

    /// Options of a session that finds the machine, with waits that run faster than the machine's clock.
    SessionOptions Options(bool sharedReceive = false);

    /// Cuts the message into datagrams of 1024 bytes and sends them to the client, each acknowledged before the
    /// next.
    void SendMessage(const Bytes& message);
    /// Sends one datagram of data as it is, without waiting.
    void SendData(std::span<const std::uint8_t> data);

    /// The channels whose streams were asked for so far.
    std::vector<std::int32_t> Requests() const;
    bool WaitForRequest(std::int32_t channel, std::size_t count = 1);
    CScriptedPeer& Peer() { return *m_pPeer; }
    CScriptedPeer& Server() { return *m_pServer; }

    std::atomic<bool> m_bAnswersPunches{true};
    std::atomic<bool> m_bReplies{true};
    std::atomic<std::uint16_t> m_Width{176};
    std::atomic<std::uint16_t> m_Height{144};

  private:
    void OnDatagram(CScriptedPeer& self, const Bytes& datagram, const sockaddr_in& from);

    const std::string m_strName;
    CFastClock m_Clock{10};
    mutable std::mutex m_cs;
    std::vector<std::int32_t> m_Requests;  // guarded by m_cs
    sockaddr_in m_Client{};                // guarded by m_cs
    std::unique_ptr<CScriptedPeer> m_pPeer;
    std::unique_ptr<CScriptedPeer> m_pServer;
};
