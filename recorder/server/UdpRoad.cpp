#include "recorder/server/UdpRoad.h"

#include <chrono>
#include <utility>

#include "recorder/protocol/DatagramRuns.h"
#include "recorder/server/SegmentedSocket.h"

namespace recorder
{

namespace
{

constexpr int SOCKET_BUFFER_BYTES = 4 << 20;  // asked for; the system gives what its limit allows
constexpr int READS_AT_ONCE = 16;             // then other handlers have their turn

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
    : m_Socket(context, asio::ip::udp::v4()),
      m_Delayed(context),
      m_Faults(rates, dwSeed),
      m_FaultsOn(std::move(faultsOn)),
      m_Receive(std::move(receive))
{
    asio::error_code error;
    m_Socket.bind(ToAsio(at), error);
    if (error) throw asio::system_error(error, "can't serve on UDP " + EndpointText(at));
    if (!rates.Any()) m_FaultsOn.clear();
    m_Socket.non_blocking(true);
    asio::error_code ignored;
    m_Socket.set_option(asio::socket_base::receive_buffer_size(SOCKET_BUFFER_BYTES), ignored);
    m_Socket.set_option(asio::socket_base::send_buffer_size(SOCKET_BUFFER_BYTES), ignored);
    JoinReceived(m_Socket.native_handle());
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
    m_Socket.async_wait(asio::ip::udp::socket::wait_read, [this](asio::error_code error) {
        if (error == asio::error::operation_aborted || !m_Socket.is_open()) return;
        Read();
        ReadNext();
    });
}

void CUdpRoad::Read()
{
    XBurst burst;
    for (int i = 0; i < READS_AT_ONCE; ++i) {
        if (ReceiveBurst(m_Socket.native_handle(), m_Buffer, burst) != 0) return;
        do {  // an empty datagram is one too
            m_Receive(burst.m_From, TakeSegment(burst.m_Bytes, burst.m_ulSegment));
        } while (!burst.m_Bytes.empty());
    }
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
    FlushSoon();
}

void CUdpRoad::FlushSoon()
{
    if (m_bFlushComes || m_Ready.empty()) return;
    m_bFlushComes = true;
    asio::post(m_Socket.get_executor(), [this, alive = std::weak_ptr(m_pAlive)] {
        if (alive.expired()) return;
        m_bFlushComes = false;
        Flush();
    });
}

void CUdpRoad::Flush()
{
    for (std::span<const XDatagram> left = m_Ready; !left.empty();) {
        const auto run = left.first(CountRun(left));
        if (!SendTogether(run)) SendSingly(run);
        left = left.subspan(run.size());
    }
    m_Ready.clear();
}

// False when nothing was sent and it is worth to try them one by one.
bool CUdpRoad::SendTogether(std::span<const XDatagram> run)
{
    if (!m_bRuns || run.size() == 1) return false;
    const int error = SendRun(m_Socket.native_handle(), run);
    if (IsRunRefused(error)) {
        m_bRuns = false;
        return false;
    }
    (error != 0 ? m_ulNotSent : m_ulSent) += run.size();
    return true;
}

void CUdpRoad::SendSingly(std::span<const XDatagram> run)
{
    for (const XDatagram& datagram : run) {
        asio::error_code error;
        m_Socket.send_to(asio::buffer(datagram.m_Bytes), ToAsio(datagram.m_To), 0, error);
        ++(error ? m_ulNotSent : m_ulSent);
    }
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
