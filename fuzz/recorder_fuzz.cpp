// Everything the recorder reads from outside: datagrams to the rendezvous and to the device, from a few
// endpoints and over time, and questions to the directory. Each piece of input is a byte that says what it is,
// two bytes of length, and the bytes; what has been put in the middle of a datagram by a piece before is what
// the logic then holds.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "recorder/protocol/DeviceLink.h"
#include "recorder/protocol/Directory.h"
#include "recorder/protocol/Faults.h"
#include "recorder/protocol/Rendezvous.h"

namespace
{

using namespace recorder;

constexpr Endpoint SERVER = {0x7F000001, 4567};
constexpr Endpoint DEVICE = {0x7F000001, 40000};

// What is sent must be a datagram that a client accepts, and go to an endpoint that spoke.
class CChecker : public IDatagramOut
{
  public:
    void Send(const Endpoint& to, Bytes bytes, ECarries) override
    {
        if (!ParseMessage(bytes) || to.port == 0) std::abort();
    }
};

class CChannels : public IChannels
{
  public:
    int Count() const override { return 4; }
    int Width(int) const override { return 352; }
    int Height(int) const override { return 288; }
    void SetWatched(int, bool) override {}
    void WantKey(int) override {}
};

DeviceLink::Setup Setup()
{
    DeviceLink::Setup setup;
    setup.name = "1001";
    setup.localAddresses = {DEVICE};
    setup.rendezvous = SERVER;
    setup.clients = 3;
    return setup;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CChecker checker;
    CChannels channels;
    Rendezvous rendezvous(checker);
    rendezvous.Reserve("1001", DEVICE);
    DeviceLink device(Setup(), channels, checker);
    const Directory directory("1001", 4, {"front-door"});
    FaultRates rates;
    rates.garbage = 50;
    rates.reorder = 30;
    rates.duplicate = 10;
    Faults faults(rates, 1);
    std::vector<Datagram> ready;
    TimeUs now = 0;

    while (size >= 3) {
        const uint8_t what = data[0];
        const size_t length = std::min<size_t>(size - 3, ReadU16(data + 1));
        const std::span<const uint8_t> piece(data + 3, length);
        data += 3 + length;
        size -= 3 + length;
        const Endpoint from =
            what & 0x80 ? SERVER : Endpoint{0x7F000001, static_cast<uint16_t>(50000 + (what >> 4 & 7))};
        switch (what & 7) {
            case 0:
                rendezvous.OnDatagram(now, from, piece);
                break;
            case 1:
                device.OnDatagram(now, from, piece);
                break;
            case 2: {
                const std::string_view question(reinterpret_cast<const char*>(piece.data()), piece.size());
                const auto step = directory.Ask(question, (what & 0x40) != 0, 0x7F000001);
                if (step.step == Directory::EStep::Reply && step.reply.size() > 1024) std::abort();
                break;
            }
            case 3:
                now += static_cast<TimeUs>(piece.size()) * MILLISECOND * 16;
                break;
            case 4:
                device.OnMessage(now, what >> 4 & 3, (what & 0x40) != 0,
                                 std::make_shared<const Bytes>(MakeVideoMessage(what >> 4 & 3, piece)));
                break;
            default:
                faults.Pass(now, {from, Bytes(piece.begin(), piece.end())}, ready);
                break;
        }
        rendezvous.OnTimer(now);
        device.OnTimer(now);
        faults.Release(now, ready);
        if (device.Clients().size() > 3) std::abort();
    }
    return 0;
}
