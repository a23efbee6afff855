#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/os/threads.h"

/// Writes an AVI file of two streams, video at 25 pictures a second and mono sound, from payloads that are
/// compressed already. States: closed (no file; every write fails), open (the header stands), finished (the
/// trailer stands; the file is closed by the destructor). A write may come from two threads; the rest belongs
/// to one.
///
/// The header is on the disk when Open returns and what was written follows within a second, so that a process
/// that is killed leaves a file that can be played up to there.
class CMuxer
{
  public:
    CMuxer();
    virtual ~CMuxer();
    CMuxer(const CMuxer&) = delete;
    CMuxer& operator=(const CMuxer&) = delete;

    /// Makes the file at `path` (in the system's form) and writes the header. Codec ids are 13 (MPEG-4), 28
    /// (H.264) and 0x10005 (8-bit PCM); sizes in pixels, rates a second. At least 0 on success, negative on
    /// failure, 0 with no file when the library has no AVI format. Once for each object.
    virtual std::int32_t Open(const std::string& path, std::int32_t videoCodecId, std::int32_t width,
                              std::int32_t height, std::int32_t audioCodecId, std::int32_t bitRate,
                              std::int32_t sampleRate);
    /// Writes one picture; nothing until the first one with `key` other than 0 has come. Negative on failure.
    virtual std::int32_t WriteVideoPacket(const std::uint8_t* data, std::int32_t bytes, std::int32_t key);
    /// Writes sound, once the first key picture has come. Negative on failure.
    virtual std::int32_t WriteAudioPacket(const std::uint8_t* data, std::int32_t bytes, std::int32_t key);
    /// Writes the trailer, and tells the log how many writes have failed.
    virtual void Close();

    /// Brings what was written to the disk.
    void Flush();
    /// The same when half a second has passed since a write did, for whoever asks often.
    void FlushWhenDue();

  private:
    struct File;
    std::int32_t WritePacket(std::int32_t stream, const std::uint8_t* data, std::int32_t bytes,
                             std::int32_t key);
    std::int32_t Fail(std::int32_t result) REQUIRES(m_csWrite);

    std::unique_ptr<File> m_pFile GUARDED_BY(m_csWrite) PT_GUARDED_BY(m_csWrite);  // null until Open
    CCriticalSection m_csWrite;  // a leaf lock: the packets, the counts
    std::string m_strPath;
    std::uint32_t m_ulFailures GUARDED_BY(m_csWrite) = 0;  // writes that failed
    bool m_bHasKeyFrame GUARDED_BY(m_csWrite) = false;
};
