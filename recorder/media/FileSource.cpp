#include "recorder/media/FileSource.h"

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace recorder
{

namespace
{

// The format that a source's text asks for by its beginning; null lets libavformat find out. The beginning is
// cut off where it is ours.
const AVInputFormat* FormatOf(std::string& spec)
{
    constexpr std::string_view FILTERS = "lavfi:";
    if (spec.starts_with("/dev/video")) return av_find_input_format("v4l2");
    if (!spec.starts_with(FILTERS)) return nullptr;
    spec.erase(0, FILTERS.size());
    return av_find_input_format("lavfi");
}

int Interrupted(void* p)
{
    return static_cast<const std::atomic<bool>*>(p)->load(std::memory_order_relaxed) ? 1 : 0;
}

}  // namespace

CFileSource::CFileSource(std::string spec, const XSceneSetup& setup, int iChannel,
                         const std::atomic<bool>& bStop)
    : m_strSpec(std::move(spec)),
      m_Setup(setup),
      m_bStop(bStop),
      m_Overlay(setup, iChannel),
      m_Pixels(size_t{4} * static_cast<size_t>(setup.m_iWidth) * static_cast<size_t>(setup.m_iHeight))
{
    static std::once_flag once;
    std::call_once(once, [] { avdevice_register_all(); });
    if (!m_pFrame || !m_pPacket) throw std::runtime_error("no memory for a source");
}

void CFileSource::Read(int64_t iPicture, XPicture& picture)
{
    try {
        if (!m_pInput && iPicture >= m_iRetryAt) {
            Open();
            m_iOpenedAt = iPicture;
        }
        if (m_pInput) Advance(static_cast<double>(iPicture - m_iOpenedAt) / m_Setup.m_iRate);
    } catch (const std::exception& e) {
        m_strNotice = e.what();
        Close();
        m_iRetryAt = iPicture + int64_t{RETRY_SECONDS} * m_Setup.m_iRate;
    }
    if (m_pInput) {
        FitFrame();
        m_Overlay.Draw(iPicture, m_Pixels.data(), picture);
    } else {
        m_Overlay.DrawNotice(iPicture, m_strNotice, picture);
    }
}

void CFileSource::Open()
{
    std::string name = m_strSpec;
    const AVInputFormat* const format = FormatOf(name);
    AVFormatContext* input = avformat_alloc_context();
    if (input == nullptr) throw std::runtime_error("no memory for a source");
    input->interrupt_callback = {Interrupted, const_cast<std::atomic<bool>*>(&m_bStop)};
    CheckAv(avformat_open_input(&input, name.c_str(), format, nullptr),
            "open the source");  // frees it on failure
    m_pInput.reset(input);
    CheckAv(avformat_find_stream_info(input, nullptr), "read the source");
    const AVCodec* codec = nullptr;
    m_iStream = CheckAv(av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0), "find pictures");
    m_pDecoder.reset(avcodec_alloc_context3(codec));
    if (!m_pDecoder) throw std::runtime_error("no memory for a decoder");
    CheckAv(avcodec_parameters_to_context(m_pDecoder.get(), input->streams[m_iStream]->codecpar), "decode it");
    m_pDecoder->thread_count = 1;
    CheckAv(avcodec_open2(m_pDecoder.get(), codec, nullptr), "decode it");
    m_dFirstTime = -1;
    m_dBegun = 0;
    Next();
}

void CFileSource::Close()
{
    m_pDecoder.reset();
    m_pInput.reset();
    m_pScaler.reset();
}

void CFileSource::Advance(double dSeconds)
{
    // A long time unwatched isn't made up for: the source goes on from where it is.
    const double interval = 1.0 / m_Setup.m_iRate;
    if (dSeconds - m_dFrameTime > 2) {
        m_iOpenedAt += static_cast<int64_t>((dSeconds - m_dFrameTime) * m_Setup.m_iRate);
        dSeconds = m_dFrameTime;
    }
    while (m_dFrameTime + interval / 2 < dSeconds)
        Next();
}

void CFileSource::Next()
{
    if (!Decode()) {
        // The end: from the beginning again, going on in time by one picture.
        CheckAv(av_seek_frame(m_pInput.get(), m_iStream, 0, AVSEEK_FLAG_BACKWARD), "begin the source anew");
        avcodec_flush_buffers(m_pDecoder.get());
        m_dBegun = m_dFrameTime + 1.0 / m_Setup.m_iRate;
        m_dFirstTime = -1;
        if (!Decode()) throw std::runtime_error("the source has no pictures");
    }
    const AVRational base = m_pInput->streams[m_iStream]->time_base;
    const int64_t stamp = m_pFrame->best_effort_timestamp;
    if (stamp == AV_NOPTS_VALUE) {
        m_dFrameTime += 1.0 / m_Setup.m_iRate;
        return;
    }
    const double time = static_cast<double>(stamp) * av_q2d(base);
    if (m_dFirstTime < 0) m_dFirstTime = std::max(0.0, time);
    m_dFrameTime = m_dBegun + std::max(0.0, time - m_dFirstTime);
}

// One picture into m_pFrame; false at the end of the source.
bool CFileSource::Decode()
{
    for (;;) {
        const int got = avcodec_receive_frame(m_pDecoder.get(), m_pFrame.get());
        if (got == AVERROR_EOF) return false;
        if (got != AVERROR(EAGAIN)) {
            CheckAv(got, "decode the source");
            return true;
        }
        av_packet_unref(m_pPacket.get());
        const int read = av_read_frame(m_pInput.get(), m_pPacket.get());
        if (read == AVERROR_EOF) {
            avcodec_send_packet(m_pDecoder.get(), nullptr);
            continue;
        }
        CheckAv(read, "read the source");
        if (m_pPacket->stream_index != m_iStream) continue;
        // A damaged packet costs its picture only.
        const int sent = avcodec_send_packet(m_pDecoder.get(), m_pPacket.get());
        if (sent != AVERROR_INVALIDDATA) CheckAv(sent, "decode the source");
    }
}

void CFileSource::FitFrame()
{
    const int width = m_Setup.m_iWidth;
    const int height = m_Setup.m_iHeight;
    AVRational aspect = m_pFrame->sample_aspect_ratio;
    if (aspect.num <= 0 || aspect.den <= 0) aspect = {1, 1};
    // Clients show the whole picture as 4:3, whatever its size in pixels.
    const double shown = static_cast<double>(m_pFrame->width) * aspect.num / aspect.den / m_pFrame->height;
    const double frame = 4.0 / 3.0;
    const int fitWidth = shown >= frame ? width : std::max(16, static_cast<int>(width * shown / frame) & ~1);
    const int fitHeight = shown >= frame ? std::max(16, static_cast<int>(height * frame / shown) & ~1) : height;

    m_pScaler.reset(sws_getCachedContext(m_pScaler.release(), m_pFrame->width, m_pFrame->height,
                                         static_cast<AVPixelFormat>(m_pFrame->format), fitWidth, fitHeight,
                                         AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr));
    std::fill(m_Pixels.begin(), m_Pixels.end(), uint8_t{0});
    if (!m_pScaler) return;
    const ptrdiff_t corner = (ptrdiff_t{(height - fitHeight) / 2} * width + (width - fitWidth) / 2) * 4;
    uint8_t* const to[4] = {m_Pixels.data() + corner};
    const int strides[4] = {4 * width};
    sws_scale(m_pScaler.get(), m_pFrame->data, m_pFrame->linesize, 0, m_pFrame->height, to, strides);
}

}  // namespace recorder
