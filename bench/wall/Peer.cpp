#include "bench/wall/Peer.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

#include <time.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include "bench/wall/Measure.h"
#include "codec/convert.h"
#include "codec/decoder.h"
#include "platform/clock.h"
#include "remote/P2PSession.h"

namespace
{

constexpr const char* NET_ID = "4711";

double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::uint64_t CountPictures(const std::vector<CODED_STREAM>& streams)
{
    std::uint64_t count = 0;
    for (const CODED_STREAM& stream : streams)
        count += stream.size();
    return count;
}

// The number behind the last "frame=" of a progress file.
std::uint64_t ReadFrames(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::uint64_t frames = 0;
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("frame=")) frames = std::stoull(line.substr(6));
    return frames;
}

// Decoder and converter on the calling thread.
class CLibraries
{
  public:
    CLibraries()
    {
        const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_MPEG4);
        m_pContext = avcodec_alloc_context3(codec);
        m_pContext->thread_count = 1;
        m_pContext->flags |= AV_CODEC_FLAG_LOW_DELAY;
        if (avcodec_open2(m_pContext, codec, nullptr) < 0)
            throw std::runtime_error("no decoder to compare with");
    }
    ~CLibraries()
    {
        sws_freeContext(m_pScaler);
        av_frame_free(&m_pFrame);
        av_packet_free(&m_pPacket);
        avcodec_free_context(&m_pContext);
    }
    CLibraries(const CLibraries&) = delete;
    CLibraries& operator=(const CLibraries&) = delete;

    // The bytes are followed by padding. Returns the pictures that came.
    int Take(std::vector<std::uint8_t>& padded)
    {
        m_pPacket->data = padded.data();
        m_pPacket->size = static_cast<int>(padded.size()) - AV_INPUT_BUFFER_PADDING_SIZE;
        if (avcodec_send_packet(m_pContext, m_pPacket) < 0) return 0;
        int count = 0;
        for (; avcodec_receive_frame(m_pContext, m_pFrame) == 0; ++count)
            Convert();
        return count;
    }

  private:
    void Convert()
    {
        const int width = m_pFrame->width;
        const int height = m_pFrame->height;
        m_pScaler = sws_getCachedContext(m_pScaler, width, height, AV_PIX_FMT_YUV420P, width, height,
                                         AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr, nullptr, nullptr);
        const int pitch = width * 4;
        m_Pixels.resize(static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height));
        std::uint8_t* const to[] = {m_Pixels.data()};
        sws_scale(m_pScaler, m_pFrame->data, m_pFrame->linesize, 0, height, to, &pitch);
    }

    AVCodecContext* m_pContext = nullptr;
    AVPacket* m_pPacket = av_packet_alloc();
    AVFrame* m_pFrame = av_frame_alloc();
    SwsContext* m_pScaler = nullptr;
    std::vector<std::uint8_t> m_Pixels;
};

}  // namespace

std::vector<CODED_STREAM> CaptureStreams(const CRecorderProcess& recorder, int channels, std::size_t pictures)
{
    constexpr std::size_t START_CODE_BYTES = 4;
    constexpr std::uint8_t PICTURE_CODE = 0xB6;  // key pictures have the stream's headers before theirs
    CP2PSession session(recorder.SessionOptions(SystemClock(), false));
    session.Start("capture");
    if (!session.IsConnected() || !session.ConnectPeer(NET_ID))
        throw std::runtime_error("no path to the recorder");
    for (int i = 0; i < channels; ++i) {
        std::uint8_t request[8];
        WriteLittle32(request, MakeMessageHeader(i, sizeof request));
        WriteLittle32(request + MESSAGE_HEADER_BYTES, static_cast<std::uint32_t>(i));
        session.SendMessage(NET_ID, request);
    }
    std::vector<CODED_STREAM> streams(static_cast<std::size_t>(channels));
    std::vector<std::uint8_t> buffer(MESSAGE_LIMIT_BYTES);
    const auto isFull = [&](const CODED_STREAM& stream) { return stream.size() == pictures; };
    while (!std::ranges::all_of(streams, isFull)) {
        char szName[P2P_NAME_BYTES];
        const auto count = static_cast<std::size_t>(session.ReceiveMessage(szName, buffer));
        if (count <= MESSAGE_HEADER_BYTES + START_CODE_BYTES) continue;
        const auto header = ReadMessageHeader(std::span(buffer).first(count));
        const std::uint8_t* const data = buffer.data() + MESSAGE_HEADER_BYTES;
        if (ReadLittle16(data) != 0) continue;  // the reply to the request: a picture begins with a start code
        CODED_STREAM& stream = streams[static_cast<std::size_t>(header.m_iChannel)];
        if (isFull(stream) || (stream.empty() && data[3] == PICTURE_CODE)) continue;
        stream.emplace_back(data, data + count - MESSAGE_HEADER_BYTES);
    }
    session.ReleaseReceiveLock();
    if (session.GetCounters().m_ulDropped > 0) throw std::runtime_error("pictures were lost while capturing");
    return streams;
}

