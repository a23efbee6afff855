#include "recorder/server/UdpTransport.h"

#include <cerrno>
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

asio::ip::udp::endpoint ToAsio(const Endpoint& endpoint)
{
    return {asio::ip::address_v4(endpoint.address), endpoint.port};
}

Endpoint FromAsio(const asio::ip::udp::endpoint& endpoint)
{
    return {endpoint.address().to_v4().to_uint(), endpoint.port()};
}

UdpTransport::UdpTransport(asio::io_context& context, const Endpoint& at, const FaultRates& rates,
                           uint32_t seed, std::set<ECarries> faultsOn, Receive receive)
    : m_Socket(context, asio::ip::udp::v4()),
      m_Delayed(context),
      m_Faults(rates, seed),
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

void UdpTransport::Start()
{
    ReadNext();
}

Endpoint UdpTransport::Local() const
{
    return FromAsio(m_Socket.local_endpoint());
}

void UdpTransport::ReadNext()
{
    m_Socket.async_wait(asio::ip::udp::socket::wait_read, [this](asio::error_code error) {
        if (error == asio::error::operation_aborted || !m_Socket.is_open()) return;
        Read();
        ReadNext();
    });
}

void UdpTransport::Read()
{
    Burst burst;
    for (int i = 0; i < READS_AT_ONCE; ++i) {
        if (ReceiveBurst(m_Socket.native_handle(), m_Buffer, burst) != 0) return;
        do {  // an empty datagram is one too
            m_Receive(burst.from, TakeSegment(burst.bytes, burst.segment));
        } while (!burst.bytes.empty());
    }
}

void UdpTransport::Send(const Endpoint& to, Bytes bytes, ECarries carries)
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

void UdpTransport::FlushSoon()
{
    if (m_FlushComes || m_Ready.empty()) return;
    m_FlushComes = true;
    asio::post(m_Socket.get_executor(), [this, alive = std::weak_ptr(m_Alive)] {
        if (alive.expired()) return;
        m_FlushComes = false;
        Flush();
    });
}

void UdpTransport::Flush()
{
    for (std::span<const Datagram> left = m_Ready; !left.empty();) {
        const auto run = left.first(CountRun(left));
        if (!SendTogether(run)) SendSingly(run);
        left = left.subspan(run.size());
    }
    m_Ready.clear();
}

// False when they are still to go one by one.
bool UdpTransport::SendTogether(std::span<const Datagram> run)
{
    if (!m_Runs || run.size() == 1) return false;
    const int error = SendRun(m_Socket.native_handle(), run);
    if (IsRunRefused(error)) {
        // A place that takes none of them either, as port 0, tells nothing about runs, nor does one with a way
        // that is narrower than a datagram: there the singles go in pieces.
        m_Runs = !SendSingly(run) || error == EMSGSIZE;
        return true;
    }
    (error != 0 ? m_NotSent : m_Sent) += run.size();
    return true;
}

// True when the system took any.
bool UdpTransport::SendSingly(std::span<const Datagram> run)
{
    const uint64_t before = m_Sent;
    for (const Datagram& datagram : run) {
        asio::error_code error;
        m_Socket.send_to(asio::buffer(datagram.bytes), ToAsio(datagram.to), 0, error);
        ++(error ? m_NotSent : m_Sent);
    }
    return m_Sent != before;
}

void UdpTransport::WaitForDelayed(TimeUs due)
{
    if (due == NEVER) return;
    m_Delayed.expires_at(std::chrono::steady_clock::time_point(std::chrono::microseconds(due)));
    m_Delayed.async_wait([this](asio::error_code error) {
        if (error) return;
        WaitForDelayed(m_Faults.Release(Now(), m_Ready));
        Flush();
    });
}

}  // namespace recorder
