#include "recorder/server/UdpRoad.h"

#include <chrono>
#include <utility>

namespace recorder
{

namespace
{

constexpr int SOCKET_BUFFER_BYTES = 4 << 20;  // asked for; the system gives what its limit allows

}  // namespace

TimeUs Now()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

asio::ip::udp::endpoint ToAsio(const XEndpoint& endpoint)
{
    return {asio::ip::address_v4(endpoint.m_dwAddress), endpoint.m_usPort};
}

XEndpoint FromAsio(const asio::ip::udp::endpoint& endpoint)
{
    return {endpoint.address().to_v4().to_uint(), endpoint.port()};
}

CUdpRoad::CUdpRoad(asio::io_context& context, const XEndpoint& at, const XFaultRates& rates, uint32_t dwSeed,
                   std::set<ECarries> faultsOn, Receive receive)
    : m_Socket(context, ToAsio(at)),
      m_Delayed(context),
      m_Faults(rates, dwSeed),
      m_FaultsOn(std::move(faultsOn)),
      m_Receive(std::move(receive))
{
    if (!rates.Any()) m_FaultsOn.clear();
    m_Socket.non_blocking(true);
    asio::error_code ignored;
    m_Socket.set_option(asio::socket_base::receive_buffer_size(SOCKET_BUFFER_BYTES), ignored);
    m_Socket.set_option(asio::socket_base::send_buffer_size(SOCKET_BUFFER_BYTES), ignored);
}

void CUdpRoad::Start()
{
    ReadNext();
}

XEndpoint CUdpRoad::Local() const
{
    return FromAsio(m_Socket.local_endpoint());
}

void CUdpRoad::ReadNext()
{
    m_Socket.async_receive_from(asio::buffer(m_Buffer), m_From, [this](asio::error_code error, size_t bytes) {
        if (error == asio::error::operation_aborted || !m_Socket.is_open()) return;
        if (!error) m_Receive(FromAsio(m_From), std::span(m_Buffer.data(), bytes));
        ReadNext();
    });
}

void CUdpRoad::Send(const XEndpoint& to, Bytes bytes, ECarries carries)
{
    if (m_FaultsOn.contains(carries)) {
        const TimeUs now = Now();
        m_Faults.Pass(now, {to, std::move(bytes)}, m_Ready);
        WaitForDelayed(m_Faults.Release(now, m_Ready));
    } else {
        m_Ready.push_back({to, std::move(bytes)});
    }
    Flush();
}

void CUdpRoad::Flush()
{
    for (const XDatagram& datagram : m_Ready) {
        asio::error_code error;
        m_Socket.send_to(asio::buffer(datagram.m_Bytes), ToAsio(datagram.m_To), 0, error);
        ++(error ? m_ulNotSent : m_ulSent);
    }
    m_Ready.clear();
}

void CUdpRoad::WaitForDelayed(TimeUs iDue)
{
    if (iDue == NEVER) return;
    m_Delayed.expires_at(std::chrono::steady_clock::time_point(std::chrono::microseconds(iDue)));
    m_Delayed.async_wait([this](asio::error_code error) {
        if (error) return;
        WaitForDelayed(m_Faults.Release(Now(), m_Ready));
        Flush();
    });
}

}  // namespace recorder
