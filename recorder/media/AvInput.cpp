#include "recorder/media/AvInput.h"

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavutil/avstring.h>
}
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "recorder/media/LibAvLog.h"
#include "recorder/media/SourceText.h"

namespace recorder
{

namespace
{

// Between looks at a device that has no picture yet.
constexpr std::chrono::milliseconds LOOK_EVERY{5};
// Faults of the decoder before the first picture, after which it can't read the source: more than a group of
// pictures, which a film that was cut begins within. The rest, which may be long, isn't looked at.
constexpr int MOST_FAULTS = 1'000;

// The format that a source's text asks for by its beginning; null lets libavformat find out. The beginning is
// cut off where it is ours.
const AVInputFormat* FormatOf(std::string& spec)
{
    if (spec.starts_with(CAMERA_PREFIX)) return av_find_input_format("v4l2");
    if (!spec.starts_with(FILTERS_PREFIX)) return nullptr;
    spec.erase(0, FILTERS_PREFIX.size());
    return av_find_input_format("lavfi");
}

// A pipe that a source's text names, or what else lets its readers wait: a terminal, another device, a socket.
struct Pipe {
    std::string name;  // empty when it is open already
    int number = -1;   // of that one
    mode_t kind = 0;

    bool IsOpen() const { return name.empty(); }
    bool FindsNextWriter() const { return S_ISFIFO(kind) && !IsOpen(); }
};

// Nothing for a text that names no pipe.
std::optional<Pipe> PipeOf(const std::string& spec)
{
    constexpr std::string_view FILE_PREFIX = "file:";
    constexpr std::string_view OPEN_PREFIX = "pipe:";
    if (spec.starts_with(CAMERA_PREFIX)) return {};
    Pipe pipe;
    if (spec.starts_with(OPEN_PREFIX)) {
        pipe.number = 0;  // unless told
        std::from_chars(spec.data() + OPEN_PREFIX.size(), spec.data() + spec.size(), pipe.number);
    } else {
        pipe.name = spec.substr(spec.starts_with(FILE_PREFIX) ? FILE_PREFIX.size() : 0);
    }
    struct stat status {
    };
    const int found = pipe.IsOpen() ? ::fstat(pipe.number, &status) : ::stat(pipe.name.c_str(), &status);
    pipe.kind = status.st_mode;
    const bool waits = S_ISFIFO(pipe.kind) || S_ISCHR(pipe.kind) || (S_ISSOCK(pipe.kind) && pipe.IsOpen());
    if (found != 0 || !waits) return {};
    return pipe;
}

// A descriptor of the pipe whose reads don't wait; -1 when there is none to be had.
int OpenToRead(const Pipe& pipe)
{
    constexpr int HOW = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    if (!pipe.IsOpen()) return ::open(pipe.name.c_str(), HOW);
    // A terminal is opened anew: writes to standard error, which may be the same one, are to wait for it.
    if (S_ISCHR(pipe.kind)) return ::open(("/proc/self/fd/" + std::to_string(pipe.number)).c_str(), HOW);
    const int number = ::fcntl(pipe.number, F_DUPFD_CLOEXEC, 0);
    if (number >= 0) ::fcntl(number, F_SETFL, ::fcntl(number, F_GETFL) | O_NONBLOCK);
    return number;
}

int Interrupted(void* p)
{
    return (*static_cast<const AvInput::Interrupt*>(p))() ? 1 : 0;
}

}  // namespace

AvInput::AvInput(const std::string& spec, Interrupt interrupt) : m_Spec(spec), m_Interrupt(std::move(interrupt))
{
    static std::once_flag once;
    std::call_once(once, [] {
        avdevice_register_all();
        SayLibAvWarningsOnce();
    });
    if (!m_Frame || !m_Packet) throw std::runtime_error("no memory for a source");
    Open();
}

AvInput::~AvInput() = default;

AvInput::Descriptor::~Descriptor()
{
    if (m_Number >= 0) ::close(m_Number);
}

// The source's name for libavformat. A pipe is waited for until somebody has written into it: what libavformat
// opens itself blocks beyond any interruption as long as nobody writes.
std::string AvInput::OpenIfPipe()
{
    const std::optional<Pipe> pipe = PipeOf(m_Spec);
    if (!pipe) return m_Spec;
    m_Pipe = Descriptor(OpenToRead(*pipe));
    CheckAv(m_Pipe.Number() < 0 ? AVERROR(errno) : 0, "open the source");
    pollfd readable{m_Pipe.Number(), POLLIN, 0};
    while ((readable.revents & POLLIN) == 0) {
        if (m_Interrupt()) throw std::runtime_error("can't open the source: interrupted");
        const bool failed = ::poll(&readable, 1, static_cast<int>(LOOK_EVERY.count())) < 0;
        const bool hungUp = readable.revents != 0 && (readable.revents & POLLIN) == 0;
        if (hungUp && !pipe->FindsNextWriter()) throw std::runtime_error("the source has ended");
        if (failed || hungUp) std::this_thread::sleep_for(LOOK_EVERY);
    }
    return "pipe:" + std::to_string(m_Pipe.Number());
}

void AvInput::Open()
{
    std::string name = OpenIfPipe();
    const AVInputFormat* const format = FormatOf(name);
    AVFormatContext* input = avformat_alloc_context();
    if (input == nullptr) throw std::runtime_error("no memory for a source");
    input->interrupt_callback = {Interrupted, &m_Interrupt};
    // A device that has stopped would block beyond any interruption.
    if (m_Spec.starts_with(CAMERA_PREFIX)) input->flags |= AVFMT_FLAG_NONBLOCK;
    CheckAv(avformat_open_input(&input, name.c_str(), format, nullptr),
            "open the source");  // frees it on failure
    m_Input.reset(input);
    CheckAv(avformat_find_stream_info(input, nullptr), "read the source");
    const AVCodec* codec = nullptr;
    m_Stream = CheckAv(av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0), "find pictures");
    OpenDecoder(codec);
    m_Decodes = false;
    m_Faults = 0;
    m_Joined = false;
    m_First = m_Latest = AV_NOPTS_VALUE;
}

