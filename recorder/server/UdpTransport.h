#pragma once

#include <array>
#include <asio.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "recorder/protocol/Faults.h"

namespace recorder
{

TimeUs Now();
asio::ip::udp::endpoint ToAsio(const Endpoint& endpoint);
Endpoint FromAsio(const asio::ip::udp::endpoint& endpoint);

/// One UDP socket with what is done to datagrams on their way out. Everything happens on the thread that runs
/// the context.
///
/// What a handler sends goes out together when it has ended, in order: datagrams of one size to one endpoint
/// cost a single walk through the network code then, which cuts them apart again where they leave or arrive.
class UdpTransport : public IDatagramOut
{
  public:
    using Receive = std::function<void(const Endpoint& from, std::span<const uint8_t> datagram)>;

    /// Binds at once; throws asio::system_error when it can't. Only what carries one of faultsOn is harmed.
    UdpTransport(asio::io_context& context, const Endpoint& at, const FaultRates& rates, uint32_t seed,
                 std::set<ECarries> faultsOn, Receive receive);

    void Start();
    /// Queues until the running handler has ended.
    void Send(const Endpoint& to, Bytes bytes, ECarries carries) override;
    /// Sends at once what is queued; needed only when nothing more will run.
    void Flush();
    Faults& GetFaults() { return m_Faults; }
    Endpoint Local() const;
    /// Datagrams that the system took or didn't take.
    uint64_t Sent() const { return m_Sent; }
    uint64_t NotSent() const { return m_NotSent; }

  private:
    void ReadNext();
    void Read();
    void FlushSoon();
    bool SendTogether(std::span<const Datagram> run);
    bool SendSingly(std::span<const Datagram> run);
    void WaitForDelayed(TimeUs due);

    asio::ip::udp::socket m_Socket;
    asio::steady_timer m_Delayed;
    Faults m_Faults;
    std::set<ECarries> m_FaultsOn;
    Receive m_Receive;
    std::vector<Datagram> m_Ready;
    bool m_FlushComes = false;
    bool m_Runs = true;  // until the network code refuses
    std::array<uint8_t, 65536> m_Buffer{};
    uint64_t m_Sent = 0;
    uint64_t m_NotSent = 0;
    std::shared_ptr<const char> m_Alive =
        std::make_shared<const char>();  // gone when a posted flush comes late
};

}  // namespace recorder
