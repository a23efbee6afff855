// H.264 decoding against libavcodec's, one thread each, the same packets in the same run.
//
//     h264_bench [--plain | --sse2 | --ssse3] [--runs N] [--keep FOLDER] [--ours] [TEXT ...]
//                                                       only streams whose name contains a text
//
// Each figure is the median of N (9) measurements, in which the decoders take turns. A ratio above 1.00 is
// faster than libavcodec with its vector code. "parsing" is our decoder with kernels that do nothing, as a
// share of libavcodec's whole time. Behind the table stand the arithmetic decoder alone, and what one open
// decoder holds of memory. --keep keeps the encoded streams from run to run, since encoding takes longer than
// the rest; --ours leaves libavcodec out, for a profile.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/figures.h"
#include "bench/h264_engine.h"
#include "codec/c264/c264_dsp.h"
#include "codec/codec_memory.h"
#include "codec/cpu.h"
#include "codec/decoder.h"
#include "tests/support/h264_encode.h"
#include "tests/support/h264_streams.h"

namespace
{
int g_iRuns = 9;
std::string g_strFolder;  // of the kept streams; empty: none are kept
bool g_bOursAlone = false;

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
/// one with many bits, and two of which at least 90 % are skipped.
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
        {"704x576 quiet", 704, 576, Surveillance, 75, 0},
        {"1280x720 quiet", 1280, 720, Surveillance, 75, 0},
        {"1920x1088 quiet", 1920, 1088, Surveillance, 75, 0},
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
                                .gop = c.kilobits == 0 ? 75 : 25,
                                .cabac = cabac,
                                .kilobits = c.kilobits,
                                .quantiser = 30}});
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

/// The table with kernels that leave the picture alone: what is left is parsing and book-keeping.
c264_dsp_t ParsingTable()
{
    c264_dsp_t table = *c264_dsp();
    for (c264_intra_fn& kernel : table.intra.luma16)
        kernel = [](uint8_t*, ptrdiff_t, const uint8_t*, ptrdiff_t) {};
    for (c264_intra_fn& kernel : table.intra.chroma8)
        kernel = [](uint8_t*, ptrdiff_t, const uint8_t*, ptrdiff_t) {};
    for (c264_intra4_fn& kernel : table.intra.luma4)
        kernel = [](uint8_t*) {};
    table.transform.add_block = [](uint8_t*, ptrdiff_t, const uint8_t*, ptrdiff_t, const int16_t*) {};
    table.transform.add_quadrant = table.transform.add_block;
    table.copy.add_flat = table.transform.add_block;
    for (c264_deblock_fn& kernel : table.deblock.edge)
        kernel = [](uint8_t*, ptrdiff_t, int, int, const int8_t*) {};
    for (auto& width : table.mc.luma) {
        for (c264_block_fn& kernel : width)
            kernel = [](uint8_t*, ptrdiff_t, const uint8_t*, ptrdiff_t, int) {};
    }
    for (c264_chroma_fn& kernel : table.mc.chroma)
        kernel = [](uint8_t*, ptrdiff_t, const uint8_t*, ptrdiff_t, int, int) {};
    return table;
}

double ParsingMs(const Stream& stream, const std::vector<H264Packet>& packets)
{
    const c264_dsp_t whole = *c264_dsp();
    c264_dsp_put(ParsingTable());
    const double ms = OursMs(stream, packets);
    c264_dsp_put(whole);
    return ms;
}

/// The streams of a folder: the share of skipped macroblocks, then each packet after its length.
bool ReadKept(const std::string& path, H264EncodedStream* stream)
{
    std::ifstream file(path, std::ios::binary);
    uint32_t bytes = 0;
    if (!file.read(reinterpret_cast<char*>(&stream->skippedPercent), sizeof stream->skippedPercent))
        return false;
    while (file.read(reinterpret_cast<char*>(&bytes), sizeof bytes)) {
        stream->packets.emplace_back(bytes);
        file.read(reinterpret_cast<char*>(stream->packets.back().data()), bytes);
    }
    return true;
}

void Keep(const std::string& path, const H264EncodedStream& stream)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(&stream.skippedPercent), sizeof stream.skippedPercent);
    for (const H264Packet& packet : stream.packets) {
        const auto bytes = static_cast<uint32_t>(packet.size());
        file.write(reinterpret_cast<const char*>(&bytes), sizeof bytes);
        file.write(reinterpret_cast<const char*>(packet.data()), bytes);
    }
}

H264EncodedStream Encoded(const Stream& stream)
{
    if (g_strFolder.empty()) return EncodeH264(stream.shape);
    std::string name = stream.name;
    std::replace(name.begin(), name.end(), '/', ' ');
    const std::string path = g_strFolder + "/" + name;
    H264EncodedStream encoded;
    if (ReadKept(path, &encoded)) return encoded;
    encoded = EncodeH264(stream.shape);
    std::filesystem::create_directories(g_strFolder);
    Keep(path, encoded);
    return encoded;
}

void TimeStream(const Stream& stream)
{
    const H264EncodedStream encoded = Encoded(stream);
    const std::vector<H264Packet> fed = WithZeros(encoded.packets);
    size_t bytes = 0;
    for (const H264Packet& packet : encoded.packets)
        bytes += packet.size();
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    std::vector<double> parsing;
    for (int i = 0; i < g_iRuns; ++i) {
        ours.push_back(OursMs(stream, fed));
        if (g_bOursAlone) continue;
        theirs.push_back(TheirsMs(encoded.packets));
        ratios.push_back(theirs.back() / ours.back());
        parsing.push_back(100 * ParsingMs(stream, fed) / theirs.back());
    }
    const auto pictures = static_cast<double>(fed.size());
    std::printf("%-41s %9.1f %9.1f %12.3f", stream.name.c_str(), static_cast<double>(bytes) / pictures / 1024,
                encoded.skippedPercent, Median(ours) / pictures);
    if (!g_bOursAlone)
        std::printf(" %15.3f %8.2f %9.0f", Median(theirs) / pictures, Median(ratios), Median(parsing));
    std::printf("\n");
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
            g_iRuns = std::max(std::atoi(argv[++i]), 1);
        else if (std::strcmp(argv[i], "--keep") == 0 && i + 1 < argc)
            g_strFolder = argv[++i];
        else if (std::strcmp(argv[i], "--ours") == 0)
            g_bOursAlone = true;
        else
            texts.emplace_back(argv[i]);
    }
    std::printf("%-41s %9s %9s %12s %15s %8s %9s\n", "stream", "KB/pict.", "skipped %", "ours ms/p.",
                "libavcodec ms/p.", "ratio", "parsing %");
    for (const Stream& stream : Streams()) {
        if (Wanted(stream.name, texts)) TimeStream(stream);
    }
    if (g_bOursAlone) return 0;
    TimeH264Engine(g_iRuns);
    ShowMemory(704, 576);
    ShowMemory(1280, 720);
    ShowMemory(1920, 1088);
    return 0;
}
