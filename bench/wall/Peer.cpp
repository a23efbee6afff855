#include "bench/wall/Peer.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include "bench/figures.h"
#include "bench/wall/Measure.h"
#include "codec/convert/convert.h"
#include "codec/decoder.h"
#include "platform/os/clock.h"
#include "remote/p2p/P2PSession.h"

namespace
{

constexpr int RATE = 25;  // pictures a second, of every stream

constexpr const char* NET_ID = "4711";

std::uint64_t CountPictures(const std::vector<CodedStream>& streams)
{
    std::uint64_t count = 0;
    for (const CodedStream& stream : streams)
        count += stream.size();
    return count;
}

// The number after the last "frame=" of a progress file.
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

// Our decoder and conversion on the calling thread.
class COwnCodec
{
  public:
    COwnCodec() { m_Decoder.SetStandardChroma(true); }

    int Take(const std::vector<std::uint8_t>& picture)
    {
        const CodecFrame* const frame =
            m_Decoder.Decode(picture.data(), static_cast<std::int32_t>(picture.size()));
        if (frame == nullptr) return 0;
        ConvertTarget target{};
        target.data[0] = m_Pixels.data();
        target.linesize[0] = WIDTH * 4;
        target.format = FORMAT_BGR0;
        return ConvertChanges(target, *frame, WIDTH, HEIGHT, &m_Held) == CONVERT_OK ? 1 : 0;
    }

  private:
    static constexpr std::int32_t WIDTH = 352;
    static constexpr std::int32_t HEIGHT = 288;
    static constexpr std::int32_t FORMAT_BGR0 = 35;

    CMpeg4Decoder m_Decoder{WIDTH, HEIGHT};
    ConvertHeld m_Held{};
    std::vector<std::uint8_t> m_Pixels = std::vector<std::uint8_t>(std::size_t{WIDTH} * HEIGHT * 4);
};

// Calls `take` for every picture in that order; it returns how many pictures came out.
template <typename Take>
PeerCost Decode(const std::vector<CodedStream>& streams, int repeats, EOrder order, Take take)
{
    PeerCost cost;
    const double start = ThreadMs();
    const std::size_t pictures = streams.front().size() * static_cast<std::size_t>(repeats);
    const auto takeOne = [&](std::size_t stream, std::size_t picture) {
        cost.pictures += static_cast<std::uint64_t>(take(stream, picture % streams[stream].size()));
    };
    if (order == EOrder::OneByOne) {
        for (std::size_t stream = 0; stream < streams.size(); ++stream)
            for (std::size_t picture = 0; picture < pictures; ++picture)
                takeOne(stream, picture);
    } else {
        const auto interval = std::chrono::nanoseconds(std::chrono::seconds(1)) / (RATE * streams.size());
        auto due = std::chrono::steady_clock::now();
        for (std::size_t picture = 0; picture < pictures; ++picture) {
            for (std::size_t stream = 0; stream < streams.size(); ++stream) {
                if (order == EOrder::Paced) std::this_thread::sleep_until(due += interval);
                takeOne(stream, picture);
            }
        }
    }
    cost.seconds = (ThreadMs() - start) / 1e3;
    if (cost.pictures != pictures * streams.size())
        throw std::runtime_error("only " + std::to_string(cost.pictures) + " pictures were decoded");
    return cost;
}

}  // namespace