// It knows what the source's format tells, and nothing of what came within pictures.
void AvInput::OpenDecoder(const AVCodec* codec)
{
    m_Decoder.reset(avcodec_alloc_context3(codec));
    if (!m_Decoder) throw std::runtime_error("no memory for a decoder");
    CheckAv(avcodec_parameters_to_context(m_Decoder.get(), &Codec()), "decode it");
    m_Decoder->thread_count = 1;
    CheckAv(avcodec_open2(m_Decoder.get(), codec, nullptr), "decode it");
}

bool AvInput::Next()
{
    while (!Receive())
        if (!Feed()) return false;
    ++m_Pictures;
    m_Decodes = true;
    return true;
}

// True when a picture is in m_Frame.
bool AvInput::Receive()
{
    const int got = avcodec_receive_frame(m_Decoder.get(), m_Frame.get());
    if (got == AVERROR_EOF) avcodec_flush_buffers(m_Decoder.get());
    if (got != AVERROR_EOF) Bear(got);
    return got >= 0;
}

// A damaged or empty packet costs its picture only, whatever the decoder calls it.
void AvInput::Bear(int result)
{
    if (result >= 0 || result == AVERROR(EAGAIN) || m_Decodes) return;
    m_Fault = result;
    if (++m_Faults >= MOST_FAULTS) CheckAv(m_Fault, "decode the source");
}

// Gives the decoder one more packet; false at the end of the source.
bool AvInput::Feed()
{
    for (;;) {
        if (m_Interrupt()) throw std::runtime_error("can't read the source: interrupted");
        av_packet_unref(m_Packet.get());
        const int read = av_read_frame(m_Input.get(), m_Packet.get());
        if (read == AVERROR(EAGAIN)) {
            std::this_thread::sleep_for(LOOK_EVERY);
            continue;
        }
        if (read == AVERROR_EOF) {
            // What the decoder still holds comes first.
            if (std::exchange(m_Drained, true)) return false;
            avcodec_send_packet(m_Decoder.get(), nullptr);
            return true;
        }
        CheckAv(read, "read the source");
        if (m_Packet->stream_index != m_Stream) continue;
        if (m_First == AV_NOPTS_VALUE) m_First = m_Packet->pts;
        if (m_Packet->dts != AV_NOPTS_VALUE) {
            const int64_t latest = std::exchange(m_Latest, m_Packet->dts);
            m_Joined = m_Joined || (latest != AV_NOPTS_VALUE && m_Packet->dts < latest);
        }
        TakeDescription();
        if (m_Tap) m_Tap(*m_Packet);
        if (IsLeftOut()) continue;
        m_OwesDescription = false;
        m_Drained = false;
        Bear(avcodec_send_packet(m_Decoder.get(), m_Packet.get()));
        if (m_KeysOnly) avcodec_send_packet(m_Decoder.get(), nullptr);  // so that it comes out at once
        return true;
    }
}

