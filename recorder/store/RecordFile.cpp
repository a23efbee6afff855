#include "recorder/store/RecordFile.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "recorder/media/CodecStream.h"
#include "recorder/media/LibAvLog.h"

namespace recorder
{

namespace
{

// The file's own bytes: its head, and for each picture those around it.
constexpr int64_t HEAD_BYTES = 4096;
constexpr int64_t PICTURE_OVERHEAD_BYTES = 64;
// Of a stamp, about a year: playback counts on in nanoseconds.
constexpr int64_t MAX_STAMP_MS = int64_t{366} * 24 * 3600 * 1000;
constexpr int MIN_SIDE = 16;
constexpr int MAX_SIDE = 1920;

// What stands before the first picture's start code: the headers of the sequence.
std::span<const uint8_t> HeadersOf(std::span<const uint8_t> key)
{
    constexpr uint8_t PICTURE_START[] = {0, 0, 1, 0xB6};
    const auto at = std::search(key.begin(), key.end(), std::begin(PICTURE_START), std::end(PICTURE_START));
    return key.first(static_cast<size_t>(at - key.begin()));
}

// Without it the library takes what stands before a colon for a protocol.
std::string FileUrl(const std::string& path)
{
    return "file:" + path;
}

bool IsSide(int side)
{
    return side >= MIN_SIDE && side <= MAX_SIDE && side % 16 == 0;
}

}  // namespace

void RecordWriter::Close::operator()(AVFormatContext* p) const
{
    avio_closep(&p->pb);
    avformat_free_context(p);
}

RecordWriter::RecordWriter(const std::string& path, PictureSize size, std::span<const uint8_t> firstKey)
    : m_Bytes(HEAD_BYTES)
{
    SayLibAvWarningsOnce();
    AVFormatContext* output = nullptr;
    CheckAv(avformat_alloc_output_context2(&output, nullptr, "matroska", path.c_str()), "write a record");
    m_Output.reset(output);
    AVStream* const stream = avformat_new_stream(output, nullptr);
    const auto headers = HeadersOf(firstKey);
    if (stream == nullptr || !m_Packet) throw std::runtime_error("no memory for a record");
    AVCodecParameters& codec = *stream->codecpar;
    codec.extradata = static_cast<uint8_t*>(av_mallocz(headers.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (codec.extradata == nullptr) throw std::runtime_error("no memory for a record");
    std::copy(headers.begin(), headers.end(), codec.extradata);
    codec.extradata_size = static_cast<int>(headers.size());
    codec.codec_type = AVMEDIA_TYPE_VIDEO;
    codec.codec_id = AV_CODEC_ID_MPEG4;
    codec.width = size.width;
    codec.height = size.height;
    stream->time_base = {1, 1000};
    CheckAv(avio_open(&output->pb, FileUrl(path).c_str(), AVIO_FLAG_WRITE), "write a record");
    CheckAv(avformat_write_header(output, nullptr), "write a record");
    Flush();
}

RecordWriter::~RecordWriter()
{
    if (m_LastMs >= 0) av_write_trailer(m_Output.get());
}

void RecordWriter::Write(std::span<const uint8_t> picture, std::chrono::milliseconds at, bool key)
{
    CheckAv(av_new_packet(m_Packet.get(), static_cast<int>(picture.size())), "write a record");
    std::memcpy(m_Packet->data, picture.data(), picture.size());
    m_LastMs = std::max<int64_t>(m_LastMs + 1, at.count());
    m_Packet->pts = m_LastMs;
    m_Packet->dts = m_LastMs;
    m_Packet->flags = key ? AV_PKT_FLAG_KEY : 0;
    const int written = av_write_frame(m_Output.get(), m_Packet.get());
    av_packet_unref(m_Packet.get());
    CheckAv(written, "write a record");
    m_Bytes += static_cast<int64_t>(picture.size()) + PICTURE_OVERHEAD_BYTES;
}

void RecordWriter::Flush()
{
    CheckAv(av_write_frame(m_Output.get(), nullptr), "write a record");
    avio_flush(m_Output->pb);
    CheckAv(m_Output->pb->error, "write a record");
}

RecordReader::RecordReader(const std::string& path)
{
    SayLibAvWarningsOnce();
    AVFormatContext* input = nullptr;
    CheckAv(avformat_open_input(&input, FileUrl(path).c_str(), av_find_input_format("matroska"), nullptr),
            "open the record");
    m_Input.reset(input);
    if (!m_Packet) throw std::runtime_error("no memory for a record");
    const AVCodecParameters* const codec = input->nb_streams == 1 ? input->streams[0]->codecpar : nullptr;
    if (codec == nullptr || codec->codec_id != AV_CODEC_ID_MPEG4 || !IsSide(codec->width) ||
        !IsSide(codec->height))
        throw std::runtime_error("can't open the record: it holds no pictures of ours");
    m_Size = {codec->width, codec->height};
}

std::optional<RecordedPicture> RecordReader::Next()
{
    for (;;) {
        av_packet_unref(m_Packet.get());
        if (av_read_frame(m_Input.get(), m_Packet.get()) < 0) return {};
        const bool key = (m_Packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (m_Packet->size <= 0 || static_cast<size_t>(m_Packet->size) > MAX_MESSAGE_BYTES) return {};
        if (!m_Begun && !key) continue;
        int64_t stamp = m_LastMs;
        if (m_Packet->pts != AV_NOPTS_VALUE)
            stamp = std::clamp<int64_t>(av_rescale_q(m_Packet->pts, m_Input->streams[0]->time_base, {1, 1000}),
                                        0, MAX_STAMP_MS);
        if (!m_Begun) m_FirstMs = m_LastMs = stamp;
        m_Begun = true;
        m_LastMs = std::max(m_LastMs, stamp);
        return RecordedPicture{{m_Packet->data, m_Packet->data + m_Packet->size},
                               std::chrono::milliseconds(m_LastMs - m_FirstMs),
                               key};
    }
}

}  // namespace recorder
