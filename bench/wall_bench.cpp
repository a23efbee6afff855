// A whole wall over loopback: channels of 352x288 at 25 pictures a second from the recorder, which is a process
// of its own, received with shared receiving, decoded, converted and drawn by the default renderer through two
// devices: the one in memory, and OpenGL ES on a virtual frame buffer, in windows of 320x240.
//
//     wall_bench [--seconds S] [--runs N] [--bitrate RATE] [--no-display] [cost] [latency] [close] [first]
//
// cost:    processor time a picture of this whole process (network, decoding, conversion, drawing), with 16
//          channels, beside what ffmpeg takes to decode and convert the very same streams on one thread: all
//          side by side as the wall has them, or one after the other, which fits the cache. Above 1.00 the wall
//          is the cheaper one. Beneath them stand the libraries of ffmpeg and our own decoder and conversion
//          without anything around them.
// latency: from the arrival of a picture's last datagram in the machine's network code to the return of the
//          presentation, with 4 and with 16 channels.
// close:   closing one of 16 playing channels.
// first:   from the beginning of the logon, and from the opening of a channel, to its first picture.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bench/figures.h"
#include "bench/wall/ArrivalTap.h"
#include "bench/wall/Display.h"
#include "bench/wall/Measure.h"
#include "bench/wall/Peer.h"
#include "bench/wall/Wall.h"
#include "codec/codec.h"
#include "platform/os/paths.h"
#include "render/device/EglSurfaceDevice.h"
#include "render/device/MemorySurfaceDevice.h"

namespace
{

constexpr int CHANNELS = CBenchWall::CHANNEL_LIMIT;
constexpr int RATE = 25;
constexpr int LOOP_SECONDS = 4;
constexpr int PEER_SECONDS = 20;  // of each stream, for a peer that need not wait
constexpr int CELL_WIDTH = 320;
constexpr int CELL_HEIGHT = 240;
constexpr double SETTLE_SECONDS = 1;
constexpr const char* RECEIVING_THREAD = "p2p receive";
constexpr const char* LINK_THREAD = "udp link";

struct BenchSettings {
    double seconds = 6;
    int runs = 3;
    std::string bitRate = "1500k";
    bool display = true;
    std::vector<std::string> parts;

    bool Wants(const char* part) const
    {
        return parts.empty() || std::ranges::find(parts, part) != parts.end();
    }
};

/// A device to draw with: its name, what opens it, and the windows that it draws into.
struct Device {
    const char* name;
    std::function<std::shared_ptr<ISurfaceAdapter>()> open;
    std::vector<HWND> windows;
    pid_t server = 0;

