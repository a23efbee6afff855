// H.264 decoding against libavcodec's, one thread each, the same packets in the same run.
//
//     h264_bench [--plain | --sse2 | --ssse3] [--runs N] [TEXT ...]     only streams whose name contains a text
//
// Each figure is the median of N (9) measurements, in which the two decoders take turns. Above 1.00 is faster
// than libavcodec with its vector code. The last lines tell what one open decoder holds of memory.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/decoder_bench.h"
#include "codec/c264/c264_dsp.h"
#include "codec/codec_memory.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "tests/support/h264_encode.h"
#include "tests/support/h264_streams.h"

namespace
{
int g_runs = 9;

struct Stream {
    std::string name;
    H264StreamShape shape;
};

struct Class {
    const char* name;
    int width, height;
    ETestScene scene;
    int frames;
    int kilobits;
};

/// What cameras send: a still view with a few moving things, and for the other end one in which all moves; then
/// one with many bits, and one in which next to nothing happens.
std::vector<Stream> Streams()
{
    using enum ETestScene;
    static const Class classes[] = {
        {"704x576 surveillance, 1.5 Mbit/s", 704, 576, Surveillance, 75, 1500},
        {"704x576 lively, 1.5 Mbit/s", 704, 576, Lively, 75, 1500},
        {"1280x720 surveillance, 3 Mbit/s", 1280, 720, Surveillance, 50, 3000},
        {"1280x720 lively, 3 Mbit/s", 1280, 720, Lively, 50, 3000},
        {"1920x1088 surveillance, 5 Mbit/s", 1920, 1088, Surveillance, 50, 5000},
        {"1920x1088 lively, 5 Mbit/s", 1920, 1088, Lively, 50, 5000},
        {"1280x720 lively, 16 Mbit/s", 1280, 720, Lively, 50, 16000},
        {"704x576 still", 704, 576, Still, 75, 0},
        {"1280x720 still", 1280, 720, Still, 75, 0},
        {"1920x1088 still", 1920, 1088, Still, 75, 0},
    };
    std::vector<Stream> streams;
    for (const Class& c : classes) {
        for (const bool cabac : {false, true}) {
            streams.push_back({std::string(c.name) + (cabac ? ", CABAC" : ", CAVLC"),
                               {.scene = {c.width, c.height, c.scene, 1},
                                .frames = c.frames,
                                .gop = c.scene == Still ? 75 : 25,
                                .cabac = cabac,
                                .kilobits = c.kilobits,
                                .crf = 29}});
        }
    }
    return streams;
}

/// As a link hands payloads over: eight zero bytes more.
std::vector<H264Packet> WithZeros(std::vector<H264Packet> packets)
{
    for (H264Packet& packet : packets)
        packet.resize(packet.size() + 8);
    return packets;
}

double OursMs(const Stream& stream, const std::vector<H264Packet>& packets)
{
    CC264Decoder decoder(stream.shape.scene.width, stream.shape.scene.height);
    int pictures = 0;
    const double start = ThreadMs();
    for (const H264Packet& packet : packets) {
        const CodecFrame* const frame = decoder.Decode(packet.data(), static_cast<int32_t>(packet.size()));
        pictures += frame && frame->data[0] ? 1 : 0;
    }
    const double ms = ThreadMs() - start;
    if (pictures != static_cast<int>(packets.size())) {
        std::fprintf(stderr, "h264_bench: %s: %d pictures for %zu packets\n", stream.name.c_str(), pictures,
                     packets.size());
        std::exit(1);
    }
    return ms;
}

double TheirsMs(const std::vector<H264Packet>& packets)
{
    CLavcH264Decoder decoder(CLavcH264Decoder::EManner::Default);
    const double start = ThreadMs();
    for (const H264Packet& packet : packets)
        decoder.Decode(packet);
    return ThreadMs() - start;
}

void TimeStream(const Stream& stream)
{
    const H264EncodedStream encoded = EncodeH264(stream.shape);
    const std::vector<H264Packet> fed = WithZeros(encoded.packets);
    size_t bytes = 0;
    for (const H264Packet& packet : encoded.packets)
        bytes += packet.size();
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    for (int i = 0; i < g_runs; ++i) {
        ours.push_back(OursMs(stream, fed));
        theirs.push_back(TheirsMs(encoded.packets));
        ratios.push_back(theirs.back() / ours.back());
    }
    const auto pictures = static_cast<double>(fed.size());
    std::printf("%-41s %9.1f %9.1f %12.3f %15.3f %8.2f\n", stream.name.c_str(),
                static_cast<double>(bytes) / pictures / 1024, encoded.skipped_percent, Median(ours) / pictures,
                Median(theirs) / pictures, Median(ratios));
    std::fflush(stdout);
}

void ShowMemory(int width, int height)
{
    const size_t before = codec_memory_in_use();
    const CC264Decoder decoder(width, height);
    std::printf("an open %dx%d decoder holds %.2f MB\n", width, height,
                static_cast<double>(codec_memory_in_use() - before + sizeof decoder) / 1e6);
}
}  // namespace

int main(int argc, char** argv)
{
    codec_init();
    c264_dsp_init();
    std::vector<std::string> texts;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--plain") == 0)
            c264_dsp_refill(CODEC_STEP_PLAIN);
        else if (std::strcmp(argv[i], "--sse2") == 0)
            c264_dsp_refill(CODEC_STEP_SSE2);
        else if (std::strcmp(argv[i], "--ssse3") == 0)
            c264_dsp_refill(CODEC_STEP_SSSE3);
        else if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc)
            g_runs = std::max(std::atoi(argv[++i]), 1);
        else
            texts.emplace_back(argv[i]);
    }
    std::printf("%-41s %9s %9s %12s %15s %8s\n", "stream", "KB/pict.", "skipped %", "ours ms/p.",
                "libavcodec ms/p.", "ratio");
    for (const Stream& stream : Streams()) {
        if (Wanted(stream.name, texts)) TimeStream(stream);
    }
    ShowMemory(704, 576);
    ShowMemory(1280, 720);
    ShowMemory(1920, 1088);
    return 0;
}
