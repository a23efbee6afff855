#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "inc/EntryCheck.h"
#include "platform/os/socket_calls.h"
#include "remote/p2p/P2PProtocol.h"

/// Holds back what the protocol answers to the datagrams of one receive batch, so that it goes out together:
/// answers of one size to one address cost a single walk through the network code, which cuts them into
/// datagrams again (segmentation offload). Where that isn't to be had they go one by one. Data passes at once.
/// Receiving thread only.
class CAnswerBatch final : public IP2POutput
{
  public:
    /// Both are borrowed: `output` gets the data, `socket` the answers.
    CAnswerBatch(IP2POutput& output, SOCKET socket) : m_Output(output), m_hSocket(socket) {}
    /// What was not sent is dropped.
    ~CAnswerBatch() override = default;

    void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to) override;
    void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& from) override
    {
        m_Output.DeliverData(name, data, from);
    }

    /// Sends what is held back, in order; failures are ignored.
    void Flush();

  private:
    bool SendSingly() const;
    bool SendSegmented() const;

    IP2POutput& m_Output;
    const SOCKET m_hSocket;
    bool m_bSegments = true;  // until the network code refuses
    // answers of one size to one address
    std::vector<std::uint8_t> m_Bytes;
    std::size_t m_Size = 0;
    sockaddr_in m_To{};
    CThreadMark m_ReceivingThread;
};
