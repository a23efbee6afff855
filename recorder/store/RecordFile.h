#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recorder/media/LibAv.h"

namespace recorder
{

struct PictureSize {
    int width = 0;
    int height = 0;

    bool operator==(const PictureSize&) const = default;
};

struct RecordedPicture {
    std::vector<uint8_t> bytes;
    std::chrono::milliseconds at{};  // since the record's first picture; never falls
    bool key = false;
};

/// Writes the MPEG-4 pictures of one record into a Matroska file. What was flushed can be read whatever becomes
/// of the process. Names faults as std::runtime_error.
class RecordWriter
{
  public:
    /// The first picture, a key picture with its headers, is only looked at.
    RecordWriter(const std::string& path, PictureSize size, std::span<const uint8_t> firstKey);
    /// Ends the file; without that it has no duration and no table of key pictures, and plays all the same.
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    /// Times that don't grow are made to, by a millisecond each.
    void Write(std::span<const uint8_t> picture, std::chrono::milliseconds at, bool key);
    /// Hands everything to the system.
    void Flush();
    /// What the file needs by now, headers included; a little too much.
    int64_t Bytes() const { return m_Bytes; }

  private:
    struct Close {
        void operator()(AVFormatContext* p) const;
    };
    std::unique_ptr<AVFormatContext, Close> m_Output;
    AvPacket m_Packet{av_packet_alloc()};
    int64_t m_LastMs = -1;
    int64_t m_Bytes = 0;
};

/// Reads a record, whole or broken off. The file isn't trusted: sizes are bounded, and damage ends the record.
/// Names faults as std::runtime_error.
class RecordReader
{
  public:
    explicit RecordReader(const std::string& path);
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    PictureSize Size() const { return m_Size; }
    /// The next picture, from the first key picture on; nothing at the end.
    std::optional<RecordedPicture> Next();

  private:
    AvFormatContext m_Input;
    AvPacket m_Packet{av_packet_alloc()};
    PictureSize m_Size;
    int64_t m_FirstMs = 0;
    int64_t m_LastMs = 0;
    bool m_Begun = false;
};

}  // namespace recorder
