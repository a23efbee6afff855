// The handler of received datagrams of the peer protocol. The input is a row of datagrams, each a byte that
// chooses the source (bit 0: the server), a 16-bit little-endian length, and the bytes.

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

#include "remote/p2p/P2PProtocol.h"

namespace
{

void Require(bool holds)
{
    if (!holds) __builtin_trap();
}

class CCheckingOutput final : public IP2POutput
{
  public:
    void SendDatagram(std::span<const std::uint8_t> datagram, const sockaddr_in& to) override
    {
        P2PMessage message;
        Require(ReadP2PMessage(datagram, message));
        Require(message.body.empty());
        Require(message.type == P2PMSG_PONG || message.type == P2PMSG_PUNCH_ACK ||
                message.type == P2PMSG_DATA_ACK);
        Require(to.sin_family == AF_INET);
        Require(++m_iAnswers <= static_cast<int>(P2P_ADDRESSES));
    }
    void DeliverData(const char* name, std::span<const std::uint8_t> data, const sockaddr_in& /*from*/) override
    {
        Require(std::string_view(name).size() < P2P_NAME_BYTES);
        Require(!data.empty());
        // Read what was given, so that the sanitizer sees it.
        Require(std::ranges::count_if(data, [](std::uint8_t byte) { return byte > 255; }) == 0);
    }
    void NextDatagram() { m_iAnswers = 0; }

  private:
    int m_iAnswers = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1
                                                             : 0;  // the handler tells of every path it learns
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CP2PProtocol protocol;
    CCheckingOutput output;
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_addr.s_addr = inet_addr("10.0.0.1");
    sockaddr_in peer = server;
    peer.sin_addr.s_addr = inet_addr("10.0.0.2");
    protocol.SetServerAddress(server.sin_addr.s_addr);

    std::span<const std::uint8_t> rest(data, size);
    while (rest.size() >= 3) {
        const bool isServer = (rest[0] & 1) != 0;
        const std::size_t length = std::min<std::size_t>(ReadLittle16(rest.data() + 1), rest.size() - 3);
        output.NextDatagram();
        protocol.HandleDatagram(rest.subspan(3, length), isServer ? server : peer, output);
        rest = rest.subspan(3 + length);
    }

    Require(protocol.GetLocalRecord().Name().size() < P2P_NAME_BYTES);
    Require(protocol.GetLocalRecord().m_AddressCount <= P2P_ADDRESSES);
    Require(protocol.GetUserCount() <= CPeerList::LAST_CAPACITY);
    protocol.GetP2PAddresses();
    protocol.ClearP2PAddress("peer");
    return 0;
}