std::vector<CodedStream> CaptureStreams(const CRecorderProcess& recorder, int channels, std::size_t pictures)
{
    constexpr std::size_t START_CODE_BYTES = 4;
    constexpr std::uint8_t PICTURE_CODE = 0xB6;  // key pictures have the stream's headers before theirs
    CP2PSession session(recorder.SessionOptionsOf(SystemClock(), false));
    session.Start("capture");
    if (!session.IsConnected() || !session.ConnectPeer(NET_ID))
        throw std::runtime_error("no path to the recorder");
    for (int i = 0; i < channels; ++i) {
        std::uint8_t request[8];
        WriteLittle32(request, MakeMessageHeader(i, sizeof request));
        WriteLittle32(request + MESSAGE_HEADER_BYTES, static_cast<std::uint32_t>(i));
        session.SendMessage(NET_ID, request);
    }
    std::vector<CodedStream> streams(static_cast<std::size_t>(channels));
    std::vector<std::uint8_t> buffer(MESSAGE_LIMIT_BYTES);
    const auto isFull = [&](const CodedStream& stream) { return stream.size() == pictures; };
    while (!std::ranges::all_of(streams, isFull)) {
        char name[P2P_NAME_BYTES];
        const auto count = static_cast<std::size_t>(session.ReceiveMessage(name, buffer));
        if (count <= MESSAGE_HEADER_BYTES + START_CODE_BYTES) continue;
        const auto header = ReadMessageHeader(std::span(buffer).first(count));
        const std::uint8_t* const data = buffer.data() + MESSAGE_HEADER_BYTES;
        if (ReadLittle16(data) != 0) continue;  // the reply to the request: a picture begins with a start code
        CodedStream& stream = streams[static_cast<std::size_t>(header.channel)];
        if (isFull(stream) || (stream.empty() && data[3] == PICTURE_CODE)) continue;
        stream.emplace_back(data, data + count - MESSAGE_HEADER_BYTES);
    }
    session.ReleaseReceiveLock();
    if (session.GetCounters().dropped > 0) throw std::runtime_error("pictures were lost while capturing");
    return streams;
}

PeerCost RunFfmpeg(const std::vector<CodedStream>& streams, int repeats, const std::filesystem::path& folder,
                   EOrder order)
{
    std::vector<std::string> words{"ffmpeg", "-nostdin", "-v", "quiet", "-filter_threads", "1"};
    std::vector<std::string> outputs;
    std::filesystem::create_directories(folder);
    const std::string progress = folder / "progress";
    std::filesystem::remove(progress);
    words.insert(words.end(), {"-progress", progress});
    std::ofstream file;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        if (i == 0 || order != EOrder::OneByOne) {
            const std::string input = folder / (std::to_string(i) + ".m4v");
            file = std::ofstream(input, std::ios::binary);
            if (order == EOrder::Paced) words.emplace_back("-re");
            words.insert(words.end(),
                         {"-threads", "1", "-f", "m4v", "-framerate", std::to_string(RATE), "-i", input});
            outputs.insert(outputs.end(), {"-map", std::to_string(i), "-fps_mode", "passthrough", "-pix_fmt",
                                           "bgra", "-f", "null", "-"});
        }
        for (int repeat = 0; repeat < repeats; ++repeat)
            for (const auto& picture : streams[i])
                file.write(reinterpret_cast<const char*>(picture.data()),
                           static_cast<std::streamsize>(picture.size()));
    }
    file.close();
    words.insert(words.end(), outputs.begin(), outputs.end());
    PeerCost cost;
    cost.seconds = RunProgram(words);
    // The program counts the pictures of its first output, and the others have as many.
    cost.pictures = ReadFrames(progress) * (order == EOrder::OneByOne ? 1 : streams.size());
    if (cost.seconds < 0 || cost.pictures != CountPictures(streams) * static_cast<std::uint64_t>(repeats))
        throw std::runtime_error("ffmpeg made " + std::to_string(cost.pictures) + " pictures");
    return cost;
}

PeerCost RunLibraries(const std::vector<CodedStream>& streams, int repeats, EOrder order)
{
    std::vector<CodedStream> padded = streams;
    for (CodedStream& stream : padded)
        for (auto& picture : stream)
            picture.resize(picture.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    std::vector<std::unique_ptr<CLibraries>> libraries;
    for (std::size_t i = 0; i < streams.size(); ++i)
        libraries.push_back(std::make_unique<CLibraries>());
    return Decode(streams, repeats, order, [&](std::size_t stream, std::size_t picture) {
        return libraries[stream]->Take(padded[stream][picture]);
    });
}

PeerCost RunOwnCodec(const std::vector<CodedStream>& streams, int repeats, EOrder order)
{
    std::vector<std::unique_ptr<COwnCodec>> codecs;
    for (std::size_t i = 0; i < streams.size(); ++i)
        codecs.push_back(std::make_unique<COwnCodec>());
    return Decode(streams, repeats, order, [&](std::size_t stream, std::size_t picture) {
        return codecs[stream]->Take(streams[stream][picture]);
    });
}
