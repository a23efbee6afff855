// The harm that is done on request comes from one seed, in each of the services.

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <asio.hpp>

#include "recorder/server/Server.h"
#include "tests/recorder/client_support.h"
#include "tests/recorder/datagram_support.h"
#include "tests/recorder/media_support.h"

namespace
{

using namespace recorder;

// The sizes of what answers 20 pings, each datagram garbled; its bytes tell the free port of this run, too.
std::vector<ssize_t> GarbledPongs(const Endpoint& at)
{
    asio::io_context context;
    asio::ip::udp::socket socket(context, asio::ip::udp::endpoint(asio::ip::udp::v4(), 0));
    const timeval timeout{10, 0};
    setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    std::vector<ssize_t> sizes;
    for (int i = 0; i < 20; ++i) {
        socket.send_to(asio::buffer(From("1", EMessage::Ping)),
                       asio::ip::udp::endpoint(asio::ip::address_v4(at.address), at.port));
        Bytes pong(2000);
        const ssize_t got = recv(socket.native_handle(), pong.data(), pong.size(), 0);
        if (got < 0) return {};
        sizes.push_back(got);
    }
    return sizes;
}

std::vector<uint32_t> WrongTypes(const Endpoint& at)
{
    CConnection client(at);
    client.Ask(3, 0);
    client.Receive(STREAM_REPLY_BYTES);
    std::vector<uint32_t> types;
    for (int i = 0; i < 10; ++i)
        if (const auto frame = client.NextFrame()) types.push_back(frame->type);
    return types;
}

struct Harm {
    std::vector<ssize_t> rendezvous;
    std::vector<ssize_t> device;
    std::vector<uint32_t> data;
};

Harm HarmOf(const char* seed)
{
    CRunning running({"--id", "77", "--channels", "1", "--garbage", "100", "--faults-on", "rendezvous,device",
                      "--wrong-type", "100", "--seed", seed});
    return {GarbledPongs(running.GetServer().RendezvousAt()), GarbledPongs(running.GetServer().DeviceAt()),
            WrongTypes(running.GetServer().DataAt())};
}

TEST(SeedTest, TheSameSeedDoesTheSameHarmInEachService)
{
    const Harm first = HarmOf("9");
    const Harm same = HarmOf("9");
    const Harm other = HarmOf("109");
    ASSERT_EQ(first.rendezvous.size(), 20U);
    ASSERT_EQ(first.device.size(), 20U);
    ASSERT_EQ(first.data.size(), 10U);
    EXPECT_EQ(same.rendezvous, first.rendezvous);
    EXPECT_EQ(same.device, first.device);
    EXPECT_EQ(same.data, first.data);
    EXPECT_NE(other.rendezvous, first.rendezvous);
    EXPECT_NE(other.device, first.device);
    EXPECT_NE(other.data, first.data);
    EXPECT_NE(first.rendezvous, first.device) << "each service has harm of its own";
}

}  // namespace
