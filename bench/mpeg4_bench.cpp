// MPEG-4 decoding against libavcodec's, one thread each, the same packets in the same run.
//
//     mpeg4_bench [--plain | --sse2] [TEXT ...]     only the streams whose name contains one of the texts
//
// Each figure is the median of 9 measurements, in which the two decoders take turns. Above 1.00 is faster than
// libavcodec. The last lines tell what one open decoder holds of memory.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/figures.h"
#include "codec/codec_memory.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "codec/mpeg4/mpeg4_dsp.h"
#include "tests/support/mpeg4_streams.h"

namespace
{
constexpr int MEASUREMENTS = 9;

struct Stream {
    const char* name;
    Mpeg4StreamShape shape;
};

/// What cameras send: a still view with a few moving things, and for the other end views in which all moves,
/// the rich ones with noise on every sample besides.
std::vector<Stream> Streams()
{
    using enum ETestScene;
    return {
        {"704x576 surveillance, quant 4", {704, 576, 75, 25, 4, Surveillance, true, true, false, 1}},
        {"704x576 surveillance, quant 8", {704, 576, 75, 50, 8, Surveillance, false, false, false, 1}},
        {"704x576 lively, quant 4", {704, 576, 75, 25, 4, Lively, true, true, false, 1}},
        {"1280x720 surveillance, quant 4", {1280, 720, 50, 25, 4, Surveillance, true, true, false, 1}},
        {"1280x720 surveillance, quant 8", {1280, 720, 50, 50, 8, Surveillance, false, false, false, 1}},
        {"1280x720 lively, quant 4", {1280, 720, 50, 25, 4, Lively, true, true, false, 1}},
        {"704x576 rich, 1.5 Mbit/s", {704, 576, 50, 25, 8, Rich, true, true, false, 1, 1500}},
        {"704x576 rich, 5 Mbit/s", {704, 576, 50, 25, 8, Rich, true, true, false, 1, 5000}},
        {"1280x720 rich, 3 Mbit/s", {1280, 720, 50, 25, 8, Rich, true, true, false, 1, 3000}},
        {"1280x720 rich, 8 Mbit/s", {1280, 720, 50, 25, 8, Rich, true, true, false, 1, 8000}},
        {"1920x1088 rich, 5 Mbit/s", {1920, 1088, 40, 25, 8, Rich, true, true, false, 1, 5000}},
        {"1920x1088 rich, 16 Mbit/s", {1920, 1088, 40, 25, 8, Rich, true, true, false, 1, 16000}},
    };
}

double OursMs(const Stream& stream, const std::vector<Mpeg4Packet>& packets)
{
    CMpeg4Decoder decoder(stream.shape.width, stream.shape.height);
    const double start = ThreadMs();
    for (const Mpeg4Packet& packet : packets)
        decoder.Decode(packet.data(), static_cast<int32_t>(packet.size()));
    return ThreadMs() - start;
}

double TheirsMs(const std::vector<Mpeg4Packet>& packets)
{
    CLavcMpeg4Decoder decoder(CLavcMpeg4Decoder::ETransform::Default);
    const double start = ThreadMs();
    for (const Mpeg4Packet& packet : packets)
        decoder.Decode(packet);
    return ThreadMs() - start;
}

void TimeStream(const Stream& stream)
{
    const std::vector<Mpeg4Packet> packets = EncodeMpeg4(stream.shape);
    size_t bytes = 0;
    for (const Mpeg4Packet& packet : packets)
        bytes += packet.size();
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    for (int i = 0; i < MEASUREMENTS; ++i) {
        ours.push_back(OursMs(stream, packets));
        theirs.push_back(TheirsMs(packets));
        ratios.push_back(theirs.back() / ours.back());
    }
    const double pictures = static_cast<double>(packets.size());
    std::printf("%-34s %9.1f %12.3f %15.3f %8.2f\n", stream.name, static_cast<double>(bytes) / pictures / 1024,
                Median(ours) / pictures, Median(theirs) / pictures, Median(ratios));
    std::fflush(stdout);
}

void ShowMemory(int width, int height)
{
    const size_t before = codec_memory_in_use();
    const CMpeg4Decoder decoder(width, height);
    std::printf("an open %dx%d decoder holds %.2f MB\n", width, height,
                static_cast<double>(codec_memory_in_use() - before + sizeof decoder) / 1e6);
}
}  // namespace

int main(int argc, char** argv)
{
    codec_init();
    std::vector<std::string> texts;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--plain") == 0)
            mpeg4_dsp_refill(CODEC_STEP_PLAIN);
        else if (std::strcmp(argv[i], "--sse2") == 0)
            mpeg4_dsp_refill(CODEC_STEP_SSE2);
        else
            texts.emplace_back(argv[i]);
    }
    std::printf("%-34s %9s %12s %15s %8s\n", "stream", "KB/pict.", "ours ms/p.", "libavcodec ms/p.", "ratio");
    for (const Stream& stream : Streams()) {
        if (Wanted(stream.name, texts)) TimeStream(stream);
    }
    ShowMemory(704, 576);
    ShowMemory(1280, 720);
    ShowMemory(1920, 1088);
    return 0;
}
