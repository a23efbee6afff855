// A whole wall over loopback: 16 channels of 704x576 at 25 pictures a second from the recorder, received with
// shared receiving, decoded and handed to a renderer that only looks at the picture's number. Prints the
// pictures that are missing while it measures, the processor time a picture, and the times of the closes while
// data flows.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "bench/wall/Measure.h"
#include "codec/codec.h"
#include "platform/os/paths.h"
#include "remote/UdpRemote.h"
#include "remote/UdpRemoteStation.h"
#include "tests/links/drawing_support.h"
#include "tests/links/recorder_support.h"

namespace
{

constexpr int CHANNELS = 16;
constexpr std::uint64_t RATE = 25;  // pictures a second

/// What one channel showed; written by its link thread alone.
struct Channel {
    std::atomic<std::uint64_t> shown{0};
    std::atomic<std::uint64_t> lost{0};
    std::atomic<std::uint64_t> unreadable{0};
    std::uint32_t last = 0;  // link thread only
};

std::array<Channel, CHANNELS> g_Channels;

/// Reads the number out of the picture's lower left corner and counts the gap since the last one.
class CCountingRender final : public CRender
{
  public:
    std::int32_t DisplayClient(const CodecFrame* frame, CSurface* surface, HWND window) override
    {
        if (frame->data[0] == nullptr) return -1;
        surface->m_Showing = EShowing::Shown;
        Channel& channel = g_Channels[static_cast<std::size_t>(window) - 1];
        const auto mark = ReadMark(*frame);
        if (!mark) {
            ++channel.unreadable;
            return 0;
        }
        // A recorder that plays a loop begins again at 0.
        if (channel.shown > 0 && mark->picture > channel.last) channel.lost += mark->picture - channel.last - 1;
        channel.last = mark->picture;
        ++channel.shown;
        return 0;
    }
    CSurface* CreateSurface(std::int32_t width, std::int32_t height) override
    {
        return new CSurface(width, height);
    }
    void DestroySurface(CSurface* surface) override { delete surface; }
    std::int32_t SaveSnapshot(std::string, CSurface*) override { return 0; }
};

std::uint64_t Sum(std::atomic<std::uint64_t> Channel::*counter)
{
    std::uint64_t sum = 0;
    for (const Channel& channel : g_Channels)
        sum += channel.*counter;
    return sum;
}

}  // namespace

int main(int argc, char** argv)
{
    const double seconds = argc > 1 ? std::atof(argv[1]) : 60;
    const CTestFolder folder;
    folder.Write("config/system.ini", "[System]\nLanguage=eng\nStandardChroma=1\n");
    SetModuleDirectory(folder.System());
    SetRenderFactory([] { return std::make_unique<CCountingRender>(); });

    // A loop is encoded before the recorder is ready, so that the encoder takes nothing from the decoders.
    const CRecorderProcess recorder({"--id", "4711", "--channels", std::to_string(CHANNELS), "--size",
                                     "704x576", "--fps", "25", "--mark", "--loop", "4"});
    CFastClock clock(30);
    CUdpRemoteStation station(recorder.GetEndpoints(), recorder.SessionOptionsOf(clock, true));
    if (!station.Connect("4711", 10060, 10061) || !station.GetSession()->IsConnected()) {
        std::puts("no session with the recorder");
        return 1;
    }
    const auto devices = station.EnumDevices();
    std::vector<CUdpRemote*> channels;
    const auto walk = devices->CreateIterator();
    for (; walk->HasNext(); walk->Next())
        channels.push_back(dynamic_cast<CUdpRemote*>(walk->CurrentItem()));
    for (CUdpRemote* const channel : channels) {
        channel->SetRenderWnd(HWND{channel->m_iDevID + 1});
        channel->Open();
    }
    // A client that joins gets the last key picture first, and then a gap; it is past by then.
    WaitUntil([&] {
        return std::ranges::all_of(g_Channels, [](const Channel& channel) { return channel.shown > RATE; });
    });
    std::int64_t first = 0;
    for (const CUdpRemote* const channel : channels)
        first = std::max<std::int64_t>(first, channel->GetCounters().firstPictureMs);

    const double processor = ProcessorSeconds();
    const std::uint64_t shown = Sum(&Channel::shown);
    const std::uint64_t gaps = Sum(&Channel::lost);
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const double took = ProcessorSeconds() - processor;
    const std::uint64_t pictures = Sum(&Channel::shown) - shown;
    const std::uint64_t lost = Sum(&Channel::lost) - gaps;

    double longest = 0;
    for (CUdpRemote* const channel : channels) {
        const auto start = std::chrono::steady_clock::now();
        channel->Close();
        const std::chrono::duration<double, std::milli> closed = std::chrono::steady_clock::now() - start;
        longest = std::max(longest, closed.count());
    }
    const auto& session = station.GetSession()->GetCounters();
    std::printf("%zu channels, %.0f s: %llu pictures (%.1f a second)\n", channels.size(), seconds,
                static_cast<unsigned long long>(pictures), static_cast<double>(pictures) / seconds);
    std::printf("pictures lost: %llu; unreadable: %llu; messages dropped: %llu\n",
                static_cast<unsigned long long>(lost),
                static_cast<unsigned long long>(Sum(&Channel::unreadable)),
                static_cast<unsigned long long>(session.dropped.load()));
    std::printf("processor time a picture: %.3f ms; of one core: %.1f %%\n",
                1000 * took / static_cast<double>(std::max<std::uint64_t>(pictures, 1)), 100 * took / seconds);
    std::printf("last channel's first picture: %lld ms; longest close while data flows: %.1f ms\n",
                static_cast<long long>(first), longest);
    return lost == 0 ? 0 : 1;
}