    std::vector<HWND> Windows(int count) const { return {windows.begin(), windows.begin() + count}; }
};

void Pause(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

class CBench
{
  public:
    explicit CBench(BenchSettings settings)
        : m_Settings(std::move(settings)),
          m_Recorder({"--id", "4711", "--channels", std::to_string(CHANNELS), "--size", "352x288", "--fps",
                      std::to_string(RATE), "--loop", std::to_string(LOOP_SECONDS), "--bitrate",
                      m_Settings.bitRate})
    {
        m_Folder.Write("config/system.ini", "[System]\nLanguage=eng\nStandardChroma=1\n");
        SetModuleDirectory(m_Folder.System());
        Device memory{"memory", [] { return std::make_shared<CMemorySurfaceAdapter>(); }, {}};
        for (int i = 0; i < CHANNELS; ++i)
            memory.windows.push_back(RegisterWindow([](std::uint32_t, WPARAM, LPARAM) { return LRESULT{0}; }));
        m_Devices.push_back(std::move(memory));
        if (!m_Settings.display) return;
        m_Display.emplace(CHANNELS, CELL_WIDTH, CELL_HEIGHT);
        m_Devices.push_back({"EGL", OpenEglSurfaceAdapter, m_Display->Windows(), m_Display->Server()});
    }

    void Run()
    {
        if (m_Settings.Wants("cost")) Cost();
        if (m_Settings.Wants("latency")) Latency();
        if (m_Settings.Wants("close")) Close();
        if (m_Settings.Wants("first")) First();
    }

  private:
    struct CostFigures {
        std::vector<double> picture;  // milliseconds
        std::vector<double> receive;  // of it, the receiving thread
        std::vector<double> links;    // of it, the link threads
        std::vector<double> server;   // milliseconds of the X server
        std::vector<double> rate;     // pictures a second
    };

    /// Something to compare with: what it takes for a picture, in each run.
    struct Peer {
        const char* name;
        std::function<PeerCost()> run;
        std::vector<double> picture = {};
    };

    void Cost()
    {
        const auto streams =
            CaptureStreams(m_Recorder, CHANNELS, static_cast<std::size_t>(LOOP_SECONDS) * RATE);
        std::size_t bytes = 0;
        for (const auto& stream : streams)
            for (const auto& picture : stream)
                bytes += picture.size();
        // Long enough that the start of the program counts little.
        constexpr int REPEATS = PEER_SECONDS / LOOP_SECONDS;
        const int paced = std::max(2, static_cast<int>(m_Settings.seconds / LOOP_SECONDS));
        const auto ffmpeg = [&](EOrder order, int repeats) {
            return [&, order, repeats] { return RunFfmpeg(streams, repeats, m_Folder.Path("peer"), order); };
        };
        const auto libraries = [&](EOrder order, int repeats) {
            return [&, order, repeats] { return RunLibraries(streams, repeats, order); };
        };
        const auto own = [&](EOrder order, int repeats) {
            return [&, order, repeats] { return RunOwnCodec(streams, repeats, order); };
        };
        std::vector<Peer> peers{
            {"ffmpeg, the streams side by side", ffmpeg(EOrder::SideBySide, REPEATS)},
            {"ffmpeg, side by side, at 25 pictures/s", ffmpeg(EOrder::Paced, paced)},
            {"ffmpeg, one stream after the other", ffmpeg(EOrder::OneByOne, REPEATS)},
            {"its libraries alone, side by side", libraries(EOrder::SideBySide, REPEATS)},
            {"its libraries alone, at 25 pictures/s", libraries(EOrder::Paced, paced)},
            {"its libraries alone, one after the other", libraries(EOrder::OneByOne, REPEATS)},
            {"our decoder and conversion, side by side", own(EOrder::SideBySide, REPEATS)},
            {"our decoder and conversion, at that pace", own(EOrder::Paced, paced)},
            {"our decoder and conversion, one by one", own(EOrder::OneByOne, REPEATS)},
        };
        std::vector<CostFigures> costs(m_Devices.size());
        for (int run = 0; run < m_Settings.runs; ++run) {
            for (Peer& peer : peers)
                peer.picture.push_back(peer.run().MillisecondsAPicture());
            for (std::size_t i = 0; i < m_Devices.size(); ++i)
                MeasureCost(m_Devices[i], costs[i]);
        }
        std::printf(
            "\nprocessor time a picture, %d channels of 352x288 at %d/s, %.1f KB a picture, %d runs of %.0f "
            "s\n",
            CHANNELS, RATE, static_cast<double>(bytes) / (CHANNELS * LOOP_SECONDS * RATE) / 1024,
            m_Settings.runs, m_Settings.seconds);
        for (std::size_t i = 0; i < m_Devices.size(); ++i)
            std::printf(
                "  the wall, %-6s %5.1f pictures/s            %.3f ms (receiving %.3f, links %.3f; X server "
                "%.3f)\n",
                m_Devices[i].name, Median(costs[i].rate), Median(costs[i].picture), Median(costs[i].receive),
                Median(costs[i].links), Median(costs[i].server));
        for (const Peer& peer : peers) {
            std::printf("  %-42s  %.3f ms  ratio", peer.name, Median(peer.picture));
            for (std::size_t i = 0; i < m_Devices.size(); ++i)
                std::printf("  %.2f (%s)", MedianRatio(peer.picture, costs[i].picture), m_Devices[i].name);
            std::printf("\n");
        }
    }

    /// The median over the runs of what the one took to what the other took in the same run.
    static double MedianRatio(const std::vector<double>& peer, const std::vector<double>& ours)
    {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < ours.size(); ++i)
            ratios.push_back(peer[i] / ours[i]);
        return Median(ratios);
    }

    void MeasureCost(const Device& device, CostFigures& cost)
    {
        CBenchWall wall(m_Recorder, device.open(), device.Windows(CHANNELS));
        wall.OpenAll();
        wall.WaitForPictures();
        Pause(SETTLE_SECONDS);
        const double begin = NowMs();
        const double processor = ProcessorSeconds();
        const double receive = ThreadSeconds(RECEIVING_THREAD);
        const double links = ThreadSeconds(LINK_THREAD);
        const double server = ProcessorSeconds(device.server);
        const auto shown = wall.Shown();
        Pause(m_Settings.seconds);
        const auto pictures = static_cast<double>(wall.Shown() - shown);
        const double took = 1e3 * (ProcessorSeconds() - processor);
        cost.receive.push_back(1e3 * (ThreadSeconds(RECEIVING_THREAD) - receive) / pictures);
        cost.links.push_back(1e3 * (ThreadSeconds(LINK_THREAD) - links) / pictures);
        cost.server.push_back(1e3 * (ProcessorSeconds(device.server) - server) / pictures);
        cost.rate.push_back(1e3 * pictures / (NowMs() - begin));
        cost.picture.push_back(took / pictures);
        if (wall.Lost() > 0) std::printf("%s: %llu lost or refused\n", device.name, AsCount(wall.Lost()));
    }

    void Latency()
    {
        std::printf("\nfrom a picture's last datagram to its presentation, %.0f s each\n", m_Settings.seconds);
        for (const Device& device : m_Devices)
            for (const int channels : {4, CHANNELS})
                MeasureLatency(device, channels);
    }

    void MeasureLatency(const Device& device, int channels)
    {
        arrival_tap::Start();
        std::vector<double> ages;
        std::uint64_t lost = 0;
        {
            CBenchWall wall(m_Recorder, device.open(), device.Windows(channels));
            wall.OpenAll();
            wall.WaitForPictures();
            Pause(SETTLE_SECONDS);
            wall.KeepAges();
            Pause(m_Settings.seconds);
            for (int i = 0; i < channels; ++i)
                wall.Close(i);
            ages = wall.TakeAges();
            lost = wall.Lost();
        }
        arrival_tap::Stop();
        std::printf("  %-6s %2d channels: %5zu pictures, median %.2f ms, 99 %% below %.2f ms, longest %.2f ms",
                    device.name, channels, ages.size(), Median(ages), Percentile(ages, 0.99),
                    Percentile(ages, 1));
        std::printf(lost > 0 ? " (%llu lost: not valid)\n" : "\n", AsCount(lost));
    }

    void Close()
    {
        std::printf("\nclosing one of %d playing channels, %d rounds\n", CHANNELS, m_Settings.runs);
        for (const Device& device : m_Devices) {
            std::vector<double> times;
            CBenchWall wall(m_Recorder, device.open(), device.Windows(CHANNELS));
            wall.OpenAll();
            for (int round = 0; round < m_Settings.runs; ++round) {
                for (int i = 0; i < CHANNELS; ++i) {
                    wall.WaitForPictures();
                    const double begin = NowMs();
                    wall.Close(i);
                    times.push_back(NowMs() - begin);
                    wall.Open(i);
                }
            }
            std::printf("  %-6s %3zu closings: median %.2f ms, longest %.2f ms\n", device.name, times.size(),
                        Median(times), Percentile(times, 1));
        }
    }

    void First()
    {
        std::printf("\nfirst picture, %d runs\n", m_Settings.runs);
        for (const Device& device : m_Devices) {
            for (const int channels : {1, CHANNELS}) {
                std::vector<double> fromLogon;
                std::vector<double> fromOpen;
                for (int run = 0; run < m_Settings.runs; ++run)
                    MeasureFirst(device, channels, fromLogon, fromOpen);
                std::printf(
                    "  %-6s %2d channels: from the opening median %.0f ms, longest %.0f ms; with the logon "
                    "median %.0f ms, longest %.0f ms\n",
                    device.name, channels, Median(fromOpen), Percentile(fromOpen, 1), Median(fromLogon),
                    Percentile(fromLogon, 1));
            }
        }
    }

    void MeasureFirst(const Device& device, int channels, std::vector<double>& fromLogon,
                      std::vector<double>& fromOpen)
    {
        const auto adapter = device.open();
        const double begin = NowMs();
        CBenchWall wall(m_Recorder, adapter, device.Windows(channels));
        const double loggedOn = NowMs() - begin;
        wall.OpenAll();
        wall.WaitForPictures();
        for (int i = 0; i < channels; ++i) {
            fromOpen.push_back(wall.FirstPictureMs(i));
            fromLogon.push_back(loggedOn + wall.FirstPictureMs(i));
        }
    }

    static unsigned long long AsCount(std::uint64_t count) { return count; }

    const BenchSettings m_Settings;
    const CTestFolder m_Folder;
    const CRecorderProcess m_Recorder;
    std::optional<CBenchDisplay> m_Display;
    std::vector<Device> m_Devices;
};

BenchSettings ReadSettings(int argc, char** argv)
{
    BenchSettings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : "";
        if (word == "--no-display") {
            settings.display = false;
        } else if (word == "--seconds") {
            settings.seconds = std::atof(value);
            ++i;
        } else if (word == "--runs") {
            settings.runs = std::atoi(value);
            ++i;
        } else if (word == "--bitrate") {
            settings.bitRate = value;
            ++i;
        } else {
            settings.parts.push_back(word);
        }
    }
    return settings;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        CBench(ReadSettings(argc, argv)).Run();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "wall_bench: %s\n", failure.what());
        return 1;
    }
}
