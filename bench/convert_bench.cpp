// Speed of the picture conversion beside libyuv, picture after picture through a ring of pictures larger than
// the cache, on one thread.
//
//     convert_bench [ROUNDS]      measurements a figure, at least 5; the median counts
//
// The two take turns within each measurement. libyuv computes its colours with fewer bits, ours come out
// exactly by the tables; the layouts are the same.

#include <libyuv.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "bench/figures.h"
#include "codec/convert/convert.h"
#include "codec/cpu.h"

namespace
{

constexpr std::size_t RING_BYTES = std::size_t{128} << 20;  // targets alone; several times the last cache
constexpr std::size_t ALIGN = 64;

struct Size {
    int width, height;
};

// Pictures as a decoder leaves them, and surfaces, all in one block.
class CRing
{
  public:
    CRing(Size size, int bytesPerPixel)
        : m_Size(size),
          m_Source(RoundUp(static_cast<std::size_t>(size.width * size.height) * 3 / 2)),
          m_Target(RoundUp(static_cast<std::size_t>(size.width * size.height * bytesPerPixel))),
          m_iCount(static_cast<int>(RING_BYTES / m_Target) + 1),
          m_Block((m_Source + m_Target) * static_cast<std::size_t>(m_iCount) + ALIGN)
    {
        std::uint32_t state = 1;
        for (std::uint8_t& byte : m_Block) {
            state = state * 1664525u + 1013904223u;
            byte = static_cast<std::uint8_t>(state >> 24);
        }
    }
    int Count() const { return m_iCount; }
    CodecFrame Frame(int index)
    {
        CodecFrame frame = {};
        frame.data[0] = First() + static_cast<std::size_t>(index) * m_Source;
        frame.data[1] = frame.data[0] + m_Size.width * m_Size.height;
        frame.data[2] = frame.data[1] + m_Size.width * m_Size.height / 4;
        frame.linesize[0] = m_Size.width;
        frame.linesize[1] = m_Size.width / 2;
        frame.width = m_Size.width;
        frame.height = m_Size.height;
        return frame;
    }
    std::uint8_t* Target(int index)
    {
        return First() + static_cast<std::size_t>(m_iCount) * m_Source +
               static_cast<std::size_t>(index) * m_Target;
    }

  private:
    static std::size_t RoundUp(std::size_t bytes) { return (bytes + ALIGN - 1) / ALIGN * ALIGN; }
    std::uint8_t* First()
    {
        return reinterpret_cast<std::uint8_t*>(RoundUp(reinterpret_cast<std::uintptr_t>(m_Block.data())));
    }

    Size m_Size;
    std::size_t m_Source;
    std::size_t m_Target;
    int m_iCount;
    std::vector<std::uint8_t> m_Block;
};

using Converter = std::function<void(const CodecFrame& frame, std::uint8_t* to)>;

double MicrosecondsAPicture(CRing& ring, const Converter& convert)
{
    const double start = ThreadMs();
    for (int i = 0; i < ring.Count(); ++i)
        convert(ring.Frame(i), ring.Target(i));
    return (ThreadMs() - start) * 1e3 / ring.Count();
}

void Compare(const char* name, int format, int bytesPerPixel, Size size, int rounds, const Converter& peer)
{
    CRing ring(size, bytesPerPixel);
    const Converter ours = [&](const CodecFrame& frame, std::uint8_t* to) {
        const ConvertTarget target = {.data = {to}, .linesize = {size.width * bytesPerPixel}, .format = format};
        if (ConvertFrame(target, frame, size.width, size.height, false) != CONVERT_OK) std::abort();
    };
    MicrosecondsAPicture(ring, ours);  // both sides' pages and code are there before it counts
    MicrosecondsAPicture(ring, peer);
    std::vector<double> ourTimes, peerTimes, ratios;
    for (int i = 0; i < rounds; ++i) {
        ourTimes.push_back(MicrosecondsAPicture(ring, ours));
        peerTimes.push_back(MicrosecondsAPicture(ring, peer));
        ratios.push_back(peerTimes.back() / ourTimes.back());
    }
    std::printf("%-26s %4dx%-5d %12.1f %12.1f %9.2f\n", name, size.width, size.height, Median(ourTimes),
                Median(peerTimes), Median(ratios));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv)
{
    const int rounds = std::max(5, argc > 1 ? std::atoi(argv[1]) : 9);
    convert_dsp_init(c264_cpu_detect());
    std::printf("%-26s %-10s %12s %12s %9s\n", "conversion", "size", "us a picture", "libyuv", "ratio");
    for (const Size size : {Size{704, 576}, Size{1920, 1080}}) {
        const Converter yuy2 = [size](const CodecFrame& frame, std::uint8_t* to) {
            libyuv::I420ToYUY2(frame.data[0], frame.linesize[0], frame.data[1], frame.linesize[1],
                               frame.data[2], frame.linesize[1], to, size.width * 2, size.width, size.height);
        };
        const Converter argb = [size](const CodecFrame& frame, std::uint8_t* to) {
            libyuv::I420ToARGB(frame.data[0], frame.linesize[0], frame.data[1], frame.linesize[1],
                               frame.data[2], frame.linesize[1], to, size.width * 4, size.width, size.height);
        };
        Compare("2 YUY2 / I420ToYUY2", CONVERT_FORMAT_YUY2, 2, size, rounds, yuy2);
        Compare("35 BGR0 / I420ToARGB", CONVERT_FORMAT_BGR32, 4, size, rounds, argb);
    }
    return 0;
}
