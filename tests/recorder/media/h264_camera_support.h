#pragma once

#include <poll.h>

#include <asio.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "recorder/h264/AnnexB.h"
#include "tests/recorder/media_support.h"

namespace recorder
{

// Sends one picture after the other, over and over, in a container that tells the time of each.
class H264Camera
{
  public:
    // Who opens it gets the first of its pictures, or a later one.
    explicit H264Camera(AccessUnits stream, size_t begin = 0)
        : m_Stream(std::move(stream)),
          m_Begin(begin),
          m_Acceptor(m_Context, {asio::ip::address_v4::loopback(), 0}),
          m_Socket(m_Context)
    {
    }
    ~H264Camera() { HangUp(); }
    H264Camera(const H264Camera&) = delete;
    H264Camera& operator=(const H264Camera&) = delete;

    std::string Url() const { return "tcp://127.0.0.1:" + std::to_string(m_Acceptor.local_endpoint().port()); }
    // From now on it sends these instead.
    void Change(AccessUnits stream)
    {
        m_Stream = std::move(stream);
        m_Base = m_Next;
    }
    // From now on one picture of each round is lost on its way.
    void Lose(size_t index) { m_Lost = index; }
    // Sends the next picture to the reader, when there is one.
    void SendNext()
    {
        if (!m_pOutput && !Begin()) return;
        const auto at = [this] { return (m_Next - m_Base) % m_Stream.size(); };
        if (at() == m_Lost) ++m_Next;
        const auto& unit = m_Stream[at()];
        const AvPacket packet(av_packet_alloc());
        CheckAv(av_new_packet(packet.get(), static_cast<int>(unit.size())), "send");
        std::copy(unit.begin(), unit.end(), packet->data);
        packet->pts = packet->dts = static_cast<int64_t>(40 * m_Next);
        packet->flags = UnitType(SplitUnits(unit).back()) == EUnit::IdrSlice ? AV_PKT_FLAG_KEY : 0;
        av_write_frame(m_pOutput, packet.get());
        av_write_frame(m_pOutput, nullptr);
        avio_flush(m_pOutput->pb);
        ++m_Next;
    }
    void HangUp()
    {
        asio::error_code ignored;
        m_Socket.close(ignored);
        if (!m_pOutput) return;
        av_freep(&m_pOutput->pb->buffer);
        avio_context_free(&m_pOutput->pb);
        avformat_free_context(m_pOutput);
        m_pOutput = nullptr;
    }

  private:
    static int Write(void* p, uint8_t* bytes, int count)
    {
        asio::error_code ignored;
        asio::write(static_cast<H264Camera*>(p)->m_Socket, asio::buffer(bytes, static_cast<size_t>(count)),
                    ignored);
        return count;
    }
    bool Begin()
    {
        pollfd waiting{m_Acceptor.native_handle(), POLLIN, 0};
        if (poll(&waiting, 1, 0) != 1) return false;
        m_Socket = m_Acceptor.accept();
        m_Next = m_Base + m_Begin;
        constexpr int BUFFER_BYTES = 4096;
        avformat_alloc_output_context2(&m_pOutput, nullptr, "matroska", nullptr);
        m_pOutput->pb = avio_alloc_context(static_cast<uint8_t*>(av_malloc(BUFFER_BYTES)), BUFFER_BYTES, 1,
                                           this, nullptr, Write, nullptr);
        m_pOutput->pb->seekable = 0;
        AVStream* const stream = avformat_new_stream(m_pOutput, nullptr);
        std::vector<uint8_t> sets;
        for (const auto unit : SplitUnits(m_Stream[0]))
            if (UnitType(unit) == EUnit::SequenceSet || UnitType(unit) == EUnit::PictureSet) {
                sets.insert(sets.end(), {0, 0, 0, 1});
                sets.insert(sets.end(), unit.begin(), unit.end());
            }
        AVCodecParameters& codec = *stream->codecpar;
        codec.codec_type = AVMEDIA_TYPE_VIDEO;
        codec.codec_id = AV_CODEC_ID_H264;
        codec.width = H264_TEST_WIDTH;
        codec.height = H264_TEST_HEIGHT;
        codec.extradata = static_cast<uint8_t*>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        codec.extradata_size = static_cast<int>(sets.size());
        std::copy(sets.begin(), sets.end(), codec.extradata);
        stream->time_base = {1, 1000};
        CheckAv(avformat_write_header(m_pOutput, nullptr), "send");
        return true;
    }

    AccessUnits m_Stream;
    size_t m_Begin;
    asio::io_context m_Context;
    asio::ip::tcp::acceptor m_Acceptor;
    asio::ip::tcp::socket m_Socket;
    AVFormatContext* m_pOutput = nullptr;  // null until the output is read
    size_t m_Base = 0;                     // of the first of its pictures
    size_t m_Next = 0;
    std::optional<size_t> m_Lost;
};

inline std::vector<uint8_t> SliceOf(const std::vector<uint8_t>& accessUnit)
{
    const auto slice = SplitUnits(accessUnit).back();
    return {slice.begin(), slice.end()};
}

}  // namespace recorder
