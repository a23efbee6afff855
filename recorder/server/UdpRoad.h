#pragma once

#include <array>
#include <asio.hpp>
#include <functional>
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
class CUdpRoad : public IDatagramOut
{
  public:
    using Receive = std::function<void(const XEndpoint& from, std::span<const uint8_t> datagram)>;

    // Binds at once; throws asio::system_error when it can't. Only what carries one of faultsOn is harmed.
    CUdpRoad(asio::io_context& context, const XEndpoint& at, const XFaultRates& rates, uint32_t dwSeed,
             std::set<ECarries> faultsOn, Receive receive);

    void Start();
    void Send(const XEndpoint& to, Bytes bytes, ECarries carries) override;
    CFaults& Faults() { return m_Faults; }
    XEndpoint Local() const;
    // Datagrams that the system took or didn't take.
    uint64_t Sent() const { return m_ulSent; }
    uint64_t NotSent() const { return m_ulNotSent; }

  private:
    void ReadNext();
    void Flush();
    void WaitForDelayed(TimeUs iDue);

    asio::ip::udp::socket m_Socket;
    asio::steady_timer m_Delayed;
    CFaults m_Faults;
    std::set<ECarries> m_FaultsOn;
    Receive m_Receive;
    std::vector<XDatagram> m_Ready;
    asio::ip::udp::endpoint m_From;
    std::array<uint8_t, 65536> m_Buffer{};
    uint64_t m_ulSent = 0;
    uint64_t m_ulNotSent = 0;
};

}  // namespace recorder
