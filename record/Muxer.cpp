#include "record/Muxer.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

#include <array>
#include <chrono>

#include "inc/CxLog.h"
#include "inc/EntryCheck.h"
#include "inc/LogLine.h"
#include "platform/os/paths.h"

namespace
{

constexpr std::int32_t PICTURES_PER_SECOND = 25;
constexpr int VIDEO = 0;
constexpr int AUDIO = 1;
constexpr std::size_t NAME_BYTES = 1024;
constexpr auto FLUSH_EVERY = std::chrono::milliseconds(500);

/// The system's codec ids, by meaning.
AVCodecID ToLibrary(std::int32_t codec)
{
    struct Row {
        std::int32_t system;
        AVCodecID library;
    };
    static constexpr std::array<Row, 3> ROWS = {
        {{13, AV_CODEC_ID_MPEG4}, {28, AV_CODEC_ID_H264}, {0x10005, AV_CODEC_ID_PCM_U8}}};
    for (const Row& row : ROWS)
        if (row.system == codec) return row.library;
    return AV_CODEC_ID_NONE;
}

}  // namespace

struct CMuxer::File {
    AVFormatContext* context = avformat_alloc_context();
    AVPacket* packet = av_packet_alloc();
    std::array<std::int64_t, 2> packets = {};  // of each stream, the refused ones too
    bool header = false;
    bool trailer = false;
    std::chrono::steady_clock::time_point flushed = std::chrono::steady_clock::now();

    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File()
    {
        av_packet_free(&packet);
        if (context != nullptr && context->pb != nullptr) avio_closep(&context->pb);
        avformat_free_context(context);
    }
    bool FlushWhenDue()
    {
        const auto now = std::chrono::steady_clock::now();
        if (now - flushed < FLUSH_EVERY) return false;
        flushed = now;
        avio_flush(context->pb);
        return true;
    }
};

CMuxer::CMuxer() = default;
CMuxer::~CMuxer() = default;

std::int32_t CMuxer::Open(const std::string& path, std::int32_t videoCodecId, std::int32_t width,
                          std::int32_t height, std::int32_t audioCodecId, std::int32_t bitRate,
                          std::int32_t sampleRate)
{
    const CAutoLock lock(m_csWrite);
    m_strPath = path.substr(0, NAME_BYTES - 1);
    auto file = std::make_unique<File>();
    if (file->context == nullptr || file->packet == nullptr) return Fail(-1);
    file->context->oformat = av_guess_format("avi", m_strPath.c_str(), nullptr);
    if (file->context->oformat == nullptr) return 0;
    const AVCodecID videoCodec = ToLibrary(videoCodecId);
    const AVCodecID audioCodec = ToLibrary(audioCodecId);
    if (videoCodec == AV_CODEC_ID_NONE || audioCodec == AV_CODEC_ID_NONE) return Fail(-1);
    AVStream* const video = avformat_new_stream(file->context, nullptr);
    AVStream* const audio = video != nullptr ? avformat_new_stream(file->context, nullptr) : nullptr;
    if (audio == nullptr) return Fail(-1);
    video->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    video->codecpar->codec_id = videoCodec;
    video->codecpar->width = width;
    video->codecpar->height = height;
    video->time_base = {1, PICTURES_PER_SECOND};
    audio->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    audio->codecpar->codec_id = audioCodec;
    audio->codecpar->bit_rate = bitRate;
    audio->codecpar->sample_rate = sampleRate;
    av_channel_layout_default(&audio->codecpar->ch_layout, 1);
    audio->codecpar->bits_per_coded_sample = 8;
    audio->codecpar->block_align = 1;
    audio->time_base = {1, sampleRate};
    // Without it the library takes what precedes a colon for a protocol.
    const std::string host = "file:" + HostPath(m_strPath);
    if (avio_open(&file->context->pb, host.c_str(), AVIO_FLAG_WRITE) < 0) return Fail(-1);
    const std::int32_t result = avformat_write_header(file->context, nullptr);
    if (result < 0) return Fail(result);
    file->header = true;
    // The header has the tag. By it the library would refuse an H.264 stream as long as no payload begins with
    // its start code; here each is written as it comes.
    video->codecpar->codec_tag = 0;
    avio_flush(file->context->pb);
    m_pFile = std::move(file);
    return m_pFile->context->pb->error < 0 ? Fail(m_pFile->context->pb->error) : result;
}

std::int32_t CMuxer::WriteVideoPacket(const std::uint8_t* data, std::int32_t bytes, std::int32_t key)
{
    return WritePacket(VIDEO, data, bytes, key);
}

std::int32_t CMuxer::WriteAudioPacket(const std::uint8_t* data, std::int32_t bytes, std::int32_t key)
{
    return WritePacket(AUDIO, data, bytes, key);
}

std::int32_t CMuxer::WritePacket(std::int32_t stream, const std::uint8_t* data, std::int32_t bytes,
                                 std::int32_t key)
{
    const CAutoLock lock(m_csWrite);
    if (stream == VIDEO && key != 0) m_bHasKeyFrame = true;
    if (bytes < 1 || !m_bHasKeyFrame) return -1;
    if (m_pFile == nullptr || m_pFile->trailer) {
        ++m_ulFailures;
        return -1;
    }
    // A file that the disk refused once takes nothing any more; the library would complain of each packet.
    if (m_pFile->context->pb->error < 0) return Fail(m_pFile->context->pb->error);
    AVPacket& packet = *m_pFile->packet;
    packet.data = const_cast<std::uint8_t*>(data);  // the library only reads it
    packet.size = bytes;
    packet.flags = key != 0 ? AV_PKT_FLAG_KEY : 0;
    packet.stream_index = stream;
    packet.pts = packet.dts = m_pFile->packets[static_cast<std::size_t>(stream)]++;
    packet.duration = 1;
    std::int32_t result = av_write_frame(m_pFile->context, &packet);
    av_packet_unref(&packet);
    if (m_pFile->FlushWhenDue() && result >= 0) result = m_pFile->context->pb->error;
    return result < 0 ? Fail(result) : result;
}

/// Counts a failure, and tells the log of the first one: never a line for each picture.
std::int32_t CMuxer::Fail(std::int32_t result)
{
    ASSERT_HELD(m_csWrite);
    if (m_ulFailures++ == 0) {
        char reason[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(result, reason, sizeof reason);
        LogLine(ELogLevel::Error, "CMuxer", m_strPath + ": " + (result == -1 ? "can't be made" : reason));
    }
    return result;
}

void CMuxer::Flush()
{
    const CAutoLock lock(m_csWrite);
    if (m_pFile != nullptr) avio_flush(m_pFile->context->pb);
}

void CMuxer::FlushWhenDue()
{
    const CAutoLock lock(m_csWrite);
    if (m_pFile != nullptr) m_pFile->FlushWhenDue();
}

void CMuxer::Close()
{
    const CAutoLock lock(m_csWrite);
    if (m_pFile != nullptr && !m_pFile->trailer) {
        m_pFile->trailer = true;
        if (const std::int32_t result = av_write_trailer(m_pFile->context); result < 0) Fail(result);
        avio_flush(m_pFile->context->pb);
    }
    if (m_ulFailures != 0)
        LogLine(ELogLevel::Error, "CMuxer::Close",
                m_strPath + ": " + std::to_string(m_ulFailures) + " writes have failed");
    m_ulFailures = 0;
}
