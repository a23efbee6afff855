#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "recorder/media/LibAv.h"

namespace recorder
{

/// The pictures of whatever libavformat opens, one after the other. Names faults as std::runtime_error, without
/// the source's text, which may hold a password. One thread at a time.
class AvInput
{
  public:
    /// Asked now and then while it waits; true ends the waiting with a fault.
    using Interrupt = std::function<bool()>;

    /// Opens the source, see MakeSource for its text.
    AvInput(const std::string& spec, Interrupt interrupt);
    ~AvInput();
    AvInput(const AvInput&) = delete;
    AvInput& operator=(const AvInput&) = delete;

    /// Each packet of the pictures is shown to it, before it is decoded or left out.
    using Tap = std::function<void(const AVPacket&)>;
    void SetTap(Tap tap) { m_Tap = std::move(tap); }
    const AVCodecParameters& Codec() const { return *m_Input->streams[m_Stream]->codecpar; }

    /// Decodes the next picture; false at the end of the source.
    bool Next();
    /// The latest; valid until the next call of Next.
    const AVFrame& Frame() const { return *m_Frame; }
    /// Its time stamp in seconds; nothing when the source tells none.
    std::optional<double> Stamp() const;
    /// How long it is to be shown, in seconds; 0 when the source doesn't tell.
    double Lasts() const;

    /// Whether it has an end and can be restarted: a file or a playlist, wherever it lies.
    bool IsFile() const;
    /// Whether more is added to it while it is played: a playlist that hasn't come to its end.
    bool Grows() const;
    /// Goes on with the first picture again, which is the latest then; a fault when there is none. An only one
    /// is read anew from where it lies.
    void Restart();
    /// Decodes only pictures that build on no other, for somebody who hardly looks. All come again from the
    /// next of these on.
    void SetKeysOnly(bool keysOnly) { m_KeysOnly = keysOnly; }
    bool IsKeysOnly() const { return m_KeysOnly; }

  private:
    void Open();
    void OpenDecoder(const AVCodec* codec);
    std::string OpenIfPipe();
    bool Receive();
    bool Feed();
    void TakeDescription();
    void DescribeBeginning();
    bool IsPlaylist() const;
    void Bear(int result);
    bool IsLeftOut();

    // Of a pipe, while it is read.
    class Descriptor
    {
      public:
        explicit Descriptor(int number = -1) : m_Number(number) {}
        ~Descriptor();
        Descriptor(Descriptor&& from) noexcept : m_Number(std::exchange(from.m_Number, -1)) {}
        Descriptor& operator=(Descriptor&& from) noexcept
        {
            std::swap(m_Number, from.m_Number);
            return *this;
        }
        int Number() const { return m_Number; }

      private:
        int m_Number;
    };

    std::string m_Spec;
    Interrupt m_Interrupt;
    Tap m_Tap;
    Descriptor m_Pipe;
    AvFormatContext m_Input;
    AvCodecContext m_Decoder;
    AvFrame m_Frame{av_frame_alloc()};
    AvPacket m_Packet{av_packet_alloc()};
    int m_Stream = -1;
    int64_t m_Pictures = 0;  // decoded since the first
    bool m_Decodes = false;  // a picture came since it was opened
    int m_Faults = 0;        // before it
    int m_Fault = 0;         // the latest of them
    bool m_KeysOnly = false;
    bool m_AwaitsKey = false;
    bool m_Drained = false;
    int64_t m_First = AV_NOPTS_VALUE;   // time stamp of the first packet since it was opened
    int64_t m_Latest = AV_NOPTS_VALUE;  // time stamp of the latest packet
    bool m_Joined = false;  // the time stamps began anew since it was opened, as where files were joined
    std::vector<uint8_t> m_Description;  // the latest that a packet told, or the first for a new round
    bool m_OwesDescription = false;      // the decoder has had another one since
};

}  // namespace recorder