// A packet that describes the stream anew does so for those behind it, though it is left out itself: the next
// that isn't tells it again.
void AvInput::TakeDescription()
{
    size_t size = 0;
    const uint8_t* const told = av_packet_get_side_data(m_Packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (told != nullptr) {
        m_Description.assign(told, told + size);
        m_OwesDescription = true;
    } else if (m_OwesDescription && !m_Description.empty()) {
        uint8_t* const again =
            av_packet_new_side_data(m_Packet.get(), AV_PKT_DATA_NEW_EXTRADATA, m_Description.size());
        if (again == nullptr) throw std::runtime_error("no memory for a packet");
        std::copy(m_Description.begin(), m_Description.end(), again);
    }
}

// FLV doesn't say again how it began, nor does it when it is opened again. Who looks at the packets is to know
// as well as the decoder.
void AvInput::DescribeBeginning()
{
    const AVCodecParameters& codec = Codec();
    m_Description.assign(codec.extradata, codec.extradata + codec.extradata_size);
    m_OwesDescription = true;
}

bool AvInput::IsLeftOut()
{
    if (m_KeysOnly) m_AwaitsKey = true;
    if (!m_AwaitsKey) return false;
    if ((m_Packet->flags & AV_PKT_FLAG_KEY) == 0) return true;
    m_AwaitsKey = m_KeysOnly;
    return false;
}

std::optional<double> AvInput::Stamp() const
{
    const int64_t stamp = m_Frame->best_effort_timestamp;
    if (stamp == AV_NOPTS_VALUE) return {};
    return static_cast<double>(stamp) * av_q2d(m_Input->streams[m_Stream]->time_base);
}

double AvInput::Lasts() const
{
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    const int64_t duration = m_Frame->duration;
#else
    const int64_t duration = m_Frame->pkt_duration;
#endif
    return static_cast<double>(duration) * av_q2d(m_Input->streams[m_Stream]->time_base);
}

// Servers that make a playlist anew for each who asks offer no parts of it, which says nothing about its
// segments.
bool AvInput::IsFile() const
{
    return IsPlaylist() || (m_Input->pb != nullptr && (m_Input->pb->seekable & AVIO_SEEKABLE_NORMAL) != 0);
}

bool AvInput::Grows() const
{
    return m_Input->duration == AV_NOPTS_VALUE && IsPlaylist();
}

bool AvInput::IsPlaylist() const
{
    return av_match_name(m_Input->iformat->name, "hls,dash") != 0;
}

void AvInput::Restart()
{
    m_Drained = false;
    // There may be a newer image by now, which a seek within what is in memory wouldn't find.
    const bool image = std::exchange(m_Pictures, 0) == 1 && IsFile();
    // The beginning of a later part would be found as well as that of the first; or, where stamps that went
    // round since are counted from below 0, what comes at 0.
    const bool fromZero = m_First == AV_NOPTS_VALUE || m_First >= 0;
    const bool sought = !image && !m_Joined && fromZero;
    if (sought && av_seek_frame(m_Input.get(), m_Stream, 0, AVSEEK_FLAG_BACKWARD) >= 0) {
        OpenDecoder(m_Decoder->codec);
        m_Latest = AV_NOPTS_VALUE;
        DescribeBeginning();
        if (Next()) return;
    }
    // Bare streams and filter graphs can't be sought in.
    Open();
    m_Drained = false;
    DescribeBeginning();
    if (Next()) return;
    if (m_Faults > 0) CheckAv(m_Fault, "decode the source");
    throw std::runtime_error("the source has no pictures");
}

}  // namespace recorder
