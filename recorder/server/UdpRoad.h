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
asio::ip::udp::endpoint ToAsio(const XEndpoint& endpoint);
XEndpoint FromAsio(const asio::ip::udp::endpoint& endpoint);

// One UDP socket with what is done to datagrams on their way out. Everything happens on the thread that runs
// the context.
//
// What a handler sends goes out together behind it, in order: datagrams of one size to one endpoint cost a
// single walk through the network code then, which cuts them apart again where they leave or arrive.
class CUdpRoad : public IDatagramOut
{
  public:
    using Receive = std::function<void(const XEndpoint& from, std::span<const uint8_t> datagram)>;

    // Binds at once; throws asio::system_error when it can't. Only what carries one of faultsOn is harmed.
    CUdpRoad(asio::io_context& context, const XEndpoint& at, const XFaultRates& rates, uint32_t dwSeed,
             std::set<ECarries> faultsOn, Receive receive);

    void Start();
    // Queues until the running handler has ended.
    void Send(const XEndpoint& to, Bytes bytes, ECarries carries) override;
    // Sends at once what is queued; needed only when nothing more will run.
    void Flush();
    CFaults& Faults() { return m_Faults; }
    XEndpoint Local() const;
    // Datagrams that the system took or didn't take.
    uint64_t Sent() const { return m_ulSent; }
    uint64_t NotSent() const { return m_ulNotSent; }

  private:
    void ReadNext();
    void Read();
    void FlushSoon();
    bool SendTogether(std::span<const XDatagram> run);
    void SendSingly(std::span<const XDatagram> run);
    void WaitForDelayed(TimeUs iDue);

    asio::ip::udp::socket m_Socket;
    asio::steady_timer m_Delayed;
    CFaults m_Faults;
    std::set<ECarries> m_FaultsOn;
    Receive m_Receive;
    std::vector<XDatagram> m_Ready;
    bool m_bFlushComes = false;
    bool m_bRuns = true;  // until the network code refuses
    std::array<uint8_t, 65536> m_Buffer{};
    uint64_t m_ulSent = 0;
    uint64_t m_ulNotSent = 0;
    std::shared_ptr<const char> m_pAlive =
        std::make_shared<const char>();  // gone when a posted flush comes late
};

}  // namespace recorder