XPeerCost RunFfmpeg(const std::vector<CODED_STREAM>& streams, int repeats, const std::filesystem::path& folder)
{
    const auto input = folder / "streams.m4v";
    const auto progress = folder / "progress";
    if (!std::filesystem::exists(input)) {
        std::ofstream file(input, std::ios::binary);
        for (const CODED_STREAM& stream : streams)
            for (int i = 0; i < repeats; ++i)
                for (const auto& picture : stream)
                    file.write(reinterpret_cast<const char*>(picture.data()),
                               static_cast<std::streamsize>(picture.size()));
    }
    std::filesystem::remove(progress);
    XPeerCost cost;
    cost.m_dSeconds = RunProgram({"ffmpeg",   "-nostdin",   "-v",
                                  "quiet",    "-progress",  progress,
                                  "-threads", "1",          "-f",
                                  "m4v",      "-framerate", "25",
                                  "-i",       input,        "-filter_threads",
                                  "1",        "-fps_mode",  "passthrough",
                                  "-pix_fmt", "bgra",       "-f",
                                  "null",     "-"});
    cost.m_ulPictures = ReadFrames(progress);
    if (cost.m_dSeconds < 0 ||
        cost.m_ulPictures != CountPictures(streams) * static_cast<std::uint64_t>(repeats))
        throw std::runtime_error("ffmpeg made " + std::to_string(cost.m_ulPictures) + " pictures");
    return cost;
}

XPeerCost RunLibraries(const std::vector<CODED_STREAM>& streams, int repeats)
{
    XPeerCost cost;
    for (CODED_STREAM stream : streams) {
        for (auto& picture : stream)
            picture.resize(picture.size() + AV_INPUT_BUFFER_PADDING_SIZE);
        CLibraries libraries;
        const double start = ThreadSeconds();
        for (int i = 0; i < repeats; ++i)
            for (auto& picture : stream)
                cost.m_ulPictures += static_cast<std::uint64_t>(libraries.Take(picture));
        cost.m_dSeconds += ThreadSeconds() - start;
    }
    if (cost.m_ulPictures != CountPictures(streams) * static_cast<std::uint64_t>(repeats))
        throw std::runtime_error("the libraries made " + std::to_string(cost.m_ulPictures) + " pictures");
    return cost;
}

XPeerCost RunOwnCodec(const std::vector<CODED_STREAM>& streams, int repeats)
{
    constexpr std::int32_t WIDTH = 352;
    constexpr std::int32_t HEIGHT = 288;
    std::vector<std::uint8_t> pixels(std::size_t{WIDTH} * HEIGHT * 4);
    ConvertTarget target{};
    target.data[0] = pixels.data();
    target.linesize[0] = WIDTH * 4;
    target.format = 35;  // blue, green, red, 0
    XPeerCost cost;
    for (const CODED_STREAM& stream : streams) {
        CMpeg4Decoder decoder(WIDTH, HEIGHT);
        decoder.SetStandardChroma(true);
        const double start = ThreadSeconds();
        for (int i = 0; i < repeats; ++i)
            for (const auto& picture : stream) {
                const CodecFrame* const frame =
                    decoder.Decode(picture.data(), static_cast<std::int32_t>(picture.size()));
                if (frame == nullptr) throw std::runtime_error("our decoder refused a picture");
                ConvertFrame(target, *frame, WIDTH, HEIGHT, false);
                ++cost.m_ulPictures;
            }
        cost.m_dSeconds += ThreadSeconds() - start;
    }
    return cost;
}
