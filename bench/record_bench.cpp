// Recording of direct streams from the recorder, which is a process of its own and plays loops that it encoded
// before: H.264 at 25 pictures a second, received over loopback, decoded, recorded, converted and drawn by the
// default renderer over the device in memory.
//
//     record_bench [cost [PAIRS [SECONDS]]] [sixteen [SECONDS]]
//
// cost:    two devices play the same channel of 1280x720 at once, and one of them records; then the other one
//          does. What the recording device's link thread takes for a picture beside the other one's, the median
//          of the pairs. At most 1.05 is the aim.
// sixteen: sixteen devices of 704x576 record for a minute. At its end the far side is held: what is shown then
//          is what the devices were behind. Less than a picture a stream is the aim, and every picture sent
//          shown and in its file.

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/figures.h"
#include "bench/wall/Measure.h"
#include "codec/codec.h"
#include "platform/os/paths.h"
#include "remote/TcpRemote.h"
#include "tests/links/drawing_support.h"
#include "tests/links/recorder_support.h"
#include "tests/links/recordings_support.h"

namespace
{

constexpr std::size_t STREAM_LIMIT = 16;
constexpr std::uint32_t LOOP_SECONDS = 4;
constexpr std::uint32_t LOOP_PICTURES = LOOP_SECONDS * 25;
constexpr const char* ADDRESS = "127.64.10.61";  // the ports are fixed

void Require(bool holds, const char* what)
{
    if (!holds) throw std::runtime_error(what);
}

void Pause(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

/// A device and what became of its pictures.
struct Stream {
    CTcpRemote device{MODE_LIVE_H264, -1};
    std::atomic<std::uint64_t> shown{0};
    std::atomic<std::uint64_t> recorded{0};  // shown while it records, from the first key picture on
    std::atomic<std::uint64_t> lost{0};      // numbers that are missing between two pictures
    std::atomic<std::uint64_t> unreadable{0};
    std::atomic<pid_t> thread{0};
    std::uint32_t last = 0;  // link thread only

    bool IsRecording() { return device.GetStatus() == STATUS_RECORDING; }
    /// Processor time of its link thread so far, in seconds.
    double Seconds() const
    {
        double nanoseconds = 0;
        std::ifstream("/proc/self/task/" + std::to_string(thread) + "/schedstat") >> nanoseconds;
        return nanoseconds / 1e9;
    }
};

/// The recorder, and devices that play its channels.
class CStreams
{
  public:
    CStreams(std::size_t count, int channels, const std::string& size, const std::string& bitRate)
        : m_Recorder({"--listen", ADDRESS, "--control-port", "10060", "--data-port", "10061", "--mark",
                      "--channels", std::to_string(channels), "--size", size, "--fps", "25", "--bitrate",
                      bitRate, "--loop", std::to_string(LOOP_SECONDS)}),
          m_Count(count)
    {
        m_Folder.Write("config/system.ini",
                       "[System]\nDirectoryServer=127.0.0.1\nDirectoryPort=9\nRecordPath=" +
                           m_Folder.System("rec") + "\n");
        SetModuleDirectory(m_Folder.System());
        SetRenderFactory([this] {
            return MakeDrawingRender([this](HWND window, const CodecFrame& frame) {
                OnDrawn(m_Streams[static_cast<std::size_t>(window) - 1], frame);
            });
        });
        for (std::size_t i = 0; i < m_Count; ++i) {
            CTcpRemote& device = m_Streams[i].device;
            device.SetName("stream" + std::to_string(i));
            device.m_strNetAddress = ADDRESS;
            device.m_iDevID = static_cast<std::int32_t>(i) % channels;
            device.SetRenderWnd(HWND{static_cast<std::int32_t>(i) + 1});
            device.Open();
        }
        Require(WaitForAll([](Stream& stream) { return stream.shown > 0; }), "a stream shows nothing");
    }
    ~CStreams()
    {
        for (std::size_t i = 0; i < m_Count; ++i)
            m_Streams[i].device.LetGo();
        for (std::size_t i = 0; i < m_Count; ++i)
            m_Streams[i].device.Close();
        SetRenderFactory({});
        ReleaseRender();
        SetModuleDirectory("");
    }
    CStreams(const CStreams&) = delete;
    CStreams& operator=(const CStreams&) = delete;

    std::size_t Count() const { return m_Count; }
    Stream& At(std::size_t i) { return m_Streams[i]; }
    const CRecorderProcess& Recorder() const { return m_Recorder; }
    std::string FolderOf(std::size_t i) const { return m_Folder.Path("rec/stream" + std::to_string(i)); }

    void Record(std::size_t i, bool on)
    {
        Stream& stream = m_Streams[i];
        if (stream.IsRecording() == on) return;
        if (on)
            stream.device.StartRecord(0);
        else
            stream.device.StopRecord(0);
        Require(WaitUntil([&] { return stream.IsRecording() == on; }), "a request isn't served");
    }
    template <class Condition>
    bool WaitForAll(Condition condition)
    {
        return WaitUntil([&] {
            return std::all_of(m_Streams.begin(), m_Streams.begin() + static_cast<std::ptrdiff_t>(m_Count),
                               condition);
        });
    }

  private:
    static void OnDrawn(Stream& stream, const CodecFrame& frame)
    {
        if (stream.thread == 0) stream.thread = static_cast<pid_t>(::syscall(SYS_gettid));
        if (const auto mark = ReadMark(frame)) {
            if (stream.shown > 0)
                stream.lost += (mark->picture + LOOP_PICTURES - stream.last - 1) % LOOP_PICTURES;
            stream.last = mark->picture;
        } else {
            ++stream.unreadable;
        }
        if (stream.IsRecording() && (stream.recorded > 0 || frame.key_frame != 0)) ++stream.recorded;
        ++stream.shown;
    }

    const CTestFolder m_Folder;
    const CRecorderProcess m_Recorder;
    const std::size_t m_Count;
    std::array<Stream, STREAM_LIMIT> m_Streams;
};

/// Processor time a picture of the recording stream beside the other one's over so many seconds.
double MeasureRatio(CStreams& streams, std::size_t recording, double seconds)
{
    constexpr double SETTLE_SECONDS = 1.2;  // past the file's making and the first key picture
    streams.Record(1 - recording, false);
    streams.Record(recording, true);
    Pause(SETTLE_SECONDS);
    std::array<double, 2> perPicture{};
    std::array<std::uint64_t, 2> shown{};
    for (std::size_t i = 0; i < 2; ++i) {
        shown[i] = streams.At(i).shown;
        perPicture[i] = streams.At(i).Seconds();
    }
    Pause(seconds);
    for (std::size_t i = 0; i < 2; ++i)
        perPicture[i] =
            (streams.At(i).Seconds() - perPicture[i]) / static_cast<double>(streams.At(i).shown - shown[i]);
    std::printf("  recording %.3f ms a picture, not recording %.3f ms\n", 1000 * perPicture[recording],
                1000 * perPicture[1 - recording]);
    return perPicture[recording] / perPicture[1 - recording];
}

void MeasureCost(int pairs, double seconds)
{
    CStreams streams(2, 1, "1280x720", "4M");
    std::vector<double> ratios;
    for (int pair = 0; pair < pairs; ++pair) {
        const double first = MeasureRatio(streams, 0, seconds);
        ratios.push_back(std::sqrt(first * MeasureRatio(streams, 1, seconds)));
        std::printf("pair %d: %.3f\n", pair + 1, ratios.back());
        std::fflush(stdout);
    }
    std::printf(
        "processor time with recording / without, 1280x720: median %.3f of %d pairs of %.0f s "
        "(%.3f to %.3f)\n",
        Median(ratios), pairs, seconds, Percentile(ratios, 0), Percentile(ratios, 1));
}

void MeasureSixteen(double seconds)
{
    CStreams streams(STREAM_LIMIT, STREAM_LIMIT, "704x576", "1500k");
    for (std::size_t i = 0; i < streams.Count(); ++i)
        streams.At(i).device.StartRecord(0);
    Require(streams.WaitForAll([](Stream& stream) { return stream.recorded > 0; }), "a stream isn't recorded");
    std::array<std::uint64_t, STREAM_LIMIT> begun{};
    std::array<std::uint64_t, STREAM_LIMIT> ended{};
    std::uint64_t behind = 0, most = 0, pictures = 0, lost = 0, unreadable = 0, recorded = 0, refused = 0;
    for (std::size_t i = 0; i < streams.Count(); ++i) {
        begun[i] = streams.At(i).shown;
        lost -= streams.At(i).lost;  // a client that joins gets the last key picture first, and then a gap
    }
    const double processor = ProcessorSeconds();
    const double start = NowMs();
    Pause(seconds);
    streams.Recorder().Pause();
    const double took = (NowMs() - start) / 1000;
    for (std::size_t i = 0; i < streams.Count(); ++i)
        ended[i] = streams.At(i).shown;
    const double spent = ProcessorSeconds() - processor;
    Pause(2);  // until what was on its way is shown
    std::uint64_t fewest = ~std::uint64_t{0};
    std::size_t inFiles = 0;
    for (std::size_t i = 0; i < streams.Count(); ++i) {
        Stream& stream = streams.At(i);
        behind += stream.shown - ended[i];
        most = std::max(most, stream.shown - ended[i]);
        pictures += ended[i] - begun[i];
        fewest = std::min(fewest, ended[i] - begun[i]);
        lost += stream.lost;
        unreadable += stream.unreadable;
        refused += stream.device.GetCounters().refused;
        recorded += stream.recorded;
    }
    // Closed rather than stopped, as no frame comes that would bring a request about: no trailer yet.
    for (std::size_t i = 0; i < streams.Count(); ++i)
        streams.At(i).device.LetGo();
    for (std::size_t i = 0; i < streams.Count(); ++i)
        streams.At(i).device.Close();
    for (std::size_t i = 0; i < streams.Count(); ++i)
        for (const std::string& file : FindRecordings(streams.FolderOf(i)))
            inFiles += ProbeFile(file).packets;
    streams.Recorder().Resume();
    std::printf(
        "%zu streams of 704x576, %.1f s: %llu pictures shown (fewest %.2f a second), lost %llu, unreadable "
        "%llu, refused %llu\n",
        streams.Count(), took, static_cast<unsigned long long>(pictures), static_cast<double>(fewest) / took,
        static_cast<unsigned long long>(lost), static_cast<unsigned long long>(unreadable),
        static_cast<unsigned long long>(refused));
    std::printf("recorded %llu, in the files %zu\n", static_cast<unsigned long long>(recorded), inFiles);
    std::printf("behind at the end: %llu pictures in all, at most %llu of one stream\n",
                static_cast<unsigned long long>(behind), static_cast<unsigned long long>(most));
    std::printf("processor time: %.3f ms a picture, %.0f %% of one core\n",
                1000 * spent / static_cast<double>(std::max<std::uint64_t>(pictures, 1)), 100 * spent / took);
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    const auto number = [&](std::size_t i, double otherwise) {
        const double value = i < words.size() ? std::atof(words[i].c_str()) : 0;
        return value > 0 ? value : otherwise;
    };
    try {
        for (std::size_t i = 0; i < words.size(); ++i) {
            if (words[i] == "cost") MeasureCost(static_cast<int>(number(i + 1, 5)), number(i + 2, 5));
            if (words[i] == "sixteen") MeasureSixteen(number(i + 1, 60));
        }
        if (words.empty()) {
            MeasureCost(5, 5);
            MeasureSixteen(60);
        }
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "record_bench: %s\n", fault.what());
        return 1;
    }
    return 0;
}
