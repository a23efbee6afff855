// A channel's link from the reply to its last picture, over a network that is a function. The input is what the
// machine sends once it was asked for the stream: a row of datagrams' data, each a 16-bit little-endian length
// and the bytes. The link ends when it has read them all.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <thread>

#include "fuzz/reading_render.h"
#include "remote/DeviceState.h"
#include "remote/udp/UdpLink.h"

namespace
{

constexpr std::int32_t CHANNEL = 5;
constexpr std::int32_t NET_ID = 7;

sockaddr_in Address(std::uint32_t host)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    address.sin_port = htons(5000);
    return address;
}

const sockaddr_in SERVER = Address(0x0A000001);
const sockaddr_in MACHINE = Address(0x0A000002);

/// Server and machine answer before a send returns.
class CFuzzSession final : public CP2PSession
{
  public:
    explicit CFuzzSession(std::span<const std::uint8_t> input) : CP2PSession(Options()), m_Input(input) {}
    ~CFuzzSession() override { Shutdown(); }

    std::atomic<bool> m_bFed{false};

  protected:
    void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in&) override
    {
        P2PMessage message;
        Require(ReadP2PMessage(datagram, message));
        PEER_RECORD machine;
        machine.SetName(std::to_string(NET_ID));
        switch (message.type) {
            case P2PMSG_LOGIN:
                Arrive(P2PMSG_LOGIN_ACK, message.record, SERVER);
                break;
            case P2PMSG_GET_USERS:
                Arrive(P2PMSG_USER_ENTRY, machine, SERVER);
                Arrive(P2PMSG_USER_END, {}, SERVER);
                break;
            case P2PMSG_PUNCH:
                Arrive(P2PMSG_PUNCH_ACK, machine, MACHINE);
                break;
            case P2PMSG_DATA:
                if (message.body.empty())
                    Arrive(P2PMSG_DATA_ACK, machine, MACHINE);
                else
                    Feed(machine);
                break;
            default:
                break;
        }
    }

  private:
    static SessionOptions Options()
    {
        SessionOptions options;
        options.server = "10.0.0.1";
        return options;
    }

    void Arrive(std::uint32_t type, const PEER_RECORD& record, const sockaddr_in& from,
                std::span<const std::uint8_t> body = {})
    {
        HandleDatagram(MakeP2PMessage(type, record, body), from);
    }

    void Feed(const PEER_RECORD& machine)
    {
        auto rest = m_Input;
        while (rest.size() > 2) {
            const std::size_t length = std::min<std::size_t>(ReadLittle16(rest.data()), rest.size() - 2);
            Arrive(P2PMSG_DATA, machine, MACHINE, rest.subspan(2, length));
            rest = rest.subspan(2 + length);
        }
        m_bFed = true;
    }

    const std::span<const std::uint8_t> m_Input;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    SetRenderFactory([] { return std::make_unique<CReadingRender>(); });
    // The protocol tells of every path that it learns.
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto session = std::make_shared<CFuzzSession>(std::span(data, size));
    session->Start("1");
    Require(session->IsConnected());
    const auto state = std::make_shared<CDeviceState>(nullptr);
    state->m_bRunning = true;
    const auto counters = std::make_shared<CLinkCounters>();
    CUdpLink link(state, session, counters, NET_ID, CHANNEL);
    std::thread thread([&] { link.Run(); });
    while (!session->m_bFed || !session->HasWaitingReader())
        std::this_thread::yield();
    link.Cancel();
    thread.join();
    Require(state->m_pDecoder == nullptr);
    Require(counters->decoded + counters->refused == counters->messages);
    Require(!session->IsReceiveLockTaken());
    return 0;
}
